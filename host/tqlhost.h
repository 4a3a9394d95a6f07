/*
 * tqlhost.h - the reference platform port for Linux.
 *
 * Link libtqlhost beside libtqllib and the port is defined: memory, sleep,
 * pthread mutexes, the realtime clock, a stderr logger, an account file that
 * only its owner can read, device identity from these settings, an HTTP
 * transport on libcurl and an AES-128-CBC decryptor on OpenSSL.
 * Call the setters before tql_init().
 */
#ifndef TQLHOST_H
#define TQLHOST_H

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

#ifdef __cplusplus
}
#endif

#endif /* TQLHOST_H */
