// What the service hears of a playback: at each transition a V2 and then a
// V4 document that close the last period and open the next, with the wall
// time of the report and the stream time it refers to; the periodic update
// every four minutes of listening and never while paused or stopped.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tqllibInt.h"

namespace {

const std::string kBase = testport::kServiceBase;
const std::string kV2 = kBase + "/rest/v2/experience/modules/consumed";
const std::string kV4 = kBase + "/rest/v4/experience/modules/events/consume";

// Stream time: chunk 100 starts at 22:10:00, ten seconds a chunk.
std::string at(int second)
{
    char text[64];
    snprintf(text, sizeof text, "2023-11-14T22:%02d:%02d.000+00:00", 10 + second / 60, second % 60);
    return text;
}

// The same instants as the reports write them.
std::string streamAt(int second)
{
    char text[64];
    snprintf(text, sizeof text, "2023-11-14T22:%02d:%02d.0000000Z", 10 + second / 60, second % 60);
    return text;
}

// Wall time of the scripted clock, which starts at 22:13:20.000.
std::string wall(uint64_t msSinceStart)
{
    uint64_t total = 13 * 60 + 20 + msSinceStart / 1000;
    char text[64];
    snprintf(text, sizeof text, "2023-11-14T%02d:%02d:%02d.%07uZ", static_cast<int>(22 + total / 3600),
             static_cast<int>(total / 60 % 60), static_cast<int>(total % 60),
             static_cast<unsigned>(msSinceStart % 1000));
    return text;
}

std::string cut(int second, const std::string& title)
{
    return R"({"assetGUID":"cut-)" + title + R"(","layer":"cut","consumptionInfo":"ci-)" + title +
           R"(","timestamp":{"absolute":")" + at(second) + R"("},"duration":20,"cut":{"title":")" + title +
           R"("}})";
}

std::string timeline()
{
    return R"("markerLists":[{"layer":"cut","markers":[)" + cut(0, "One") + "," + cut(25, "Two") + "," +
           cut(45, "Three") + "]}]";
}

struct Record {
    std::string event, action, info, when, streamWhen;
};

std::string record(const Record& r)
{
    return R"({"consumeEvent":")" + r.event + R"(","consumeEventAction":")" + r.action +
           R"(","consumptionInfo":")" + r.info + R"(","consumeDateTime":")" + r.when +
           R"(","consumeStreamDateTime":")" + r.streamWhen +
           R"(","incognito":false,"aodDownload":false,"offline":false})";
}

std::string module(const std::string& type, const std::vector<Record>& records)
{
    std::string list;
    for (const Record& r : records)
        list += (list.empty() ? "" : ",") + record(r);
    return R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":")" + type +
           R"(","moduleRequest":{"consumeRequests":[)" + list + "]}}";
}

std::string document(const std::string& modules)
{
    return R"({"moduleList":{"modules":[)" + modules + "]}}";
}

// A report as sent: which call and its body.
struct Sent {
    std::string url, body;
    bool operator==(const Sent& o) const { return url == o.url && body == o.body; }
};

std::ostream& operator<<(std::ostream& out, const Sent& s)
{
    return out << (s.url == kV2 ? "V2 " : s.url == kV4 ? "V4 " : s.url + " ") << s.body;
}

void onMetadata(void*, tql_metadata*) {}
std::vector<int>* g_errors = nullptr;
int onError(void*, tql_errorNotification* e)
{
    if (g_errors)
        g_errors->push_back(e->errorCode);
    return 1;
}
void onTimebar(void*, tql_timebarData*) {}

int takeAll(void*, const unsigned char* data, int length, int, unsigned int*)
{
    return data ? length : 0;
}

// A host that tells its position from inside its write function, while a
// chunk is still arriving.
std::string* g_heard = nullptr;
int tellPositionWhileWriting(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (!data)
        return 0;
    g_heard->append(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
    tql_on_playTimeChanged(0);
    return length;
}

class ConsumeReport : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(this);
        cb.onMetadata = onMetadata;
        cb.onTimebar = onTimebar;
        cb.onError = onError;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        answerReports(testport::serviceReply(""));
        ctx.contentId = "ch-1";
        ctx.audioWrite = takeAll;
        stream.timeline = timeline();
        stream.install();
    }
    void answerReports(const std::string& reply)
    {
        for (const std::string& url : {kV2, kV4}) {
            testport::Route r;
            r.url = url;
            r.body = reply;
            // Newer answers come first.
            port().routes.insert(port().routes.begin(), r);
        }
    }
    void play()
    {
        ASSERT_EQ(1, tql_playChannel(&ctx));
        advance(100);
    }
    // The clock and the tick move together, as on a device.
    void advance(uint64_t ms)
    {
        elapsed += ms;
        port().advance(ms);
        tql_externalTimerTick(static_cast<unsigned>(ms));
    }
    void advanceInSteps(uint64_t ms, uint64_t step = 1000)
    {
        for (uint64_t done = 0; done < ms; done += step)
            advance(step);
    }
    // Reports sent since the last call.
    std::vector<Sent> reports()
    {
        std::vector<Sent> out;
        const auto& requests = port().requests;
        for (; seen < requests.size(); ++seen)
            if (requests[seen].url == kV2 || requests[seen].url == kV4)
                out.push_back({requests[seen].url, requests[seen].postData});
        return out;
    }
    std::vector<Sent> pair(const std::string& v2, const std::string& v4)
    {
        return {{kV2, document(v2)}, {kV4, document(v4)}};
    }

    tql_channel_ctx ctx{};
    testport::ScriptedStream stream;
    uint64_t elapsed = 0;
    size_t seen = 0;
};

TEST_F(ConsumeReport, TuneInTrackChangeAndStopCloseEachPeriodTheLastOneOpened)
{
    play();
    EXPECT_TRUE(reports().empty()); // nothing heard yet
    tql_on_playTimeChanged(0);
    // The first report of a playback has nothing to close, and its mode is
    // new, so the open record goes in the second group, the only one. A
    // tune that got the live edge starts in both generations' words.
    std::string now = wall(100);
    EXPECT_EQ(pair(module("Live", {{"start", "tuneIn", "ci-One", now, streamAt(0)}}),
                   module("Live", {{"start", "tuneIn", "ci-One", now, streamAt(0)}})),
              reports());

    advance(5000);
    tql_on_playTimeChanged(25000);
    now = wall(5100);
    // V2 closes what V4 opened at the tune-in, in its own words.
    EXPECT_EQ(pair(module("Live", {{"markerEnd", "passive", "ci-One", now, streamAt(25)},
                                   {"markerStart", "passive", "ci-Two", now, streamAt(25)}}),
                   module("Live", {{"stop", "passive", "ci-One", now, streamAt(25)},
                                   {"start", "passive", "ci-Two", now, streamAt(25)}})),
              reports());

    advance(1000);
    tql_on_playTimeChanged(31000);
    tql_stopChannel();
    now = wall(6100);
    // A stop only closes: stream time is where the host had got to.
    EXPECT_EQ(pair(module("Live", {{"end", "tuneOut", "ci-Two", now, streamAt(31)}}),
                   module("Live", {{"stop", "tuneOut", "ci-Two", now, streamAt(31)}})),
              reports());
    EXPECT_TRUE(port().logged("Consume report sent"));
}

TEST_F(ConsumeReport, PauseClosesResumeReopensAtTheSameStreamTime)
{
    play();
    tql_on_playTimeChanged(0);
    tql_on_playTimeChanged(12000);
    reports();
    ASSERT_EQ(1, tql_userPause(1));
    std::string paused = wall(100);
    EXPECT_EQ(pair(module("Live", {{"pause", "active", "ci-One", paused, streamAt(12)}}),
                   module("Live", {{"stop", "active", "ci-One", paused, streamAt(12)}})),
              reports());

    advance(30000);
    ASSERT_EQ(1, tql_userPause(0));
    std::string resumed = wall(30100);
    // The resume's stream time is the pause's: the period has no hole.
    std::vector<Sent> got = reports();
    ASSERT_EQ(2u, got.size());
    EXPECT_EQ(pair(module("Live", {{"start", "resume", "ci-One", resumed, streamAt(12)}}),
                   module("Live", {{"start", "resume", "ci-One", resumed, streamAt(12)}})),
              got);
}

TEST_F(ConsumeReport, PeriodicUpdateEveryFourMinutesOfPlayingAndNeverWhilePausedOrStopped)
{
    play();
    tql_on_playTimeChanged(0);
    reports();
    advanceInSteps(239000);
    EXPECT_TRUE(reports().empty());
    advance(1000); // 240 s after the tune-in report
    // It only marks the period as still running, at the host's position.
    std::string now = wall(240100);
    EXPECT_EQ(pair(module("Live", {{"update", "passive", "ci-One", now, streamAt(0)}}),
                   module("Live", {{"update", "passive", "ci-One", now, streamAt(0)}})),
              reports());
    EXPECT_TRUE(port().logged("Send update consume call!"));

    // The update rearms itself.
    advanceInSteps(240000);
    EXPECT_EQ(2u, reports().size());

    ASSERT_EQ(1, tql_userPause(1));
    EXPECT_EQ(2u, reports().size());
    advanceInSteps(600000, 10000);
    EXPECT_TRUE(reports().empty()); // paused: no update

    ASSERT_EQ(1, tql_userPause(0));
    EXPECT_EQ(2u, reports().size());
    advanceInSteps(239000);
    EXPECT_TRUE(reports().empty());
    advance(1000);
    EXPECT_EQ(2u, reports().size());

    tql_stopChannel();
    EXPECT_EQ(2u, reports().size());
    advanceInSteps(600000, 10000);
    EXPECT_TRUE(reports().empty()); // stopped: no update
}

TEST_F(ConsumeReport, SkipMarksTheDirectionForTheEndAndTheNextTuneIn)
{
    play();
    tql_on_playTimeChanged(0);
    tql_on_playTimeChanged(26000);
    reports();
    char buffer[128];
    ASSERT_GE(tql_getPrevSegmentTime(buffer, sizeof buffer), 1);
    EXPECT_TRUE(reports().empty()); // a skip sends nothing itself
    tql_stopChannel();
    std::string now = wall(100);
    EXPECT_EQ(pair(module("Live", {{"end", "back", "ci-Two", now, streamAt(26)}}),
                   module("Live", {{"stop", "back", "ci-Two", now, streamAt(26)}})),
              reports());

    // The host tunes to the answer: the tune-in carries the direction, in
    // both generations, after closing the period the stop closed.
    std::string answer = buffer;
    std::string time = answer.substr(0, answer.find(',')), asset = answer.substr(answer.find(',') + 1);
    ctx.timestamp = time.c_str();
    ctx.assetGuid = asset.c_str();
    play();
    tql_on_playTimeChanged(0);
    now = wall(200);
    std::vector<Sent> got = reports();
    ASSERT_EQ(2u, got.size());
    EXPECT_NE(std::string::npos, got[0].body.find(R"("consumeEvent":"markerStart","consumeEventAction":"back")"))
        << got[0];
    EXPECT_NE(std::string::npos, got[1].body.find(R"("consumeEvent":"start","consumeEventAction":"back")"))
        << got[1];

    // Used up: the next tune-in is a plain one.
    tql_stopChannel();
    ctx.timestamp = nullptr;
    ctx.assetGuid = nullptr;
    play();
    tql_on_playTimeChanged(0);
    got = reports();
    ASSERT_EQ(4u, got.size());
    EXPECT_EQ(std::string::npos, got[3].body.find("back")) << got[3];
    EXPECT_NE(std::string::npos, got[3].body.find(R"("consumeEvent":"start","consumeEventAction":"tuneIn")"));
}

TEST_F(ConsumeReport, APlaybackEndedByAFailureClosesWithAnError)
{
    play();
    tql_on_playTimeChanged(0);
    tql_on_playTimeChanged(9000);
    reports();
    // The account logs in elsewhere: the next token renewal ends the playback.
    testport::Route elsewhere;
    elsewhere.url = kBase + "/rest/v4/experience/modules/tune/now-playing-live";
    elsewhere.prefix = true;
    elsewhere.body = testport::serviceReply("", 0, R"([{"code":204,"message":"elsewhere"}])");
    port().routes.insert(port().routes.begin(), elsewhere);
    for (int turn = 0; turn < 400 && port().countLogged("respondWorker ABOUT TO END DONE") == 0; ++turn)
        advance(3000);
    ASSERT_EQ(1u, port().countLogged("respondWorker ABOUT TO END DONE"));
    std::vector<Sent> got = reports();
    ASSERT_GE(got.size(), 2u);
    const Sent& v2 = got[got.size() - 2];
    const Sent& v4 = got.back();
    EXPECT_NE(std::string::npos, v2.body.find(R"("consumeEvent":"end","consumeEventAction":"error")")) << v2;
    EXPECT_NE(std::string::npos, v4.body.find(R"("consumeEvent":"stop","consumeEventAction":"error")")) << v4;
    EXPECT_TRUE(port().logged("Consume: Type = Error"));
    advanceInSteps(300000, 10000);
    EXPECT_TRUE(reports().empty()); // ended: no update
}

TEST_F(ConsumeReport, AReportDueDuringAChunkTransferIsDroppedAndLeavesNoFailureBehind)
{
    std::string heard;
    g_heard = &heard;
    ctx.audioWrite = tellPositionWhileWriting;
    stream.pieceSize = 64;
    play();
    for (int turn = 0; turn < 10; ++turn)
        advance(3000);
    g_heard = nullptr;
    std::string expected;
    for (int seq = stream.firstSeq; seq < stream.firstSeq + stream.chunks; ++seq)
        expected += stream.audio(seq);
    EXPECT_EQ(expected, heard);
    EXPECT_TRUE(reports().empty());
    EXPECT_TRUE(port().logged("Consume report during a transfer dropped"));
    EXPECT_FALSE(port().logged("Request violation"));
    // The dropped report leaves no failure behind for the stop to report.
    std::vector<int> errors;
    g_errors = &errors;
    tql_stopChannel();
    g_errors = nullptr;
    EXPECT_EQ(std::vector<int>(), errors);
    EXPECT_EQ(2u, reports().size()); // the stop's own report goes out
}

TEST_F(ConsumeReport, NothingIsReportedBeforeTheFirstConsumptionToken)
{
    play();
    ASSERT_EQ(1, tql_userPause(1));
    EXPECT_TRUE(reports().empty());
    EXPECT_TRUE(port().logged("No Consumption info available - skip report"));
    ASSERT_EQ(1, tql_userPause(0));
    // The lost resume starts no update either.
    advanceInSteps(300000, 10000);
    EXPECT_TRUE(reports().empty());
}

TEST_F(ConsumeReport, ARefusedReportIsLoggedAndPlaybackGoesOn)
{
    answerReports(testport::serviceReply("", 0, R"([{"code":611,"message":"bad"}])"));
    play();
    tql_on_playTimeChanged(0);
    std::vector<Sent> got = reports();
    ASSERT_EQ(2u, got.size()); // no retry
    EXPECT_EQ(2u, port().countLogged("Consume report error"));
    // Reports run on the tick, so their limits are short.
    for (const testport::RecordedRequest& r : port().requests)
        if (r.url == kV2 || r.url == kV4) {
            EXPECT_EQ(7, r.connectTimeout);
            EXPECT_EQ(10, r.totalTimeout);
        }
    tql_on_playTimeChanged(25000);
    EXPECT_EQ(2u, reports().size()); // the next transition is reported as usual
    EXPECT_EQ(1, tql_userPause(1));
}

TEST_F(ConsumeReport, AReportLostOnTheWireOrToAnEndedSessionLeavesNoFailureForTheStop)
{
    for (int lostOnTheWire = 0; lostOnTheWire < 2; ++lostOnTheWire) {
        SCOPED_TRACE(lostOnTheWire ? "transport failure" : "session ended");
        answerReports(testport::serviceReply("", 0, R"([{"code":208,"message":"session ended"}])"));
        for (testport::Route& r : port().routes)
            if (lostOnTheWire && (r.url == kV2 || r.url == kV4)) {
                r.transportError = 18;
                r.failAfterBytes = 10;
            }
        play();
        tql_on_playTimeChanged(0);
        EXPECT_EQ(2u, reports().size());
        std::vector<int> errors;
        g_errors = &errors;
        tql_stopChannel();
        g_errors = nullptr;
        EXPECT_EQ(std::vector<int>(), errors);
        reports(); // the stop's own report
    }
}

TEST_F(ConsumeReport, AChangeOfChannelKindReportsTwoGroups)
{
    play();
    tql_on_playTimeChanged(0);
    tql_stopChannel();
    reports();
    // The same stream as an episode.
    stream.onDemand = true;
    port().routes.clear();
    testport::scriptLogin();
    answerReports(testport::serviceReply(""));
    stream.install();
    ctx.contentType = 1;
    ctx.accessControlId = "ca-1";
    ctx.timestamp = "2023-11-14T22:10:00.000+00:00";
    ctx.assetGuid = "ep-1";
    play();
    tql_on_playTimeChanged(0);
    std::string now = wall(200);
    // The live period closes in its own group, the episode opens in another.
    EXPECT_EQ(pair(module("Live", {{"end", "tuneOut", "ci-One", now, streamAt(0)}}) + "," +
                       module("AOD", {{"markerStart", "tuneIn", "ci-One", now, streamAt(0)}}),
                   module("Live", {{"stop", "tuneOut", "ci-One", now, streamAt(0)}}) + "," +
                       module("AOD", {{"start", "tuneIn", "ci-One", now, streamAt(0)}})),
              reports());
}

} // namespace
