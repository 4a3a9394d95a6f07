// AES-128-CBC on OpenSSL, in place, whole blocks only. The library removes
// the padding itself and hands back what a call left undecrypted, so the
// decryptor must keep nothing between calls.
#include <openssl/evp.h>

#include <cstring>

#include "tqllib.h"

namespace {
const int kKeyLength = 16;
const int kBlock = 16;
// One run at a time, the port's contract. The context is made once and
// reset by each start, so that a chunk costs no allocation here.
EVP_CIPHER_CTX* g_context = nullptr;
bool g_running = false;
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
    g_running = false;
    if (!g_context)
        g_context = EVP_CIPHER_CTX_new();
    if (!g_context || EVP_DecryptInit_ex(g_context, EVP_aes_128_cbc(), nullptr, params.key, iv) != 1)
        return 0;
    EVP_CIPHER_CTX_set_padding(g_context, 0);
    g_running = true;
    return 1;
}

int tql_decrypt_process(tql_decryptParams params)
{
    if (!g_running || !params.input || params.inputLength < 0)
        return -1;
    int whole = params.inputLength - params.inputLength % kBlock;
    int produced = 0;
    if (whole > 0 && EVP_DecryptUpdate(g_context, params.output, &produced, params.input, whole) != 1)
        return -1;
    return produced;
}

void tql_decrypt_done(void)
{
    g_running = false;
}

} // extern "C"
