// What is playing, as a host sees it: each track's metadata once, when its
// play position reaches the track and not before; the timebar with its
// segment starts; and the skip answers in the host's buffer, within the
// episode's skip rules.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tqllibInt.h"

namespace {

// Stream time: chunk 100 starts at 22:10:00, ten seconds a chunk.
std::string at(int second)
{
    char text[64];
    snprintf(text, sizeof text, "2023-11-14T22:%02d:%02d.000+00:00", 10 + second / 60, second % 60);
    return text;
}

std::string cut(int second, const std::string& title)
{
    return R"({"assetGUID":"cut-)" + title + R"(","layer":"cut","timestamp":{"absolute":")" + at(second) +
           R"("},"duration":20,"cut":{"title":")" + title + R"(","artists":[{"name":"Artist )" + title +
           R"("}],"album":{"title":"Album )" + title +
           R"(","creativeArts":[{"url":"https://art.test/)" + title + R"(.jpg","encrypted":false}]}}})";
}

std::string segment(int second)
{
    return R"({"assetGUID":"seg-)" + std::to_string(second) + R"(","layer":"segment","timestamp":{"absolute":")" +
           at(second) + R"("},"segment":{"segmentType":"music"}})";
}

std::string timeline(const std::string& navClass, int maxFwd, int maxBack)
{
    std::string episode =
        R"({"assetGUID":"ep-1","layer":"episode","timestamp":{"absolute":")" + at(0) +
        R"("},"duration":3600,"episode":{"longTitle":"Morning Show","show":{"longTitle":"Morning Show",)"
        R"("showGUID":"show-1"},"dmcaInfo":{"irNavClass":")" + navClass + R"(","playOnSelect":"Newest",)"
        R"("maxFwdSkips":)" + std::to_string(maxFwd) + R"(,"maxBackSkips":)" + std::to_string(maxBack) +
        R"(,"fwdSkipDur":1,"backSkipDur":1}}})";
    return R"("markerLists":[{"layer":"episode","markers":[)" + episode +
           R"(]},{"layer":"cut","markers":[)" + cut(0, "One") + "," + cut(25, "Two") + "," + cut(45, "Three") +
           R"(]},{"layer":"segment","markers":[)" + segment(0) + "," + segment(25) + "," + segment(45) +
           R"(]}],"cuePointList":{"cuePoints":[)"
           R"({"layer":"show","event":"START","markerGuid":"show-start-1","timestamp":{"absolute":")" + at(0) +
           R"("}},{"layer":"show","event":"END","markerGuid":"show-end-1","timestamp":{"absolute":")" + at(30) +
           R"("}}]})";
}

struct Seen {
    std::vector<std::string> titles; // "title|artist|album|show|art"
    std::vector<std::vector<uint64_t>> timebars;
    std::vector<int> skipClasses;
};
Seen* g_seen = nullptr;

void onMetadata(void*, tql_metadata* m)
{
    auto text = [](const char* p) { return std::string(p ? p : ""); };
    g_seen->titles.push_back(text(m->title) + "|" + text(m->artist) + "|" + text(m->album) + "|" +
                             text(m->showTitle) + "|" + text(m->artworkUrl));
}

void onTimebar(void*, tql_timebarData* t)
{
    if (t->liveFlag == 1 && t->duration == 0)
        return; // the cleared timebar of a stop
    g_seen->timebars.push_back(std::vector<uint64_t>(t->segments, t->segments + t->segmentCount));
    g_seen->skipClasses.push_back(t->skipClass);
}

int takeAll(void*, const unsigned char* data, int length, int, unsigned int*)
{
    return data ? length : 0;
}

class MetadataTimeline : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_seen = &seen;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&seen);
        cb.onMetadata = onMetadata;
        cb.onTimebar = onTimebar;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        ctx.contentId = "ch-1";
        ctx.audioWrite = takeAll;
    }
    void TearDown() override
    {
        PortTest::TearDown();
        g_seen = nullptr;
    }
    void play(const std::string& navClass = "UNRESTRICTED", int maxFwd = 0, int maxBack = 0)
    {
        stream.timeline = timeline(navClass, maxFwd, maxBack);
        stream.install();
        ASSERT_EQ(1, tql_playChannel(&ctx));
        port().advance(100);
        tql_externalTimerTick(100); // chunk 100 arrives and the markers are queued
    }
    Seen seen;
    tql_channel_ctx ctx{};
    testport::ScriptedStream stream;
};

TEST_F(MetadataTimeline, EachTrackReachesTheHostOnceAtItsPlayTime)
{
    play();
    EXPECT_TRUE(seen.titles.empty()); // nothing before the host plays
    tql_on_playTimeChanged(0);
    ASSERT_EQ(1u, seen.titles.size());
    EXPECT_EQ("One|Artist One|Album One|Morning Show|https://art.test/One.jpg", seen.titles[0]);
    tql_on_playTimeChanged(10000);
    tql_on_playTimeChanged(24999);
    EXPECT_EQ(1u, seen.titles.size());
    tql_on_playTimeChanged(25000);
    ASSERT_EQ(2u, seen.titles.size());
    EXPECT_EQ("Two", seen.titles[1].substr(0, 3));
    tql_on_playTimeChanged(26000);
    // A jump past a track presents only the newest one that is due.
    tql_on_playTimeChanged(60000);
    ASSERT_EQ(3u, seen.titles.size());
    EXPECT_EQ("Three", seen.titles[2].substr(0, 5));
    tql_on_playTimeChanged(61000);
    EXPECT_EQ(3u, seen.titles.size());
}

TEST_F(MetadataTimeline, TimebarComesWithTheFirstTrackAndAgainAfterTheShowEnds)
{
    play();
    tql_on_playTimeChanged(0);
    ASSERT_EQ(1u, seen.timebars.size());
    // Segment starts, newest first, in seconds of stream time.
    uint64_t start = 1700000000; // 2023-11-14T22:13:20Z less the 200 s to 22:10:00
    start -= 200;
    EXPECT_EQ((std::vector<uint64_t>{start + 45, start + 25, start}), seen.timebars[0]);
    EXPECT_EQ(1, seen.skipClasses[0]); // unrestricted
    tql_on_playTimeChanged(25000); // still within the show: no new timebar
    EXPECT_EQ(1u, seen.timebars.size());
    tql_on_playTimeChanged(45000); // the show ended at 30 s
    EXPECT_EQ(2u, seen.timebars.size());
}

TEST_F(MetadataTimeline, AtTheLiveEdgeNextIsRefusedAndPreviousFindsTheTrackStart)
{
    play();
    tql_on_playTimeChanged(25000);
    char buffer[128];
    EXPECT_EQ(-17, tql_getNextSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(2, tql_getPrevSegmentTime(buffer, sizeof buffer)); // unrestricted: one left, plus one
    EXPECT_EQ(at(25) + ",cut-Two", std::string(buffer));
    EXPECT_EQ(-8, tql_getPrevSegmentTime(buffer, 10));
    EXPECT_EQ(-1, tql_getPrevSegmentTime(nullptr, 10));
    EXPECT_EQ(1, tql_getShowStartGuid(buffer, sizeof buffer));
    EXPECT_EQ("show-start-1", std::string(buffer));
}

TEST_F(MetadataTimeline, RestrictedSkipsCountDownThenAnswerWithTheLimit)
{
    // An episode from its start: skipping forward is allowed, and the
    // answer is the time to tune to.
    stream.onDemand = true;
    ctx.contentType = 1;
    ctx.accessControlId = "ca-1";
    ctx.timestamp = "2023-11-14T22:10:00.000+00:00";
    ctx.assetGuid = "ep-1";
    play("RESTRICTED", 2, 1);
    tql_on_playTimeChanged(0);
    ASSERT_EQ(1u, seen.titles.size());
    char buffer[160];
    EXPECT_EQ(-8, tql_getNextSegmentTime(buffer, 8)); // too small: nothing counted
    EXPECT_EQ(2, tql_getNextSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(at(25), std::string(buffer));
    EXPECT_EQ(1, tql_getNextSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(-118, tql_getNextSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(0, std::string(buffer).rfind("error/Skip forward limit reached on this channel until: ", 0));
    EXPECT_EQ(-8, tql_getNextSegmentTime(buffer, 20));
    // Back has its own allowance.
    EXPECT_EQ(-119, tql_getPrevSegmentTime(buffer, sizeof buffer)); // nothing before the first track
    // The allowance comes back once the five-minute window has passed.
    port().advance(300001);
    EXPECT_EQ(2, tql_getNextSegmentTime(buffer, sizeof buffer));
}

TEST_F(MetadataTimeline, DisallowedAssetsRefuseEverySkip)
{
    play("DISALLOWED UNRESTRICTED", 5, 5);
    tql_on_playTimeChanged(0);
    char buffer[64];
    EXPECT_EQ(-4, tql_getNextSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(-4, tql_getPrevSegmentTime(buffer, sizeof buffer));
    EXPECT_EQ(3, seen.skipClasses.at(0));
}

} // namespace
