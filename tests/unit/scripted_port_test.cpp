// The scripted port is what every other test trusts to behave like a host's
// port; these tests pin the parts of its contract that the library relies on.
#include <cstring>
#include <string>
#include <vector>

#include "PortTest.h"

namespace {

struct Capture {
    std::vector<std::string> headers;
    std::vector<std::string> pieces;
    size_t takeLimit = static_cast<size_t>(-1); // a piece larger than this is refused
};

size_t onHeader(void* data, size_t size, size_t count, void* self)
{
    static_cast<Capture*>(self)->headers.emplace_back(static_cast<char*>(data), size * count);
    return size * count;
}

size_t onBody(void* data, size_t size, size_t count, void* self)
{
    auto* capture = static_cast<Capture*>(self);
    size_t n = size * count;
    if (n > capture->takeLimit)
        return capture->takeLimit;
    capture->pieces.emplace_back(static_cast<char*>(data), n);
    return n;
}

class ScriptedTransportTest : public PortTest {
protected:
    int request(const char* url, Capture& capture, const char* body = "", int isPost = 0)
    {
        memset(&ctx, 0, sizeof ctx);
        memset(errorBuffer, 0, sizeof errorBuffer);
        ctx.url = url;
        ctx.postData = body;
        ctx.isPost = isPost;
        ctx.writeData = ctx.headerData = &capture;
        ctx.writeCallback = onBody;
        ctx.headerCallback = onHeader;
        ctx.errorBuffer = errorBuffer;
        ctx.connectTimeout = 10;
        ctx.totalTimeout = 25;
        ctx.handle = handle;
        return tamber_HT_Request(&ctx);
    }

    void TearDown() override
    {
        tamber_HT_clearCtxData(&ctx);
        PortTest::TearDown();
    }

    tamberHTRequestCtx ctx{};
    char errorBuffer[TAMBER_HT_ERROR_BUFFER_SIZE];
    void* handle = reinterpret_cast<void*>(0x1);
};

TEST_F(ScriptedTransportTest, HeadersThenBodyInPiecesAndTheRequestIsRecorded)
{
    testport::Route route;
    route.url = "https://svc.test/a";
    route.status = 201;
    route.headers = {"Content-Length: 10", "GupId: 7"};
    route.body = "0123456789";
    route.pieceSize = 4;
    port().addRoute(route);

    Capture c;
    EXPECT_EQ(0, request("https://svc.test/a", c, "{\"x\":1}", 1));
    EXPECT_EQ((std::vector<std::string>{"HTTP/1.1 201 OK\r\n", "Content-Length: 10\r\n", "GupId: 7\r\n", "\r\n"}),
              c.headers);
    EXPECT_EQ((std::vector<std::string>{"0123", "4567", "89"}), c.pieces);
    EXPECT_EQ(201, ctx.httpCode);
    EXPECT_EQ(0, ctx.requestResult);
    ASSERT_EQ(1u, port().requests.size());
    const testport::RecordedRequest& r = port().requests[0];
    EXPECT_EQ("https://svc.test/a", r.url);
    EXPECT_EQ("{\"x\":1}", r.postData);
    EXPECT_EQ(1, r.isPost);
    EXPECT_EQ(10, r.connectTimeout);
    EXPECT_EQ(25, r.totalTimeout);
}

TEST_F(ScriptedTransportTest, ACallbackTakingLessAbortsTheTransfer)
{
    testport::Route route;
    route.url = "https://svc.test/a";
    route.body = std::string(100, 'x');
    route.pieceSize = 30;
    port().addRoute(route);

    Capture c;
    c.takeLimit = 29;
    EXPECT_EQ(23, request("https://svc.test/a", c));
    EXPECT_TRUE(c.pieces.empty());
    EXPECT_NE(0, ctx.requestResult);
    EXPECT_NE(0, ctx.errorFlag);
    EXPECT_TRUE(port().requests[0].aborted);
}

TEST_F(ScriptedTransportTest, TransportFailuresBeforeAndDuringTheBody)
{
    testport::Route refused;
    refused.url = "https://down.test/";
    refused.transportError = 7;
    refused.errorText = "Failed to connect";
    port().addRoute(refused);

    Capture c;
    EXPECT_EQ(7, request("https://down.test/", c));
    EXPECT_TRUE(c.headers.empty());
    EXPECT_EQ(0, ctx.httpCode);
    EXPECT_STREQ("Failed to connect", errorBuffer);
    EXPECT_EQ(1, ctx.errorFlag);

    testport::Route cut;
    cut.url = "https://cut.test/";
    cut.body = "{\"a\":[1,2,3]}";
    cut.transportError = 18;
    cut.failAfterBytes = 5;
    port().addRoute(cut);
    Capture d;
    EXPECT_EQ(18, request("https://cut.test/", d));
    EXPECT_EQ((std::vector<std::string>{"{\"a\":"}), d.pieces);
    EXPECT_EQ(200, ctx.httpCode);
}

TEST_F(ScriptedTransportTest, RoutesAnswerInOrderByUsesAndPrefix)
{
    testport::Route first;
    first.url = "https://svc.test/x";
    first.status = 500;
    first.uses = 1;
    testport::Route then;
    then.url = "https://svc.test/";
    then.prefix = true;
    then.status = 200;
    port().addRoute(first);
    port().addRoute(then);

    Capture c;
    request("https://svc.test/x", c);
    EXPECT_EQ(500, ctx.httpCode);
    request("https://svc.test/x?y=1", c);
    EXPECT_EQ(200, ctx.httpCode);
    request("https://other.test/", c);
    EXPECT_EQ(404, ctx.httpCode) << "an unscripted URL answers 404";
}

TEST_F(ScriptedTransportTest, CookiesComeOutAsAListThatClearCtxDataReleases)
{
    testport::Route route;
    route.url = "https://svc.test/";
    route.cookies = {"SESSION=1", nullptr, "B=2"};
    port().addRoute(route);

    Capture c;
    request("https://svc.test/", c);
    std::vector<std::string> seen;
    for (tamberHTCookie* n = ctx.cookies; n; n = n->next)
        seen.push_back(n->text ? n->text : "<null>");
    EXPECT_EQ((std::vector<std::string>{"SESSION=1", "<null>", "B=2"}), seen);
    tamber_HT_clearCtxData(&ctx);
    EXPECT_EQ(nullptr, ctx.cookies);
}

TEST_F(PortTest, MemoryIsCountedAndCanBeMadeToFail)
{
    long before = port().liveAllocations();
    void* a = tql_malloc(100);
    a = tql_realloc(a, 300);
    EXPECT_EQ(before + 1, port().liveAllocations());
    EXPECT_GE(port().liveBytes(), 300u);
    tql_free(a);
    EXPECT_EQ(before, port().liveAllocations());

    port().failMallocAfter = 1;
    void* ok = tql_malloc(8);
    EXPECT_NE(nullptr, ok);
    EXPECT_EQ(nullptr, tql_malloc(8));
    tql_free(ok);
}

TEST_F(PortTest, SleepingAdvancesTheFakeClockInsteadOfBlocking)
{
    uint64_t start = tql_platform_ms_since_epoch();
    tql_sleep(5);
    EXPECT_EQ(start + 5000, tql_platform_ms_since_epoch());
    EXPECT_EQ(std::vector<int>{5}, port().sleeps);
}

} // namespace
