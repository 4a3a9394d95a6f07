// The request transport: what goes on the wire, the three ways a reply body
// travels (JSON parser, buffer, dropped), header parsing, notifications, the
// file check and the clearing operations, all through the scripted port.
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "PortTest.h"
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tqllibInt.h"

namespace {

using testport::Route;

const char kUrl[] = "https://service.test/rest/v2/get";
const std::string kEnvelope = R"({"R":{"status":1,"messages":[{"code":100,"message":"Success"},)"
                              R"({"code":"705","message":"By pass"}],)"
                              R"("moduleList":{"modules":[{"updateFrequency":30}]}}})";

std::string S(const tql_string& s) { return s.toStdString(); }
std::vector<std::string> S(const tql_list<tql_string>& list)
{
    std::vector<std::string> out;
    for (const tql_string& s : list)
        out.push_back(s.toStdString());
    return out;
}
// status|updateFrequency, then code,codeText,message for each message.
std::string envelope(const TQLResponse& r)
{
    std::string out = std::to_string(r.m_status) + "|" + std::to_string(r.m_updateFrequency);
    for (const TQLMessagesType& m : r.m_messages)
        out += "|" + std::to_string(m.m_code) + "," + S(m.m_codeText) + "," + S(m.m_message);
    return out;
}
tql_bytearray raw(const std::string& text) { return tql_bytearray(text.data(), static_cast<int>(text.size())); }

Route reply(int status, const std::string& body, size_t piece = 0)
{
    Route r;
    r.url = "https://service.test/";
    r.prefix = true;
    r.status = status;
    r.body = body;
    r.pieceSize = piece;
    return r;
}

// A service call's parse chain, installed on the request as the calls do it.
struct JsonCall {
    explicit JsonCall(TamberRequest& r) : req(r) { req.m_partialMode = 1, req.m_jsonParser = &json; }
    ~JsonCall() { req.m_partialMode = 0, req.m_jsonParser = nullptr; }
    TamberRequest& req;
    TQLResponse response;
    TQLResponseHandler handler{&response, nullptr};
    tql_json json{&handler};
};

class TransportTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
        req = &tql_int_get_core()->getTamberRequest();
    }
    int send(const std::string& url = kUrl, int method = 0, const std::string& data = "", int connect = 10,
             int total = 25)
    {
        return req->tamberRequest(tql_url(tql_string(url)), method, tql_string(data), connect, total);
    }
    void answer(const Route& r) { port().routes = {r}; }
    const testport::RecordedRequest& last() { return port().requests.back(); }

    TamberRequest* req = nullptr;
};

TEST_F(TransportTest, RequestRecordCarriesEncodedUrlBodyMethodAndLimitsOnOneHandle)
{
    answer(reply(200, "ok"));
    const struct { int method; const char* data; int isPost; } cases[] = {
        {1, R"({"a":"b c"})", 1}, {0, "", 0}, {2, "x=1", 0}, {-1, "", 0}};
    int i = 0;
    for (const auto& c : cases) {
        ASSERT_EQ(send("https://service.test/rest/v2/get?q=a b|c", c.method, c.data, 7 + i, 20 + i), 1);
        const testport::RecordedRequest& r = last();
        EXPECT_EQ(r.url + "|" + r.postData + "|" + std::to_string(r.isPost) + "|" + std::to_string(r.connectTimeout) +
                      "|" + std::to_string(r.totalTimeout),
                  "https://service.test/rest/v2/get?q=a%20b%7cc|" + std::string(c.data) + "|" +
                      std::to_string(c.isPost) + "|" + std::to_string(7 + i) + "|" + std::to_string(20 + i));
        EXPECT_EQ(r.handle, req->m_curlHandle);
        ++i;
    }
    EXPECT_NE(req->m_curlHandle, nullptr);
    EXPECT_EQ(port().handlesMade, 1);
    EXPECT_EQ(port().clearCtxCalls, 4);
    EXPECT_EQ(port().countLogged("Retrieving from Url = https://service.test/rest/v2/get?q=a%20b%7cc"), 4u);
    EXPECT_EQ(port().countLogged("TamberRequest::tamberRequest Data "), 2u);
    EXPECT_TRUE(port().logged(R"(TamberRequest::tamberRequest Data {"a":"b c"}, data length = 11)", 4));
}

TEST_F(TransportTest, JsonReplyInPiecesOfAnySizeFillsTheSameEnvelope)
{
    for (size_t piece = 1; piece <= kEnvelope.size(); ++piece) {
        SCOPED_TRACE(piece);
        answer(reply(200, kEnvelope, piece));
        JsonCall call(*req);
        ASSERT_EQ(send(), 1);
        EXPECT_FALSE(last().aborted);
        EXPECT_EQ(envelope(call.response), "1|30|100,,Success|0,705,By pass");
    }
    EXPECT_EQ(req->m_networkError, 0);
    // The header is read once, at the first piece of each body.
    EXPECT_EQ(port().countLogged("HTTP 1 1 = 200 >> expecting content length: 0"), kEnvelope.size());
}

TEST_F(TransportTest, JsonIsParsedWhateverTheStatusAndBadJsonStopsTheTransfer)
{
    {
        // Error replies of the service are JSON as well.
        answer(reply(500, R"({"R":{"status":0,"messages":[{"code":208,"message":"Invalid session"}]}})", 7));
        JsonCall call(*req);
        EXPECT_EQ(send(), 1);
        EXPECT_FALSE(last().aborted);
        EXPECT_EQ(envelope(call.response), "0|0|208,,Invalid session");
        EXPECT_FALSE(port().logged("Invalid data received"));
    }
    {
        // A one-byte piece that fails answers 1, its own length: the transfer goes on.
        answer(reply(200, "{]}", 1));
        JsonCall call(*req);
        EXPECT_EQ(send(), 1);
        EXPECT_FALSE(last().aborted);
        EXPECT_EQ(req->m_networkError, 0);
    }
    answer(reply(200, R"({"R":{"status":7,"messages":]}})", 8));
    JsonCall call(*req);
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(last().aborted);
    EXPECT_EQ(call.response.m_status, 7); // what came before the fault was read
    EXPECT_EQ(req->m_networkError, 1);    // the port reports the abort as a transport error
    EXPECT_EQ(port().resets, 1);
}

TEST_F(TransportTest, BufferedBodyHoldsAtMost409599BytesInAWhollyZeroedBuffer)
{
    ASSERT_EQ(req->m_bufferSize, 409600u);
    const std::vector<unsigned char> zero(req->m_bufferSize, 0);
    // Port memory comes uncleared (the scripted port fills it): the first
    // clearing covers all of it.
    ASSERT_NE(memcmp(req->m_buffer, zero.data(), zero.size()), 0);
    req->m_bufferLength = 7, req->m_partialEncOffset = 1, req->m_partialDecOffset = 2;
    req->m_partialDecLength = 3, req->m_partialContentLength = 4;
    req->clearBufferData();
    EXPECT_EQ(memcmp(req->m_buffer, zero.data(), zero.size()), 0);
    EXPECT_EQ(req->m_bufferLength | req->m_partialEncOffset | req->m_partialDecOffset | req->m_partialDecLength |
                  req->m_partialContentLength, 0u);

    std::string body(409599, '\0');
    for (size_t i = 0; i < body.size(); ++i)
        body[i] = static_cast<char>(1 + i % 251);
    answer(reply(200, body, 65536));
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(last().aborted);
    ASSERT_EQ(req->m_bufferLength, 409599u);
    EXPECT_EQ(memcmp(req->m_buffer, body.data(), body.size()), 0);
    EXPECT_EQ(req->m_buffer[409599], 0);
    EXPECT_FALSE(port().logged("Not enough memory"));

    answer(reply(200, kEnvelope));
    {
        JsonCall call(*req);
        EXPECT_EQ(send(), 1);
    }
    EXPECT_EQ(memcmp(req->m_buffer, body.data(), body.size()), 0); // a JSON call leaves the buffer alone

    answer(reply(200, body + "x"));
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(last().aborted);
    EXPECT_TRUE(port().logged("Not enough memory to append new data", 0));
    EXPECT_EQ(req->m_bufferLength, 0u);
    EXPECT_EQ(memcmp(req->m_buffer, zero.data(), zero.size()), 0);
}

TEST_F(TransportTest, ShortBodyAfterLongOnesReadsAsNulTerminated)
{
    // Whatever earlier transfers left, and wherever their counters were
    // reset without clearing, the next body is followed by zeros only.
    answer(reply(200, std::string(300000, 'L'), 1460));
    EXPECT_EQ(send(), 1);
    req->clearToken(); // resets the counters without clearing, as before a new tune
    answer(reply(200, std::string(1000, 'M'), 1460));
    EXPECT_EQ(send(), 1);
    answer(reply(200, "#EXTM3U\n", 3));
    EXPECT_EQ(send(), 1);
    ASSERT_EQ(req->m_bufferLength, 8u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(req->m_buffer)), "#EXTM3U\n");
    const std::vector<unsigned char> zero(req->m_bufferSize - 8, 0);
    EXPECT_EQ(memcmp(req->m_buffer + 8, zero.data(), zero.size()), 0);
}

TEST_F(TransportTest, ErrorStatusBodyIsDroppedAndFailsTheFileCheck)
{
    answer(reply(404, "<html>not found</html>", 5));
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(last().aborted);
    EXPECT_EQ(req->m_bufferLength, 0u);
    EXPECT_EQ(port().countLogged("Invalid data received - skip processing"), 5u);
    EXPECT_TRUE(port().logged("Invalid data received - skip processing", 1));
    EXPECT_EQ(req->checkFile(req->m_httpHeader, req->m_bufferLength), 0);
    EXPECT_TRUE(port().logged("Wrong response: http status: 404", 1));

    // A streamed transfer drops an error body the same way and runs to its end.
    req->m_partialMode = 1;
    answer(reply(503, "abcdefghi", 3));
    EXPECT_EQ(send(), 1);
    req->m_partialMode = 0;
    EXPECT_FALSE(last().aborted);
    EXPECT_EQ(port().countLogged("Invalid data received - skip processing"), 8u);
    EXPECT_EQ(req->m_networkError, 0);
}

TEST_F(TransportTest, TransportFailuresRedirectsAndNegativeResults)
{
    Route down = reply(200, "");
    down.transportError = 28; // no error text: no text to log
    answer(down);
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(port().logged("getting error"));
    down.transportError = 7;
    down.errorText = "Could not connect to server";
    answer(down);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(req->m_networkError, 1);
    EXPECT_TRUE(port().logged("curl_easy_perform() returned error : 7", 2));
    EXPECT_TRUE(port().logged("TamberRequest::tamberRequest getting error Could not connect to server", 1));
    EXPECT_TRUE(port().logged("cUrl error occurred, reset handler", 3));
    EXPECT_EQ(port().resets, 2);

    // The flag stays until a download or token loop clears it; the handle is kept.
    answer(reply(200, "fine"));
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(req->m_networkError, 1);
    EXPECT_EQ(port().requests[2].handle, port().requests[0].handle);
    EXPECT_EQ(port().handlesMade, 1);
    EXPECT_EQ(port().handlesCleaned, 0);

    req->m_networkError = 0;
    port().logs.clear();
    Route redirect = reply(302, "");
    redirect.statusLine = "HTTP/1.1 302 Found";
    redirect.headers = {"Location: https://other.test/x"};
    redirect.transportError = 47;
    redirect.errorText = "Maximum redirects followed";
    answer(redirect);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(last().httpCode, 302);
    EXPECT_TRUE(port().logged("curl_easy_perform() returned error : 47", 2));
    EXPECT_EQ(req->m_networkError, 0);
    EXPECT_FALSE(port().logged("cUrl error occurred"));
    EXPECT_FALSE(port().logged("getting error"));

    Route refused = reply(200, "");
    refused.transportError = -3;
    answer(refused);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(req->m_networkError, 0);
    EXPECT_EQ(port().resets, 2);
}

TEST_F(TransportTest, EmptyPathIsTheOnlyUrlCheck)
{
    port().addRoute(reply(200, "x"));
    EXPECT_EQ(send("https://service.test"), 0);
    EXPECT_TRUE(port().requests.empty());
    EXPECT_EQ(port().handlesMade, 0);
    EXPECT_TRUE(port().logged("TamberRequest::tamberRequest path is empty for url https://service.test"));
    EXPECT_EQ(send("/just/a/path"), 1); // no host, still sent
    ASSERT_EQ(port().requests.size(), 1u);
    EXPECT_EQ(last().url, "/just/a/path");
}

TEST_F(TransportTest, ReentryFromInsideATransferIsRefused)
{
    int inner = -1, calls = 0;
    Route r = reply(200, "0123456789", 4);
    r.duringBody = [&] {
        if (calls++ == 0) // once: an accepted inner call would meet this hook again
            inner = send("https://service.test/rest/v2/other");
    };
    answer(r);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(inner, 0);
    EXPECT_TRUE(port().logged(
        "Request violation. Someone called request from another thread. This cannot happen in one threaded library!",
        1));
    ASSERT_EQ(port().requests.size(), 1u);
    EXPECT_FALSE(last().aborted);
    ASSERT_EQ(req->m_bufferLength, 10u);
    EXPECT_EQ(memcmp(req->m_buffer, "0123456789", 10), 0);
    EXPECT_EQ(req->m_httpHeader.http11Status, 200);

    answer(reply(200, "x"));
    EXPECT_EQ(send(), 1); // the guard is down again
    EXPECT_EQ(port().requests.size(), 2u);
}

TEST_F(TransportTest, CookiesAreCopiedAndEmptyOnesLogged)
{
    Route r = reply(200, "x");
    r.cookies = {"a=1; Path=/", nullptr, "b=2"};
    answer(r);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(S(req->m_cookies), (std::vector<std::string>{"a=1; Path=/", "b=2"}));
    EXPECT_EQ(port().countLogged("Found empty cookie: find a problem -> fix a bug"), 1u);
    EXPECT_TRUE(port().logged("Found empty cookie", 2));
    answer(reply(200, "x"));
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(req->m_cookies.empty());
    EXPECT_EQ(port().clearCtxCalls, 2);
}

TEST_F(TransportTest, HeaderLinesAreReadByCaseSensitivePrefix)
{
    const std::string text = "HTTP/1.1 200 OK\r\n__version: 2.1\r\nerrormessage: Session expired\r\n"
                             "HTTP/1.0 404 Not Found\r\nLocation: https://a.test/one\r\nlocation:https://b.test/two\r\n"
                             "__errorcode 302\r\nContent-Length: 5\r\nContent-Length: 7\r\ncontent-length: 99\r\n"
                             "Last-Modified: Tue, 01 Jan\r\nSet-Cookie: a=1;\r\nSet-Cookie: b=2\r\nGupId: gup-42 x\r\n"
                             "X-TamberQL-Notification: hello\r\nX-Other: y\r\n\r\nLast-Modified: after the end\r\n";
    tql_httpHeader h;
    ASSERT_EQ(req->parseHttpHeader(raw(text), h), 1);
    EXPECT_EQ(std::to_string(h.http11Status) + "|" + std::to_string(h.http10Status) + "|" + std::to_string(h.errorCode) +
                  "|" + std::to_string(h.contentLength),
              "200|404|302|7");
    EXPECT_EQ(S(h.version) + "|" + S(h.errorMessage) + "|" + S(h.location) + "|" + S(h.lastModified) + "|" +
                  S(h.cookie),
              " 2.1| Session expired|https://b.test/two| Tue, 01 Jan| a=1; b=2");
    EXPECT_EQ(S(h.notifications), (std::vector<std::string>{" hello"}));
    EXPECT_EQ(S(req->getGupId()), "gup-42 x"); // lands on the request, whichever record was parsed

    tql_httpHeader n;
    ASSERT_EQ(req->parseHttpHeader(raw("HTTP/1.1 99999999999 Big\r\nContent-Length: -99999999999\r\n"), n), 1);
    EXPECT_EQ(n.http11Status, INT_MAX);
    EXPECT_EQ(n.contentLength, INT_MIN);
    tql_httpHeader t; // a block with neither line end nor terminator
    ASSERT_EQ(req->parseHttpHeader(raw("Last-Modified: Tue"), t), 1);
    EXPECT_EQ(S(t.lastModified), " Tue");
    EXPECT_EQ(req->parseHttpHeader(tql_bytearray(), t), 0);
    EXPECT_TRUE(port().logged("No HTTP header data to be parsed", 1));
}

TEST_F(TransportTest, NotificationBracketFormOnlyWithoutTheBlank)
{
    const struct { const char* lines; std::vector<std::string> list; } cases[] = {
        {"X-TamberQL-Notification: [alpha]~[beta]\r\n", {" [alpha]~[beta]"}},
        {"X-TamberQL-Notification:[alpha]~[beta]\r\n", {"alpha", "beta"}},
        {"X-TamberQL-Notification: one\r\nX-TamberQL-Notification:[alpha]~x[beta]y\r\n"
         "X-TamberQL-Notification: two\r\n",
         {"alpha", "beta", " two"}},
    };
    for (const auto& c : cases) {
        tql_httpHeader h;
        ASSERT_EQ(req->parseHttpHeader(raw(std::string("HTTP/1.1 200 OK\r\n") + c.lines), h), 1);
        EXPECT_EQ(S(h.notifications), c.list) << c.lines;
    }
    EXPECT_TRUE(port().logged("---------Notifications-----------", 4));
    EXPECT_TRUE(port().logged("> beta", 4));
    EXPECT_TRUE(port().logged("---------------------------------", 4));
    EXPECT_EQ(tql_get_status(), 0);
}

TEST_F(TransportTest, ReloadLineupNotificationMovesTheStateToFourOnce)
{
    Route r = reply(200, "");
    r.headers = {"X-TamberQL-Notification: Type=Info; Action=ReloadChannelLineup"};
    answer(r);
    EXPECT_EQ(send(), 1); // an empty body: the header is never parsed
    EXPECT_EQ(tql_get_status(), 0);
    EXPECT_EQ(req->m_httpHeader.http11Status, 0);

    r.body = "x";
    answer(r);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(port().countLogged("Trigger list forced update!"), 1u);
    EXPECT_TRUE(port().logged("Trigger list forced update!", 3));
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(port().countLogged("Trigger list forced update!"), 1u);

    answer(reply(200, "x")); // each transfer starts from an empty header record
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(req->m_httpHeader.notifications.empty());

    // Two entries in one reply: the second finds the state at 4 already.
    tql_deinit();
    ASSERT_EQ(tql_init(), 1);
    req = &tql_int_get_core()->getTamberRequest();
    r.headers = {"X-TamberQL-Notification:[Action=ReloadChannelLineup]~[x Action=ReloadChannelLineup]"};
    answer(r);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(port().countLogged("Trigger list forced update!"), 2u);
}

TEST_F(TransportTest, CheckFileRules)
{
    // HTTP/1.0, HTTP/1.1, __errorcode, Content-Length, streamed, body length, result, level 1 log
    const struct { int http10, http11, errorCode, contentLength, partial; unsigned body; int result; const char* log; }
    cases[] = {
        {0, 302, 404, 0, 0, 0, 1, nullptr}, {302, 0, 0, 0, 0, 0, 1, nullptr}, {0, 0, 302, 0, 0, 0, 1, nullptr},
        {0, 404, 0, 0, 0, 10, 0, "Wrong response: http status: 404"},
        {401, 500, 0, 0, 0, 10, 0, "Wrong response: http status: 401"},
        {0, 0, 403, 0, 0, 10, 0, "Wrong response: http status: 403"},
        {0, 0, 0, 0, 0, 10, 0, "Wrong response: http status: 0"},
        {0, 200, 0, 0, 1, 0, 1, nullptr}, {0, 200, 0, 10, 1, 3, 1, nullptr},
        {0, 200, 0, 10, 0, 9, 0,
         "Http header length doesnt match body length http header length = 10, body length =9."},
        {0, 200, 0, 0, 0, 0, 0, "Zero body length"}, {0, 200, 0, 5, 0, 5, 1, nullptr},
        {0, 404, 200, 0, 0, 3, 1, nullptr}, {200, 0, 0, -1, 0, 3, 1, nullptr},
    };
    int i = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(i++);
        port().logs.clear();
        tql_httpHeader h;
        h.http10Status = c.http10, h.http11Status = c.http11, h.errorCode = c.errorCode;
        h.contentLength = c.contentLength;
        req->m_partialMode = c.partial;
        EXPECT_EQ(req->checkFile(h, c.body), c.result);
        if (c.log)
            EXPECT_TRUE(port().logged(c.log, 1));
        else
            EXPECT_TRUE(port().logs.empty());
    }
    req->m_partialMode = 0;
}

TEST_F(TransportTest, ReplaceBaseUrlResolvesTheFirstMatchingPlaceholder)
{
    const tql_list<TQLRelativeUrlsItem> items = {
        {"base", "https://a.test"}, {"cdn", "https://c.test/x"}, {"cdn", "https://late.test"}};
    EXPECT_EQ(S(req->replaceBaseUrl(items, "{cdn}/img/1.png")), "https://c.test/x/img/1.png");
    EXPECT_TRUE(port().logged("Placeholder = cdn url = {cdn}/img/1.png"));
    EXPECT_TRUE(port().logged("Replaced url = https://c.test/x/img/1.png"));
    EXPECT_EQ(S(req->replaceBaseUrl(items, "%base%/rest/v1")), "https://a.test/rest/v1");
    EXPECT_EQ(S(req->replaceBaseUrl(items, "{none}/p")), "{none}/p");
}

TEST_F(TransportTest, ClearKeepsMessageFlagsClearTokenDropsThem)
{
    req->m_norvaletune = new TQLResponse();
    auto fill = [&] {
        req->m_sessionInvalid = req->m_noTracks = req->m_episodeExpired = 1;
        req->m_norvaletune->m_messages.resize(1);
        req->m_faultResponse->m_messages.resize(1);
        req->m_bufferLength = 5, req->m_partialDecLength = 3;
        req->m_headerData = raw("HTTP/1.1 200 OK\r\n");
        req->m_httpHeader.http11Status = 200;
    };
    // flags set, tune messages, fault messages, buffer counters, header bytes, parsed status
    auto state = [&] {
        return std::vector<int>{req->m_sessionInvalid + req->m_noTracks + req->m_episodeExpired,
                                static_cast<int>(req->m_norvaletune->m_messages.size()),
                                static_cast<int>(req->m_faultResponse->m_messages.size()),
                                static_cast<int>(req->m_bufferLength + req->m_partialDecLength),
                                req->m_headerData.size(), req->m_httpHeader.http11Status};
    };
    fill();
    req->clear();
    EXPECT_EQ(state(), (std::vector<int>{3, 0, 0, 0, 0, 0}));
    fill();
    req->clearToken(); // the fault response is not among the token's
    EXPECT_EQ(state(), (std::vector<int>{0, 0, 1, 0, 0, 0}));
}

TEST_F(TransportTest, ResetCurlRemakesTheHandle)
{
    answer(reply(200, "x"));
    EXPECT_EQ(send(), 1);
    req->resetCurl();
    EXPECT_TRUE(port().logged("CURL RESET CALLED", 3));
    EXPECT_EQ(port().handlesCleaned, 1);
    EXPECT_EQ(port().sleeps, std::vector<int>{2});
    EXPECT_EQ(port().handlesMade, 2);
    ASSERT_NE(req->m_curlHandle, nullptr);
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(last().handle, req->m_curlHandle);
    EXPECT_EQ(port().handlesMade, 2);

    port().initHandleFails = true;
    req->resetCurl();
    EXPECT_EQ(port().handlesCleaned, 2);
    EXPECT_EQ(req->m_curlHandle, nullptr);
    EXPECT_TRUE(port().logged("CURL HANDLE IS GONE - expect unexpectable", 1));
    EXPECT_EQ(port().sleeps, (std::vector<int>{2, 2}));
    port().initHandleFails = false; // the next request tries again
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(port().handlesMade, 3);
    EXPECT_NE(last().handle, nullptr);
}

TEST_F(TransportTest, SteadyJsonTransfersHoldNoPortMemory)
{
    Route r = reply(200, kEnvelope, 16);
    r.headers = {"Content-Length: 200", "GupId: g1", "Set-Cookie: s=1"};
    answer(r);
    auto once = [&] {
        JsonCall call(*req);
        EXPECT_EQ(send(kUrl, 1, R"({"moduleList":{}})"), 1);
        EXPECT_EQ(envelope(call.response), "1|30|100,,Success|0,705,By pass");
        port().logs.clear();
    };
    for (int i = 0; i < 3; ++i)
        once();
    const long warm = port().liveAllocations();
    const size_t warmBytes = port().liveBytes();
    for (int i = 0; i < 25; ++i)
        once();
    EXPECT_EQ(port().liveAllocations(), warm);
    EXPECT_EQ(port().liveBytes(), warmBytes);
}

} // namespace
