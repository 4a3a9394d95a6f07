// A live playback as host and service see it, from tql_playChannel through
// ticks of the scripted clock to tql_stopChannel: when loop turns run, when
// the no-op and the token are renewed, and how every fatal condition ends
// in exactly one onError report that says the playback stopped.
#include <algorithm>
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tqllibInt.h"

namespace {

const std::string kBase = testport::kServiceBase;
const std::string kTune = kBase + "/rest/v4/experience/modules/tune/now-playing-live";
const std::string kNoop = kBase + "/rest/v2/experience/modules/get/noop";
const std::string kResume = kBase + "/rest/v2/experience/modules/resume?format=json";
const int kTokenSeconds = 30;
const int kNoopSeconds = 20;

std::string refusal(int code)
{
    return testport::serviceReply("", 0, R"([{"code":)" + std::to_string(code) + R"(,"message":"no"}])");
}

struct Host {
    std::vector<tql_errorNotification> errors;
    std::vector<int> busy;
    int probes = 0;    // audioWrite calls without data: one per loop turn
    int timebars = 0;  // cleared timebars
};
Host* g_host = nullptr;

int onError(void*, tql_errorNotification* e)
{
    g_host->errors.push_back(*e);
    return 1;
}
int onBusy(void*, int busy)
{
    g_host->busy.push_back(busy);
    return 1;
}
void onTimebar(void*, tql_timebarData* t)
{
    g_host->timebars += t->liveFlag == 1;
}
// Takes all audio at once, so that no turn is spent on a waiting chunk.
int audioWrite(void*, const unsigned char* data, int length, int, unsigned int*)
{
    g_host->probes += data == nullptr;
    return data ? length : 0;
}

class PlaybackEngine : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_host = &host;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onError = onError, cb.onBusy = onBusy, cb.onTimebar = onTimebar;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        stream.tokenSeconds = kTokenSeconds;
        stream.noopSeconds = kNoopSeconds;
        stream.install();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        port().requests.clear();
        ctx.contentId = "ch-1";
        ctx.audioWrite = audioWrite;
        ctx.audioContext = &host;
    }
    void TearDown() override
    {
        PortTest::TearDown();
        g_host = nullptr;
    }
    // Scripted first, found first: a test's own answer replaces the defaults.
    static testport::Route& answer(const std::string& url, const std::string& body, bool prefix = false)
    {
        testport::Route route;
        route.url = url, route.body = body, route.prefix = prefix;
        port().routes.insert(port().routes.begin(), route);
        return port().routes.front();
    }
    // The upkeep requests that went out since the last call: T tune, N
    // no-op, V variant file, R resume. Index files, keys and chunks are the
    // stream's own business and left out here.
    static std::string sent()
    {
        std::string kinds;
        for (const auto& r : port().requests)
            kinds += r.url.compare(0, kTune.size(), kTune) == 0        ? "T"
                     : r.url == kNoop                                  ? "N"
                     : r.url.find("variant.m3u8") != std::string::npos ? "V"
                     : r.url == kResume                                ? "R"
                                                                       : "";
        port().requests.clear();
        return kinds;
    }
    static void tick(unsigned ms)
    {
        port().advance(ms);
        tql_externalTimerTick(ms);
    }
    static CMTamberNodeResponder& engine() { return *tql_int_get_core()->getCurrentStreamer(); }
    Host host;
    tql_channel_ctx ctx{};
    testport::ScriptedStream stream;
};

TEST_F(PlaybackEngine, PlayTunesAtOnceThenTurnsEveryThreeSeconds)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    EXPECT_EQ("NTV", sent());
    EXPECT_EQ(std::vector<int>{1}, host.busy);
    EXPECT_EQ(1, ctx.liveStart); // the live edge, not a replay
    EXPECT_EQ(0, host.probes);

    tick(99);
    EXPECT_EQ(0, host.probes);
    tick(1); // the first turn comes 100 ms after the start
    EXPECT_EQ(1, host.probes);
    tick(2999);
    EXPECT_EQ(1, host.probes);
    tick(1);
    EXPECT_EQ(2, host.probes);
    EXPECT_EQ("", sent()); // nothing was due
    EXPECT_TRUE(port().logged("LOOP TIMEOUT = 3000 last loop duration = 0"));

    ASSERT_EQ(1, tql_stopChannel());
    EXPECT_TRUE(host.errors.empty()); // a stop without a failure reports nothing
    EXPECT_EQ(1, host.timebars);
    tick(3000);
    tick(3000);
    EXPECT_EQ(2, host.probes);
    EXPECT_EQ("", sent());
}

TEST_F(PlaybackEngine, ASlowTurnShortensTheWaitButNeverRunsBackToBack)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    tick(100);
    sent();
    // The next turn's no-op is due and takes 1200 ms on the scripted clock.
    port().advance(kNoopSeconds * 1000);
    answer(kNoop, testport::serviceReply("")).duringBody = [] { port().advance(1200); };
    tql_externalTimerTick(2999); // not due yet
    tql_externalTimerTick(1);
    EXPECT_EQ("N", sent());
    EXPECT_TRUE(port().logged("LOOP TIMEOUT = 1800 last loop duration = 1200"));
    int probes = host.probes;
    tql_externalTimerTick(1799);
    EXPECT_EQ(probes, host.probes);
    tql_externalTimerTick(1);
    EXPECT_EQ(probes + 1, host.probes);

    // A turn of three seconds or more is followed by a full period. (A no-op
    // reply without a period sets the default of 50 s.)
    port().advance(50000);
    port().routes.erase(port().routes.begin());
    answer(kNoop, testport::serviceReply("")).duringBody = [] { port().advance(4000); };
    tql_externalTimerTick(3000);
    EXPECT_TRUE(port().logged("LOOP TIMEOUT = 3000 last loop duration = 4000"));
}

TEST_F(PlaybackEngine, NoopAndTokenAreRenewedWhenDue)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    sent();
    tick(100);
    EXPECT_EQ("", sent());
    // The no-op first, at the period the service gave.
    for (int t = 0; t < 7; ++t)
        tick(3000);
    EXPECT_EQ("N", sent());
    // The token at its own period: a tune and a fresh variant file.
    for (int t = 0; t < 3; ++t)
        tick(3000);
    EXPECT_EQ("TV", sent());
    EXPECT_TRUE(port().logged("Token timeout for HLSv2 = 30000"));
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(PlaybackEngine, AFailedFirstTuneStopsBeforeTheLoopStarts)
{
    answer(kTune, refusal(309), true);
    EXPECT_EQ(-1, tql_playChannel(&ctx));
    ASSERT_EQ(1u, host.errors.size());
    EXPECT_EQ(17, host.errors[0].errorCode);
    EXPECT_EQ(1, host.errors[0].playbackStopped);
    sent();
    for (int t = 0; t < 5; ++t)
        tick(3000);
    EXPECT_EQ(0, host.probes);
    EXPECT_EQ("", sent());
    // Stopping again reports nothing more.
    tql_stopChannel();
    EXPECT_EQ(1u, host.errors.size());
}

TEST_F(PlaybackEngine, EveryFatalRenewalFailureEndsInOneReport)
{
    struct Row {
        std::string label;
        std::string reply;
        int transportError; // negative: the transfer cannot be made at all
        int renewals;       // failed renewals until the stop
        int errorCode;
    };
    const Row rows[] = {
        {"logged elsewhere", refusal(204), 0, 1, 33},
        {"content gone", refusal(309), 0, 1, 17},
        {"service refuses the token", refusal(999), 0, 5, 15},
        {"network unreachable: no retry", "", -6, 1, 15},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        host = Host();
        ctx.liveStart = 0; // the last play wrote 1 back: the next would ask for the small index
        ASSERT_EQ(1, tql_playChannel(&ctx));
        tick(100);
        sent();
        testport::Route& failing = answer(kTune, row.reply, true);
        failing.transportError = row.transportError;
        int renewals = 0;
        for (int t = 0; t < 100 && host.errors.empty(); ++t) {
            tick(3000);
            std::string kinds = sent();
            renewals += static_cast<int>(std::count(kinds.begin(), kinds.end(), 'T'));
        }
        ASSERT_EQ(1u, host.errors.size());
        EXPECT_EQ(row.errorCode, host.errors[0].errorCode);
        EXPECT_EQ(1, host.errors[0].playbackStopped);
        EXPECT_EQ(row.renewals, renewals);
        // The engine is stopped: no more turns, no more reports.
        int probes = host.probes;
        tick(3000);
        tick(3000);
        tql_stopChannel();
        EXPECT_EQ(probes, host.probes);
        EXPECT_EQ(1u, host.errors.size());
        port().routes.erase(port().routes.begin());
        port().logs.clear();
    }
}

TEST_F(PlaybackEngine, StopAfterAServiceFailureReportsThatFailure)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    tql_errorNotification error{};
    answer(kBase + "/rest/v4/experience/carousels", refusal(109), true);
    EXPECT_EQ(-1, tql_get_recents(&error, 1));
    ASSERT_EQ(1, tql_stopChannel());
    ASSERT_EQ(1u, host.errors.size());
    EXPECT_EQ(20, host.errors[0].errorCode);
    EXPECT_EQ(109, host.errors[0].responseCode);
    EXPECT_EQ(1, host.errors[0].playbackStopped);
    tql_stopChannel();
    EXPECT_EQ(1u, host.errors.size());
}

TEST_F(PlaybackEngine, PausedTicksCostNothingAndResumeRestores)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    tick(100);
    sent();
    ASSERT_EQ(1, tql_userPause(1));
    EXPECT_EQ(1, tql_userPause(1)); // twice is once
    int probes = host.probes;
    for (int t = 0; t < 20; ++t)
        tick(3000); // a minute, past the no-op and the token
    EXPECT_EQ(probes, host.probes);
    EXPECT_EQ("", sent());

    ASSERT_EQ(1, tql_userPause(0));
    // The session comes back, then the variant file of a time-shifted start;
    // the token was not used up by the pause, the no-op's period was.
    EXPECT_EQ("RV", sent());
    tick(3000);
    EXPECT_EQ(probes + 1, host.probes);
    EXPECT_EQ("N", sent());
    EXPECT_EQ(1, tql_userPause(0));
}

TEST_F(PlaybackEngine, PlayChannelChecksWhatTheContentNeeds)
{
    tql_channel_ctx bad{};
    bad.contentType = 0;
    EXPECT_EQ(-1, tql_playChannel(&bad));
    EXPECT_TRUE(port().logged("No content ID allocated", 1));
    bad.contentId = "episode-1";
    bad.contentType = 1;
    EXPECT_EQ(-1, tql_playChannel(&bad));
    EXPECT_TRUE(port().logged("No access control found for on demand playback", 1));
    bad.accessControlId = "ca-1";
    bad.timestamp = "2026-11-21T06:00:00.000+00:00";
    EXPECT_EQ(-1, tql_playChannel(&bad));
    EXPECT_TRUE(port().logged("No assetGUID found for start now playback", 1));
    EXPECT_EQ("", sent());
    EXPECT_TRUE(host.busy.empty());
    EXPECT_EQ(-1, tql_playChannel(nullptr));
}

TEST_F(PlaybackEngine, StreamIndexIsTakenForTheNextListUpdate)
{
    EXPECT_EQ(1, tql_selectStreamIndex(1));
    EXPECT_EQ(1, engine().m_requestedStreamIndex);
    tql_deinit();
    EXPECT_EQ(0, tql_selectStreamIndex(1));
    EXPECT_EQ(-1, tql_playChannel(&ctx));
    EXPECT_EQ(-1, tql_userPause(1));
    EXPECT_EQ(-1, tql_sendAudioData());
    EXPECT_EQ(-1, tql_on_playTimeChanged(10));
}

} // namespace
