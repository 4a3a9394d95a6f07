// Files from the streaming servers: downloads retried, redirected or ended
// by status; audio chunks decrypted in place while they arrive, cleaned at
// their head and handed to the host's write function by pointer; and the
// fields of a chunk's name.
#include <string>
#include <vector>

#include "HeapCounter.h"
#include "PortTest.h"
#include "tamberCore.h"
#include "tqllibInt.h"

namespace {

const std::string kServer = "https://live.test/hls/";
const std::vector<unsigned char> kKey = {0x10, 0x21, 0x32, 0x43, 0x54, 0x65, 0x76, 0x87,
                                         0x98, 0xa9, 0xba, 0xcb, 0xdc, 0xed, 0xfe, 0x0f};

// What the host's write function saw.
struct Sink {
    std::string bytes;
    std::vector<const unsigned char*> pointers;
    std::vector<int> bitRates;
    int takeAtMost = 1 << 30; // bytes taken per call
    int answer = 0;           // non-zero: returned as it is, nothing taken
};

int audioWrite(void* context, const unsigned char* data, int length, int bitRate, unsigned int*)
{
    auto* sink = static_cast<Sink*>(context);
    if (sink->answer)
        return sink->answer;
    int taken = std::min(length, sink->takeAtMost);
    sink->bytes.append(reinterpret_cast<const char*>(data), static_cast<size_t>(taken));
    sink->pointers.push_back(data);
    sink->bitRates.push_back(bitRate);
    return taken;
}

// ADTS frames of MPEG-4 AAC without CRC, 42 bytes each: the header, then
// the frame's bytes.
std::string adtsFrames(int frames, int seed)
{
    static const char kHeader[] = "\xFF\xF1\x60\x40\x05\x5F\xFC";
    std::string out;
    for (int f = 0; f < frames; ++f) {
        out.append(kHeader, 7);
        for (int i = 0; i < 35; ++i)
            out += static_cast<char>((seed * 31 + f * 7 + i) & 0x7F);
    }
    return out;
}

std::string id3Tag() { return std::string("ID3\x04\x00\x00\x00\x00\x00\x0APRIV", 14) + std::string(9, 'x'); }

// Block padding as the service pads its chunks, then the scripted cipher.
std::string encrypt(std::string plain, int sequence)
{
    size_t pad = 16 - plain.size() % 16;
    plain.append(pad, static_cast<char>(pad));
    auto* bytes = reinterpret_cast<unsigned char*>(&plain[0]);
    testport::ScriptedPort::scriptedCipher(bytes, static_cast<int>(plain.size()), kKey, sequence, 0);
    return plain;
}

class SegmentDownload : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
        engine().m_channelCtx.audioContext = &sink;
        engine().m_channelCtx.audioWrite = audioWrite;
    }
    static CMTamberNodeResponder& engine() { return *tql_int_get_core()->getCurrentStreamer(); }
    static TamberRequest& req() { return tql_int_get_core()->getTamberRequest(); }
    static testport::Route& answer(const std::string& url, const std::string& body, int status = 200,
                                   std::vector<std::string> headers = {})
    {
        testport::Route route;
        route.url = url, route.body = body, route.status = status, route.headers = std::move(headers);
        port().addRoute(route);
        return port().routes.back();
    }
    // A chunk as the engine asks for it: its name, the keys it may need,
    // the decryptor set up, then the streamed download.
    int playChunk(const std::string& name, int sequence)
    {
        tamberChunk& chunk = engine().m_currentChunk;
        chunk.clear();
        chunk.seqNum = sequence;
        chunk.url[0] = tql_url(tql_string((kServer + name).c_str()));
        chunk.keys.push_back(tql_bytearray(reinterpret_cast<const char*>(kKey.data()), 16));
        req().prepareFileChunkforDecrypt(chunk);
        req().m_partialMode = 1;
        req().m_jsonParser = nullptr;
        tql_url url = chunk.url[0];
        int result = req().tamberDownloadFile(url, nullptr, nullptr, 1, 0);
        req().m_partialMode = 0;
        return result;
    }
    Sink sink;
};

TEST_F(SegmentDownload, ChunkInPiecesOfAnySizeReachesTheHostDecryptedInOrder)
{
    const std::string audio = adtsFrames(20, 1);
    const std::string name = "asset_64k_1_0_1234_5.aac";
    for (size_t piece : {size_t(1), size_t(7), size_t(16), size_t(100), size_t(0)}) {
        SCOPED_TRACE(piece);
        sink = Sink();
        port().routes.clear();
        std::string body = encrypt(audio, 1234);
        answer(kServer + name, body, 200, {"Content-Length: " + std::to_string(body.size())}).pieceSize = piece;
        ASSERT_EQ(1, playChunk(name, 1234));
        EXPECT_EQ(audio, sink.bytes); // no padding, nothing twice
        EXPECT_EQ(64000, sink.bitRates.front());
        EXPECT_EQ(tamberChunk::kStateAudio, engine().m_currentChunk.state);
        EXPECT_EQ(1, engine().m_currentChunk.keyIndex);
        EXPECT_EQ(0u, engine().m_currentChunk.remaining);
        // Straight from the receive buffer: no copy on the way to the host.
        for (const unsigned char* p : sink.pointers)
            EXPECT_TRUE(p >= req().m_buffer && p < req().m_buffer + req().m_bufferLength);
    }
    // The decryptor was started with the key, a zero nonce of the key's
    // length and the chunk's sequence number.
    const testport::DecryptCall& start = port().decryptCalls.front();
    EXPECT_EQ(testport::DecryptCall::Start, start.kind);
    EXPECT_EQ(kKey, start.key);
    EXPECT_EQ(std::vector<unsigned char>(16, 0), start.nonce);
    EXPECT_EQ(1234, start.sequenceNumber);
}

TEST_F(SegmentDownload, Id3TagIsCutUpToTheFirstAdtsHeader)
{
    const std::string audio = adtsFrames(30, 7);
    const std::string name = "asset_64k_1_0_12_5.aac";
    std::string body = encrypt(id3Tag() + audio, 12);
    answer(kServer + name, body, 200, {"Content-Length: " + std::to_string(body.size())}).pieceSize = 1460;
    ASSERT_EQ(1, playChunk(name, 12));
    EXPECT_EQ(audio, sink.bytes);
    EXPECT_TRUE(port().logged("ID3 tag from the beginning of the chunk was removed"));

    // The tag is looked at in the first piece only: a piece that ends inside
    // it loses what it held. The rest of the tag starts no frame, and so it
    // never reaches the host either.
    sink = Sink();
    port().routes.clear();
    answer(kServer + "asset_64k_0_0_12_5.aac", id3Tag() + audio).pieceSize = 9;
    ASSERT_EQ(1, playChunk("asset_64k_0_0_12_5.aac", 12));
    EXPECT_EQ(audio, sink.bytes);
    EXPECT_TRUE(port().logged("ID3 tag found, but 'FFF1' was not found -> posssible data lose", 2));
}

TEST_F(SegmentDownload, PaddingIsRemovedOnlyWhenTheLengthIsKnown)
{
    const std::string audio = adtsFrames(3, 2); // 126 bytes: two bytes of padding follow
    const std::string name = "asset_128k_1_0_77_5.aac";
    std::string body = encrypt(audio, 77);
    answer(kServer + name, body).pieceSize = 5; // no Content-Length
    ASSERT_EQ(1, playChunk(name, 77));
    // The padding stays in the plain bytes, but as it starts no frame it
    // is never offered to the host.
    EXPECT_EQ(audio, sink.bytes);
    EXPECT_EQ(2u, engine().m_currentChunk.remaining);
    EXPECT_EQ(128000, sink.bitRates.front());
}

TEST_F(SegmentDownload, PlainChunkGoesThroughWithoutTheDecryptor)
{
    const std::string audio = adtsFrames(4, 3);
    const std::string name = "asset_64000_0_0_78_5.aac";
    answer(kServer + name, id3Tag() + audio, 200, {"Content-Length: 191"}).pieceSize = 64;
    ASSERT_EQ(1, playChunk(name, 78));
    EXPECT_EQ(audio, sink.bytes);
    EXPECT_TRUE(port().decryptCalls.empty());
}

TEST_F(SegmentDownload, AHostThatTakesLittleLeavesTheRestInThePlaceItArrived)
{
    const std::string audio = adtsFrames(10, 4);
    const std::string name = "asset_64k_1_0_9_5.aac";
    std::string body = encrypt(audio, 9);
    answer(kServer + name, body, 200, {"Content-Length: " + std::to_string(body.size())}).pieceSize = 64;
    sink.takeAtMost = 10;
    ASSERT_EQ(1, playChunk(name, 9));
    // One write per piece, ten bytes each; the rest waits by pointer.
    const tamberChunk& chunk = engine().m_currentChunk;
    EXPECT_EQ(audio.substr(0, sink.bytes.size()), sink.bytes);
    EXPECT_EQ(audio.size(), sink.bytes.size() + chunk.remaining);
    EXPECT_EQ(0, memcmp(chunk.readPtr, audio.data() + sink.bytes.size(), chunk.remaining));
    EXPECT_EQ(audio.size(), engine().m_decryptedChunkLength);
}

TEST_F(SegmentDownload, AClosedPipeEndsTheDownloadAndTheEngine)
{
    const std::string name = "asset_64k_0_0_9_5.aac";
    answer(kServer + name, adtsFrames(4, 5), 200, {"Content-Length: 168"}).pieceSize = 16;
    sink.answer = -7;
    EXPECT_EQ(-1, playChunk(name, 9));
    EXPECT_EQ(1, engine().m_terminate);
    EXPECT_TRUE(port().logged("Terminating download!!!", 1));
    EXPECT_TRUE(port().sleeps.empty());
}

TEST_F(SegmentDownload, KeyIndexDecidesWhetherAChunkCanBePlayed)
{
    struct Row {
        std::string name;
        int state, keyIndex;
        bool decrypts;
    };
    const Row rows[] = {
        {"a_64k_1_0_5_5.aac", tamberChunk::kStateAudio, 1, true},
        {"a_64k_5_0_5_5.aac", tamberChunk::kStateUnsupported, 5, false},
        {"a_64k_256_0_5_5.aac", tamberChunk::kStateAudio, 0, false}, // eight bits: reads as plain
        {"a_64k_3_0_5_5.aac", tamberChunk::kStateUnsupported, 3, false}, // no third key is held
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        port().decryptCalls.clear();
        tamberChunk chunk;
        chunk.url[0] = tql_url(tql_string((kServer + row.name).c_str()));
        chunk.keys.push_back(tql_bytearray("0123456789abcdef", 16));
        req().prepareFileChunkforDecrypt(chunk);
        EXPECT_EQ(row.state, chunk.state);
        EXPECT_EQ(row.keyIndex, chunk.keyIndex);
        EXPECT_EQ(row.decrypts, !port().decryptCalls.empty());
    }
}

TEST_F(SegmentDownload, ChunkNamesCarryAssetRateKeyAndSequence)
{
    struct Row {
        std::string path;
        std::string name;
        int bitRate, keyIndex, seqNum;
    };
    const Row rows[] = {
        {"/hls/xx_64k_1_0_1234_5.aac", "xx", 64000, 1, 1234},
        {"/hls/xx_64000_0_0_77_5", "xx", 64000, 0, 77},
        {"/a/b/extra_front_yy_256K_2_9_42_1.aac?x=1", "yy", 256000, 2, 42},
        {"/hls//__zz__32k_4_0_7_0.aac", "zz", 32000, 4, 7}, // empty parts are skipped
        {"/hls/too_short_1_2_3.aac", "", 0, 0, 0},
        {"/hls/five_64k_1_2_3.aac", "", 0, 0, 0}, // no asset part: not read at all
        {"/hls/xx_99999999999k_1_0_5_5.aac", "xx", 2147483647, 1, 5},
        {"/", "", 0, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        tamberChunkName parsed = req().parseChunkName(tql_url(tql_string(("https://s.test" + row.path).c_str())));
        EXPECT_EQ(row.name, parsed.name.c_str());
        EXPECT_EQ(row.bitRate, parsed.bitRate);
        EXPECT_EQ(row.keyIndex, parsed.keyIndex);
        EXPECT_EQ(row.seqNum, parsed.seqNum);
    }
    EXPECT_TRUE(port().logged("Could not parse chunk name: too_short_1_2_3\n", 1));
}

TEST_F(SegmentDownload, PaddingLengthComesFromTheLastByte)
{
    unsigned char block[32] = {};
    block[31] = 16;
    EXPECT_EQ(16, req().cryptoPaddingDataLen(block, 32));
    block[31] = 17;
    EXPECT_EQ(0, req().cryptoPaddingDataLen(block, 32));
    EXPECT_TRUE(port().logged("WRONG PADDING LEN = 17", 1));
    EXPECT_EQ(0, req().cryptoPaddingDataLen(block, 0));
    EXPECT_TRUE(port().logged("WRONG DATA LEN = 0", 1));
    block[1] = 9; // more padding than bytes in hand takes only those
    EXPECT_EQ(2, req().cryptoPaddingDataLen(block, 2));
}

TEST_F(SegmentDownload, BufferedFileIsHandedOverWhole)
{
    answer(kServer + "index.m3u8", "#EXTM3U\n#EXT-X-VERSION:3\n");
    tql_url url(tql_string((kServer + "index.m3u8").c_str()));
    unsigned char* data = nullptr;
    unsigned int length = 0;
    ASSERT_EQ(1, req().tamberDownloadFile(url, &data, &length, 3, 5));
    EXPECT_EQ("#EXTM3U\n#EXT-X-VERSION:3\n", std::string(reinterpret_cast<char*>(data), length));
    EXPECT_EQ(req().m_buffer, data);
    EXPECT_TRUE(port().sleeps.empty());
}

TEST_F(SegmentDownload, StatusDecidesBetweenRetryEndAndRedirect)
{
    struct Row {
        std::string label;
        std::vector<testport::Route> routes;
        int retries;
        int result;
        std::vector<std::string> urls; // requested, in order
        std::vector<int> sleeps;
        std::string finalUrl;
    };
    const std::string a = kServer + "a.m3u8", b = "https://b.test/b.m3u8", c = "https://c.test/c.m3u8";
    auto route = [](const std::string& url, int status, std::vector<std::string> headers = {}, int uses = -1) {
        testport::Route r;
        r.url = url, r.status = status, r.headers = std::move(headers), r.uses = uses, r.body = "#EXTM3U\n";
        if (status != 200)
            r.body = "";
        return r;
    };
    testport::Route dropped = route(a, 200);
    dropped.transportError = 7;
    const Row rows[] = {
        {"404 ends at once", {route(a, 404, {"errormessage: gone"})}, 3, -1, {a}, {}, a},
        {"403 ends at once", {route(a, 403)}, 3, -1, {a}, {}, a},
        {"500 is retried after a pause", {route(a, 500)}, 2, -1, {a, a}, {5, 5}, a},
        {"500 then 200", {route(a, 500, {}, 1), route(a, 200)}, 3, 1, {a, a}, {5}, a},
        {"one redirect is followed in the pass", {route(a, 302, {"Location: " + b}), route(b, 200)}, 1, 1, {a, b}, {}, b},
        {"a second redirect ends the pass there",
         {route(a, 302, {"Location: " + b}), route(b, 302, {"Location: " + c}), route(c, 200)},
         2, 1, {a, b, c}, {5}, c},
        {"a transport failure is not retried", {dropped}, 3, -1, {a}, {}, a},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        port().routes = row.routes;
        port().requests.clear();
        port().sleeps.clear();
        tql_url url(tql_string(a.c_str()));
        unsigned char* data = nullptr;
        unsigned int length = 0;
        EXPECT_EQ(row.result, req().tamberDownloadFile(url, &data, &length, row.retries, 5));
        std::vector<std::string> urls;
        for (const auto& request : port().requests)
            urls.push_back(request.url);
        EXPECT_EQ(row.urls, urls);
        EXPECT_EQ(row.sleeps, port().sleeps);
        EXPECT_EQ(row.finalUrl, url.toString().c_str());
    }
    EXPECT_TRUE(port().logged("HTTP ERROR - 404 message:  gone", 2));
}

TEST_F(SegmentDownload, EmptyUrlIsRefusedWithContentUnavailable)
{
    tql_url url;
    EXPECT_EQ(-1, req().tamberDownloadFile(url, nullptr, nullptr, 3, 5));
    tql_errorNotification e{};
    req().getErrorResponse(&e);
    EXPECT_EQ(34, e.errorCode);
    EXPECT_TRUE(port().requests.empty());
}

TEST_F(SegmentDownload, AudioPathAllocatesNothingPerPiece)
{
    // Port and heap allocations of one chunk, after a first chunk has set up
    // what is kept.
    auto cost = [&](int frames, int sequence) {
        std::string name = "asset_64k_1_0_" + std::to_string(sequence) + "_5.aac";
        std::string body = encrypt(adtsFrames(frames, sequence), sequence);
        answer(kServer + name, body, 200, {"Content-Length: " + std::to_string(body.size())}).pieceSize = 1460;
        // The port's own records keep their room from the first chunk on.
        port().logs.clear();
        port().requests.clear();
        long port0 = port().mallocCalls, heap0 = testport::heapAllocations();
        size_t live0 = port().liveBytes();
        EXPECT_EQ(1, playChunk(name, sequence));
        if (sequence > 1) {
            EXPECT_EQ(live0, port().liveBytes()); // nothing left behind
        }
        return std::make_pair(port().mallocCalls - port0, testport::heapAllocations() - heap0);
    };
    port().recordDecryptProcess = false;
    sink.bytes.reserve(300000), sink.pointers.reserve(1000), sink.bitRates.reserve(1000);
    cost(10, 1);
    std::pair<long, long> small = cost(10, 2);     // two pieces
    std::pair<long, long> large = cost(6000, 3);   // 252 KB in 173 pieces
    EXPECT_EQ(small, large);
    EXPECT_EQ((10u + 10u + 6000u) * 42, sink.bytes.size());
}

} // namespace
