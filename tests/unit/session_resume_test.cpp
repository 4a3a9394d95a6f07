// Bringing a dropped session back: the resume request carries no
// credentials, a refusal that asks for a login is told apart from others,
// and the core's repair loop paces itself and falls back to a new login.
#include <string>
#include <vector>

#include "PortTest.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTokens.h"
#include "tqllibInt.h"

namespace {

const std::string kBase = "https://svc.test";
const std::string kResume = kBase + "/rest/v2/experience/modules/resume";
const std::string kResumeJson = kResume + "?format=json";
const std::string kLogin = kBase + "/rest/v2/experience/modules/modify/authentication-partner?format=json";
const std::string kRecents =
    kBase + "/rest/v4/experience/carousels?page-name=recents&entities-only=false&result-template=norvale%7Cweb";
// A module of another class than the now-playing record.
const std::string kOtherModule = R"({"moduleArea":"Configuration","moduleType":"Configuration","moduleResponse":{}})";
const std::string kLoginModule = R"({"moduleArea":"UserFlow","moduleType":"StandardAuth",)"
                                 R"("moduleResponse":{"authenticationData":{"sessionID":"S-2"}}})";

std::string message(int code, const std::string& text)
{
    return "{\"code\":" + std::to_string(code) + ",\"message\":\"" + text + "\"}";
}

class SessionResume : public PortTest {
protected:
    void SetUp() override { PortTest::SetUp(); start(); }
    void start()
    {
        ASSERT_EQ(1, tql_init());
        routing.m_partnerDevice.routingUrl = kBase.c_str();
        core()->setRouting(&routing);
        // What routing would have filled in.
        TQLDeviceInfo& device = core()->getDeviceInfo();
        device.deviceMake = "Make", device.deviceModel = "Model", device.tqlAppVersion = "3.0.0";
        device.clientDeviceId = "00:11", device.oem = "tamberql", device.platform = "Home", device.appRegion = "US";
        request.channelId = "ch-1", request.assetGuid = "asset-1";
    }
    void restart() { tql_deinit(); port().reset(); start(); }
    static tql_core* core() { return tql_int_get_core(); }
    static TamberRequest& req() { return core()->getTamberRequest(); }
    static void answer(const std::string& url, const std::string& body, std::vector<std::string> headers = {},
                       int uses = -1)
    {
        testport::Route route;
        route.url = url, route.body = body, route.headers = std::move(headers), route.uses = uses;
        port().addRoute(route);
    }
    static std::pair<int, int> lastError()
    {
        tql_errorNotification e{};
        req().getErrorResponse(&e);
        return {e.errorCode, e.responseCode};
    }
    static int flagSum()
    {
        const TamberRequest& r = req();
        return r.m_sessionInvalid + r.m_simultaneousLogin + r.m_noTracks + r.m_contentNotAvailable +
               r.m_badCredentials + r.m_loginAttempts + r.m_noSubscription + r.m_pastDue + r.m_authRequired +
               r.m_accountClosed + r.m_notCompatible + r.m_episodeExpired;
    }
    TQLResponse* resume() { return req().tamberNorvaleResume(request, token); }

    TQLModuleResponseRouting routing;
    tokenRequestStrT request;
    tokenDataT token;
};

TEST_F(SessionResume, RequestCarriesNoCredentialsAndNoRegion)
{
    const std::string body =
        R"({"moduleList":{"modules":[{"moduleRequest":{"resultTemplate":"mobile","deviceInfo":{"deviceMake":"Make",)"
        R"("deviceModel":"Model","tqlAppVersion":"3.0.0","clientDeviceId":"00:11","oem":"tamberql",)"
        R"("supportsAddlChannels":"true","platform":"Home"}}}]}})";
    // A clip channel resumes on its asset; every other mode asks for JSON.
    const std::pair<int, std::string> modes[] = {
        {0, kResumeJson}, {1, kResumeJson}, {2, kResume + "?contentType=aic&channelId=asset-1"}};
    for (const auto& mode : modes) {
        SCOPED_TRACE(mode.first);
        restart();
        request.mode = mode.first;
        testport::Route route;
        route.url = mode.second, route.body = testport::serviceReply("");
        std::pair<int, int> inFlight;
        route.duringBody = [&] { inFlight = lastError(); };
        port().addRoute(route);
        EXPECT_EQ(nullptr, resume());
        ASSERT_EQ(1u, port().requests.size());
        const testport::RecordedRequest& r = port().requests[0];
        EXPECT_EQ(mode.second, r.url);
        EXPECT_EQ(1, r.isPost);
        EXPECT_EQ(body, r.postData);
        EXPECT_EQ(10, r.connectTimeout);
        EXPECT_EQ(25, r.totalTimeout);
        EXPECT_EQ(std::make_pair(405, 0), inFlight);
        EXPECT_TRUE(port().logged("Resume request url: " + mode.second, 3));
        EXPECT_STREQ("US", core()->getDeviceInfo().appRegion.c_str());
    }
}

TEST_F(SessionResume, RefusalAsksForLoginOnlyWithItsCodes)
{
    struct Row {
        std::string messages;
        int error, code;
        std::string logLine;
    };
    std::vector<Row> rows = {
        // The log shows the first message, the error carries the last code.
        {"[" + message(301, "Nope") + "," + message(206, "Log in") + "]", 50, 206,
         "Resume call error message: Nope code: 301"},
        {"[" + message(301, "Nope") + "]", 405, 0, "Resume call error message: Nope code: 301"},
        {"[" + message(208, "Gone") + "]", 405, 0, "Resume call error message: Gone code: 208"},
        {"[]", 405, 0, "Resume call error - no message available"},
    };
    for (int code : {201, 202, 206, 207})
        rows.push_back({"[" + message(code, "Log in") + "]", 50, code,
                        "Resume call error message: Log in code: " + std::to_string(code)});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.messages);
        restart();
        answer(kResumeJson, testport::serviceReply(kOtherModule, 0, row.messages));
        EXPECT_EQ(nullptr, resume());
        EXPECT_EQ(std::make_pair(row.error, row.code), lastError());
        EXPECT_TRUE(port().logged(row.logLine));
        EXPECT_EQ(row.error == 50, port().logged("Resume call - authentication required:"));
    }
}

TEST_F(SessionResume, StatusOneWithoutModuleFailsBeforeTheCookie)
{
    core()->setSession("sid", "old");
    answer(kResumeJson, testport::serviceReply(""), {"Set-Cookie: SID=new"});
    EXPECT_EQ(nullptr, resume());
    EXPECT_EQ(std::make_pair(405, 0), lastError());
    EXPECT_STREQ("old", core()->getSessionCookie().c_str());
    // A resume that arrives during another transfer is not made at all.
    req().m_requestInProgress = 1;
    EXPECT_EQ(nullptr, resume());
    req().m_requestInProgress = 0;
    EXPECT_EQ(std::make_pair(55, 0), lastError());
    EXPECT_EQ(1u, port().requests.size());
}

TEST_F(SessionResume, OtherModuleSucceedsTakesTheCookieAndClearsFlags)
{
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"Set-Cookie: A=1; Path=/", "Set-Cookie: B=2"}, " A=1; Path=/ B=2"},
        {{}, ""}, // no cookie replaces the old one all the same
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.second);
        restart();
        core()->setSession("sid", "old");
        req().m_sessionInvalid = req().m_badCredentials = req().m_authRequired = req().m_episodeExpired = 1;
        answer(kResumeJson, testport::serviceReply(kOtherModule), row.first);
        TQLResponse* response = resume();
        ASSERT_NE(nullptr, response);
        EXPECT_EQ(req().m_norvaletune, response);
        EXPECT_EQ(std::make_pair(0, 0), lastError());
        EXPECT_EQ(row.second, core()->getSessionCookie().c_str());
        EXPECT_STREQ("sid", core()->getSessionId().c_str());
        EXPECT_EQ(0, flagSum());
        EXPECT_TRUE(port().logged("Cookiess resume " + row.second));
        EXPECT_TRUE(token.keys[0].isEmpty()); // only a now-playing record of this channel renews the token
    }
}

TEST_F(SessionResume, RepairLoopTriesFiveTimesTwoSecondsApart)
{
    EXPECT_EQ(1, core()->norvaleResumeCall());
    ASSERT_EQ(5u, port().requests.size());
    for (const testport::RecordedRequest& r : port().requests)
        EXPECT_EQ(kResumeJson, r.url);
    EXPECT_EQ(std::vector<int>(5, 2), port().sleeps);
}

TEST_F(SessionResume, RepairLoopLogsInAgainAfterALoginRequest)
{
    // The new login fails: the repair gives up at once.
    port().storeAccount("user", "secret");
    answer(kResumeJson, testport::serviceReply("", 0, "[" + message(201, "Log in") + "]"));
    EXPECT_EQ(-1, core()->norvaleResumeCall());
    ASSERT_EQ(2u, port().requests.size());
    EXPECT_EQ(kLogin, port().requests[1].url);
    EXPECT_EQ(std::vector<int>{2}, port().sleeps);

    // It succeeds: the next round resumes, on the engine's own request.
    restart();
    port().storeAccount("user", "secret");
    core()->getCurrentStreamer()->m_tokenRequest.mode = 2;
    core()->getCurrentStreamer()->m_tokenRequest.assetGuid = "asset-9";
    const std::string url = kResume + "?contentType=aic&channelId=asset-9";
    answer(url, testport::serviceReply("", 0, "[" + message(206, "Log in") + "]"), {}, 1);
    answer(url, testport::serviceReply(kOtherModule));
    answer(kLogin, testport::serviceReply(kLoginModule));
    EXPECT_EQ(1, core()->norvaleResumeCall());
    ASSERT_EQ(3u, port().requests.size());
    EXPECT_EQ(url, port().requests[0].url);
    EXPECT_EQ(kLogin, port().requests[1].url);
    EXPECT_EQ(url, port().requests[2].url);
    EXPECT_EQ((std::vector<int>{2, 2}), port().sleeps);
    EXPECT_EQ(4, tql_get_status());
}

TEST_F(SessionResume, CheckAfterAContentRequestResumesADeadSessionOnce)
{
    EXPECT_FALSE(core()->sessionCheckAndUpdate());
    EXPECT_TRUE(port().requests.empty());
    for (int code : {208, 500, 204}) {
        SCOPED_TRACE(code);
        restart();
        answer(kRecents, testport::serviceReply("", 0, "[" + message(code, "Dead") + "]"));
        answer(kResumeJson, testport::serviceReply(kOtherModule));
        EXPECT_EQ(nullptr, req().tamberNorvaleRecentsCarousel());
        EXPECT_TRUE(core()->sessionCheckAndUpdate());
        ASSERT_EQ(2u, port().requests.size());
        EXPECT_EQ(kResumeJson, port().requests[1].url);
        EXPECT_TRUE(port().logged("Session expired or logged elswhere, resuming", 3));
        // The resume cleared the flags: nothing left to repair.
        EXPECT_FALSE(core()->sessionCheckAndUpdate());
        EXPECT_EQ(2u, port().requests.size());
    }
}

} // namespace
