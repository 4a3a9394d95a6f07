// Recommendations, on-demand shows and episodes as a host meets them: the
// request on the wire, the records handed to each callback with isLast or a
// count, and the results of the exported calls.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ServiceReplies.h"

namespace {

using std::string;

const string kBase = testport::kServiceBase;
const string kRecommender = kBase + "/rest/v2/experience/modules/recommender";
const string kOnDemand = kBase + "/rest/v2/experience/modules/get/discover-aod?request-option=discover-aod-shows";
const string kOnDemandTail = "&format=json&page=1&count=1000&result-template=radio&exclude=episodes";
const string kEpisodes = kBase + "/rest/v1/shows?only=";

string text(const char* p)
{
    return p ? p : "<null>";
}

// What a host keeps of a record: the fields these lists fill.
string describe(const tql_content* c)
{
    if (!c)
        return "<none>";
    string out = "type=" + std::to_string(c->type) + " id=" + text(c->id) + " name=" + text(c->name) +
                 " desc=" + text(c->description) + " show=" + text(c->showGuid) + " ch=" + text(c->channelId) +
                 " v=" + std::to_string(c->showValue1) + "/" + std::to_string(c->showValue2) + "/" +
                 std::to_string(c->tileValue1) + "/" + std::to_string(c->tileValue2);
    if (c->categoryKey && *c->categoryKey)
        out += " key=" + string(c->categoryKey);
    if (c->episodeId && *c->episodeId)
        out += " ep=" + string(c->episodeId) + " start=" + text(c->episodeStart) + " until=" + text(c->episodeExtra);
    for (const tql_contentImage& image : c->images)
        if (image.url)
            out += " img=" + string(image.url) + "@" + std::to_string(image.width);
    return out;
}

struct Host {
    std::vector<string> calls;
};
Host* g_host = nullptr;

int onForYou(void*, tql_content* c, int isLast)
{
    g_host->calls.push_back("forYou " + describe(c) + " last=" + std::to_string(isLast));
    return 0;
}

int onDemand(void*, tql_content* c, int one, int isLast)
{
    g_host->calls.push_back("demand " + describe(c) + " one=" + std::to_string(one) + " last=" +
                            std::to_string(isLast));
    return 1;
}

void onEpisodes(void*, const char* show, tql_content* episodes, int count)
{
    g_host->calls.push_back("episodes of " + text(show) + " count=" + std::to_string(count));
    for (int i = 0; i < count; ++i)
        g_host->calls.push_back("  " + describe(&episodes[i]));
}

class OnDemandDelivery : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_host = &host;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onForYou = onForYou, cb.onDemand = onDemand, cb.onEpisodes = onEpisodes;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        port().requests.clear();
    }
    void TearDown() override
    {
        PortTest::TearDown();
        g_host = nullptr;
    }
    static void answer(const string& url, const string& body, bool prefix = false, int uses = -1)
    {
        testport::Route route;
        route.url = url;
        route.body = body;
        route.prefix = prefix;
        route.uses = uses;
        port().routes.insert(port().routes.begin(), route);
    }
    static std::vector<string> sentUrls()
    {
        std::vector<string> urls;
        for (const auto& request : port().requests)
            urls.push_back(request.url);
        return urls;
    }
    Host host;
};

string showsReply(const string& shows, int status = 1)
{
    return testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"AoD","moduleResponse":)"
                                  R"({"contentData":{"aodShows":{"shows":[)" + shows + "]}}}}",
                                  status);
}

string show(const string& guid)
{
    return R"({"newEpisodeCount":1,"showDescription":{"guid":")" + guid + R"(","longTitle":"Long )" + guid +
           R"(","shortDescription":"Short )" + guid + R"(","aodEpisodeCount":4,"relatedChannelIds":["ch)" + guid +
           R"("],"creativeArts":[{"name":"show logo on dark","url":"https://img.test/)" + guid +
           R"(.png","width":400,"height":400}]}})";
}

TEST_F(OnDemandDelivery, ShowsOfAGenreReachTheHostOneByOne)
{
    answer(kOnDemand + "&genre=rock" + kOnDemandTail, showsReply(show("a") + "," + show("b")));
    EXPECT_EQ(1, tql_getShowsByGenre("rock"));
    EXPECT_EQ(std::vector<string>{kOnDemand + "&genre=rock" + kOnDemandTail}, sentUrls());
    ASSERT_EQ(2u, host.calls.size());
    // Logos go out as the record holds them, without rebasing.
    EXPECT_EQ("demand type=1 id=a name=Long a desc=Short a show=a ch=cha v=4/1/0/0 key=rock "
              "img=https://img.test/a.png@400 img=https://img.test/a.png?width=300&height=300&preserveAspect=true@300 "
              "img=https://img.test/a.png?width=200&height=200&preserveAspect=true@200 "
              "img=https://img.test/a.png?width=100&height=100&preserveAspect=true@100 one=1 last=0",
              host.calls[0]);
    EXPECT_EQ(0u, host.calls[1].find("demand type=1 id=b "));
    EXPECT_NE(string::npos, host.calls[1].find("last=1"));
    EXPECT_TRUE(port().logged("2 On Demand shows reported"));
}

TEST_F(OnDemandDelivery, AGenreWinsOverAChannelAndAChannelAloneIsSent)
{
    answer(kOnDemand, showsReply(show("a")), true);
    EXPECT_EQ(1, tql_getShows("jazz", "ch9"));
    EXPECT_EQ(1, tql_getShowsByChannelId("ch9"));
    EXPECT_EQ(1, tql_getShows(nullptr, nullptr));
    EXPECT_EQ((std::vector<string>{kOnDemand + "&genre=jazz" + kOnDemandTail, kOnDemand + "&channelId=ch9" + kOnDemandTail,
                                   kOnDemand + kOnDemandTail}),
              sentUrls());
    // The genre key rides on each record; none was asked for by channel.
    EXPECT_NE(string::npos, host.calls[0].find(" key=jazz "));
    EXPECT_EQ(string::npos, host.calls[1].find(" key="));
}

TEST_F(OnDemandDelivery, EmptyListIsOneCallWithoutAShowAndFails)
{
    answer(kOnDemand, showsReply(""), true);
    EXPECT_EQ(-1, tql_getShowsByGenre("none"));
    EXPECT_EQ(std::vector<string>{"demand <none> one=1 last=1"}, host.calls);
    EXPECT_TRUE(port().logged("Empty On Demand shows callback sent", 3));
}

TEST_F(OnDemandDelivery, NoModuleAfterFiveTriesGivesZeroAndAFifthBadStatusIsStillRead)
{
    // A reply without the list: five tries, nothing delivered, 0.
    answer(kOnDemand, testport::serviceReply("", 0, "[]"), true);
    EXPECT_EQ(0, tql_getShowsByGenre("x"));
    EXPECT_EQ(5u, port().requests.size());
    EXPECT_TRUE(port().logged("No modules found", 1));
    EXPECT_TRUE(host.calls.empty());

    // Five replies of another status: the last one's shows still go out.
    port().requests.clear();
    answer(kOnDemand, showsReply(show("late"), 0), true);
    EXPECT_EQ(1, tql_getShowsByGenre("x"));
    EXPECT_EQ(5u, port().requests.size());
    ASSERT_EQ(1u, host.calls.size());
    EXPECT_EQ(0u, host.calls[0].find("demand type=1 id=late "));
}

string episode(const string& ca, bool special)
{
    return R"({"episodeGUID":"g-)" + ca + R"(","longTitle":"Title )" + ca + R"(","shortDescription":"Short )" + ca +
           R"(","originalAirDate":"2024-03-01","publicationInfo":{"accessControlIdentifier":")" + ca +
           R"(","expiryDate":"2099"},"channelId":"ch","duration":72,"special":)" + (special ? "true" : "false") + "}";
}

TEST_F(OnDemandDelivery, EpisodesOfAShowComeInOneCall)
{
    answer(kEpisodes + "show-1&get-episodes=true",
           R"({"showList":[{"shows":{"showGUID":"show-1","creativeArts":[{"name":"show logo on dark",)"
           R"("url":"https://img.test/s.png","width":900}],"aodEpisodes":{"episodes":[)" +
               episode("ca-1", false) + "," + episode("ca-2", true) + "]}}}]}");
    EXPECT_EQ(1, tql_getEpisodes("show-1"));
    EXPECT_EQ(std::vector<string>{kEpisodes + "show-1&get-episodes=true"}, sentUrls());
    const string logos = " img=https://img.test/s.png?width=700&height=700&preserveAspect=true@700"
                         " img=https://img.test/s.png?width=500&height=500&preserveAspect=true@500"
                         " img=https://img.test/s.png?width=300&height=300&preserveAspect=true@300"
                         " img=https://img.test/s.png?width=100&height=100&preserveAspect=true@100";
    // A regular episode leads with its short description; a special with its title.
    EXPECT_EQ((std::vector<string>{
                  "episodes of show-1 count=2",
                  "  type=2 id=ca-1 name=Short ca-1 desc=Title ca-1 show=show-1 ch=ch v=0/0/72/0 ep=ca-1 "
                  "start=2024-03-01 until=2099" + logos,
                  "  type=2 id=ca-2 name=Title ca-2 desc=Short ca-2 show=show-1 ch=ch v=0/0/72/1 ep=ca-2 "
                  "start=2024-03-01 until=2099" + logos}),
              host.calls);
    EXPECT_TRUE(port().logged("2 episodes reported", 3));
}

TEST_F(OnDemandDelivery, AShowWithoutEpisodesIsACallWithCountZero)
{
    answer(kEpisodes, R"({"showList":[{"shows":{"showGUID":"empty"}}]})", true);
    EXPECT_EQ(1, tql_getEpisodes("empty"));
    EXPECT_EQ(std::vector<string>{"episodes of empty count=0"}, host.calls);

    // No show list at all: nothing to deliver, and 0.
    host.calls.clear();
    answer(kEpisodes, R"({"other":[]})", true);
    EXPECT_EQ(0, tql_getEpisodes("gone"));
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(OnDemandDelivery, RecommendationsArePostedAndDeliveredAsForYouTiles)
{
    answer(kRecommender,
           testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"RecommendationsForYou",)"
                                  R"("moduleResponse":{"tqlRecommender":[{"channel":{"channelGuid":"g1","name":"One",)"
                                  R"j("creativeArts":[{"name":"color channel logo (on dark)","url":"https://IMG.test/l.png",)j"
                                  R"("width":400}]}},{"episode":{"longTitle":"Ep","publicationInfo":)"
                                  R"({"accessControlIdentifier":"ca-9"}}}]}})"));
    tql_errorNotification error{};
    EXPECT_EQ(1, tql_get_forYou(&error));
    ASSERT_EQ(1u, port().requests.size());
    EXPECT_EQ(kRecommender, port().requests[0].url);
    EXPECT_EQ(1, port().requests[0].isPost);
    ASSERT_EQ(2u, host.calls.size());
    // The logo is parsed with its host in small letters.
    EXPECT_EQ(0u, host.calls[0].find("forYou type=0 id= name=One "));
    EXPECT_NE(string::npos, host.calls[0].find(" img=https://img.test/l.png@400 "));
    EXPECT_NE(string::npos, host.calls[0].find("last=0"));
    EXPECT_EQ(0u, host.calls[1].find("forYou type=0 id= name=Ep "));
    EXPECT_NE(string::npos, host.calls[1].find(" ep=ca-9 "));
    EXPECT_NE(string::npos, host.calls[1].find("last=1"));

    // None to recommend: one call without a tile.
    host.calls.clear();
    answer(kRecommender, testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"RecommendationsForYou",)"
                                                R"("moduleResponse":{"tqlRecommender":[]}})"));
    EXPECT_EQ(1, tql_get_forYou(&error));
    EXPECT_EQ(std::vector<string>{"forYou <none> last=1"}, host.calls);
}

} // namespace
