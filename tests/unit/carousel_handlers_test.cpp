// Favorites, recents, for-you and search replies, parsed as a service call
// parses them: whole replies through the router, cut into pieces of several sizes.
#include <memory>
#include <string>
#include <vector>

#include "PortTest.h"
#include "ReplyParser.h"
#include "ServiceReplies.h"
#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberCarousel.h"

namespace {

using std::string;

const unsigned kFav = kCarouselFavorites, kRec = kCarouselRecents, kYou = kCarouselForYou, kSearch = kCarouselSearch;
const string kDot = " \xE2\x80\xA2 ";
const string kExpiry = "2026-11-21T10:00:00.000+0000";

// "a=1;b=2" as [{"<key>":"a","<value>":"1"},..]; "^a=1" sends the value first.
string maps(const string& list, const string& key, const string& value)
{
    string out;
    for (size_t at = 0; at < list.size();) {
        size_t end = std::min(list.find(';', at), list.size()), eq = list.find('=', at);
        bool valueFirst = list[at] == '^';
        string k = "\"" + key + "\":\"" + list.substr(at + valueFirst, eq - at - valueFirst) + "\"";
        string v = "\"" + value + "\":\"" + list.substr(eq + 1, end - eq - 1) + "\"";
        out += string(out.empty() ? "" : ",") + "{" + (valueFirst ? v + "," + k : k + "," + v) + "}";
        at = end + 1;
    }
    return "[" + out + "]";
}

// A tile of the type "type" or "type/subtype", its asset info, texts and images.
string tile(const string& type, const string& assets, const string& texts = "", const string& images = "",
            bool markupFirst = false)
{
    size_t slash = type.find('/');
    string head = "\"tileContentType\":\"" + type.substr(0, slash) + "\"";
    if (slash != string::npos)
        head += ",\"tileContentSubType\":\"" + type.substr(slash + 1) + "\"";
    string info = "\"tileAssetInfo\":" + maps(assets, "assetInfoKey", "assetInfoValue");
    string markup = "\"tileMarkup\":{\"tileImage\":" + maps(images, "imageClass", "imageLink") +
        ",\"tileText\":" + maps(texts, "textClass", "textValue") + "}";
    return "{" + head + "," + (markupFirst ? markup + "," + info : info + "," + markup) + "}";
}

string module(const string& area, const string& type, const string& moduleResponse)
{
    return "{\"moduleArea\":\"" + area + "\",\"moduleType\":\"" + type + "\",\"moduleResponse\":" + moduleResponse +
        "}";
}

string titled(const string& title, const string& tiles)
{
    return "{\"carouselTitle\":{\"textValue\":\"" + title + "\"},\"carouselTiles\":[" + tiles + "]}";
}

// Each handler's reply around the same tiles, in the shape the service sends.
string replyFor(unsigned kind, const string& tiles)
{
    const string expiry = ",\"expiry\":\"" + kExpiry + "\"}";
    string m;
    if (kind == kFav)
        m = module("Discovery", "favorites_norvale",
                   "{\"contentToggleSelector\":{\"selectorSegment\":[{\"segmentCarousel\":[{\"carouselTiles\":[" +
                       tiles + "]}]}]}" + expiry);
    else if (kind == kRec)
        m = module("Discovery", "recents", "{\"carousel\":{\"carouselTiles\":[" + tiles + "]}" + expiry);
    else if (kind == kYou)
        m = module("Discovery", "for_you", "{\"carousel\":[" + titled("Picks", tiles) + "]" + expiry);
    else
        m = module("Search", "search", "{\"carousel\":[" + titled("Channels & Shows", tiles) + "]}");
    return testport::serviceReply(m);
}

std::unique_ptr<TQLResponse> parse(const string& reply, size_t piece)
{
    return testport::parseReply(reply, piece);
}

const tql_list<TQLContent>* tilesOf(const TQLResponse& response)
{
    if (response.m_modules.size() != 1)
        return nullptr;
    TQLModuleResponseBase* record = response.m_modules.front().m_moduleResponse;
    if (auto* carousel = dynamic_cast<TQLModuleResponseCarousel*>(record))
        return &carousel->m_contents;
    auto* search = dynamic_cast<TQLModuleResponseSearch*>(record);
    return search ? &search->m_contents : nullptr;
}

// What the host gets of each tile, empty fields left out; tiles split by "; ".
string summary(const TQLResponse& response)
{
    static const std::pair<const char*, tql_string TQLContent::*> fields[] = {
        {"id", &TQLContent::id},          {"name", &TQLContent::name},          {"desc", &TQLContent::description},
        {"ch", &TQLContent::channelGuid}, {"chId", &TQLContent::channelId},     {"show", &TQLContent::showGuid},
        {"ep", &TQLContent::episodeId},   {"start", &TQLContent::episodeStart}, {"cat", &TQLContent::categoryName},
        {"key", &TQLContent::categoryKey}};
    const tql_list<TQLContent>* tiles = tilesOf(response);
    if (!tiles)
        return "<no single carousel module>";
    string out;
    for (const TQLContent& c : *tiles) {
        out += (out.empty() ? "t" : "; t") + std::to_string(c.type);
        for (const auto& field : fields)
            if (!(c.*field.second).isEmpty())
                out += string(" ") + field.first + "=" + (c.*field.second).toStdString();
        if (c.tamberChannelNumber || c.qlChannelNumber)
            out += " num=" + std::to_string(c.tamberChannelNumber) + "/" + std::to_string(c.qlChannelNumber);
        if (!c.images.empty())
            out += " logos=" + std::to_string(c.images.size()) + ":" + c.images.front().url.toStdString();
    }
    return out;
}

// The same summary whatever the pieces that the transfer cuts the reply into.
string parsedSummary(const string& reply)
{
    const string whole = summary(*parse(reply, reply.size()));
    for (size_t piece : {1, 7, 61})
        EXPECT_EQ(summary(*parse(reply, piece)), whole) << "piece " << piece;
    return whole;
}

struct Case {
    unsigned kinds; // runs once for each handler named here
    string tile;
    string expected;
};

void runCases(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        for (unsigned kind : {kFav, kRec, kYou, kSearch}) {
            if (!(c.kinds & kind))
                continue;
            EXPECT_EQ(parsedSummary(replyFor(kind, c.tile)), c.expected) << "handler " << kind << ": " << c.tile;
        }
    }
}

class CarouselHandlersTest : public PortTest { };

TEST_F(CarouselHandlersTest, FavoritesReplyKeepsEveryKindOfTile)
{
    const string reply = replyFor(
        kFav,
        tile("channel/vod", "favAssetGuid=fav-0") + "," +
            tile("channel", "favAssetGuid=fav-1;channelGuid=g-1;channelName=Hits 1;channelId=h1;channelNumber=42",
                 "line1=Pop", "background=https://img.test/bg.png;logo=https://Img.Test/hits.png?v=2") +
            "," +
            tile("show", "favAssetGuid=fav-2;showGUID=s-1;showName=Talk;channelName=Hits 1", "line2=12 EPISODES") +
            "," +
            tile("episode", "favAssetGuid=fav-3;aodEpisodeCaId=ep-1",
                 "line1=Originally aired : 1700000000;line2=Part 2"));
    EXPECT_EQ(parsedSummary(reply),
              "t0 id=fav-1 name=Hits 1 desc=Pop" + kDot + "Hits 1 ch=g-1 chId=h1 num=42/42 logos=4:" +
                  "https://Img.Test/hits.png?v=2&width=700&height=700&preserveAspect=true; " +
                  "t1 id=fav-2 name=Talk desc=Hits 1" + kDot + "12 EPISODES show=s-1; " +
                  "t2 id=fav-3 name=Part 2 desc=Dec 14, 2023 ep=ep-1 start=2023-11-14T22:13:20.0000000Z");
}

TEST_F(CarouselHandlersTest, AssetKeysAndKeepRulesDifferPerHandler)
{
    runCases({
        {kFav, tile("channel", "favAssetGuid=f;channelGUID=g;channelNumber=99999999999"), "t0 id=f ch=g"},
        {kRec, tile("channel", "favAssetGuid=f;channelGUID=g;channelNumber=7x"), "t0 id=g ch=g num=7/7"},
        {kYou, tile("channel", "channelGUID=g;channelId=c"), "t0 chId=c"}, // kept without an id
        {kSearch, tile("channel", "channelGUID=g;channelId=c"), ""},
        {kRec, tile("show", "showGUID=s;showName=Talk"), ""},
        {kYou, tile("show", "showGuid=s;showName=Talk;channelName=Ch"), "t1 id=s name=Talk desc=Ch show=s"},
        {kSearch, tile("show", "showGuid=s;showName=Talk;showLongTitle=Long"), "t1 id=s name=Long desc=Long show=s"},
        {kRec | kYou | kSearch, tile("episode", "aodEpisodeCaId=e;episodeStartTime=T"), "t2 id=e ep=e start=T"},
        {kYou | kSearch, tile("episode", "aodEpisodeCaId=e;episodeLongTitle=Ep"), "t2 id=e name=Ep ep=e"},
        {kFav, tile("episode", "favAssetGuid=f;aodEpisodeCaId=a;episodeGUID=b"), "t2 id=f ep=a"},
        {kFav, tile("episode", "favAssetGuid=f;episodeGUID=b;aodEpisodeCaId=a"), "t2 id=f ep=a"},
        {kFav, tile("show", "favAssetGuid=f;isPlaceholderShow=true"), ""},
        {kFav, tile("episode/additionalChannel", "favAssetGuid=f;channelName=X"), "t3 id=f"},
        {kFav, tile("category", "favAssetGuid=f;categoryKey=rock"), "t0 id=f"},
        {kSearch, tile("category", "categoryName=Rock;categoryKey=rock"), "t4 cat=Rock key=rock"},
        {kSearch, tile("category", "categoryName=Rock"), ""},
        // The subtype has the last word on the type; on-demand tiles are dropped except in search.
        {kFav | kRec | kYou, tile("show/nowPlaying", "channelGuid=g;favAssetGuid=g"), "t0 id=g ch=g"},
        {kFav | kRec | kYou, tile("channel/vod", "channelGuid=g;favAssetGuid=g"), ""},
        {kSearch, tile("channel/vod", "channelGuid=g"), "t0 id=g ch=g"},
        // A value before its key, and values of other JSON types, are lost.
        {kFav,
         "{\"tileContentType\":1,\"tileAssetInfo\":[{\"assetInfoKey\":\"channelId\",\"assetInfoValue\":\"c\"},"
         "{\"assetInfoValue\":\"v\",\"assetInfoKey\":\"channelName\"},{\"assetInfoKey\":\"channelId\","
         "\"assetInfoValue\":5},{\"assetInfoKey\":\"favAssetGuid\",\"assetInfoValue\":\"f\"}]}",
         "t0 id=f chId=c"},
    });
}

TEST_F(CarouselHandlersTest, TextClassesDifferPerHandler)
{
    const string channel = "favAssetGuid=f;channelGuid=f;channelName=Hits", show = "favAssetGuid=f;showGuid=f";
    const string episode = "favAssetGuid=f;aodEpisodeCaId=f", aired = "line1=Originally aired : ";
    const string zero = "t2 id=f desc=Feb 01, 0 ep=f start=0000-01-01T00:00:00.0000000Z";
    runCases({
        {kFav | kRec | kYou, tile("channel", channel, "line1=On;line3=x"),
         "t0 id=f name=Hits desc=On" + kDot + "Hits ch=f"},
        {kFav, tile("channel", channel, "^line1=On", "", true), "t0 id=f name=Hits desc=On" + kDot + " ch=f"},
        {kSearch, tile("channel", channel, "^line3=Live;line1=Rock;line3=Live"),
         "t0 id=f name=Hits desc=Rock" + kDot + "Live ch=f"},
        {kFav, tile("show", show, "line2=3 new Episodes"), "t1 id=f desc=" + kDot + "3 new Episodes"},
        {kFav, tile("show", show, "line2=Weekly talk"), ""},
        {kYou | kSearch, tile("show", show, "line2=Weekly talk;line3=x"),
         "t1 id=f desc=" + kDot + "Weekly talk show=f"},
        {kFav | kRec | kYou, tile("episode", episode, "line2=Part 2;^" + aired + "1700000000"),
         "t2 id=f name=Part 2 desc=Dec 14, 2023 ep=f start=2023-11-14T22:13:20.0000000Z"},
        {kSearch, tile("episode", episode, "line2=Part 2;" + aired + "1700000000"), "t2 id=f ep=f"},
        // Air times that are too short, negative, junk or past ten digits.
        {kFav, tile("episode", episode, "line1=Yesterday"), zero},
        {kFav, tile("episode", episode, aired + "-000000005"), zero},
        {kFav, tile("episode", episode, aired + "1e309abcdefghij"),
         "t2 id=f desc=Feb 01, 1970 ep=f start=1970-01-01T00:00:01.0000000Z"},
        {kFav, tile("episode", episode, aired + "99999999999999"),
         "t2 id=f desc=Dec 20, 2286 ep=f start=2286-11-20T17:46:39.0000000Z"},
    });
}

TEST_F(CarouselHandlersTest, FirstQualifyingLogoIsScaledByEachHandlersUrlRules)
{
    const string images =
        "background=https://img.test/bg.png;logo-center=https://Img.Test/C.png?v=1;logo-left=https://Img.Test/L.png";
    const string sized = "&width=700&height=700&preserveAspect=true";
    runCases({
        {kFav, tile("channel", "favAssetGuid=f", "", images), "t0 id=f logos=4:https://Img.Test/C.png?v=1" + sized},
        {kRec, tile("channel", "channelGuid=f", "", images), "t0 id=f ch=f logos=4:https://Img.Test/C.png?v=1" + sized},
        {kYou, tile("channel", "channelGuid=f", "", images), "t0 id=f ch=f logos=4:https://img.test/C.png?v=1" + sized},
        {kSearch, tile("channel", "channelGuid=f", "", images),
         "t0 id=f ch=f logos=4:https://img.test/L.png?" + sized.substr(1)},
        // A link before its class, or under another class, makes no logo.
        {kFav, tile("channel", "favAssetGuid=f", "", "^logo=https://img.test/a.png;icon=https://img.test/b.png"),
         "t0 id=f"},
    });
}

TEST_F(CarouselHandlersTest, ForYouTilesCarryTheTitleOfTheirCarousel)
{
    const string pick = tile("show", "showGuid=s");
    const string reply =
        testport::serviceReply(module("Discovery", "for_you",
                                      "{\"carousel\":[" + titled("Top Picks For You", pick + "," + pick) + "," +
                                          titled("New Shows", pick) + ",{\"carouselTiles\":[" + pick + "]}]}"));
    auto response = parse(reply, 3);
    const tql_list<TQLContent>* tiles = tilesOf(*response);
    ASSERT_NE(tiles, nullptr);
    string titles;
    for (const TQLContent& c : *tiles)
        titles += c.secondaryId.toStdString() + "/" + c.tertiaryId.toStdString() + "|";
    EXPECT_EQ(titles, "Top Picks For You/TopPicksForYou|Top Picks For You/TopPicksForYou|New Shows/NewShows|/|");
}

TEST_F(CarouselHandlersTest, SearchReadsOnlyItsTwoCarouselsUnderABlankEnvelope)
{
    const string channel = tile("channel", "channelGuid=g"), episode = tile("episode", "aodEpisodeCaId=e");
    const string reply = testport::serviceReply(module(
        "Search", "search",
        "{\"carousel\":[" + titled("Channels & Shows", channel) + "," + titled("Top Results", channel + "," + episode) +
            "," + titled("Audio On Demand", episode) + "," + titled("channels & shows", channel) + "]}"));
    EXPECT_EQ(parsedSummary(reply), "t0 id=g ch=g; t2 id=e ep=e");
}

TEST_F(CarouselHandlersTest, RecordsKeepEnvelopeAndExpirySearchABlankEnvelope)
{
    string seen;
    for (unsigned kind : {kFav, kRec, kYou, kSearch}) {
        auto response = parse(replyFor(kind, ""), 9);
        ASSERT_EQ(response->m_modules.size(), 1u);
        const TQLModule& m = response->m_modules.front();
        auto* carousel = dynamic_cast<TQLModuleResponseCarousel*>(m.m_moduleResponse);
        seen += m.moduleArea.toStdString() + "/" + m.moduleType.toStdString() + " " +
            (carousel ? carousel->expiry.toStdString() : "-") + "|";
    }
    EXPECT_EQ(seen,
              "Discovery/favorites_norvale " + kExpiry + "|Discovery/recents " + kExpiry + "|Discovery/for_you " +
                  kExpiry + "|/ -|");
}

TEST_F(CarouselHandlersTest, TruncatedRepliesStoreNothing)
{
    const string reply = replyFor(kFav, tile("episode", "favAssetGuid=f", "line1=Originally", "logo=http://a"));
    const size_t moduleEnd = reply.rfind('}', reply.size() - 4) + 1; // before "]}}}"
    for (size_t length = 0; length < reply.size(); ++length)
        EXPECT_EQ(parse(reply.substr(0, length), 1 + length % 13)->m_modules.size(), length >= moduleEnd ? 1u : 0u)
            << length;
}

} // namespace
