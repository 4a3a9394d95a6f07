/*
 * tqlhost.h - the reference platform port for Linux.
 *
 * Link libtqlhost beside libtqllib and the port is defined: memory, sleep,
 * pthread mutexes, the realtime clock, a stderr logger, an account file that
 * only its owner can read, device identity from these settings, an HTTP
 * transport on libcurl (http and https only, replies of a bounded size)
 * and an AES-128-CBC decryptor on OpenSSL.
 * Call the setters before tql_init().
 */
#ifndef TQLHOST_H
#define TQLHOST_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Severity filter of the library's log (1 error .. 4 debug, 6 trace; 0 and
 * below print nothing but severity-0 lines). Default 2. */
void tqlhost_set_log_level(int level);

/* Where the account is kept; written atomically with mode 0600. */
void tqlhost_set_account_file(const char* path);

/* The service's routing base, e.g. "https://service.example". */
void tqlhost_set_config_url(const char* url);

void tqlhost_set_device(const char* make, const char* model, const char* deviceId);

/* The device's fixed key as hexadecimal text. */
void tqlhost_set_fixed_key(const char* hex);

/* The most body bytes one HTTP reply may bring; a longer reply ends its
 * transfer with a write error. 0 restores the default. Requests and
 * redirects are limited to http and https whatever this says. */
#define TQLHOST_DEFAULT_MAX_REPLY_BYTES ((size_t)8 * 1024 * 1024)
void tqlhost_set_max_reply_bytes(size_t bytes);

#ifdef __cplusplus
}
#endif

#endif /* TQLHOST_H */
