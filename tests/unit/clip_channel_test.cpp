// Clip channels: a mode-2 play tunes the channel, plays its clips one after
// the other from each clip's own index, presents each clip's metadata when
// its sound starts, asks for more clips when few are left, and answers the
// host's clip skips within the channel's skip rule. Bad replies (no clips,
// an index that fails, a refresh that brings nothing) leave the playback
// bounded and whole.
#include <algorithm>
#include <string>
#include <vector>

#include "HeapCounter.h"
#include "HostCallbacks.h"
#include "PortTest.h"
#include "ReplyParser.h"
#include "ScriptedClipChannel.h"
#include "ServiceReplies.h"
#include "tamberClipSequencer.h"
#include "tamberResponse/tamberDravTune.h"

namespace {

struct Heard {
    std::string title;
    std::string artist;
    std::string album;
    std::string show;
    std::string art;
    unsigned playTimeMs;
};

struct Host {
    std::string bytes;
    unsigned playTimeMs = 0;
    std::vector<Heard> metadata;
    std::vector<int> timebarDurations;
    std::vector<int> errors;
};
Host* g_host = nullptr;

int audioWrite(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (data)
        g_host->bytes.append(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
    return data ? length : 0;
}

std::string text(const char* t)
{
    return t ? t : "";
}

void onMetadata(void*, tql_metadata* m)
{
    g_host->metadata.push_back({text(m->title), text(m->artist), text(m->album), text(m->showTitle),
                                text(m->artworkUrl), g_host->playTimeMs});
}

void onTimebar(void*, tql_timebarData* t)
{
    g_host->timebarDurations.push_back(t->duration);
}

int onError(void*, tql_errorNotification* e)
{
    g_host->errors.push_back(e->errorCode);
    return 1;
}

class ClipChannel : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_host = &host;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onMetadata = onMetadata;
        cb.onTimebar = onTimebar;
        cb.onError = onError;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        ctx.contentType = 2;
        ctx.assetGuid = channel.channelGuid.c_str();
        ctx.audioWrite = audioWrite;
    }
    void TearDown() override
    {
        PortTest::TearDown();
        g_host = nullptr;
    }
    int play()
    {
        port().requests.clear();
        int result = tql_playChannel(&ctx);
        tick(100);
        return result;
    }
    // A turn of the loop, and the host's clock moved to what it has been given:
    // it plays as fast as audio arrives.
    void turn()
    {
        port().advance(3000);
        tql_externalTimerTick(3000);
        unsigned played = static_cast<unsigned>(host.bytes.size() / chunkBytes()) * 10000;
        if (played != host.playTimeMs) {
            host.playTimeMs = played;
            tql_on_playTimeChanged(played);
        }
    }
    void tick(unsigned ms)
    {
        port().advance(ms);
        tql_externalTimerTick(ms);
    }
    // Turns until the host holds `bytes`, or a bound is reached.
    void playUntil(size_t bytes, int maxTurns = 60)
    {
        for (int i = 0; i < maxTurns && host.bytes.size() < bytes; ++i)
            turn();
    }
    size_t chunkBytes() const { return channel.audio(0, 1).size(); }
    std::string clips(int from, int to) const
    {
        std::string out;
        for (int c = from; c <= to; ++c)
            out += channel.clipAudio(c);
        return out;
    }
    int countRequests(const std::string& fragment) const
    {
        int n = 0;
        for (const auto& r : port().requests)
            n += r.url.find(fragment) != std::string::npos;
        return n;
    }
    std::vector<std::string> titlesInOrder() const
    {
        std::vector<std::string> titles;
        for (const Heard& h : host.metadata)
            if (titles.empty() || titles.back() != h.title)
                titles.push_back(h.title);
        return titles;
    }
    std::string skip(bool forward, int* result)
    {
        char answer[128];
        *result = forward ? tql_getNextSegmentTime(answer, sizeof answer) : tql_getPrevSegmentTime(answer, sizeof answer);
        return answer;
    }

    Host host;
    tql_channel_ctx ctx{};
    testport::ScriptedClipChannel channel;
};

TEST_F(ClipChannel, PlaysClipsInOrderAcrossBoundariesWithEachClipsMetadataAtItsStart)
{
    channel.install();
    ASSERT_EQ(1, play());
    EXPECT_EQ(1, countRequests("/rest/v4/aic/tune?channelGuid=mixtape-guid&result-template=mobile"));
    const std::string wanted = clips(0, 4);
    playUntil(wanted.size());
    ASSERT_EQ(wanted, host.bytes.substr(0, std::min(host.bytes.size(), wanted.size())));

    // Each clip's metadata reaches the host once its sound starts, in order.
    std::vector<std::string> expected;
    for (int c = 0; c <= 4; ++c)
        expected.push_back(channel.title(c));
    std::vector<std::string> titles = titlesInOrder();
    ASSERT_GE(titles.size(), expected.size());
    titles.resize(expected.size());
    EXPECT_EQ(expected, titles);
    for (const Heard& h : host.metadata) {
        int clip = std::stoi(h.title.substr(std::string("Clip title ").size()));
        // Presented at the clip's start in the accumulated time, and no later
        // than the chunk after it.
        EXPECT_GE(h.playTimeMs + 1500, static_cast<unsigned>(clip) * 30000) << h.title;
        EXPECT_EQ("Artist " + std::to_string(clip), h.artist);
        EXPECT_EQ("Album " + std::to_string(clip), h.album);
        EXPECT_EQ("Mix Tape", h.show);
        EXPECT_EQ("https://art.test/images/clip" + std::to_string(clip) + ".png", h.art);
    }
    const Heard* firstOfClip2 = nullptr;
    for (const Heard& h : host.metadata)
        if (!firstOfClip2 && h.title == channel.title(2))
            firstOfClip2 = &h;
    ASSERT_NE(nullptr, firstOfClip2);
    EXPECT_GE(firstOfClip2->playTimeMs, 60000u - 1500u);
    EXPECT_LE(firstOfClip2->playTimeMs, 70000u);
    // The timebar of a clip spans its length, in milliseconds.
    ASSERT_FALSE(host.timebarDurations.empty());
    EXPECT_EQ(30000, host.timebarDurations.front());

    // The list ran low once the first clip was heard and dropped: the
    // refresh names every clip held, the one heard as consumed, and the
    // channel and session.
    ASSERT_GE(countRequests("/rest/v4/aic/refresh-tracks"), 1);
    std::string body;
    for (const auto& r : port().requests)
        if (body.empty() && r.url.find("refresh-tracks") != std::string::npos)
            body = r.postData;
    EXPECT_NE(std::string::npos, body.find(R"("type":"REFRESH")"));
    EXPECT_NE(std::string::npos, body.find(R"("sessionId":"seq-session-1")"));
    EXPECT_NE(std::string::npos, body.find(R"("channelGuid":"mixtape-guid")"));
    EXPECT_NE(std::string::npos,
              body.find(R"("tracks":[{"playerEventType":"CONSUME","assetGuid":"clip1"},)"
                        R"({"playerEventType":"PLAYLIST","assetGuid":"clip2"},)"
                        R"({"playerEventType":"PLAYLIST","assetGuid":"clip3"}])"))
        << body;
    EXPECT_TRUE(host.errors.empty());
    tql_stopChannel();
}

TEST_F(ClipChannel, MemoryStaysFlatAsClipsAreHeardAndRefreshed)
{
    channel.refreshes = 12;
    channel.install();
    ASSERT_EQ(1, play());
    // What the test itself keeps (log lines, requests, metadata) is let go
    // before each count.
    auto libraryBlocks = [&]() {
        std::vector<testport::LogLine>().swap(port().logs);
        std::vector<testport::RecordedRequest>().swap(port().requests);
        std::vector<Heard>().swap(host.metadata);
        std::vector<testport::DecryptCall>().swap(port().decryptCalls);
        return testport::heapLiveBlocks();
    };
    playUntil(clips(0, 10).size(), 200);
    long early = libraryBlocks();
    playUntil(clips(0, 30).size(), 200);
    ASSERT_EQ(clips(0, 30), host.bytes.substr(0, std::min(host.bytes.size(), clips(0, 30).size())));
    // Heard clips leave the list; the metadata queue drains as it is shown.
    // Twenty clips later; a clip kept would add several blocks.
    EXPECT_LE(libraryBlocks() - early, 10);
    tql_stopChannel();
}

TEST_F(ClipChannel, BuffersAtMostTwoClipsAheadOfTheOneBeingHeard)
{
    channel.install();
    ASSERT_EQ(1, play());
    // The host's clock stands still at the start: clips 0 to 2 are fetched,
    // nothing further.
    for (int i = 0; i < 20; ++i) {
        port().advance(3000);
        tql_externalTimerTick(3000);
    }
    EXPECT_EQ(clips(0, 2), host.bytes);
    EXPECT_EQ(0, countRequests("clip3_"));
    ASSERT_EQ(channel.title(0), host.metadata.back().title);
    // The clock passes clip 0's end less the margin: clip 3 may follow; clip
    // 1's metadata waits for its start.
    host.playTimeMs = 28500;
    tql_on_playTimeChanged(28500);
    for (int i = 0; i < 6; ++i) {
        port().advance(3000);
        tql_externalTimerTick(3000);
    }
    EXPECT_EQ(clips(0, 3), host.bytes);
    EXPECT_EQ(channel.title(0), host.metadata.back().title);
    host.playTimeMs = 30000;
    tql_on_playTimeChanged(30000);
    EXPECT_EQ(channel.title(1), host.metadata.back().title);
    tql_stopChannel();
}

TEST_F(ClipChannel, AHostClockThatStartsAgainRestartsTheClipClock)
{
    channel.install();
    ASSERT_EQ(1, play());
    auto clockAt = [&](unsigned ms, int turns) {
        host.playTimeMs = ms;
        tql_on_playTimeChanged(ms);
        for (int i = 0; i < turns; ++i) {
            port().advance(3000);
            tql_externalTimerTick(3000);
        }
    };
    clockAt(0, 10);
    clockAt(28500, 2); // clip 0 ends
    clockAt(30000, 0);
    ASSERT_EQ(channel.title(1), host.metadata.back().title);
    // The host starts its clock again with clip 1: clip 1 ends 30 s later on
    // that clock, not 60.
    clockAt(500, 1);
    clockAt(28500, 2);
    clockAt(30000, 0);
    EXPECT_EQ(channel.title(2), host.metadata.back().title);
    tql_stopChannel();
}

TEST_F(ClipChannel, ATokenRenewalWithinAClipPlaysNoChunkTwice)
{
    // The token runs out every turn, in the middle of each clip: the index
    // is read again while chunks of the clip are still listed.
    channel.tokenSeconds = 2;
    channel.chunksPerClip = 12;
    channel.install();
    ASSERT_EQ(1, play());
    playUntil(clips(0, 1).size());
    EXPECT_GE(countRequests(channel.indexUrl(0, false, 2)), 2); // read again every 30 s
    EXPECT_EQ(clips(0, 1), host.bytes.substr(0, std::min(host.bytes.size(), clips(0, 1).size())));
    tql_stopChannel();
}

TEST_F(ClipChannel, ForwardSkipsStartTheNextClipUntilTheLimitIsReached)
{
    channel.install();
    ASSERT_EQ(1, play());
    turn();
    ASSERT_EQ(channel.audio(0, 1) + channel.audio(0, 2), host.bytes);

    int result = 0;
    EXPECT_EQ("drav;mixtape-guid", skip(true, &result));
    EXPECT_EQ(2, result); // two skips allowed, one left
    host.bytes.clear();
    host.playTimeMs = 0;
    ASSERT_EQ(1, play()); // the host tunes again, at the clip the skip moved to
    turn();
    EXPECT_EQ(channel.audio(1, 1) + channel.audio(1, 2), host.bytes);
    EXPECT_EQ(channel.title(1), host.metadata.back().title);

    EXPECT_EQ("drav;mixtape-guid", skip(true, &result));
    EXPECT_EQ(1, result);
    host.bytes.clear();
    ASSERT_EQ(1, play());
    turn();
    EXPECT_EQ(channel.audio(2, 1) + channel.audio(2, 2), host.bytes);

    // The limit: answered, but the sequencer stays where it is.
    EXPECT_EQ("drav;mixtape-guid", skip(true, &result));
    EXPECT_EQ(0, result);
    host.bytes.clear();
    ASSERT_EQ(1, play());
    turn();
    EXPECT_EQ(channel.audio(2, 1) + channel.audio(2, 2), host.bytes);
    tql_stopChannel();
}

TEST_F(ClipChannel, BackSkipRestartsTheCurrentClipOnce)
{
    channel.install();
    ASSERT_EQ(1, play());
    turn();
    turn();
    ASSERT_EQ(clips(0, 0), host.bytes.substr(0, clips(0, 0).size()));
    int result = 0;
    EXPECT_EQ("drav;mixtape-guid", skip(false, &result));
    EXPECT_EQ(1, result); // one back skip allowed, none left
    host.bytes.clear();
    ASSERT_EQ(1, play());
    EXPECT_EQ(channel.audio(0, 1), host.bytes.substr(0, chunkBytes()));
    EXPECT_EQ("drav;mixtape-guid", skip(false, &result));
    EXPECT_EQ(0, result);
    tql_stopChannel();
}

TEST_F(ClipChannel, SkipAnswersOfAnUnrestrictedChannelAndOfANullBuffer)
{
    channel.dmca = R"({"irNavClass":"UNRESTRICTED"})";
    channel.install();
    ASSERT_EQ(1, play());
    int result = 0;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ("drav;mixtape-guid", skip(true, &result));
        EXPECT_EQ(1, result);
    }
    // No skip on an unrestricted channel: a new tune resumes the same clip.
    host.bytes.clear();
    ASSERT_EQ(1, play());
    EXPECT_EQ(channel.audio(0, 1), host.bytes);
    EXPECT_EQ(-1, tql_getNextSegmentTime(nullptr, 10));
    EXPECT_TRUE(port().logged("Data pointer is NULL", 1));
    // A buffer too small gets what fits, and nothing beyond it.
    char small[8];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(1, tql_getNextSegmentTime(small, 6));
    EXPECT_EQ(std::string("drav;"), std::string(small));
    EXPECT_EQ('x', small[6]);
    tql_stopChannel();
}

TEST_F(ClipChannel, TheSameChannelResumesItsClipAnotherStartsAfresh)
{
    channel.install();
    ASSERT_EQ(1, play());
    playUntil(clips(0, 1).size());
    ASSERT_EQ(clips(0, 1), host.bytes.substr(0, clips(0, 1).size()));
    tql_stopChannel();
    // The clips survive a stop: the same channel goes on with the clip being
    // heard, whose list is refreshed rather than tuned again.
    host.bytes.clear();
    ASSERT_EQ(1, play());
    EXPECT_EQ(0, countRequests("/rest/v4/aic/tune"));
    EXPECT_EQ(1, countRequests("/rest/v4/aic/refresh-tracks"));
    EXPECT_EQ(channel.audio(1, 1), host.bytes);
    EXPECT_EQ(1u, port().countLogged("Different Drav channel is playing")); // the first play only
    tql_stopChannel();

    testport::ScriptedClipChannel other;
    other.channelGuid = "other-guid";
    std::string otherGuid = other.channelGuid;
    ctx.assetGuid = otherGuid.c_str();
    host.bytes.clear();
    ASSERT_EQ(1, play());
    EXPECT_EQ(2u, port().countLogged("Different Drav channel is playing, remove all previous clips"));
    EXPECT_EQ(1, countRequests("/rest/v4/aic/tune?channelGuid=other-guid"));
    EXPECT_EQ(0, countRequests("refresh-tracks"));
    EXPECT_EQ(channel.audio(0, 1), host.bytes); // the scripted service answers with its first clip
    tql_stopChannel();
}

TEST_F(ClipChannel, AnEmptyClipListEndsThePlayWithATokenError)
{
    channel.clipsAtTune = 0;
    channel.install();
    EXPECT_EQ(-1, play());
    EXPECT_EQ(std::vector<int>{15}, host.errors);
    EXPECT_EQ(0, countRequests(".aac"));
    EXPECT_TRUE(host.metadata.empty());
    for (int i = 0; i < 5; ++i)
        turn();
    EXPECT_EQ(0, countRequests(".aac")); // stopped: no loop turns
}

TEST_F(ClipChannel, AClipWhoseIndexFailsOnOneServerPlaysFromTheOther)
{
    for (int s = 0; s < testport::ScriptedClipChannel::kStreams; ++s) {
        testport::Route failing;
        failing.url = channel.indexUrl(1, false, s);
        failing.status = 500;
        port().addRoute(failing);
    }
    channel.install();
    ASSERT_EQ(1, play());
    playUntil(clips(0, 2).size());
    EXPECT_EQ(clips(0, 2), host.bytes.substr(0, std::min(host.bytes.size(), clips(0, 2).size())));
    EXPECT_GE(countRequests(channel.indexUrl(1, true, 2)), 1);
    EXPECT_TRUE(host.errors.empty());
    tql_stopChannel();
}

TEST_F(ClipChannel, AClipWhoseIndexFailsEverywhereWaitsBoundedAndGoesOnWhenItReturns)
{
    for (bool secondary : {false, true})
        for (int s = 0; s < testport::ScriptedClipChannel::kStreams; ++s) {
            testport::Route failing;
            failing.url = channel.indexUrl(1, secondary, s);
            failing.status = 500;
            port().addRoute(failing);
        }
    channel.install();
    ASSERT_EQ(1, play());
    playUntil(clips(0, 0).size());
    // Each retry is a turn of a few requests; nothing else is played.
    size_t before = port().requests.size();
    for (int i = 0; i < 20; ++i)
        tick(100);
    size_t perTurn = (port().requests.size() - before) / 20;
    EXPECT_LE(perTurn, 6u);
    EXPECT_EQ(clips(0, 0), host.bytes);
    EXPECT_TRUE(host.errors.empty());
    // The index comes back: clip 1 plays on, whole.
    auto& routes = port().routes;
    routes.erase(std::remove_if(routes.begin(), routes.end(), [](const testport::Route& r) { return r.status == 500; }),
                 routes.end());
    playUntil(clips(0, 1).size());
    EXPECT_EQ(clips(0, 1), host.bytes.substr(0, std::min(host.bytes.size(), clips(0, 1).size())));
    tql_stopChannel();
}

TEST_F(ClipChannel, ARefreshThatBringsNothingPlaysOutTheListWithoutRepeats)
{
    channel.clipsPerRefresh = 0;
    channel.refreshes = 100;
    channel.install();
    ASSERT_EQ(1, play());
    for (int i = 0; i < 40; ++i)
        turn();
    EXPECT_EQ(clips(0, 3), host.bytes);
    EXPECT_TRUE(port().logged("Failed to skip to next clip"));
    EXPECT_EQ(channel.title(3), host.metadata.back().title);
    // It keeps asking, a bounded number of requests a turn.
    size_t before = port().requests.size();
    for (int i = 0; i < 10; ++i)
        turn();
    EXPECT_GE(port().requests.size() - before, 10u);
    EXPECT_LE(port().requests.size() - before, 60u);
    EXPECT_EQ(clips(0, 3), host.bytes);
    EXPECT_TRUE(host.errors.empty());
    tql_stopChannel();
}

TEST_F(ClipChannel, AFailedRefreshDropsTheClipsAndTunesAfresh)
{
    channel.refreshes = 2; // only for the files of clips 4 to 9
    testport::Route refused;
    refused.url = channel.refreshUrl();
    refused.body = testport::serviceReply("", 0, R"([{"code":101,"message":"refused"}])");
    port().addRoute(refused);
    // The first tune gives clips 0 to 3, a later one clips 5 to 8.
    testport::Route first;
    first.url = channel.tuneUrlPrefix();
    first.prefix = true;
    first.uses = 1;
    first.body = channel.reply(0, 4);
    port().addRoute(first);
    testport::Route later = first;
    later.uses = -1;
    later.body = channel.reply(5, 4);
    port().addRoute(later);
    channel.install();
    ASSERT_EQ(1, play());
    for (int i = 0; i < 10; ++i)
        turn();
    // The refresh as clip 1 began was refused: the clips were dropped and
    // the channel tuned anew, to its new first clip.
    EXPECT_EQ(1, countRequests("refresh-tracks"));
    EXPECT_EQ(2, countRequests("/rest/v4/aic/tune"));
    EXPECT_EQ(clips(0, 0) + channel.audio(5, 1), host.bytes);
    // The new list's clock starts again at its first clip while the host's
    // runs on, so that clip counts as heard at once and its chunks as of
    // the wrong clip: the playback ends with a downloader error, once.
    EXPECT_EQ(std::vector<int>{32}, host.errors);
    EXPECT_TRUE(port().logged("EXIT responder process - blocked on player", 1));
}

// The sequencer on its own.
TQLClip clipOf(const char* guid, double seconds)
{
    TQLClip clip;
    clip.assetGuid = guid;
    clip.duration = seconds;
    return clip;
}

class ClipChannelSequencer : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init()); // for its log lines
    }
};

TEST_F(ClipChannelSequencer, PositionsAndTheClockOfNaturalEndsAndSkips)
{
    TamberClipSequencer s;
    s.addClips({clipOf("a", 30), clipOf("b", 20), clipOf("c", 10)}, 0);
    EXPECT_EQ(30, s.getSkipTime());
    EXPECT_EQ(2, s.remainingClipsSize());
    // Buffering goes two ahead at most.
    EXPECT_EQ(1, s.setClipForPrebuffer());
    EXPECT_EQ(0, s.isPreBuffered());
    EXPECT_EQ(1, s.setClipForPrebuffer());
    EXPECT_EQ(2, s.bufferingClipIndex());
    EXPECT_EQ(1, s.isPreBuffered());
    // A natural end keeps what is buffered; the clock adds the next clip.
    EXPECT_EQ(1, s.skipNext(true));
    EXPECT_EQ(1, s.currentClipIndex());
    EXPECT_EQ(2, s.bufferingClipIndex());
    EXPECT_EQ(0, s.isPreBuffered());
    EXPECT_EQ(50, s.getSkipTime());
    EXPECT_EQ(1, s.removeConsumedClips());
    EXPECT_EQ(std::string("b"), std::string(s.getCurrentClip().assetGuid.c_str()));
    EXPECT_EQ(1, s.bufferingClipIndex());
    // Back restarts the current clip and drops what was buffered after it.
    EXPECT_EQ(1, s.skipPrevious());
    EXPECT_EQ(0, s.currentClipIndex());
    EXPECT_EQ(0, s.bufferingClipIndex());
    EXPECT_EQ(20, s.getSkipTime());
    // A listener's skip buffers from the new clip.
    EXPECT_EQ(1, s.skipNext(false));
    EXPECT_EQ(1, s.bufferingClipIndex());
    EXPECT_EQ(TamberClipSequencer::clipNoMore, s.skipNext(false));
    EXPECT_EQ(1, s.currentClipIndex());
    // At the last clip there is nothing to buffer.
    EXPECT_EQ(TamberClipSequencer::clipNoMore, s.setClipForPrebuffer());
    EXPECT_EQ(0, s.isPreBuffered());
    // Appending keeps the positions; a new list starts over.
    s.addClips({clipOf("d", 5)}, 1);
    EXPECT_EQ(1, s.currentClipIndex());
    EXPECT_EQ(3, s.getClipListSize());
    s.addClips({clipOf("e", 7)}, 0);
    EXPECT_EQ(0, s.currentClipIndex());
    EXPECT_EQ(7, s.getSkipTime());
    EXPECT_EQ(0u, s.consumedClips());
}

TEST_F(ClipChannelSequencer, EdgesOfTheList)
{
    TamberClipSequencer s;
    EXPECT_EQ(std::string(""), std::string(s.getCurrentClip().assetGuid.c_str()));
    EXPECT_EQ(-1, s.skipPrevious());
    EXPECT_EQ(-1, s.removeConsumedClips());
    EXPECT_EQ(TamberClipSequencer::clipNoMore, s.skipNext(true));
    EXPECT_EQ(1u, s.consumedClips());
    s.addClips({clipOf("a", 0), clipOf("b", 3)}, 0);
    EXPECT_EQ(1, s.removeConsumedClips()); // current 0: nothing goes
    EXPECT_EQ(2, s.getClipListSize());
    s.resetSkipTime();
    EXPECT_EQ(0, s.getSkipTime());
    EXPECT_TRUE(port().logged("Unable to set valid duration for the current clip", 2));
    s.removeAllClips();
    EXPECT_EQ(0, s.getClipListSize());
    EXPECT_EQ(-1, s.remainingClipsSize());
}

// The reply on its own.
TEST(ClipChannelReply, ReadsChannelClipsAndRulesAndDropsCrossfadeAndBadLengths)
{
    testport::ScriptedClipChannel channel;
    channel.clipsAtTune = 2;
    std::string text = channel.reply(0, 2);
    // A length that is no time at all is taken as 0.
    text.replace(text.find(R"("duration":30)"), 13, R"("duration":-5)");
    for (size_t piece : {size_t(7), text.size()}) {
        std::unique_ptr<TQLResponse> response = testport::parseReply(text, piece);
        auto* drav = firstModule<TQLModuleResponseTuneToDrav>(response.get());
        ASSERT_NE(nullptr, drav);
        EXPECT_EQ(600, drav->updateFrequency);
        EXPECT_EQ(std::string("seq-session-1"), std::string(drav->sequencerSessionId.c_str()));
        EXPECT_EQ(std::string("Mix Tape"), std::string(drav->m_channel.channelName.c_str()));
        EXPECT_EQ(std::string("mixtape-guid"), std::string(drav->m_channel.channelGuid.c_str()));
        EXPECT_EQ(std::string("RESTRICTED"), std::string(drav->m_channel.dmcaInfo.irNavClass.c_str()));
        EXPECT_EQ(2, drav->m_channel.dmcaInfo.maxFwdSkips);
        EXPECT_EQ(12, drav->m_channel.dmcaInfo.backSkipDur);
        ASSERT_EQ(2u, drav->m_channel.clips.size());
        const TQLClip& first = drav->m_channel.clips[0];
        EXPECT_EQ(std::string("clip0"), std::string(first.assetGuid.c_str()));
        EXPECT_EQ(0, first.duration);
        EXPECT_EQ(30, drav->m_channel.clips[1].duration);
        ASSERT_EQ(2u, first.contentUrls.size());
        EXPECT_EQ(std::string("%Live%/clips/primary/clip0/variant.m3u8"), std::string(first.contentUrls[0].c_str()));
        EXPECT_EQ(std::string("%Live%/clips/secondary/clip0/variant.m3u8"), std::string(first.contentUrls[1].c_str()));
        EXPECT_EQ(std::string("ci-0"), std::string(first.consumptionInfo.c_str()));
        EXPECT_EQ(std::string("Clip title 1"), std::string(drav->m_channel.clips[1].title.c_str()));
        EXPECT_EQ(2u, drav->m_channel.clips[1].contentUrls.size()); // each clip its own URLs
    }
    std::unique_ptr<TQLResponse> empty = testport::parseReply(channel.reply(0, 0), 64);
    auto* none = firstModule<TQLModuleResponseTuneToDrav>(empty.get());
    ASSERT_NE(nullptr, none);
    EXPECT_TRUE(none->m_channel.clips.empty());
}

} // namespace
