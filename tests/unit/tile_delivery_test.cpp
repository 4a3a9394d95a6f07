// Tiles as a host receives them: favorites, recents, for-you and search
// results, one onX call per tile with isLast on the last, image URLs rebased
// onto the configured servers, and the list's expiry turned into onRefresh.
#include <string>
#include <utility>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ServiceReplies.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

const std::string kBase = testport::kServiceBase;
const std::string kResume = kBase + "/rest/v2/experience/modules/resume?format=json";
const std::string kCarousels = kBase + "/rest/v4/experience/carousels";
const std::string kFavorites = kCarousels + "?page-name=favorites_norvale&result-template=norvale%7Cweb";
const std::string kRecents = kCarousels + "?page-name=recents&entities-only=false&result-template=norvale%7Cweb";
const std::string kForYou = kCarousels + "?page-name=for_you&result-template=norvale";
const std::string kSearch = kCarousels + "?page-name=search&result-template=mobile&search-term=";
const std::string kCollation = kBase + "/rest/v4/experience/modules/get/profile-gup-collation?gup-type=";
const std::string kBullet = " \xE2\x80\xA2 ";

std::string tile(const std::string& type, const Pairs& assets, const Pairs& texts, const std::string& logo = "")
{
    std::string out = R"({"tileContentType":")" + type + R"(","tileAssetInfo":[)";
    for (size_t i = 0; i < assets.size(); ++i)
        out += std::string(i ? "," : "") + R"({"assetInfoKey":")" + assets[i].first + R"(","assetInfoValue":")" +
               assets[i].second + "\"}";
    out += R"(],"tileMarkup":{"tileImage":[)";
    if (!logo.empty())
        out += R"({"imageClass":"logo","imageLink":")" + logo + "\"}";
    out += R"(],"tileText":[)";
    for (size_t i = 0; i < texts.size(); ++i)
        out += std::string(i ? "," : "") + R"({"textClass":")" + texts[i].first + R"(","textValue":")" + texts[i].second + "\"}";
    return out + "]}}";
}

std::string channelTile(int n, const std::string& logo = "")
{
    std::string id = std::to_string(n);
    return tile("channel",
                {{"favAssetGuid", "fav-" + id}, {"channelGuid", "guid-" + id}, {"channelName", "Channel " + id},
                 {"channelId", "ch" + id}, {"channelNumber", id}},
                {{"line1", "Now on " + id}}, logo);
}

std::string join(const std::vector<std::string>& tiles)
{
    std::string out;
    for (const std::string& t : tiles)
        out += (out.empty() ? "" : ",") + t;
    return out;
}

std::string favoritesReply(const std::vector<std::string>& tiles, const std::string& expiry = "")
{
    std::string module = R"({"moduleArea":"Discovery","moduleType":"favorites_norvale","moduleResponse":{)"
                         R"("contentToggleSelector":{"selectorSegment":[{"segmentCarousel":[{"carouselTiles":[)" +
                         join(tiles) + "]}]}]}" + (expiry.empty() ? "" : R"(,"expiry":")" + expiry + "\"") + "}}";
    return testport::serviceReply(module);
}

// Recents, for-you and search share one shape under another selecting name.
std::string carouselReply(const std::string& name, const std::vector<std::string>& tiles,
                          const std::string& title = "", const std::string& expiry = "")
{
    std::string module = R"({"moduleArea":"Discovery","moduleType":")" + name + R"(","moduleResponse":{"carousel":{)" +
                         (title.empty() ? "" : R"("carouselTitle":{"textValue":")" + title + "\"},") +
                         R"("carouselTiles":[)" + join(tiles) + "]}" +
                         (expiry.empty() ? "" : R"(,"expiry":")" + expiry + "\"") + "}}";
    return testport::serviceReply(module);
}

struct Tile {
    int type, isLast, isAdditional, tamberChannelNumber, qlChannelNumber;
    std::string id, secondaryId, tertiaryId, name, description, channelGuid, channelId, showGuid, episodeId;
    std::vector<std::string> images; // "url width height"
};

std::string text(const char* p) { return p ? p : "<null>"; }

struct Host {
    std::vector<std::pair<std::string, Tile>> calls; // list name, tile (type -1 for a NULL tile)
    std::vector<int> refreshes;
    std::vector<int> answers; // what the host gives per call, 1 when the list runs out
    int answer()
    {
        int given = calls.size() <= answers.size() ? answers[calls.size() - 1] : 1;
        return given;
    }
    int take(const char* list, tql_content* c, int isLast)
    {
        Tile t{};
        t.type = c ? c->type : -1;
        t.isLast = isLast;
        if (c) {
            t.isAdditional = c->isAdditional, t.tamberChannelNumber = c->tamberChannelNumber;
            t.qlChannelNumber = c->qlChannelNumber;
            t.id = text(c->id), t.secondaryId = text(c->secondaryId), t.tertiaryId = text(c->tertiaryId);
            t.name = text(c->name), t.description = text(c->description), t.channelGuid = text(c->channelGuid);
            t.channelId = text(c->channelId), t.showGuid = text(c->showGuid), t.episodeId = text(c->episodeId);
            for (const tql_contentImage& image : c->images)
                if (image.url)
                    t.images.push_back(std::string(image.url) + " " + std::to_string(image.width) + " " +
                                       std::to_string(image.height));
        }
        calls.emplace_back(list, t);
        return answer();
    }
};

Host* g_host = nullptr;

int onSearch(void*, tql_content* c, int last) { return g_host->take("search", c, last); }
int onRecents(void*, tql_content* c, int last) { return g_host->take("recents", c, last); }
int onFavorites(void*, tql_content* c, int last) { return g_host->take("favorites", c, last); }
int onForYou(void*, tql_content* c, int last) { return g_host->take("forYou", c, last); }
int onRefresh(void*, tql_moduleType module)
{
    g_host->refreshes.push_back(module);
    return 1;
}

class TileDelivery : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_host = &host;
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onSearch = onSearch, cb.onRecents = onRecents, cb.onFavorites = onFavorites, cb.onForYou = onForYou;
        cb.onRefresh = onRefresh;
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
    static void answer(const std::string& url, const std::string& body, bool prefix = false)
    {
        testport::Route route;
        route.url = url;
        route.body = body;
        route.prefix = prefix;
        // Scripted last, found first: a test's own answer replaces the login script's.
        port().routes.insert(port().routes.begin(), route);
    }
    static std::vector<std::string> sentUrls()
    {
        std::vector<std::string> urls;
        for (const auto& request : port().requests)
            urls.push_back(request.url);
        return urls;
    }
    std::vector<std::string> listsCalled() const
    {
        std::vector<std::string> lists;
        for (const auto& call : host.calls)
            lists.push_back(call.first);
        return lists;
    }
    Host host;
};

TEST_F(TileDelivery, FavoritesReachTheHostOneByOneWithRebasedLogos)
{
    answer(kFavorites, favoritesReply({channelTile(1, "%Art%/logos/one.png"), channelTile(2)}));
    tql_errorNotification error{};
    error.errorCode = 99;
    ASSERT_EQ(1, tql_get_favorites(&error, 1));
    EXPECT_EQ(0, error.errorCode);

    // The session is repaired first, then the carousel is asked for.
    EXPECT_EQ((std::vector<std::string>{kResume, kFavorites}), sentUrls());
    ASSERT_EQ(2u, host.calls.size());
    const Tile& first = host.calls[0].second;
    EXPECT_EQ("favorites", host.calls[0].first);
    EXPECT_EQ(0, first.type);
    EXPECT_EQ(0, first.isLast);
    EXPECT_EQ("fav-1", first.id);
    EXPECT_EQ("Channel 1", first.name);
    EXPECT_EQ("Now on 1" + kBullet + "Channel 1", first.description);
    EXPECT_EQ("guid-1", first.channelGuid);
    EXPECT_EQ("ch1", first.channelId);
    EXPECT_EQ(1, first.tamberChannelNumber);
    EXPECT_EQ(1, first.qlChannelNumber);
    std::vector<std::string> images;
    for (int size : {700, 500, 300, 100}) {
        std::string n = std::to_string(size);
        images.push_back("https://art.test/images/logos/one.png?width=" + n + "&height=" + n +
                         "&preserveAspect=true " + n + " " + n);
    }
    EXPECT_EQ(images, first.images);
    EXPECT_EQ(1, host.calls[1].second.isLast);
    EXPECT_TRUE(host.calls[1].second.images.empty());
    EXPECT_TRUE(port().logged("2 favorites reported", 3));
}

TEST_F(TileDelivery, ListsDifferInHowTheyTreatARefusingHost)
{
    // The host refuses the second of three tiles with -4.
    host.answers = {1, -4, 1};
    answer(kRecents, carouselReply("recents", {channelTile(1), channelTile(2), channelTile(3)}));
    answer(kSearch + "jazz", carouselReply("search", {channelTile(1), channelTile(2), channelTile(3)},
                                           "Channels & Shows"));
    tql_errorNotification error{};
    EXPECT_EQ(1, tql_get_recents(&error, 1));
    EXPECT_EQ((std::vector<std::string>{"recents", "recents", "recents"}), listsCalled());
    EXPECT_TRUE(port().logged("Can't send recents callback", 2));
    EXPECT_TRUE(port().logged("3 recently played media reported"));

    host.calls.clear();
    EXPECT_EQ(-1, tql_search("jazz"));
    EXPECT_EQ((std::vector<std::string>{"search", "search"}), listsCalled());
    EXPECT_TRUE(port().logged("Can't send search callback", 2));
    EXPECT_FALSE(port().logged("search result reported"));
}

TEST_F(TileDelivery, EmptyListsCallOnceWithNullAndAskDifferentAnswers)
{
    struct Row {
        std::string list;
        int hostAnswer;
        int result;      // what the exported function gives
        const char* log; // what the library says about it
    };
    const Row rows[] = {
        {"recents", 0, 1, "Empty recents callback sent"},
        // A host that answers 1 to the empty call is taken as refusing it;
        // the call itself still counts as answered.
        {"recents", 1, 1, "Can't send recents callback"},
        {"search", 1, 1, "Empty search callback sent"},
        {"search", -4, -1, "Can't send search callback"},
        {"forYou", 0, 1, "Empty For You Recommendations callback sent"},
    };
    answer(kRecents, carouselReply("recents", {}, "", "2023-11-14T22:00:00.000+00:00"));
    answer(kSearch + "x", carouselReply("search", {}, "Audio On Demand"));
    answer(kForYou, carouselReply("for_you", {}));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.list + " " + std::to_string(row.hostAnswer));
        port().logs.clear();
        host.calls.clear();
        host.answers = {row.hostAnswer};
        tql_errorNotification error{};
        int result = row.list == "recents" ? tql_get_recents(&error, 1)
                     : row.list == "search" ? tql_search("x")
                                            : tql_get_forYouCarousel(&error);
        EXPECT_EQ(row.result, result);
        ASSERT_EQ(1u, host.calls.size());
        EXPECT_EQ(row.list, host.calls[0].first);
        EXPECT_EQ(-1, host.calls[0].second.type);
        EXPECT_EQ(1, host.calls[0].second.isLast);
        EXPECT_TRUE(port().logged(row.log, 2));
    }
    // An empty list arms no refresh, though it came with an expiry.
    tql_externalTimerTick(60000);
    EXPECT_TRUE(host.refreshes.empty());
}

TEST_F(TileDelivery, ExpiryOfAListRaisesRefreshEveryMinuteOnceDue)
{
    // The scripted clock stands at 2023-11-14T22:13:20Z; the list expires 90 s later.
    answer(kFavorites, favoritesReply({channelTile(1)}, "2023-11-14T22:14:50.000+00:00"));
    tql_errorNotification error{};
    ASSERT_EQ(1, tql_get_favorites(&error, 1));

    port().advance(60000);
    tql_externalTimerTick(60000);
    EXPECT_TRUE(host.refreshes.empty());
    port().advance(60000);
    tql_externalTimerTick(60000);
    EXPECT_EQ(std::vector<int>{TQL_MODULE_FAVORITES}, host.refreshes);
    // Repeats until a new list names a new time.
    port().advance(60000);
    tql_externalTimerTick(30000);
    EXPECT_EQ(1u, host.refreshes.size());
    tql_externalTimerTick(30000);
    EXPECT_EQ(2u, host.refreshes.size());
}

TEST_F(TileDelivery, ForYouTilesCarryTheirCarouselTitle)
{
    answer(kForYou, carouselReply("for_you", {channelTile(7)}, "Picked for you"));
    tql_errorNotification error{};
    ASSERT_EQ(1, tql_get_forYouCarousel(&error));
    ASSERT_EQ(1u, host.calls.size());
    const Tile& t = host.calls[0].second;
    EXPECT_EQ("forYou", host.calls[0].first);
    EXPECT_EQ("Picked for you", t.secondaryId);
    EXPECT_EQ("Pickedforyou", t.tertiaryId);
    EXPECT_EQ("guid-7", t.id); // for you names a channel tile by its channel
    EXPECT_EQ(1, t.isLast);
}

TEST_F(TileDelivery, AdditionalChannelsAreMarkedAsSuch)
{
    std::string additional =
        R"({"tileContentType":"channel","tileContentSubType":"additionalChannel","tileAssetInfo":[)"
        R"({"assetInfoKey":"favAssetGuid","assetInfoValue":"fav-9"},{"assetInfoKey":"channelName","assetInfoValue":"Nine"}]})";
    answer(kFavorites, favoritesReply({additional}));
    tql_errorNotification error{};
    ASSERT_EQ(1, tql_get_favorites(&error, 1));
    ASSERT_EQ(1u, host.calls.size());
    EXPECT_EQ(3, host.calls[0].second.type);
    EXPECT_EQ(1, host.calls[0].second.isAdditional);
}

TEST_F(TileDelivery, PlainCallsOnlyRefreshTheCollationAndDeliverNothing)
{
    answer(kCollation, testport::serviceReply(""), true);
    tql_errorNotification error{};
    EXPECT_EQ(1, tql_get_recents(&error, 0));
    EXPECT_EQ(1, tql_get_favorites(&error, 0));
    // The two ask for each other's collation, as the service has always seen it.
    EXPECT_EQ((std::vector<std::string>{kCollation + "favorites", kCollation + "recent-plays"}), sentUrls());
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(TileDelivery, RefusedCarouselsGiveTheirErrorsToTheHost)
{
    struct Row {
        std::string url;
        int (*call)(tql_errorNotification*);
        int errorCode;
    };
    const Row rows[] = {
        {kFavorites, [](tql_errorNotification* e) { return tql_get_favorites(e, 1); }, 21},
        {kRecents, [](tql_errorNotification* e) { return tql_get_recents(e, 1); }, 20},
        {kForYou, [](tql_errorNotification* e) { return tql_get_forYouCarousel(e); }, 23},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        answer(row.url, testport::serviceReply("", 0, R"([{"code":109,"message":"no"}])"));
        tql_errorNotification error{};
        EXPECT_EQ(-1, row.call(&error));
        EXPECT_EQ(row.errorCode, error.errorCode);
        EXPECT_EQ(109, error.responseCode);
    }
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(TileDelivery, SearchTriesFiveTimesAndDropsAReplyWithoutResults)
{
    tql_errorNotification error{};
    (void)error;
    port().requests.clear();
    EXPECT_EQ(-1, tql_search("none")); // no route: every try fails
    EXPECT_EQ(5u, port().requests.size());
    EXPECT_EQ(-1, tql_search(nullptr));

    // A good reply of the wrong kind holds no search results.
    answer(kSearch + "odd", testport::serviceReply(
                                R"({"moduleArea":"Configuration","moduleType":"Configuration","moduleResponse":{}})"));
    EXPECT_EQ(-1, tql_search("odd"));
    EXPECT_TRUE(host.calls.empty());
}

} // namespace
