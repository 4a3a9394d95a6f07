// The line-up as a host receives it: one onChannel per category listing,
// field by field, during tql_channel_list, and never held whole.
#include <string>
#include <vector>

#include "HeapCounter.h"
#include "HostCallbacks.h"
#include "PortTest.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberUrl.h"
#include "tqllibInt.h"

namespace {

struct Seen {
    std::string id, name, description, channelId, channelExtra, secondaryId, tertiaryId, categoryName, categoryKey,
        extraText;
    std::vector<std::string> imageUrls;
    int type, isAdditional, sortOrder, qlChannelNumber, genreId, inactivityTimeout, extraValue, isAvailable;
    long superCategoryOrder;
};

struct Host {
    std::vector<Seen> channels;
    long peakHeapBlocks = 0;
};

int onChannel(void* host, tql_content* c)
{
    auto* h = static_cast<Host*>(host);
    h->peakHeapBlocks = std::max(h->peakHeapBlocks, testport::heapLiveBlocks());
    Seen s;
    auto text = [](const char* p) { return std::string(p ? p : "<null>"); };
    s.id = text(c->id);
    s.name = text(c->name);
    s.description = text(c->description);
    s.channelId = text(c->channelId);
    s.channelExtra = text(c->channelExtra);
    s.secondaryId = text(c->secondaryId);
    s.tertiaryId = text(c->tertiaryId);
    s.categoryName = text(c->categoryName);
    s.categoryKey = text(c->categoryKey);
    s.extraText = text(c->extraText);
    for (const tql_contentImage& image : c->images)
        if (image.url)
            s.imageUrls.push_back(std::string(image.url) + " " + std::to_string(image.width));
    s.type = c->type;
    s.isAdditional = c->isAdditional;
    s.sortOrder = c->sortOrder;
    s.qlChannelNumber = c->qlChannelNumber;
    s.genreId = c->genreId;
    s.inactivityTimeout = c->inactivityTimeout;
    s.extraValue = c->extraValue;
    s.isAvailable = c->isAvailable;
    s.superCategoryOrder = static_cast<long>(c->superCategoryOrder);
    h->channels.push_back(s);
    return 1;
}


const char* const kRoutingUrl = "https://svc.test";
const char* const kListingUrl = "https://svc.test/rest/v4/experience/modules/get";

class ChannelListingTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(&host);
        cb.onChannel = onChannel;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        // Logged in already: the next tql_channel_list reads the line-up only.
        routing.m_partnerDevice.routingUrl = kRoutingUrl;
        tql_int_get_core()->setRouting(&routing);
        tql_triggerChannelRefetch();
        port().storeAccount("user", "secret");
    }

    void answer(const std::string& body, size_t pieceSize = 1460)
    {
        testport::Route route;
        route.url = kListingUrl;
        route.body = body;
        route.pieceSize = pieceSize;
        port().addRoute(route);
    }

    static std::string channel(const std::string& guid, const std::string& extra)
    {
        return "{\"channelGuid\":\"" + guid + "\",\"name\":\"N-" + guid + "\"" + extra + "}";
    }

    static std::string listing(const std::string& tree, const std::string& channels)
    {
        return testport::serviceReply("{\"moduleType\":\"ChannelListing\",\"moduleResponse\":{\"contentData\":{"
                                      "\"channelListing\":{\"superCategories\":[" + tree + "],\"channels\":[" +
                                      channels + "]}}}}");
    }

    Host host;
    TQLModuleResponseRouting routing;
    tql_errorNotification error{};
};

TEST_F(ChannelListingTest, TheRequestOnTheWireAndTheStateAfter)
{
    answer(testport::lineupReply(3));
    ASSERT_EQ(1, tql_channel_list(&error));
    ASSERT_EQ(1u, port().requests.size());
    const testport::RecordedRequest& r = port().requests[0];
    EXPECT_EQ(kListingUrl, r.url);
    EXPECT_EQ(1, r.isPost);
    EXPECT_EQ(10, r.connectTimeout);
    EXPECT_EQ(25, r.totalTimeout);
    EXPECT_EQ("{\"moduleList\":{\"modules\":[{\"moduleArea\":\"Discovery\",\"moduleType\":\"ChannelListing\","
              "\"moduleRequest\":{\"consumeRequests\":[],\"resultTemplate\":\"radio\"}}]}}",
              r.postData);
    EXPECT_EQ(5, tql_get_status());
    EXPECT_EQ(0, error.errorCode);
    EXPECT_TRUE(port().logged("Channel listing version = v42"));

    // Read: a second call sends nothing until the host asks for a refetch.
    EXPECT_EQ(1, tql_channel_list(&error));
    EXPECT_EQ(1u, port().requests.size());
}

TEST_F(ChannelListingTest, EachChannelArrivesFieldByFieldOncePerListingCategory)
{
    const std::string tree =
        "{\"name\":\"Music\",\"key\":\"music\",\"sortOrder\":2,\"categories\":{\"categories\":["
        "{\"name\":\"Pop\",\"key\":\"pop\",\"sortOrder\":7,\"images\":{\"images\":["
        "{\"name\":\"category icon web\",\"url\":\"u40\",\"width\":40,\"height\":40},"
        "{\"name\":\"category icon web\",\"url\":\"u80\",\"width\":80,\"height\":80},"
        "{\"name\":\"category icon web\",\"url\":\"u60\",\"width\":60,\"height\":60}]},"
        "\"channels\":{\"channels\":[{\"channelGuid\":\"a\"},{\"channelGuid\":\"b\"}]}},"
        "{\"name\":\"Rock\",\"key\":\"rock\",\"sortOrder\":8,\"channels\":{\"channels\":[{\"channelGuid\":\"a\"}]}}]}}";
    const std::string channels =
        channel("a", ",\"channelId\":\"ida\",\"streamingName\":\"sa\",\"shortDescription\":\"desc\","
                     "\"qlChannelNumber\":\"12\",\"geoRestrictions\":\"3\",\"sortOrder\":5,\"isAvailable\":true,"
                     "\"inactivityTimeout\":0,\"inactivityTimeouts\":[{\"platform\":\"web\",\"value\":5},"
                     "{\"platform\":\"tenfoot\",\"value\":30}],"
                     "\"images\":{\"images\":[{\"name\":\"color channel logo (on dark)\",\"url\":"
                     "\"https://img.test/l.png?v=1\",\"width\":640},{\"name\":\"color channel logo (on dark)\","
                     "\"url\":\"https://img.test/big.png\",\"width\":720}]},"
                     "\"categories\":{\"categories\":[{\"key\":\"rock\",\"order\":99}]}") +
        "," + channel("z", "") + "," + channel("b", ",\"tuneMethod\":\"sequencer\",\"qlChannelNumber\":4");
    answer(listing(tree, channels), 7);
    ASSERT_EQ(1, tql_channel_list(&error));

    ASSERT_EQ(3u, host.channels.size()) << "a twice, b once, z listed by no category";
    const Seen& popA = host.channels[0];
    EXPECT_EQ("a", popA.id);
    EXPECT_EQ("N-a", popA.name);
    EXPECT_EQ("desc", popA.description);
    EXPECT_EQ("ida", popA.channelId);
    EXPECT_EQ("sa", popA.channelExtra);
    EXPECT_EQ(12, popA.qlChannelNumber);
    EXPECT_EQ(3, popA.genreId);
    EXPECT_EQ(30, popA.inactivityTimeout) << "the tenfoot entry stands in for a zero timeout";
    EXPECT_EQ(1, popA.isAvailable);
    EXPECT_EQ("Music", popA.secondaryId);
    EXPECT_EQ("music", popA.tertiaryId);
    EXPECT_EQ(2, popA.superCategoryOrder);
    EXPECT_EQ("Pop", popA.categoryName);
    EXPECT_EQ(7, popA.extraValue);
    EXPECT_EQ("u80", popA.extraText) << "the last icon wider than 60";
    EXPECT_EQ(5, popA.sortOrder) << "no own category entry for pop";
    EXPECT_EQ((std::vector<std::string>{"https://img.test/big.png?width=700&height=700&preserveAspect=true 700",
                                        "https://img.test/big.png?width=500&height=500&preserveAspect=true 500",
                                        "https://img.test/big.png?width=300&height=300&preserveAspect=true 300",
                                        "https://img.test/big.png?width=100&height=100&preserveAspect=true 100"}),
              popA.imageUrls);

    const Seen& rockA = host.channels[1];
    EXPECT_EQ("Rock", rockA.categoryName);
    EXPECT_EQ(99, rockA.sortOrder) << "the channel's own order in that category";
    EXPECT_EQ("u80", rockA.extraText) << "no icon: the text of the former listing stays";

    const Seen& b = host.channels[2];
    EXPECT_EQ(3, b.type);
    EXPECT_EQ(1, b.isAdditional);
    EXPECT_EQ(0, b.qlChannelNumber) << "a number where text is expected is ignored";
    EXPECT_TRUE(b.imageUrls.empty());
}

TEST_F(ChannelListingTest, LogoVariantsReadAsTheSourceUrlWithTheThreeItemsAdded)
{
    // Whatever the source holds (a port, user info, a query of its own, a
    // fragment, characters left as sent), each variant is the text a URL
    // object gives after adding width, height and preserveAspect.
    const std::vector<std::string> sources = {
        "https://img.test/big.png",
        "http://u:p@img.test:8080/a/b%20c.png?v=2&x=y#top",
        "https://img.test/l.png?only",
        "img.test/no-scheme.png#frag",
        "https://img.test/q.png?a=1;b=2"};
    std::string tree = "{\"name\":\"S\",\"key\":\"s\",\"categories\":{\"categories\":[{\"name\":\"C\","
                       "\"key\":\"c\",\"channels\":{\"channels\":[";
    std::string channels;
    for (size_t i = 0; i < sources.size(); ++i) {
        tree += std::string(i ? "," : "") + "{\"channelGuid\":\"g" + std::to_string(i) + "\"}";
        channels += std::string(i ? "," : "") +
                    channel("g" + std::to_string(i), ",\"images\":{\"images\":[{\"name\":"
                                                     "\"color channel logo (on dark)\",\"url\":\"" +
                                                         sources[i] + "\",\"width\":720}]}");
    }
    tree += "]}}]}}";
    answer(listing(tree, channels));
    ASSERT_EQ(1, tql_channel_list(&error));
    ASSERT_EQ(sources.size(), host.channels.size());
    for (size_t i = 0; i < sources.size(); ++i) {
        std::vector<std::string> expected;
        for (int size : {700, 500, 300, 100}) {
            tql_url url{tql_string(sources[i].c_str())};
            tql_string n = tql_string::formatString("%d", size);
            url.addQueryItem("width", n);
            url.addQueryItem("height", n);
            url.addQueryItem("preserveAspect", "true");
            expected.push_back(url.toString().toStdString() + " " + std::to_string(size));
        }
        EXPECT_EQ(expected, host.channels[i].imageUrls) << sources[i];
    }
}

TEST_F(ChannelListingTest, NothingOfOneChannelsLogosReachesTheNext)
{
    // The work records are reused from channel to channel; what each report
    // shows is its own channel's logos alone, and a guid listed twice, or in
    // two categories, is reported in tree order each time.
    auto logo = [](const std::string& url, int width) {
        return "{\"name\":\"color channel logo (on dark)\",\"url\":\"" + url + "\",\"width\":" +
               std::to_string(width) + ",\"platform\":\"web\"}";
    };
    auto images = [](const std::string& list) { return ",\"images\":{\"images\":[" + list + "]}"; };
    const std::string tree =
        "{\"name\":\"S\",\"key\":\"s\",\"categories\":{\"categories\":["
        "{\"name\":\"C1\",\"key\":\"c1\",\"channels\":{\"channels\":[{\"channelGuid\":\"a\"},{\"channelGuid\":\"b\"},"
        "{\"channelGuid\":\"c\"},{\"channelGuid\":\"d\"},{\"channelGuid\":\"e\"},{\"channelGuid\":\"a\"}]}},"
        "{\"name\":\"C2\",\"key\":\"c2\",\"channels\":{\"channels\":[{\"channelGuid\":\"d\"}]}}]}}";
    const std::string channels =
        channel("a", images(logo("https://img.test/a.png", 720) + "," + logo("https://img.test/a2.png", 100))) + "," +
        channel("b", "") + "," + channel("c", images(logo("", 640))) + "," +
        channel("d", images(logo("https://img.test/d1.png", 1440) + "," + logo("https://img.test/d2.png", 720))) +
        "," + channel("e", images("{\"name\":\"other\",\"url\":\"https://img.test/x.png\",\"width\":900}"));
    answer(listing(tree, channels));
    ASSERT_EQ(1, tql_channel_list(&error));
    auto variants = [](const std::string& url) {
        std::vector<std::string> out;
        for (int size : {700, 500, 300, 100})
            out.push_back(url + "?width=" + std::to_string(size) + "&height=" + std::to_string(size) +
                          "&preserveAspect=true " + std::to_string(size));
        return out;
    };
    std::vector<std::pair<std::string, std::string>> order;
    for (const Seen& seen : host.channels)
        order.emplace_back(seen.id, seen.categoryName);
    EXPECT_EQ((std::vector<std::pair<std::string, std::string>>{
                  {"a", "C1"}, {"a", "C1"}, {"b", "C1"}, {"c", "C1"}, {"d", "C1"}, {"d", "C2"}, {"e", "C1"}}),
              order);
    ASSERT_EQ(7u, host.channels.size());
    EXPECT_EQ(variants("https://img.test/a.png"), host.channels[0].imageUrls);
    EXPECT_EQ(variants("https://img.test/a.png"), host.channels[1].imageUrls);
    EXPECT_TRUE(host.channels[2].imageUrls.empty());
    EXPECT_EQ(std::vector<std::string>{" 640"}, host.channels[3].imageUrls) << "an empty source keeps the list";
    EXPECT_EQ(variants("https://img.test/d2.png"), host.channels[4].imageUrls) << "the last of 701 or more";
    EXPECT_EQ(variants("https://img.test/d2.png"), host.channels[5].imageUrls);
    EXPECT_TRUE(host.channels[6].imageUrls.empty());
}

TEST_F(ChannelListingTest, RefusalsEndInTheirErrorCodes)
{
    struct Case {
        std::string messages;
        int status;
        int errorCode;
    } cases[] = {
        {"[{\"code\":101,\"message\":\"bad\"}]", 0, 50},
        {"[{\"code\":208,\"message\":\"session\"}]", 0, 53},
        {"[]", 0, 49},
    };
    for (const Case& c : cases) {
        port().routes.clear();
        port().requests.clear();
        tql_int_get_core()->getTamberRequest().clearMessageFlags();
        answer(testport::serviceReply("", c.status, c.messages));
        EXPECT_EQ(-1, tql_channel_list(&error)) << c.messages;
        EXPECT_EQ(c.errorCode, error.errorCode) << c.messages;
        EXPECT_EQ(4, tql_get_status()) << "a failed listing stays on its rung";
    }
}

int g_counted = 0;
int countChannel(void*, tql_content*)
{
    ++g_counted;
    return 1;
}

TEST_F(ChannelListingTest, AllocationsPerChannelAreBounded)
{
    // What a channel costs in allocations, heap and port together, read as
    // the growth from 200 to 2000 channels, so that what a line-up costs
    // once (the frame, the tree's lists) does not count. The host here only
    // counts, and allocates nothing of its own.
    tql_CallbackStruct cb = testport::quietCallbacks(&host);
    cb.onChannel = countChannel;
    ASSERT_EQ(1, tql_registerCallbacks(cb));
    auto allocationsFor = [this](int channels) {
        tql_triggerChannelRefetch();
        port().routes.clear();
        answer(testport::lineupReply(channels));
        g_counted = 0;
        long before = testport::heapAllocations() + port().mallocCalls + port().reallocCalls;
        EXPECT_EQ(1, tql_channel_list(&error));
        EXPECT_EQ(channels, g_counted);
        return testport::heapAllocations() + port().mallocCalls + port().reallocCalls - before;
    };
    long few = allocationsFor(200);
    long many = allocationsFor(2000);
    double perChannel = static_cast<double>(many - few) / 1800.0;
    // 5 now: the guid of each listing the category tree keeps, the growth of
    // the tree's lists, and the parse of the source logo's URL. The logos and
    // their sized variants reuse the room of the channel before.
    EXPECT_LE(perChannel, 6.0);
    EXPECT_GT(perChannel, 0.0);
}

TEST_F(ChannelListingTest, TheLineUpIsNeverHeldWhole)
{
    struct Run {
        int channels;
        long portBlocksAfter;
        size_t portPeakBytes;
        long heapBlocksAfter;
        size_t reported;
    };
    std::vector<Run> runs;
    for (int channels : {200, 2000}) {
        host.channels.clear();
        host.channels.reserve(static_cast<size_t>(channels));
        tql_triggerChannelRefetch();
        port().routes.clear();
        answer(testport::lineupReply(channels));
        long heapBefore = testport::heapLiveBlocks();
        port().peakBytes = port().liveBytes();
        ASSERT_EQ(1, tql_channel_list(&error));
        size_t reported = host.channels.size();
        std::vector<Seen>().swap(host.channels); // what the host kept is its own
        runs.push_back(
            {channels, port().liveAllocations(), port().peakBytes, testport::heapLiveBlocks() - heapBefore, reported});
    }
    EXPECT_EQ(200u, runs[0].reported);
    EXPECT_EQ(2000u, runs[1].reported);
    EXPECT_EQ(runs[0].portBlocksAfter, runs[1].portBlocksAfter);
    // Ten times the channels, ten times the bytes on the wire: the port's peak
    // (receive buffer, path, header) does not follow.
    EXPECT_LT(runs[1].portPeakBytes, runs[0].portPeakBytes + 1024);
    // A few captured log lines stay in the port; nothing that follows the line-up.
    EXPECT_LT(runs[0].heapBlocksAfter, 64);
    EXPECT_LT(runs[1].heapBlocksAfter, 64) << "nothing of the line-up stays behind";
}

} // namespace
