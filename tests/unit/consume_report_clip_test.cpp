// What the service hears of a clip channel: the tune-in opens the first
// clip, each clip left at its end closes that clip and opens the next one
// with the next clip's token, and a listener's clip skip goes out with the
// stop and the tune-in that follow it. A clip's stream has no clock of its
// own, so both times of every record are the wall time of the report.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedClipChannel.h"
#include "ServiceReplies.h"
#include "tqllib.h"

namespace {

const std::string kBase = testport::kServiceBase;
const std::string kV2 = kBase + "/rest/v2/experience/modules/consumed";
const std::string kV4 = kBase + "/rest/v4/experience/modules/events/consume";

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

struct Record {
    std::string event, action, info;
};

std::string record(const Record& r, const std::string& when)
{
    return R"({"consumeEvent":")" + r.event + R"(","consumeEventAction":")" + r.action +
           R"(","consumptionInfo":")" + r.info + R"(","consumeDateTime":")" + when +
           R"(","consumeStreamDateTime":")" + when + R"(","incognito":false,"aodDownload":false,"offline":false})";
}

// One group of clip-channel records, all written at `when`.
std::string document(const std::vector<Record>& records, const std::string& when)
{
    std::string list;
    for (const Record& r : records)
        list += (list.empty() ? "" : ",") + record(r, when);
    return R"({"moduleList":{"modules":[{"moduleArea":"NowPlayingTimelineFeed","moduleType":"aic",)"
           R"("moduleRequest":{"consumeRequests":[)" +
           list + "]}}]}}";
}

struct Sent {
    std::string url, body;
    bool operator==(const Sent& o) const { return url == o.url && body == o.body; }
};

std::ostream& operator<<(std::ostream& out, const Sent& s)
{
    return out << (s.url == kV2 ? "V2 " : s.url == kV4 ? "V4 " : s.url + " ") << s.body;
}

size_t g_written = 0;
int countWritten(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (data)
        g_written += static_cast<size_t>(length);
    return data ? length : 0;
}

class ConsumeReportClipChannel : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_written = 0;
        ASSERT_EQ(1, tql_init());
        ASSERT_EQ(1, tql_registerCallbacks(testport::quietCallbacks(this)));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        for (const std::string& url : {kV2, kV4}) {
            testport::Route r;
            r.url = url;
            r.body = testport::serviceReply("");
            port().routes.insert(port().routes.begin(), r);
        }
        ctx.contentType = 2;
        ctx.assetGuid = channel.channelGuid.c_str();
        ctx.audioWrite = countWritten;
        channel.install();
    }
    // The tune-in goes out as the tune presents the first clip.
    void play()
    {
        ASSERT_EQ(1, tql_playChannel(&ctx));
        tick(100);
    }
    void tick(uint64_t ms)
    {
        elapsed += ms;
        port().advance(ms);
        tql_externalTimerTick(static_cast<unsigned>(ms));
    }
    // A turn of the loop, and the host's clock moved to what it has been
    // given since it last started: it plays as fast as audio arrives.
    void turn()
    {
        tick(3000);
        unsigned played = static_cast<unsigned>((g_written - writtenAtStart) / chunkBytes()) * 10000;
        if (played != playTimeMs) {
            playTimeMs = played;
            tql_on_playTimeChanged(played);
        }
    }
    // Turns until a report goes out; its wall time is `at`.
    std::vector<Sent> nextReports(std::string* at, int maxTurns = 40)
    {
        for (int i = 0; i < maxTurns; ++i) {
            turn();
            std::vector<Sent> got = reports();
            if (!got.empty()) {
                *at = wall(elapsed);
                return got;
            }
        }
        return {};
    }
    void hostRestarts()
    {
        writtenAtStart = g_written;
        playTimeMs = 0;
    }
    size_t chunkBytes() const { return channel.audio(0, 1).size(); }
    std::vector<Sent> reports()
    {
        std::vector<Sent> out;
        const auto& requests = port().requests;
        for (; seen < requests.size(); ++seen)
            if (requests[seen].url == kV2 || requests[seen].url == kV4)
                out.push_back({requests[seen].url, requests[seen].postData});
        return out;
    }
    std::vector<Sent> pair(const std::vector<Record>& v2, const std::vector<Record>& v4, const std::string& when)
    {
        return {{kV2, document(v2, when)}, {kV4, document(v4, when)}};
    }
    // The first report of the playback: only the open record, in a group
    // of its own since nothing of the kind came before.
    void tuneIn()
    {
        std::string now = wall(elapsed);
        play();
        EXPECT_EQ(pair({{"markerStart", "tuneIn", "ci-0"}}, {{"start", "tuneIn", "ci-0"}}, now), reports());
    }
    char answer[128] = "";
    tql_channel_ctx ctx{};
    testport::ScriptedClipChannel channel;
    uint64_t elapsed = 0;
    size_t seen = 0;
    size_t writtenAtStart = 0;
    unsigned playTimeMs = 0;
};

TEST_F(ConsumeReportClipChannel, EachClipEndClosesTheClipHeardAndOpensTheNextOne)
{
    tuneIn();
    // Clip 0 is left 1.5 s before its end: the report opens clip 1 even
    // though clip 1's metadata reaches the host only when its sound starts.
    std::string at;
    std::vector<Sent> got = nextReports(&at);
    EXPECT_EQ(pair({{"markerEnd", "passive", "ci-0"}, {"markerStart", "passive", "ci-1"}},
                   {{"stop", "passive", "ci-0"}, {"start", "passive", "ci-1"}}, at),
              got);
    EXPECT_GE(playTimeMs, 28500u);
    EXPECT_LE(playTimeMs, 40000u);

    // The metadata of clip 1 arriving is no transition of its own; the next
    // report is the end of clip 1, which closes what the last one opened.
    got = nextReports(&at);
    EXPECT_EQ(pair({{"markerEnd", "passive", "ci-1"}, {"markerStart", "passive", "ci-2"}},
                   {{"stop", "passive", "ci-1"}, {"start", "passive", "ci-2"}}, at),
              got);
    EXPECT_GE(playTimeMs, 58500u);
    EXPECT_LE(playTimeMs, 70000u);

    tql_stopChannel();
    EXPECT_EQ(pair({{"end", "tuneOut", "ci-2"}}, {{"stop", "tuneOut", "ci-2"}}, wall(elapsed)), reports());
}

TEST_F(ConsumeReportClipChannel, AClipEndRearmsThePeriodicUpdateForTheNextClip)
{
    tuneIn();
    std::string at;
    ASSERT_EQ(2u, nextReports(&at).size());
    uint64_t clipEnd = elapsed;
    ASSERT_GT(clipEnd, 9000u); // well apart from the tune-in's rhythm
    // The host holds still. The timer runs on the host's ticks, and the
    // tick that carried the clip end counts toward it: the update comes
    // within one loop turn before 240 s after the clip end, never on the
    // tune-in's rhythm.
    while (elapsed + 1000 < clipEnd + 240000 - 3000) {
        tick(1000);
        ASSERT_TRUE(reports().empty()) << elapsed - clipEnd;
    }
    std::vector<Sent> got;
    at.clear();
    while (got.empty() && elapsed < clipEnd + 240000) {
        tick(1000);
        got = reports();
        at = wall(elapsed);
    }
    EXPECT_EQ(pair({{"update", "passive", "ci-1"}}, {{"update", "passive", "ci-1"}}, at), got);
    tql_stopChannel();
}

TEST_F(ConsumeReportClipChannel, AForwardSkipGoesOutWithTheStopAndTheTuneInToTheNextClip)
{
    tuneIn();
    turn();
    ASSERT_EQ(2, tql_getNextSegmentTime(answer, sizeof answer));
    EXPECT_EQ(std::string("drav;mixtape-guid"), answer);
    EXPECT_TRUE(reports().empty()); // the skip itself only marks the direction

    tql_stopChannel();
    EXPECT_EQ(pair({{"end", "fwd", "ci-0"}}, {{"stop", "fwd", "ci-0"}}, wall(elapsed)), reports());

    // The host tunes again, at the clip the skip moved to: the tune-in opens
    // it with the direction, after closing once more what the stop closed.
    hostRestarts();
    std::string now = wall(elapsed);
    play();
    EXPECT_EQ(pair({{"end", "tuneOut", "ci-0"}, {"markerStart", "fwd", "ci-1"}},
                   {{"stop", "tuneOut", "ci-0"}, {"start", "fwd", "ci-1"}}, now),
              reports());

    // The direction is used up; the clip ends as any other.
    std::string at;
    std::vector<Sent> got = nextReports(&at);
    EXPECT_EQ(pair({{"markerEnd", "passive", "ci-1"}, {"markerStart", "passive", "ci-2"}},
                   {{"stop", "passive", "ci-1"}, {"start", "passive", "ci-2"}}, at),
              got);
    tql_stopChannel();
    EXPECT_EQ(pair({{"end", "tuneOut", "ci-2"}}, {{"stop", "tuneOut", "ci-2"}}, wall(elapsed)), reports());
}

TEST_F(ConsumeReportClipChannel, ABackSkipRestartsTheClipAndSaysSo)
{
    tuneIn();
    turn();
    ASSERT_EQ(1, tql_getPrevSegmentTime(answer, sizeof answer));
    EXPECT_TRUE(reports().empty());
    tql_stopChannel();
    EXPECT_EQ(pair({{"end", "back", "ci-0"}}, {{"stop", "back", "ci-0"}}, wall(elapsed)), reports());
    hostRestarts();
    std::string now = wall(elapsed);
    play();
    EXPECT_EQ(pair({{"end", "tuneOut", "ci-0"}, {"markerStart", "back", "ci-0"}},
                   {{"stop", "tuneOut", "ci-0"}, {"start", "back", "ci-0"}}, now),
              reports());
    tql_stopChannel();
}

} // namespace
