// Recommendations, on-demand shows, episodes and program data as the router
// reads them: which records come out, which logo each keeps and in what
// sizes, and what is dropped. Replies are cut into pieces of several sizes.
#include <memory>
#include <string>
#include <vector>

#include "PortTest.h"
#include "ReplyParser.h"
#include "ServiceReplies.h"
#include "tamberResponse/tamberAODListing.h"
#include "tamberResponse/tamberChannelListPDT.h"
#include "tamberResponse/tamberEpisodeListing.h"
#include "tamberResponse/tamberForYou.h"

namespace {

using std::string;

// Parses the reply whole and in small pieces; the records must not differ.
template <class Summary>
string parsed(const string& reply, Summary summary)
{
    const string whole = summary(*testport::parseReply(reply, reply.size()));
    for (size_t piece : {1, 13})
        EXPECT_EQ(summary(*testport::parseReply(reply, piece)), whole) << "piece " << piece;
    return whole;
}

string image(const string& name, const string& url, int width)
{
    return R"({"name":")" + name + R"(","url":")" + url + R"(","width":)" + std::to_string(width) +
           R"(,"height":)" + std::to_string(width) + "}";
}

string images(const tql_list<TQLImage>& list)
{
    string out;
    for (const TQLImage& i : list)
        out += (out.empty() ? "" : " | ") + i.url.toStdString() + " " + std::to_string(i.width) + "x" +
               std::to_string(i.height);
    return out;
}

string sized(const string& url, int size)
{
    string n = std::to_string(size);
    return url + "?width=" + n + "&height=" + n + "&preserveAspect=true " + n + "x" + n;
}

class RecommenderHandler : public PortTest {};
class OnDemandHandler : public PortTest {};
// Started, so that the library's log lines reach the port.
class EpisodeHandler : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
    }
};
class ProgramDataHandler : public PortTest {};

// ---- recommendations -------------------------------------------------------

string recommender(const string& items)
{
    return testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"RecommendationsForYou",)"
                                  R"("moduleResponse":{"tqlRecommender":[)" + items + "]}}");
}

const tql_list<TQLContent>* recommendations(const TQLResponse& response)
{
    if (response.m_modules.size() != 1)
        return nullptr;
    auto* record = dynamic_cast<TQLModuleResponseForYou*>(response.m_modules.front().m_moduleResponse);
    return record ? &record->m_contents : nullptr;
}

string tileSummary(const TQLResponse& response)
{
    const tql_list<TQLContent>* tiles = recommendations(response);
    if (!tiles)
        return "<no recommender module>";
    string out;
    for (const TQLContent& t : *tiles)
        out += (out.empty() ? "" : "; ") + ("type=" + std::to_string(t.type) + " id=" + t.id.toStdString() +
                                            " name=" + t.name.toStdString() + " ch=" + t.channelGuid.toStdString() +
                                            " ep=" + t.episodeId.toStdString() + " sort=" +
                                            std::to_string(t.sortOrder) + " fav=" + std::to_string(t.isFavorite) +
                                            " imgs=[" + images(t.images) + "]");
    return out;
}

TEST_F(RecommenderHandler, ChannelAndEpisodeTilesWithTheirBestLogoInFourSizes)
{
    const string channel =
        R"({"score":7,"channel":{"channelGuid":"g-1","channelId":"one","name":"One","sortOrder":12,)"
        R"("isFavorite":true,"tamberChannelNumber":"5","creativeArts":[)" +
        image("color channel logo (on light)", "https://img.test/light.png", 1000) + "," +
        image("color channel logo (on dark)", "https://img.test/dark.png", 800) + "]}}";
    const string episode =
        R"({"score":3,"episode":{"show":{"showGuid":"s-1","episodeCount":4,"channels":[{"name":"Its channel"}],)"
        R"("creativeArts":[)" +
        image("show logo on dark", "https://img.test/a.png", 3) + "," + image("show logo on dark", "https://img.test/b.png", 3) +
        R"(]},"episodeGUID":"e-guid","publicationInfo":{"accessControlIdentifier":"ca-1"},"aodEpisodeGUID":"aod-guid",)"
        R"("longTitle":"Episode title","duration":1800}})";
    const string summary = parsed(recommender(channel + "," + episode), tileSummary);
    // Sizes step by a quarter of the width; the first is the plain URL. A
    // width of 3 steps by 0, and the first of two equal logos wins.
    EXPECT_EQ("type=0 id= name=One ch=g-1 ep= sort=12 fav=1 imgs=[https://img.test/dark.png 800x800 | " +
                  sized("https://img.test/dark.png", 600) + " | " + sized("https://img.test/dark.png", 400) + " | " +
                  sized("https://img.test/dark.png", 200) +
                  "]; type=0 id= name=Episode title ch= ep=aod-guid sort=3 fav=0 imgs=[https://img.test/a.png 3x3 | " +
                  sized("https://img.test/a.png", 3) + " | " + sized("https://img.test/a.png", 3) + " | " +
                  sized("https://img.test/a.png", 3) + "]",
              summary);
}

TEST_F(RecommenderHandler, TileWithoutAUsableLogoKeepsItsImagesAsTheyCame)
{
    const string noDarkLogo = R"({"channel":{"channelGuid":"g-2","creativeArts":[)" +
                              image("color channel logo (on light)", "https://img.test/light.png", 360) + "]}}";
    const string darkWithoutUrl = R"({"channel":{"channelGuid":"g-3","creativeArts":[)" +
                                  image("other", "https://img.test/other.png", 100) + "," +
                                  R"j({"name":"color channel logo (on dark)","width":720}]}})j";
    EXPECT_EQ("type=0 id= name= ch=g-2 ep= sort=0 fav=0 imgs=[https://img.test/light.png 360x360]; "
              "type=0 id= name= ch=g-3 ep= sort=0 fav=0 imgs=[https://img.test/other.png 100x100 |  720x0]",
              parsed(recommender(noDarkLogo + "," + darkWithoutUrl), tileSummary));
}

TEST_F(RecommenderHandler, EmptyListGivesAModuleWithoutTiles)
{
    auto response = testport::parseReply(recommender(""), 1000);
    const tql_list<TQLContent>* tiles = recommendations(*response);
    ASSERT_NE(nullptr, tiles);
    EXPECT_TRUE(tiles->empty());
}

// ---- on-demand shows ----------------------------------------------------------

string showsReply(const string& shows)
{
    return testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"AoD","moduleResponse":)"
                                  R"({"contentData":{"aodShows":{"shows":[)" + shows + "]}}}}");
}

string show(const string& guid, const string& arts, const string& extra = "")
{
    return R"({"newEpisodeCount":2,"showDescription":{"guid":")" + guid +
           R"(","longTitle":"Long )" + guid + R"(","shortDescription":"Short","aodEpisodeCount":9,)"
           R"("relatedChannelIds":["first","last"],"channels":{"channels":[{"name":"A"},{"name":"B"}]},)"
           R"("legacyIds":{"shortId":"sid"})" + extra + R"(,"creativeArts":[)" + arts + "]}}";
}

string showSummary(const TQLResponse& response)
{
    if (response.m_modules.size() != 1)
        return "<modules: " + std::to_string(response.m_modules.size()) + ">";
    auto* record = dynamic_cast<TQLModuleResponseAODListing*>(response.m_modules.front().m_moduleResponse);
    if (!record)
        return "<no on-demand module>";
    string out;
    for (const TQLAODShow& s : record->m_shows)
        out += (out.empty() ? "" : "; ") + s.guid.toStdString() + " '" + s.longTitle.toStdString() + "' ch=" +
               s.channelId.toStdString() + "/" + s.channelName.toStdString() + " n=" +
               std::to_string(s.aodEpisodeCount) + "/" + std::to_string(s.newEpisodeCount) + " id=" +
               s.shortId.toStdString() + " imgs=[" + images(s.creativeArts) + "]";
    return out;
}

TEST_F(OnDemandHandler, ShowsWithTheirShowLogoScaledAndOthersUnscaled)
{
    const string scaled = show("s1", image("show logo on light", "https://img.test/l.png", 900) + "," +
                                         image("show logo on dark", "https://img.test/d.png", 400));
    const string unscaled = show("s2", image("show logo on light", "https://img.test/l2.png", 900));
    const string none = show("s3", "");
    EXPECT_EQ("s1 'Long s1' ch=last/B n=9/2 id=sid imgs=[https://img.test/d.png 400x400 | " +
                  sized("https://img.test/d.png", 300) + " | " + sized("https://img.test/d.png", 200) + " | " +
                  sized("https://img.test/d.png", 100) +
                  "]; s2 'Long s2' ch=last/B n=9/2 id=sid imgs=[https://img.test/l2.png 900x900]; "
                  "s3 'Long s3' ch=last/B n=9/2 id=sid imgs=[]",
              parsed(showsReply(scaled + "," + unscaled + "," + none), showSummary));
}

TEST_F(OnDemandHandler, EmptyOrMissingShowListGivesAnEmptyRecord)
{
    EXPECT_EQ("", parsed(showsReply(""), showSummary));
    const string noList = testport::serviceReply(
        R"({"moduleArea":"Discovery","moduleType":"AoD","moduleResponse":{}})");
    EXPECT_EQ("", parsed(noList, showSummary));
}

// ---- episodes -----------------------------------------------------------------

string episode(const string& ca, const string& extra = "")
{
    return R"({"episodeGUID":"g-)" + ca + R"(","longTitle":"Title )" + ca +
           R"(","shortDescription":"Short )" + ca + R"(","originalAirDate":"2024-03-01T09:00:00.000+00:00",)"
           R"("publicationInfo":{"accessControlIdentifier":")" + ca +
           R"(","expiryDate":"2099"},"channelId":"ch","duration":72)" + extra + "}";
}

string showList(const string& shows)
{
    return R"({"showList":[)" + shows + "]}";
}

string episodeSummary(const TQLResponse& response)
{
    string out = "modules=" + std::to_string(response.m_modules.size());
    for (const TQLModule& module : response.m_modules) {
        auto* record = dynamic_cast<TQLModuleResponseEpisodeListing*>(module.m_moduleResponse);
        if (!record)
            return out + " <not an episode listing>";
        for (const TQLAODEpisode& e : record->aodEpisodes())
            out += "; " + e.accessControlIdentifier.toStdString() + " show=" + e.showGUID.toStdString() +
                   " special=" + std::to_string(e.special) + " imgs=[" + images(e.images) + "]";
    }
    return out;
}

TEST_F(EpisodeHandler, EveryEpisodeCarriesTheShowsWidestLogoInFourSizes)
{
    const string arts = R"("creativeArts":[)" + image("show logo on dark", "https://img.test/narrow.png", 300) + "," +
                        image("show logo on dark", "https://img.test/wide.png", 1200) + "," +
                        image("show logo on dark", "https://img.test/same.png", 1200) + "],";
    const string reply = showList(R"({"shows":{"showGUID":"show-1",)" + arts + R"("aodEpisodes":{"episodes":[)" +
                                  episode("ca-1", R"(,"special":true)") + "," + episode("ca-2") + "]}}}");
    string logos;
    for (int size : {700, 500, 300, 100})
        logos += (logos.empty() ? "" : " | ") + sized("https://img.test/wide.png", size);
    EXPECT_EQ("modules=1; ca-1 show=show-1 special=1 imgs=[" + logos + "]; ca-2 show=show-1 special=0 imgs=[" +
                  logos + "]",
              parsed(reply, episodeSummary));
}

TEST_F(EpisodeHandler, NoShowLogoOrALateOneLeavesEpisodesWithoutImages)
{
    port().logs.clear();
    const string noLogo = showList(R"({"shows":{"showGUID":"s","creativeArts":[)" +
                                   image("show logo on light", "https://img.test/x.png", 500) +
                                   R"(],"aodEpisodes":{"episodes":[)" + episode("ca-1") + "]}}}");
    EXPECT_EQ("modules=1; ca-1 show=s special=0 imgs=[]", parsed(noLogo, episodeSummary));
    EXPECT_TRUE(port().logged("Failed to parse the show icon url", 2));

    const string late = showList(R"({"shows":{"showGUID":"s","aodEpisodes":{"episodes":[)" + episode("ca-1") +
                                 R"(]},"creativeArts":[)" + image("show logo on dark", "https://img.test/d.png", 500) +
                                 "]}}");
    EXPECT_EQ("modules=1; ca-1 show=s special=0 imgs=[]", parsed(late, episodeSummary));
}

TEST_F(EpisodeHandler, EachShowOfTheListIsAModuleOfItsOwn)
{
    const string reply = showList(R"({"shows":{"showGUID":"a","aodEpisodes":{"episodes":[)" + episode("a-1") +
                                  R"(]}}},{"shows":{"showGUID":"b","aodEpisodes":{"episodes":[)" + episode("b-1") +
                                  "]}}}");
    EXPECT_EQ("modules=2; a-1 show=a special=0 imgs=[]; b-1 show=b special=0 imgs=[]", parsed(reply, episodeSummary));
    EXPECT_EQ("modules=1", parsed(showList(R"({"shows":{"showGUID":"a"}})"), episodeSummary));
}

// ---- program data -------------------------------------------------------------

string pdtReply(const string& channels, const string& frequency = "30")
{
    return testport::serviceReply(R"({"moduleArea":"Discovery","moduleType":"PDT","updateFrequency":)" + frequency +
                                      R"(,"wallClockRenderTime":"now","moduleResponse":{"moduleDetails":)"
                                      R"({"liveChannelResponse":{"liveChannelResponses":[)" + channels + "]}}}}",
                                  100);
}

string marker(const string& title, long long time, const string& artists = R"([{"name":"Artist"}])")
{
    return R"({"time":)" + std::to_string(time) + R"(,"duration":24,"cut":{"title":")" + title +
           R"(","artists":)" + artists + R"(,"album":{"title":"Album"}}})";
}

string layer(const string& name, const string& markers)
{
    return R"({"layer":")" + name + R"(","markers":[)" + markers + "]}";
}

string pdtSummary(const TQLResponse& response)
{
    if (response.m_modules.size() != 1)
        return "<modules: " + std::to_string(response.m_modules.size()) + ">";
    auto* record = dynamic_cast<TQLModuleResponseChannelListPDT*>(response.m_modules.front().m_moduleResponse);
    if (!record)
        return "<no program data module>";
    string out = "every " + std::to_string(record->updateFrequency) + " s at " +
                 record->wallClockRenderTime.toStdString();
    for (const TQLChannelListPDTCut& c : record->m_cuts)
        out += "; " + c.channelId.toStdString() + " " + c.title.toStdString() + " by " + c.artistName.toStdString() +
               " at " + std::to_string(c.time) + " for " + std::to_string(c.duration);
    return out;
}

TEST_F(ProgramDataHandler, OnlyCutLayersCountAndEachChannelNamesItsCuts)
{
    const string one = R"({"channelId":"one","markerLists":[)" + layer("episode", marker("Show", 1)) + "," +
                       layer("cut", marker("A", 1700000000000LL) + "," +
                                        marker("B", 1700000024000LL, R"([{"name":"X"},{"name":"Y"}])")) +
                       "]}";
    // The id after the markers, and a layer whose name only begins with "cut".
    const string two = R"({"markerLists":[)" + layer("cutlist", marker("C", 5)) + R"(],"channelId":"two"})";
    EXPECT_EQ("every 30 s at now; one A by Artist at 1700000000000 for 24; one B by Y at 1700000024000 for 24; "
              "two C by Artist at 5 for 24",
              parsed(pdtReply(one + "," + two), pdtSummary));
}

TEST_F(ProgramDataHandler, ChannelsWithoutCutsOrIdsAndHostileNumbers)
{
    // No cut layer: nothing. No channel id: the cut is kept with an empty one.
    const string noCuts = R"({"channelId":"one","markerLists":[)" + layer("episode", marker("Show", 1)) + "]}";
    const string noId = R"({"markerLists":[)" + layer("cut", marker("D", 7)) + "]}";
    EXPECT_EQ("every 3 s at now;  D by Artist at 7 for 24", parsed(pdtReply(noCuts + "," + noId, "\"3\""), pdtSummary));
    // Times beyond 64 bits saturate instead of converting undefinedly.
    const string huge = R"({"channelId":"h","markerLists":[{"layer":"cut","markers":[{"time":1e300,"duration":-1e300}]}]})";
    EXPECT_EQ("every 30 s at now; h  by  at 9223372036854775807 for -2147483648", parsed(pdtReply(huge), pdtSummary));
    EXPECT_EQ("every 30 s at now", parsed(pdtReply(""), pdtSummary));
}

} // namespace
