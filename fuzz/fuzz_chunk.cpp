// An audio chunk as a server could send it: any bytes, in pieces of any
// size, with or without a length, decrypted or passed through, cut at the
// head by any count and taken by a host that may accept only a little at a
// time. The path must hand on what it has without reading or writing out of
// bounds, whatever the bytes; what it offers a host that takes everything is
// whole ADTS frames; and the chunk always comes to an end: every write to a
// host that takes something moves the chunk on, until nothing is left.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ScriptedPort.h"
#include "tamberCore.h"
#include "tqllibInt.h"

namespace {
const char* const kServer = "https://live.test/hls/ch1/";
int g_takeAtMost = 0;

void fail(const char* what)
{
    fprintf(stderr, "fuzz_chunk: %s\n", what);
    abort();
}

// An offer taken whole must be a run of whole frames.
void checkFrames(const unsigned char* data, int length)
{
    for (int at = 0; at < length;) {
        if (length - at < 7 || data[at] != 0xFF || (data[at + 1] & 0xF6) != 0xF0)
            fail("an offer holds bytes that start no ADTS frame");
        int frame = ((data[at + 3] & 0x03) << 11) | (data[at + 4] << 3) | (data[at + 5] >> 5);
        if (frame < 7 || frame > length - at)
            fail("an offer holds a frame that is not whole");
        at += frame;
    }
}

int audioWrite(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (!data)
        return 0;
    volatile unsigned char sink = length > 0 ? data[length - 1] : 0; // the whole offer must be readable
    (void)sink;
    if (g_takeAtMost == 0)
        checkFrames(data, length);
    return g_takeAtMost > 0 && g_takeAtMost < length ? g_takeAtMost : length;
}

// The settings in front of the body.
struct Settings {
    int keyIndex;       // 0 plain, 1 to 4 keyed, 5 unsupported
    size_t pieceSize;   // 1 to 256
    uint64_t cutBytes;  // 0 to 65535
    int takeAtMost;     // 0: all
    int lengthMode;     // 0 the true length, 1 none, 2 one too many
};

Settings settingsOf(const uint8_t* data)
{
    return {data[0] % 6, static_cast<size_t>(data[1]) + 1, static_cast<uint64_t>(data[2]) << 8 | data[3],
            data[4], data[5] % 3};
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static bool started = tql_init() == 1;
    if (!started || size < 6)
        return 0;
    testport::ScriptedPort::get().reset();
    Settings settings = settingsOf(data);
    std::string body(reinterpret_cast<const char*>(data) + 6, size - 6);
    std::string name = "asset_64k_" + std::to_string(settings.keyIndex) + "_0_77_5.aac";

    testport::Route route;
    route.url = kServer + name;
    route.body = body;
    route.pieceSize = settings.pieceSize;
    if (settings.lengthMode != 1)
        route.headers.push_back("Content-Length: " + std::to_string(body.size() + (settings.lengthMode == 2)));
    testport::ScriptedPort::get().addRoute(route);

    tql_core* core = tql_int_get_core();
    CMTamberNodeResponder& engine = *core->getCurrentStreamer();
    engine.m_channelCtx.audioWrite = audioWrite;
    g_takeAtMost = settings.takeAtMost;
    tamberChunk& current = engine.m_currentChunk;
    current.clear();
    tamberChunk chunk;
    chunk.url[0] = tql_url(tql_string((kServer + name).c_str()));
    for (int key = 0; key < 4; ++key)
        chunk.keys.push_back(tql_bytearray("0123456789abcdef", 16));
    chunk.cutBytes = settings.cutBytes;
    chunk.duration = 8;
    engine.doDownloadChunk(chunk, 1);
    // The host drains what waits, as it would between ticks: each call that
    // finds audio waiting moves the chunk on, and the chunk ends.
    while (current.state == tamberChunk::kStateAudio && current.remaining) {
        uint32_t before = current.remaining;
        engine.sendAudioData();
        if (current.state == tamberChunk::kStateAudio && current.remaining >= before)
            fail("a waiting chunk did not move on");
    }
    current.clear();
    return 0;
}
