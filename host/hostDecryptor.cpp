// AES-128-CBC on OpenSSL, in place, whole blocks only. The library removes
// the padding itself and hands back what a call left undecrypted, so the
// decryptor must keep nothing between calls.
#include <openssl/evp.h>

#include <cstring>

#include "tqllib.h"

namespace {
const int kKeyLength = 16;
const int kBlock = 16;
EVP_CIPHER_CTX* g_run = nullptr; // one run at a time, the port's contract
} // namespace

extern "C" {

int tql_cr_init(void)
{
    return 1;
}

int tql_cipher_get_algo_keylen(void)
{
    return kKeyLength;
}

int tql_decrypt_start(tql_decryptParams params)
{
    if (!params.key || params.keyLength != kKeyLength)
        return 0;
    unsigned char iv[kBlock] = {0};
    bool zeroNonce = true;
    for (int i = 0; params.nonce && i < params.nonceLength; ++i)
        zeroNonce = zeroNonce && params.nonce[i] == 0;
    if (zeroNonce) {
        // The chunk is told apart by its sequence number: a 16-byte big-endian IV.
        uint32_t seq = static_cast<uint32_t>(params.sequenceNumber);
        for (int i = 0; i < 4; ++i)
            iv[kBlock - 1 - i] = static_cast<unsigned char>(seq >> (8 * i));
    } else {
        memcpy(iv, params.nonce, static_cast<size_t>(params.nonceLength < kBlock ? params.nonceLength : kBlock));
    }
    if (g_run)
        EVP_CIPHER_CTX_free(g_run);
    g_run = EVP_CIPHER_CTX_new();
    if (!g_run || EVP_DecryptInit_ex(g_run, EVP_aes_128_cbc(), nullptr, params.key, iv) != 1)
        return 0;
    EVP_CIPHER_CTX_set_padding(g_run, 0);
    return 1;
}

int tql_decrypt_process(tql_decryptParams params)
{
    if (!g_run || !params.input || params.inputLength < 0)
        return -1;
    int whole = params.inputLength - params.inputLength % kBlock;
    int produced = 0;
    if (whole > 0 && EVP_DecryptUpdate(g_run, params.output, &produced, params.input, whole) != 1)
        return -1;
    return produced;
}

void tql_decrypt_done(void)
{
    if (g_run)
        EVP_CIPHER_CTX_free(g_run);
    g_run = nullptr;
}

} // extern "C"
