// Playback against a misbehaving service, as the host hears it: a chunk
// whose tail makes no frame ends and the next one follows; after any
// recovery the audio goes on where it stopped, with nothing heard twice; a
// failing index moves to the other server at once; and nothing of one
// playback outlives it.
#include <functional>
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tqllibInt.h"

namespace {

// A device's sink: it takes whole ADTS frames only, as a decoder would, and
// so never the rest of a frame or bytes that start none.
struct Sink {
    std::string bytes;
    int emptyWrites = 0; // writes with a buffer and nothing in it
    std::vector<std::string> titles;
    int timebars = 0;
};
Sink* g_sink = nullptr;

size_t frameAt(const unsigned char* data, size_t length)
{
    if (length < 7 || data[0] != 0xFF || (data[1] & 0xF0) != 0xF0)
        return 0;
    size_t frame = ((data[3] & 0x03u) << 11) | (static_cast<size_t>(data[4]) << 3) | (data[5] >> 5);
    return frame >= 7 && frame <= length ? frame : 0;
}

int wholeFrames(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (data && length == 0)
        ++g_sink->emptyWrites;
    if (!data)
        return 0;
    size_t at = 0;
    for (size_t frame; (frame = frameAt(data + at, static_cast<size_t>(length) - at)) != 0;)
        at += frame;
    g_sink->bytes.append(reinterpret_cast<const char*>(data), at);
    return static_cast<int>(at);
}

void onMetadata(void*, tql_metadata* m)
{
    g_sink->titles.push_back(m->title ? m->title : "");
}

void onTimebar(void*, tql_timebarData*)
{
    ++g_sink->timebars;
}

std::string cutMarker(const std::string& time, const std::string& title)
{
    return R"({"assetGUID":"cut-)" + title + R"(","layer":"cut","timestamp":{"absolute":")" + time +
           R"("},"duration":20,"cut":{"title":")" + title + R"(","artists":[{"name":"A"}],"album":{"title":"B"}}})";
}

class PlaybackFaults : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_sink = &sink;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&sink);
        cb.onMetadata = onMetadata;
        cb.onTimebar = onTimebar;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        ctx.contentId = "ch-1";
        ctx.audioWrite = wholeFrames;
    }
    void TearDown() override
    {
        PortTest::TearDown();
        g_sink = nullptr;
    }
    // Scripted first, found first.
    static testport::Route& answerFirst(const std::string& url, const std::string& body, int status = 200)
    {
        testport::Route route;
        route.url = url, route.body = body, route.status = status;
        port().routes.insert(port().routes.begin(), route);
        return port().routes.front();
    }
    void play()
    {
        stream.install();
        port().requests.clear();
        ASSERT_EQ(1, tql_playChannel(&ctx));
        tick(100);
    }
    static void tick(unsigned ms)
    {
        port().advance(ms);
        tql_externalTimerTick(ms);
    }
    // Turns until the host holds the audio of chunks from..to, or a limit.
    void playUntil(int to, int turns = 30)
    {
        for (int turn = 0; turn < turns && sink.bytes.size() < audioOf(stream.firstSeq, to).size(); ++turn) {
            tick(3000);
            tql_sendAudioData();
        }
    }
    std::string audioOf(int from, int to) const
    {
        std::string out;
        for (int seq = from; seq <= to; ++seq)
            out += stream.audio(seq);
        return out;
    }
    static int requestsTo(const std::string& fragment)
    {
        int n = 0;
        for (const auto& r : port().requests)
            n += r.url.find(fragment) != std::string::npos;
        return n;
    }
    static CMTamberNodeResponder& engine() { return *tql_int_get_core()->getCurrentStreamer(); }
    Sink sink;
    tql_channel_ctx ctx{};
    testport::ScriptedStream stream;
};

TEST_F(PlaybackFaults, AChunkTailThatMakesNoFrameIsDroppedAndPlaybackMovesOn)
{
    struct Case {
        const char* label;
        std::function<std::string(const testport::ScriptedStream&)> body;
        bool withLength;
        std::string heard; // of chunk 102
    };
    const Case cases[] = {
        // Three bytes short of whole blocks: the last block never decrypts.
        {"length not a multiple of 16",
         [](const testport::ScriptedStream& s) { std::string b = s.body(102); return b.substr(0, b.size() - 3); },
         true, ""},
        // Without a length the padding stays in the plain bytes.
        {"no Content-Length", [](const testport::ScriptedStream& s) { return s.body(102); }, false, "all"},
        // Under another key every byte is noise.
        {"wrong key",
         [](const testport::ScriptedStream& s) {
             testport::ScriptedStream other = s;
             other.key1 = {0x5a, 0x13, 0x77};
             return other.body(102);
         },
         true, "none"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        TearDown();
        sink = Sink();
        SetUp();
        std::string body = c.body(stream);
        testport::Route& bad = answerFirst(stream.chunkUrl(false, 2, 102), body);
        bad.pieceSize = 100;
        if (c.withLength)
            bad.headers.push_back("Content-Length: " + std::to_string(body.size()));
        play();
        playUntil(105, 12);
        ASSERT_EQ(6, requestsTo(".aac")) << "every chunk was fetched once";
        // Chunks around the bad one are heard whole, in order; of 102 only
        // whole frames of its own can have come through.
        const std::string before = audioOf(100, 101), after = audioOf(103, 105);
        const std::string& heard = sink.bytes;
        ASSERT_GE(heard.size(), before.size() + after.size());
        EXPECT_EQ(before, heard.substr(0, before.size()));
        EXPECT_EQ(after, heard.substr(heard.size() - after.size()));
        std::string of102 = heard.substr(before.size(), heard.size() - before.size() - after.size());
        if (std::string(c.heard) == "all")
            EXPECT_EQ(stream.audio(102), of102);
        else if (std::string(c.heard) == "none")
            EXPECT_EQ("", of102);
        else
            EXPECT_EQ(stream.audio(102).substr(0, of102.size()), of102);
        EXPECT_EQ(0u, of102.size() % 32);
        EXPECT_TRUE(port().logged("bytes were no ADTS frames and were dropped", 2));
        tql_stopChannel();
    }
}

TEST_F(PlaybackFaults, TwoFailuresInARowResumeWhereTheAudioStopped)
{
    // Chunk 102 fails on the primary, and the secondary fails once on
    // whichever chunk it is asked for first: playback moves to the secondary
    // and back, and the second change of server must not start over at the
    // head of the index.
    answerFirst(stream.chunkUrl(false, 2, 102), "", 404).uses = 1;
    answerFirst(stream.chunkUrl(true, 2, 101), "", 404).uses = 1;
    answerFirst(stream.chunkUrl(true, 2, 102), "", 404).uses = 1;
    play();
    playUntil(105);
    EXPECT_EQ(audioOf(100, 105), sink.bytes);
}

TEST_F(PlaybackFaults, ARecoveryTunesForTheLongestIndex)
{
    // A live tune reads the medium index, which may not reach back to a
    // playback that lies further behind; the tune after a failure reads the
    // large one, and later tunes go back to the medium.
    answerFirst(stream.chunkUrl(false, 2, 102), "", 404).uses = 1;
    play();
    EXPECT_EQ(1u, port().countLogged("Using size = MEDIUM"));
    playUntil(103);
    EXPECT_EQ(1u, port().countLogged("Using size = LARGE"));
    engine().triggerTokenUpdate();
    playUntil(105);
    EXPECT_EQ(2u, port().countLogged("Using size = MEDIUM"));
    EXPECT_EQ(audioOf(100, 105), sink.bytes);
}

TEST_F(PlaybackFaults, AResyncCutsByTheFramesHeardNotByTheNominalRate)
{
    // 1024 bits per second name 1280 bytes for ten seconds; the chunks hold
    // 60 frames of 32 bytes, half as much again. A cut of the whole chunk by
    // the nominal rate would leave 640 bytes of 101 to be heard twice.
    stream.rate = "1024";
    stream.framesPerChunk = 60;
    answerFirst(stream.chunkUrl(false, 2, 102), "", 404).uses = 1;
    play();
    playUntil(105);
    EXPECT_EQ(audioOf(100, 105), sink.bytes);
}

TEST_F(PlaybackFaults, AChunkCutOffHalfwayIsNotHeardTwice)
{
    std::string body = stream.body(102);
    testport::Route& cut = answerFirst(stream.chunkUrl(false, 2, 102), body);
    cut.headers.push_back("Content-Length: " + std::to_string(body.size()));
    cut.pieceSize = 64;
    cut.transportError = 18;
    cut.failAfterBytes = body.size() / 2;
    cut.uses = 1;
    play();
    playUntil(105);
    // Half of 102 came from the primary; the secondary's copy goes on from
    // the next frame.
    EXPECT_EQ(audioOf(100, 105), sink.bytes);
    EXPECT_EQ(1, requestsTo(stream.chunkUrl(true, 2, 102)));
}

TEST_F(PlaybackFaults, AFailingIndexMovesToTheOtherServerWithoutBlocking)
{
    stream.chunks = 30;
    play();
    playUntil(103);
    // From now on the primary's index files fail.
    for (int s = 0; s < testport::ScriptedStream::kStreams; ++s)
        answerFirst(stream.indexUrl(false, s), "", 500);
    port().requests.clear();
    port().sleeps.clear();
    for (int turn = 0; turn < 14 && requestsTo(stream.indexUrl(true, 2)) == 0; ++turn)
        tick(3000);
    // One try at the primary, then the secondary; no pause on the host's
    // thread in between.
    EXPECT_EQ(1, requestsTo(stream.indexUrl(false, 2)));
    EXPECT_EQ(1, requestsTo(stream.indexUrl(true, 2)));
    EXPECT_TRUE(port().sleeps.empty() || port().sleeps == std::vector<int>{0});
    // The audio goes on from where it was, with no gap and no repeat.
    playUntil(110);
    ASSERT_GE(sink.bytes.size(), audioOf(100, 110).size());
    EXPECT_EQ(audioOf(100, 129).substr(0, sink.bytes.size()), sink.bytes);
}

TEST_F(PlaybackFaults, IndexFilesFailingEverywhereAreAskedForAtTheLoopsPace)
{
    stream.chunks = 30;
    play();
    playUntil(103);
    for (bool secondary : {false, true})
        for (int s = 0; s < testport::ScriptedStream::kStreams; ++s)
            answerFirst(stream.indexUrl(secondary, s), "", 500);
    port().requests.clear();
    // A minute of host ticks of 100 ms: the first failure moves to the other
    // server at once, after that the servers are asked in turn no faster
    // than one loop turn in three seconds, while the listed chunks play on.
    for (int t = 0; t < 600; ++t)
        tick(100);
    int asked = requestsTo("index.m3u8");
    EXPECT_GE(asked, 3);
    EXPECT_LE(asked, 21);
    EXPECT_EQ(audioOf(100, 129).substr(0, sink.bytes.size()), sink.bytes);
    EXPECT_GT(sink.bytes.size(), audioOf(100, 104).size());
}

TEST_F(PlaybackFaults, MetadataOfOnePlaybackNeverReachesTheNext)
{
    // Channel A's tune names tracks at 0, 25 and 45 s; the first chunk
    // queues them all, and only the first is due at once.
    stream.timeline = R"("markerLists":[{"layer":"cut","markers":[)" +
                      cutMarker("2023-11-14T22:10:00.000+00:00", "One") + "," +
                      cutMarker("2023-11-14T22:10:25.000+00:00", "Two") + "," +
                      cutMarker("2023-11-14T22:10:45.000+00:00", "Three") + "]}]";
    play();
    tql_on_playTimeChanged(0);
    EXPECT_EQ(std::vector<std::string>{"One"}, sink.titles);
    tql_stopChannel();
    // Channel B names no tracks at all.
    testport::ScriptedStream plain;
    answerFirst(testport::kServiceBase + std::string("/rest/v4/experience/modules/tune/now-playing-live"),
                plain.tuneReply())
        .prefix = true;
    ctx.contentId = "ch-2";
    ASSERT_EQ(1, tql_playChannel(&ctx));
    tick(100);
    tql_on_playTimeChanged(50000);
    EXPECT_EQ(std::vector<std::string>{"One"}, sink.titles);
}

TEST_F(PlaybackFaults, ALiveResumeSendsTheEpisodesTimebar)
{
    play();
    engine().m_tokenRequest.episodeGuid = "ep-1"; // as the first metadata leaves it
    ASSERT_EQ(1, tql_userPause(1));
    int before = sink.timebars;
    tick(5000);
    ASSERT_EQ(1, tql_userPause(0));
    EXPECT_EQ(before + 1, sink.timebars);
}

TEST_F(PlaybackFaults, AFourthKeyTheServiceLacksEndsTheKeyRound)
{
    stream.onDemand = true;
    ctx.contentType = 1;
    ctx.accessControlId = "ca-1";
    play();
    // The fourth key comes from the file's key address; the service answers
    // that it has none.
    std::string keyUrl = testport::ScriptedStream::server(false) + "s2/key1";
    answerFirst(keyUrl, "", 204);
    for (int k = 0; k < 3; ++k)
        engine().m_tokenData.keys[k].clear();
    port().requests.clear();
    port().sleeps.clear();
    EXPECT_EQ(1, engine().requestContentKeys());
    EXPECT_EQ(1, requestsTo("/key"));
    EXPECT_EQ(std::vector<int>{1}, port().sleeps);
}

TEST_F(PlaybackFaults, APieceWithNoWholeBlockStillMakesTheWrite)
{
    // Pieces of 8 bytes: every other one ends inside a cipher block and
    // gives the engine nothing; the write is made all the same, so that the
    // host can tell how much it holds.
    stream.pieceSize = 8;
    play();
    EXPECT_EQ(stream.audio(100), sink.bytes);
    EXPECT_GT(sink.emptyWrites, 0);
}

} // namespace
