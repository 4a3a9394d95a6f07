// The program data loop on the fake clock and tick: what it asks for, when
// it asks again as the service's period and failures say, what the host is
// handed, and what ends the loop.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tqllibInt.h"

namespace {

using std::string;

const string kBase = testport::kServiceBase;
const string kPdt = kBase + "/rest/v2/experience/modules/get/discover-channel-list?request-option="
                            "discover-channel-list-withpdt&format=json&batch-mode=true&result-template=web";
const string kNoop = kBase + "/rest/v2/experience/modules/get/noop";

string text(const char* p)
{
    return p ? p : "<null>";
}

struct Host {
    std::vector<string> updates; // one text per onPdtUpdate
    std::vector<int> errors;
    std::vector<int> stopped; // playbackStopped of each report
    bool stopInCallback = false;
};
Host* g_host = nullptr;

void onPdt(void*, tql_pdtChannel* channels, int count)
{
    string out = std::to_string(count) + ":";
    for (int i = 0; i < count; ++i)
        out += " [" + text(channels[i].channelId) + " " + text(channels[i].title) + " / " + text(channels[i].artist) +
               " / " + text(channels[i].album) + " @" + std::to_string(channels[i].time) + "+" +
               std::to_string(channels[i].duration) + "]";
    g_host->updates.push_back(out);
    if (g_host->stopInCallback)
        tql_stop_pdt_notification();
}

int onError(void*, tql_errorNotification* e)
{
    g_host->errors.push_back(e->errorCode);
    g_host->stopped.push_back(e->playbackStopped);
    return 1;
}

string pdtReply(int frequency, const string& channels)
{
    return testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"PDT","updateFrequency":)" +
                                      std::to_string(frequency) +
                                      R"(,"moduleResponse":{"moduleDetails":{"liveChannelResponse":)"
                                      R"({"liveChannelResponses":[)" + channels + "]}}}}",
                                  100);
}

string channel(const string& id, const string& title, const string& album = "Album")
{
    return R"({"channelId":")" + id + R"(","markerLists":[{"layer":"cut","markers":[{"time":1000,"duration":24,)"
           R"("cut":{"title":")" + title + R"(","artists":[{"name":"Artist"}],"album":{"title":")" + album +
           R"("}}}]}]})";
}

class PdtLoop : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_host = &host;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onPdtUpdate = onPdt;
        cb.onError = onError;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        answer(kNoop, testport::serviceReply(""));
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        port().requests.clear();
    }
    void TearDown() override
    {
        tql_stop_pdt_notification();
        PortTest::TearDown();
        g_host = nullptr;
    }
    static void answer(const string& url, const string& body, bool prefix = false)
    {
        testport::Route route;
        route.url = url;
        route.body = body;
        route.prefix = prefix;
        port().routes.insert(port().routes.begin(), route);
    }
    static void answerPdt(const string& body) { answer(kPdt, body, true); }
    // Wall clock and tick move together, as on a device.
    static void pass(uint64_t ms)
    {
        for (uint64_t done = 0; done < ms; done += 100) {
            port().advance(100);
            tql_externalTimerTick(100);
        }
    }
    static std::vector<string> pdtRequests()
    {
        std::vector<string> urls;
        for (const auto& request : port().requests)
            if (request.url.compare(0, kPdt.size(), kPdt) == 0)
                urls.push_back(request.url.substr(kPdt.size()));
        return urls;
    }
    static size_t pdtCount() { return pdtRequests().size(); }
    Host host;
};

TEST_F(PdtLoop, FirstPollAtOnceThenOnTheServicesPeriodWithAFloorOfTenSeconds)
{
    answerPdt(pdtReply(3, channel("one", "Song")));
    EXPECT_EQ(1, tql_startPtdNotification());
    // Polled inside the start, then the session is kept alive.
    EXPECT_EQ((std::vector<string>{kPdt, kNoop}), std::vector<string>({port().requests.at(0).url, port().requests.at(1).url}));
    EXPECT_EQ(std::vector<string>{"1: [one Song / Artist / Album @1000+24]"}, host.updates);

    // 3 s asked for, 10 s taken.
    pass(9900);
    EXPECT_EQ(1u, pdtCount());
    pass(100);
    EXPECT_EQ(2u, pdtCount());

    // A longer period is taken as it comes.
    answerPdt(pdtReply(60, channel("one", "Next")));
    pass(10000);
    EXPECT_EQ(3u, pdtCount());
    pass(59900);
    EXPECT_EQ(3u, pdtCount());
    pass(100);
    EXPECT_EQ(4u, pdtCount());
    EXPECT_EQ(4u, host.updates.size());
    EXPECT_EQ("1: [one Next / Artist / Album @1000+24]", host.updates.back());
}

TEST_F(PdtLoop, APeriodBeyondAnHourIsHeldToAnHour)
{
    // A period this long would leave the loop asleep for good.
    answerPdt(pdtReply(2000000000, channel("one", "Song")));
    tql_startPtdNotification();
    EXPECT_TRUE(port().logged("PDT update frequency 2000000000 s held to 3600 s", 2));
    pass(3599900);
    EXPECT_EQ(1u, pdtCount());
    pass(100);
    EXPECT_EQ(2u, pdtCount());
}

TEST_F(PdtLoop, ATickAheadOfTheClockWaitsOutTheRestOfThePeriod)
{
    answerPdt(pdtReply(20, channel("one", "Song")));
    tql_startPtdNotification();
    // The tick runs 20 s while the clock stands: no poll, the rest is slept.
    tql_externalTimerTick(20000);
    EXPECT_EQ(1u, pdtCount());
    port().advance(20000);
    tql_externalTimerTick(19900);
    EXPECT_EQ(1u, pdtCount());
    tql_externalTimerTick(100);
    EXPECT_EQ(2u, pdtCount());
}

TEST_F(PdtLoop, WhatIsAskedForIsWhatEveryTurnAsks)
{
    answerPdt(pdtReply(10, ""));
    tql_startPtdNotificationForGenre("rock");
    pass(10000);
    tql_stop_pdt_notification();

    // The last node only ends the list.
    tql_chainedPDTChannels end = {"ignored", nullptr};
    tql_chainedPDTChannels second = {"b", &end};
    tql_chainedPDTChannels first = {"a", &second};
    tql_startPtdNotificationForChannelIds(&first);
    pass(10000);
    tql_stop_pdt_notification();

    // A single node sends no ids, and "all" no category.
    tql_startPtdNotificationForChannelIds(&end);
    tql_startPtdNotification();
    EXPECT_EQ((std::vector<string>{"&category=rock", "&category=rock", "&channelIds=a,b", "&channelIds=a,b", "", ""}),
              pdtRequests());
}

TEST_F(PdtLoop, RecordsGoOutAsTheReplyHasThemAndNoCutsAreAnEmptyUpdate)
{
    // A channel never asked for is handed on as it came; empty texts are NULL.
    answerPdt(pdtReply(10, channel("asked", "Song") + "," + channel("other", "Tune", "")));
    tql_chainedPDTChannels end = {nullptr, nullptr};
    tql_chainedPDTChannels asked = {"asked", &end};
    EXPECT_EQ(1, tql_startPtdNotificationForChannelIds(&asked));
    answerPdt(pdtReply(10, R"({"channelId":"asked","markerLists":[]})"));
    pass(10000);
    EXPECT_EQ((std::vector<string>{"2: [asked Song / Artist / Album @1000+24] [other Tune / Artist / <null> @1000+24]",
                                   "0:"}),
              host.updates);
}

TEST_F(PdtLoop, AFailedPollRetriesWithinHalfAMinuteAndLeavesTheHostAlone)
{
    // Status 1 is no success for program data, and sets no error.
    answerPdt(testport::serviceReply(""));
    tql_startPtdNotification();
    EXPECT_TRUE(host.updates.empty());
    pass(29900);
    EXPECT_EQ(1u, pdtCount());
    pass(100);
    EXPECT_EQ(2u, pdtCount());

    // Once the service answers, its period holds again.
    answerPdt(pdtReply(15, channel("one", "Song")));
    pass(30000);
    EXPECT_EQ(3u, pdtCount());
    EXPECT_EQ(1u, host.updates.size());
    pass(15000);
    EXPECT_EQ(4u, pdtCount());
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(PdtLoop, AFailedPollAfterALoginFailureEndsTheLoop)
{
    answerPdt(testport::serviceReply(""));
    tql_int_get_core()->getTamberRequest().setLibraryErrorResponse(50, 0);
    EXPECT_EQ(0, tql_startPtdNotificationForGenre("rock"));
    EXPECT_TRUE(port().logged("User not logged in stopping PDT", 1));
    pass(120000);
    EXPECT_EQ(1u, pdtCount());
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(PdtLoop, ALoginElsewhereWhileBrowsingStopsTheLoopSilently)
{
    answerPdt(testport::serviceReply("", 0, R"([{"code":204,"message":"Logged in on another device"}])"));
    tql_startPtdNotification();
    // Asked twice: once more after the session was resumed.
    EXPECT_EQ(2u, pdtCount());
    pass(200000);
    EXPECT_EQ(2u, pdtCount());
    EXPECT_TRUE(host.errors.empty());
    EXPECT_TRUE(host.updates.empty());
}

int takeAll(void*, const unsigned char* data, int length, int, unsigned int*)
{
    return data ? length : 0;
}

TEST_F(PdtLoop, ALoginElsewhereWhilePlayingIsReportedAndEndsTheLoop)
{
    testport::ScriptedStream stream;
    stream.install();
    tql_channel_ctx ctx{};
    ctx.contentId = "ch-1";
    ctx.audioWrite = takeAll;
    ASSERT_EQ(1, tql_playChannel(&ctx));
    ASSERT_TRUE(host.errors.empty());

    answerPdt(testport::serviceReply("", 0, R"([{"code":204,"message":"Logged in on another device"}])"));
    EXPECT_EQ(0, tql_startPtdNotification());
    EXPECT_EQ(std::vector<int>{33}, host.errors);
    EXPECT_EQ(std::vector<int>{1}, host.stopped);
    tql_stopChannel();
    pass(120000);
    EXPECT_EQ(2u, pdtCount());
}

TEST_F(PdtLoop, TheErrorReportOfALoginElsewhereStopsTheLoopFirst)
{
    answerPdt(pdtReply(10, channel("one", "Song")));
    tql_startPtdNotification();
    tql_int_get_core()->reportTamberError(33, 1, 0);
    EXPECT_EQ(std::vector<int>{33}, host.errors);
    pass(60000);
    EXPECT_EQ(1u, pdtCount());
    // Any other report leaves it running.
    tql_startPtdNotification();
    tql_int_get_core()->reportTamberError(55, 1, 0);
    pass(10000);
    EXPECT_EQ(3u, pdtCount());
}

TEST_F(PdtLoop, StoppedFromTheCallbackOrByTheHostItStaysStopped)
{
    answerPdt(pdtReply(10, channel("one", "Song")));
    host.stopInCallback = true;
    EXPECT_EQ(0, tql_startPtdNotification());
    pass(60000);
    EXPECT_EQ(1u, pdtCount());

    host.stopInCallback = false;
    EXPECT_EQ(1, tql_startPtdNotification());
    EXPECT_EQ(0, tql_stop_pdt_notification());
    pass(60000);
    EXPECT_EQ(2u, pdtCount());
}

} // namespace
