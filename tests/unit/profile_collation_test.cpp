// The profile reply as a collation call parses it: favorites, presets,
// recent plays and pause points into one record, whole replies through the
// router, cut into pieces of several sizes.
#include <memory>
#include <string>
#include <vector>

#include "PortTest.h"
#include "ReplyParser.h"
#include "ServiceReplies.h"
#include "TestText.h"
#include "tamberResponse/tamberProfileCollation.h"

namespace {

using std::string;
using testport::join;

const size_t kPieces[] = {1, 7, 1 << 20};

string collationModule(const string& lists)
{
    return R"({"moduleArea":"Profile","moduleType":"GUPCollation","moduleResponse":{)" + lists +
           R"(},"moduleGUID":"m-1","moduleSubType":"all"})";
}

std::vector<string> items(const TQLModuleResponseProfileGUPCollation& c)
{
    std::vector<string> out;
    for (const TQLGUPCollationItem& i : c.m_items)
        out.push_back(join(i.assetGUID, i.assetType, i.assetName, i.channelId, i.contentType, i.tabSortOrder,
                           i.episodeCount, i.changeType, i.createdDateTime));
    return out;
}

std::vector<string> recents(const TQLModuleResponseProfileGUPCollation& c)
{
    std::vector<string> out;
    for (const TQLRecentlyPlayed& r : c.m_recentlyPlayed) {
        string logos;
        for (const TQLImage& image : r.showLogos)
            logos += join(image.url, image.width, image.height);
        out.push_back(join(r.assetType, r.recentlyPlayedGuid, r.recentPlayType, r.assetGUID, r.channelGuid,
                           r.episodeTitle, r.shortEpisodeDescription, r.startStreamDateTime, r.aodEpisodeExpiryDate,
                           r.aodPercentConsumed, r.incognito) +
                      "logos:" + logos);
    }
    return out;
}

std::vector<string> pausePoints(const TQLModuleResponseProfileGUPCollation& c)
{
    std::vector<string> out;
    for (const TQLAODPausePoint& p : c.m_pausePoints)
        out.push_back(join(p.assetType, p.assetGUID, p.showGUID, p.aodPercentConsumed));
    return out;
}

class ProfileCollation : public PortTest {
protected:
    // The one collation record of a reply, or a failure.
    static const TQLModuleResponseProfileGUPCollation* parsed(const std::unique_ptr<TQLResponse>& response)
    {
        EXPECT_EQ(1u, response->m_modules.size());
        return firstModule<TQLModuleResponseProfileGUPCollation>(response.get());
    }
};

TEST_F(ProfileCollation, FavoritesThenPresetsKeepArrivalOrderAndTheirOwnTypes)
{
    const string reply = testport::serviceReply(collationModule(
        R"("favoritesList":{"favorites":[)"
        R"({"assetGUID":"f1","assetType":"channel","assetName":"One","channelId":"c1","contentType":"live","episodeCount":0},)"
        R"({"assetGUID":"f2","assetType":"show","assetName":"Two","episodeCount":12.9},)"
        R"({"assetGUID":"f3","assetType":"episode","channelId":"c3"},)"
        R"({"assetGUID":"f4","assetType":"podcast","contentType":"aod"}]},)"
        R"("presetsList":{"presets":[)"
        R"({"assetGUID":"p1","assetType":"channel","contentType":"live","channelId":"c1","tabSortOrder":2},)"
        R"({"assetGUID":"p2","assetType":"channel","contentType":"aic","channelId":"a9","tabSortOrder":-1.5},)"
        R"({"assetGUID":"p3","assetType":"episode","tabSortOrder":7}]})"));
    for (size_t piece : kPieces) {
        SCOPED_TRACE(piece);
        auto response = testport::parseReply(reply, piece);
        const TQLModuleResponseProfileGUPCollation* c = parsed(response);
        ASSERT_NE(nullptr, c);
        // An unknown asset type leaves the default; a preset's content type is
        // not kept, and "aic" wins over "channel" read before it.
        EXPECT_EQ((std::vector<string>{"f1|0|One|c1|live|0|0|||", "f2|1|Two|||0|12|||", "f3|2||c3||0|0|||",
                                       "f4|0|||aod|0|0|||", "p1|0||c1||2|0|||", "p2|3||a9||-1|0|||",
                                       "p3|2||||7|0|||"}),
                  items(*c));
        EXPECT_TRUE(c->m_recentlyPlayed.empty());
        EXPECT_TRUE(c->m_pausePoints.empty());
        // Made by key: the area and type that came before stay with the router;
        // what follows the lists reaches the record.
        const TQLModule& m = response->m_modules.front();
        EXPECT_EQ(join("", "", "m-1", "all"), join(m.moduleArea, m.moduleType, m.moduleGUID, m.moduleSubType));
        EXPECT_EQ(1, response->m_status);
        EXPECT_EQ(1u, response->m_messages.size());
    }
}

TEST_F(ProfileCollation, RecentEpisodesGetSizedShowLogosAndChannelsKeepTheirs)
{
    const string logos = R"("showLogos":[{"name":"show logo","url":"https://img.test/a.png","width":50,"height":50},)"
                         R"({"name":"show logo on dark","url":"https://IMG.Test/Dark.png?v=1","width":9,"height":9},)"
                         R"({"name":"show logo on dark","url":"https://img.test/second.png"}])";
    const string reply = testport::serviceReply(collationModule(
        R"("recentlyPlayedData":{"recentlyPlayeds":[)"
        R"({"assetType":"channel","recentlyPlayedGuid":"r1","recentPlayType":"live","assetGUID":"a1",)"
        R"("channelGuid":"g1","incognito":false,"showLogos":[{"name":"any","url":"https://img.test/c.png","width":80,"height":60}]},)"
        R"({"assetType":"aodEpisode","recentlyPlayedGuid":"r2","assetGUID":"a2","episodeTitle":"Ep",)"
        R"("shortEpisodeDescription":"D","startStreamDateTime":"S","aodEpisodeExpiryDate":"E",)"
        R"("aodPercentConsumed":41.7,"incognito":true,)" + logos + "},"
        R"({"assetType":"aodEpisode","assetGUID":"a3","showLogos":[{"name":"show logo","url":"https://img.test/x.png"}]},)"
        R"({"assetType":"song","assetGUID":"a4"}]})"));
    const string sized = "https://img.test/Dark.png?v=1&width=%d&height=%d&preserveAspect=true";
    string dark;
    for (int size : {400, 300, 200, 100}) {
        char url[200];
        snprintf(url, sizeof url, sized.c_str(), size, size);
        dark += join(url, size, size);
    }
    for (size_t piece : kPieces) {
        SCOPED_TRACE(piece);
        auto response = testport::parseReply(reply, piece);
        const TQLModuleResponseProfileGUPCollation* c = parsed(response);
        ASSERT_NE(nullptr, c);
        EXPECT_EQ((std::vector<string>{
                      "0|r1|live|a1|g1|||||0|0|logos:https://img.test/c.png|80|60|",
                      "2|r2||a2||Ep|D|S|E|41|1|logos:" + dark,
                      "2|||a3||||||0|0|logos:", // no "show logo on dark": the logos vanish
                      "0|||a4||||||0|0|logos:",
                  }),
                  recents(*c));
    }
}

TEST_F(ProfileCollation, PausePointsAreEpisodesByDefaultAndAfterEachEntry)
{
    const string reply = testport::serviceReply(collationModule(
        R"("pausePointTypes":[{"assetType":"show","assetGUID":"e1","showGUID":"s1","aodPercentConsumed":10},)"
        R"({"assetGUID":"e2","showGUID":"s2","aodPercentConsumed":99.9},{"assetType":"aodEpisode","assetGUID":"e3"}])"));
    for (size_t piece : kPieces) {
        SCOPED_TRACE(piece);
        auto response = testport::parseReply(reply, piece);
        const TQLModuleResponseProfileGUPCollation* c = parsed(response);
        ASSERT_NE(nullptr, c);
        EXPECT_EQ((std::vector<string>{"2|e1|s1|10|", "2|e2|s2|99|", "2|e3||0|"}), pausePoints(*c));
    }
}

// Any one of the four keys makes the record; a reply with none of them
// yields its envelope only, and one with all four fills every list.
TEST_F(ProfileCollation, EachListKeyAloneSelectsTheHandler)
{
    const string lists[] = {R"("favoritesList":{"favorites":[{"assetGUID":"f"}]})",
                            R"("presetsList":{"presets":[{"assetGUID":"p"}]})",
                            R"("recentlyPlayedData":{"recentlyPlayeds":[{"assetGUID":"r"}]})",
                            R"("pausePointTypes":[{"assetGUID":"e"}])"};
    for (const string& list : lists) {
        SCOPED_TRACE(list);
        auto response = testport::parseReply(testport::serviceReply(collationModule(list)), 5);
        const TQLModuleResponseProfileGUPCollation* c = parsed(response);
        ASSERT_NE(nullptr, c);
        EXPECT_EQ(1u, c->m_items.size() + c->m_recentlyPlayed.size() + c->m_pausePoints.size());
    }
    auto none = testport::parseReply(
        testport::serviceReply(collationModule(R"("favorites":[{"assetGUID":"f"}],"presets":{"x":1})")), 5);
    EXPECT_TRUE(none->m_modules.empty());
    EXPECT_EQ(1, none->m_status);

    auto all = testport::parseReply(testport::serviceReply(collationModule(
                                        lists[0] + "," + lists[1] + "," + lists[2] + "," + lists[3])),
                                    3);
    const TQLModuleResponseProfileGUPCollation* c = parsed(all);
    ASSERT_NE(nullptr, c);
    EXPECT_EQ((std::vector<string>{"f|0||||0|0|||", "p|0||||0|0|||"}), items(*c));
    EXPECT_EQ(1u, c->m_recentlyPlayed.size());
    EXPECT_EQ((std::vector<string>{"2|e||0|"}), pausePoints(*c));
}

// Values of unexpected JSON types go nowhere, and an empty list adds nothing.
TEST_F(ProfileCollation, OddValuesAreDroppedAndEmptyListsStayEmpty)
{
    auto response = testport::parseReply(
        testport::serviceReply(collationModule(
            R"("favoritesList":{"favorites":[]},"presetsList":{"presets":[{"assetGUID":7,"tabSortOrder":"3",)"
            R"("channelId":null,"assetType":true,"contentType":{"x":"aic"}}]},"recentlyPlayedData":{"recentlyPlayeds":[]},)"
            R"("pausePointTypes":[])")),
        2);
    const TQLModuleResponseProfileGUPCollation* c = parsed(response);
    ASSERT_NE(nullptr, c);
    EXPECT_EQ((std::vector<string>{"|0||||0|0|||"}), items(*c));
    EXPECT_TRUE(c->m_recentlyPlayed.empty());
    EXPECT_TRUE(c->m_pausePoints.empty());
}

} // namespace
