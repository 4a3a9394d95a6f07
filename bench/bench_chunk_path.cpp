// The audio chunk path: a chunk received in network-sized pieces, decrypted
// in place through the reference AES-128-CBC port as it arrives, and handed
// to the host's write function by pointer. Beside it, a bare OpenSSL decrypt
// of the same bytes in one call: the ceiling.
//
// The transport here is in memory, so that the figure is the library's and
// the cipher's, not a socket's.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <string>
#include <vector>

#include "tamberCore.h"
#include "tqlhost.h"
#include "tqllibInt.h"

namespace {

const size_t kPiece = 1460;
const int kSequence = 4242;
const unsigned char kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

struct Chunk {
    std::string cipher;
    std::string header;
};
Chunk g_chunk;
long g_written = 0;

// The IV of the reference port: the sequence number, big-endian, in 16 bytes.
void sequenceIv(unsigned char* iv)
{
    memset(iv, 0, 16);
    for (int i = 0; i < 4; ++i)
        iv[15 - i] = static_cast<unsigned char>(static_cast<uint32_t>(kSequence) >> (8 * i));
}

Chunk makeChunk(size_t plainBytes)
{
    std::string plain(plainBytes, '\0');
    for (size_t i = 0; i < plainBytes; ++i)
        plain[i] = static_cast<char>(i * 131 + 7);
    size_t pad = 16 - plainBytes % 16;
    plain.append(pad, static_cast<char>(pad));
    unsigned char iv[16];
    sequenceIv(iv);
    Chunk chunk;
    chunk.cipher.resize(plain.size());
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    int n = 0;
    EVP_EncryptInit_ex(ctx, EVP_aes_128_cbc(), nullptr, kKey, iv);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    EVP_EncryptUpdate(ctx, reinterpret_cast<unsigned char*>(&chunk.cipher[0]), &n,
                      reinterpret_cast<const unsigned char*>(plain.data()), static_cast<int>(plain.size()));
    EVP_CIPHER_CTX_free(ctx);
    chunk.header = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(chunk.cipher.size()) + "\r\n\r\n";
    return chunk;
}

int takeAll(void*, const unsigned char*, int length, int, unsigned int*)
{
    g_written += length;
    return length;
}

// One chunk each, kept out of line so that callgrind can count them alone
// (bench/compare.sh). The calls of all runs are counted, for callgrind's
// total covers them all; each run reports the count so far.
double g_calls = 0;

__attribute__((noinline)) bool chunkOnce(TamberRequest& request, CMTamberNodeResponder& engine,
                                                    const tql_url& url)
{
    ++g_calls;
    engine.m_currentChunk.clear();
    engine.m_currentChunk.seqNum = kSequence;
    engine.m_currentChunk.url[0] = url;
    engine.m_currentChunk.keys.push_back(tql_bytearray(reinterpret_cast<const char*>(kKey), 16));
    request.prepareFileChunkforDecrypt(engine.m_currentChunk);
    request.m_partialMode = 1;
    tql_url target = url;
    bool ok = request.tamberDownloadFile(target, nullptr, nullptr, 1, 0) == 1;
    request.finishPartialEncData();
    return ok;
}

__attribute__((noinline)) void decryptOnce(EVP_CIPHER_CTX* ctx, const Chunk& chunk,
                                           std::vector<unsigned char>& buffer, const unsigned char* iv)
{
    ++g_calls;
    memcpy(buffer.data(), chunk.cipher.data(), buffer.size());
    int n = 0;
    EVP_DecryptInit_ex(ctx, EVP_aes_128_cbc(), nullptr, kKey, iv);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    EVP_DecryptUpdate(ctx, buffer.data(), &n, buffer.data(), static_cast<int>(buffer.size()));
}

void ChunkPath(benchmark::State& state)
{
    g_chunk = makeChunk(static_cast<size_t>(state.range(0)));
    tqlhost_set_log_level(0);
    tql_init();
    TamberRequest& request = tql_int_get_core()->getTamberRequest();
    CMTamberNodeResponder& engine = *tql_int_get_core()->getCurrentStreamer();
    engine.m_channelCtx.audioWrite = takeAll;
    const tql_url url(tql_string("https://cdn.bench/hls/asset_256k_1_0_4242_5.aac"));
    for (auto _ : state) {
        if (!chunkOnce(request, engine, url))
            state.SkipWithError("chunk download failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(g_chunk.cipher.size()));
    // The plain audio the host received per chunk: the padding is gone.
    state.counters["audio_per_chunk"] = static_cast<double>(g_written) / static_cast<double>(state.iterations());
    g_written = 0;
    state.counters["calls_so_far"] = g_calls;
    tql_deinit();
}
// 33,264 bytes of audio: a chunk of the stream, 33,280 with its padding.
BENCHMARK(ChunkPath)->Arg(33264)->Arg(64 * 1024)->Arg(300 * 1024);

void BareOpenSslDecrypt(benchmark::State& state)
{
    Chunk chunk = makeChunk(static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> buffer(chunk.cipher.size());
    unsigned char iv[16];
    sequenceIv(iv);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    for (auto _ : state) {
        decryptOnce(ctx, chunk, buffer, iv);
        benchmark::DoNotOptimize(buffer.data());
    }
    EVP_CIPHER_CTX_free(ctx);
    state.counters["calls_so_far"] = g_calls;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(chunk.cipher.size()));
}
BENCHMARK(BareOpenSslDecrypt)->Arg(33264)->Arg(64 * 1024)->Arg(300 * 1024);

} // namespace

BENCHMARK_MAIN();

// An in-memory transport: the chunk in network-sized pieces, header first.
extern "C" {

void* tamber_HT_init(void)
{
    static int handle;
    return &handle;
}

int tamber_HT_Request(tamberHTRequestCtx* ctx)
{
    const std::string& h = g_chunk.header;
    for (size_t at = 0; at < h.size();) {
        size_t end = h.find("\r\n", at) + 2;
        ctx->headerCallback(const_cast<char*>(h.data() + at), 1, end - at, ctx->headerData);
        at = end;
    }
    ctx->httpCode = 200;
    const std::string& body = g_chunk.cipher;
    for (size_t at = 0; at < body.size(); at += kPiece) {
        size_t n = std::min(kPiece, body.size() - at);
        if (ctx->writeCallback(const_cast<char*>(body.data() + at), 1, n, ctx->writeData) != n)
            return 23;
    }
    ctx->requestResult = 0;
    return 0;
}

void tamber_HT_reset(void*) {}
void tamber_HT_clearCtxData(tamberHTRequestCtx*) {}
void tamber_HT_cleanup(void*) {}

} // extern "C"
