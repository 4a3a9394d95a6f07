#ifndef TAMBER_ERROR_TEXT_H
#define TAMBER_ERROR_TEXT_H

// The host's text for a public error code; "" when the code is unknown.
const char* tql_int_get_error(int code);

#endif
