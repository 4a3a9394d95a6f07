// Every function of the platform port is referenced here, so that a host
// missing one fails when it links against the library rather than at the
// first call that happens to need it (some are reached only while playing).
#include "tqllib.h"

__attribute__((used)) static const void* const kPortImports[] = {
    reinterpret_cast<const void*>(&tql_malloc),
    reinterpret_cast<const void*>(&tql_realloc),
    reinterpret_cast<const void*>(&tql_free),
    reinterpret_cast<const void*>(&tql_sleep),
    reinterpret_cast<const void*>(&tql_mtx_init),
    reinterpret_cast<const void*>(&tql_mtx_destroy),
    reinterpret_cast<const void*>(&tql_mtx_lock),
    reinterpret_cast<const void*>(&tql_mtx_trylock),
    reinterpret_cast<const void*>(&tql_mtx_unlock),
    reinterpret_cast<const void*>(&tql_platform_ms_since_epoch),
    reinterpret_cast<const void*>(&tql_init_platform_logger),
    reinterpret_cast<const void*>(&tql_platform_log_level),
    reinterpret_cast<const void*>(&tql_platform_print),
    reinterpret_cast<const void*>(&tql_getAccount),
    reinterpret_cast<const void*>(&tql_freeAccount),
    reinterpret_cast<const void*>(&tql_setAccount),
    reinterpret_cast<const void*>(&tql_getConfigUrl),
    reinterpret_cast<const void*>(&tql_getDeviceMake),
    reinterpret_cast<const void*>(&tql_getDeviceModel),
    reinterpret_cast<const void*>(&tql_GetMAC),
    reinterpret_cast<const void*>(&tql_getFixedKey),
    reinterpret_cast<const void*>(&tql_cr_init),
    reinterpret_cast<const void*>(&tql_cipher_get_algo_keylen),
    reinterpret_cast<const void*>(&tql_decrypt_start),
    reinterpret_cast<const void*>(&tql_decrypt_process),
    reinterpret_cast<const void*>(&tql_decrypt_done),
    reinterpret_cast<const void*>(&tamber_HT_init),
    reinterpret_cast<const void*>(&tamber_HT_Request),
    reinterpret_cast<const void*>(&tamber_HT_reset),
    reinterpret_cast<const void*>(&tamber_HT_clearCtxData),
    reinterpret_cast<const void*>(&tamber_HT_cleanup),
};
