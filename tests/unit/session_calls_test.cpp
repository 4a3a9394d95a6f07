// Session bring-up as a host and the service see it: the requests on the
// wire, the ladder of states, errors in tql_errorNotification, what reaches
// the host and the port; then the records of the three session replies.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ReplyParser.h"
#include "TestText.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tqllibInt.h"

namespace {

using testport::Route;
using std::string;
using std::to_string;

// {"R":{"status":..,"messages":[..],"moduleList":{"modules":[..]}}}
string reply(int status, const std::vector<int>& codes, const string& modules = "")
{
    string messages;
    for (int code : codes)
        messages += string(messages.empty() ? "" : ",") + R"({"code":)" + to_string(code) + R"(,"message":"m"})";
    return R"({"R":{"status":)" + to_string(status) + R"(,"messages":[)" + messages + R"(],"moduleList":{"modules":[)" +
           modules + "]}}}";
}

string module(const string& area, const string& type, const string& response, const string& before = "")
{
    return R"({"moduleArea":")" + area + R"(","moduleType":")" + type + "\"," + before + R"("moduleResponse":)" +
           response + "}";
}

string routingModule(const string& resultTemplate)
{
    return module("Routing", "PartnerDevices", R"({"partnerDeviceList":{"partnerDevices":[{"routingUrl":)"
                                               R"("https://api.test/svc","resultTemplate":")" +
                                                   resultTemplate + R"(","active":true}]}})");
}

string configModule(const string& component = "relativeUrls")
{
    return module("Configuration", "Settings",
                  R"({"configuration":{"components":[{"name":")" + component +
                      R"(","settings":[{"platform":"tenfoot","relativeUrls":[{"name":"Live","url":"https://tenfoot.test"}]},)"
                      R"({"platform":"homeDevice","relativeUrls":[{"name":"Live","url":"https://home.test"},)"
                      R"({"name":"Art","url":"https://art.test"}]}]}]}})");
}

string authModule(const string& settings = R"({"settingName":"theme","settingValue":"dark"},)"
                                           R"({"settingName":"volume","settingValue":"7"})")
{
    return module("UserFlow", "StandardAuth", R"({"authenticationData":{"sessionID":"S1","username":"user"},)"
                                              R"("globalSettingList":{"globalSettings":[)" + settings + "]}}");
}

string lockout(const string& minutes, const string& seconds)
{
    return module("UserFlow", "StandardAuth", R"({"authenticationData":{"remainingLockoutMinutes":)" + minutes +
                                                  R"(,"remainingLockoutSeconds":)" + seconds + "}}");
}

const string kRouting = "https://service.test/rest/v1/routing/rest/v2/experience/modules/get/partner/";
const string kConfig = "https://api.test/svc/rest/v2/experience/modules/get/configuration"
                       "?result-template=tenfoot&format=json&app-region=US";
const string kAuth = "https://api.test/svc/rest/v2/experience/modules/modify/authentication-partner?format=json";
const string kNoop = "https://api.test/svc/rest/v2/experience/modules/get/noop";
const string kSettings = "theme=dark;volume=7;";

Route answer(const string& url, const string& body, int uses = -1, int status = 200)
{
    Route r;
    r.url = url, r.body = body, r.uses = uses, r.status = status;
    return r;
}

// A positive code is a transfer that broke on the way (a dead network); a
// negative one is a transfer that the transport could not make at all.
Route broken(const string& url, int transportError)
{
    Route r;
    r.url = url, r.transportError = transportError;
    return r;
}

Route uses(Route r, int n)
{
    r.uses = n;
    return r;
}

std::vector<Route> operator+(std::vector<Route> a, const std::vector<Route>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Route> ladder(const string& resultTemplate = "homeDevice", const string& config = configModule())
{
    return {answer(kRouting, reply(1, {100}, routingModule(resultTemplate))), answer(kConfig, reply(1, {100}, config)),
            answer(kAuth, reply(1, {100}, authModule()))};
}

struct Host {
    std::vector<string> settings;
} g_host;

void onGlobalSettings(void*, tql_globalSetting* settings, int count)
{
    string text;
    for (int i = 0; i < count; ++i)
        text += string(settings[i].key) + "=" + settings[i].value + ";";
    g_host.settings.push_back(text);
}

string err(const tql_errorNotification& e) { return to_string(e.errorCode) + "/" + to_string(e.responseCode); }

using testport::join;
using testport::str;

class SessionCallsTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        start();
    }
    void start()
    {
        g_host = Host();
        ASSERT_EQ(tql_init(), 1);
        tql_CallbackStruct cb = testport::quietCallbacks(&g_host);
        cb.onGlobalSettings = onGlobalSettings;
        ASSERT_EQ(tql_registerCallbacks(cb), 1);
    }
    // A fresh core and port for each case: message flags are sticky within a core.
    void restart(const std::vector<Route>& routes)
    {
        tql_deinit();
        port().reset();
        start();
        port().routes = routes;
        port().storeAccount("user", "pw");
    }
    int configure()
    {
        memset(&error, 0x5a, sizeof error); // the call clears it first
        return tql_configure_tamber(&error);
    }
    int verify(const char* user, const char* password)
    {
        tql_TamberAccount account{};
        account.username = user, account.password = password;
        memset(&error, 0x5a, sizeof error);
        return tql_verify_account(account, &error);
    }
    // The requests from index `from` on: R, C, A, N, or the URL itself.
    string wire(size_t from = 0)
    {
        string out;
        for (size_t i = from; i < port().requests.size(); ++i) {
            const string& u = port().requests[i].url;
            out += string(out.empty() ? "" : " ") +
                   (u == kRouting ? "R" : u == kConfig ? "C" : u == kAuth ? "A" : u == kNoop ? "N" : u);
        }
        return out;
    }
    TamberRequest& req() { return tql_int_get_core()->getTamberRequest(); }
    string lastError()
    {
        tql_errorNotification e{};
        req().getErrorResponse(&e);
        return err(e);
    }

    tql_errorNotification error;
};

TEST_F(SessionCallsTest, BringUpPutsRoutingConfigurationAndLoginOnTheWire)
{
    restart(ladder());
    ASSERT_EQ(tql_setExternalVersion("9.8.7"), 1);
    ASSERT_EQ(configure(), 1);
    tql_errorNotification zero{};
    EXPECT_EQ(memcmp(&error, &zero, sizeof error), 0);
    EXPECT_EQ(tql_get_status(), 4);
    ASSERT_EQ(wire(), "R C A");

    const string device = R"({"deviceMake":"TestMake","deviceModel":"TestModel","tqlAppVersion":"9.8.7",)"
                          R"("clientDeviceId":"00:11:22:33:44:55","oem":"tamberql","supportsAddlChannels":"true",)";
    const std::vector<testport::RecordedRequest>& sent = port().requests;
    EXPECT_EQ(sent[0].isPost, 1);
    EXPECT_EQ(sent[0].postData, R"({"moduleList":{"modules":[{"moduleArea":"Routing","moduleType":"PartnerDevices",)"
                                R"("moduleRequest":{"deviceInfo":)" +
                                    device + R"("appRegion":"US","platform":"Home"}}}]}})");
    EXPECT_EQ(sent[1].isPost, 0);
    EXPECT_EQ(sent[1].postData, "");
    // Login leaves the region out and takes its template from the routing reply.
    EXPECT_EQ(sent[2].isPost, 1);
    EXPECT_EQ(sent[2].postData, R"({"moduleList":{"modules":[{"moduleArea":"UserFlow","moduleType":"StandardAuth",)"
                                R"("moduleRequest":{"resultTemplate":"homeDevice","deviceInfo":)" +
                                    device + R"("platform":"Home"},"standardAuth":{"username":"user","password":"pw"}}}]}})");
    for (const testport::RecordedRequest& r : sent)
        EXPECT_EQ(to_string(r.connectTimeout) + "/" + to_string(r.totalTimeout), "10/25") << r.url;
    EXPECT_EQ(tql_int_get_core()->getDeviceInfo().appRegion.toStdString(), "US");
    EXPECT_EQ(tql_int_get_core()->getSessionId().toStdString(), "S1");
    EXPECT_EQ(g_host.settings, std::vector<string>{kSettings});
    EXPECT_EQ(port().setAccountCalls, 0);

    // Logged in: the next bring-up sends nothing.
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(wire(), "R C A");
}

// Each failing answer is used up by the first bring-up; the second one then
// starts at the rung that failed, since a failure never lowers the state.
TEST_F(SessionCallsTest, AFailedRungReportsItsErrorAndIsWhereTheNextCallStarts)
{
    const string five = "R R R R R", all = "R C A";
    struct Case {
        Route route;
        int result;
        string error, wire, next;
        int minutes = 0, seconds = 0;
        bool noConfigUrl = false;
    } cases[] = {
        {answer(kRouting, "", 5), -1, "500/0", five, all},
        {answer(kRouting, reply(0, {}), 5), -1, "500/0", five, all},
        {uses(broken(kRouting, 7), 5), -1, "500/0", five, all},
        {uses(broken(kRouting, -1), 5), -1, "500/0", five, all},
        {answer(kRouting, reply(0, {100, 602}), 5), -1, "51/602", five, all},
        {answer(kRouting, reply(0, {706}), 5, 500), -1, "51/706", five, all},
        {answer(kRouting, reply(1, {100}), 5), -1, "500/0", five, all},
        {answer(kRouting, reply(1, {100}, authModule()), 5), -1, "500/0", five, all},
        {answer(kRouting, reply(0, {}), 4), 1, "0/0", five + " C A", ""},
        {answer("unused", ""), -1, "4/0", "", all, 0, 0, true},
        {answer(kConfig, reply(0, {301}), 1), -1, "3/301", "R C", "C A"},
        {answer(kConfig, "", 1), -1, "500/0", "R C", "C A"},
        {uses(broken(kConfig, 7), 1), -1, "500/0", "R C", "C A"},
        {uses(broken(kConfig, -1), 1), -1, "500/0", "R C", "C A"},
        // A configuration reply of another class is taken as it stands.
        {answer(kConfig, reply(1, {100}, routingModule("x")), 1), 1, "0/0", all, ""},
        {answer(kAuth, reply(0, {101}), 1), -1, "50/101", all, "A"},
        {answer(kAuth, reply(0, {102}, lockout("12", "30")), 1), -1, "52/102", all, "A", 12, 30},
        {answer(kAuth, reply(0, {102}, lockout("\"12\"", "30.9")), 1), -1, "52/102", all, "A", 0, 30},
        {answer(kAuth, reply(0, {101, 102}, lockout("12", "30")), 1), -1, "50/102", all, "A"},
        {answer(kAuth, reply(0, {5140}), 1), -1, "57/5140", all, "A"},
        {answer(kAuth, reply(0, {5200}), 1), -1, "56/5200", all, "A"},
        {answer(kAuth, reply(0, {5230}), 1), -1, "58/5230", all, "A"},
        {answer(kAuth, reply(0, {5260}), 1), -1, "5260/5260", all, "A"},
        {answer(kAuth, reply(0, {5200, 5140}), 1), -1, "57/5140", all, "A"},
        {answer(kAuth, reply(0, {}), 1), -1, "49/0", all, "A"},
        {answer(kAuth, reply(0, {999}), 1), -1, "49/0", all, "A"},
        {answer(kAuth, reply(1, {100}), 1), -1, "49/0", all, "A"},
        {answer(kAuth, reply(1, {100}, routingModule("x")), 1), -1, "49/0", all, "A"},
        {uses(broken(kAuth, 7), 1), -1, "49/0", all, "A"},
        {uses(broken(kAuth, -1), 1), -1, "55/0", all, "A"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.route.url + " " + c.route.body + " " + to_string(c.route.transportError));
        restart(std::vector<Route>{c.route} + ladder());
        if (c.noConfigUrl)
            port().getterResultOverride["configUrl"] = 0;
        EXPECT_EQ(verify("user", "pw"), c.result);
        EXPECT_EQ(err(error), c.error);
        EXPECT_EQ(wire(), c.wire);
        const char last = c.result == 1 ? '4' : c.wire.empty() ? 'R' : c.wire.back();
        EXPECT_EQ(tql_get_status(), last == '4' ? 4 : last == 'A' ? 2 : last == 'C' ? 1 : 0);
        EXPECT_EQ(port().setAccountCalls, c.result == 1 ? 1 : 0); // stored only after a login
        TQLResponse* login = req().m_norvaleauth;
        EXPECT_EQ(login ? join(login->m_remainingLockoutMinutes, login->m_remainingLockoutSeconds) : "0|0|",
                  join(c.minutes, c.seconds));
        size_t failedRoutings = c.noConfigUrl ? 5 : c.route.url == kRouting ? static_cast<size_t>(c.route.uses) : 0;
        EXPECT_EQ(port().countLogged("Routing call failed, retrying..."), failedRoutings);
        EXPECT_EQ(port().logged("Routing call failed, retrying...", 2), failedRoutings > 0);
        EXPECT_EQ(port().logged("Empty Base Routing Url", 1), c.noConfigUrl);
        port().getterResultOverride.clear();
        size_t sent = port().requests.size();
        EXPECT_EQ(configure(), 1);
        EXPECT_EQ(tql_get_status(), 4);
        EXPECT_EQ(wire(sent), c.next);
    }
}

TEST_F(SessionCallsTest, BadCredentialsStayUntilALoginSucceeds)
{
    restart(std::vector<Route>{answer(kAuth, reply(0, {101}), 1), answer(kAuth, reply(0, {102}), 1),
                               answer(kAuth, reply(1, {100}, authModule()), 1), answer(kAuth, reply(0, {102}))} +
            ladder());
    EXPECT_EQ(configure(), -1);
    EXPECT_EQ(err(error), "50/101");
    EXPECT_EQ(configure(), -1);
    EXPECT_EQ(err(error), "50/102"); // the earlier 101 still decides
    EXPECT_EQ(configure(), 1);
    // The successful login cleared the flags: a lockout reads as a lockout now.
    EXPECT_EQ(tql_int_get_core()->reauthenticate(), -1);
    EXPECT_EQ(lastError(), "52/102");
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(wire(), "R C A A A A");
}

TEST_F(SessionCallsTest, FirstMessage201AsksForExactlyOneMoreLogin)
{
    const string ok = reply(1, {100}, authModule());
    struct Case {
        std::vector<string> replies;
        string wire;
        int result;
        string error;
        std::vector<string> settings;
    } cases[] = {
        {{reply(0, {201}), ok}, "R C A A", 1, "0/0", {kSettings}},
        {{reply(0, {201}), reply(0, {201}), ok}, "R C A A", -1, "49/0", {}},
        {{reply(0, {100, 201}), ok}, "R C A", -1, "49/0", {}},
        {{reply(1, {201}, authModule(R"({"settingName":"first","settingValue":"1"})")), ok}, "R C A A", 1, "0/0",
         {kSettings}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.replies[0]);
        std::vector<Route> routes;
        for (const string& r : c.replies)
            routes.push_back(answer(kAuth, r, 1));
        restart(routes + std::vector<Route>{ladder()[0], ladder()[1]});
        EXPECT_EQ(configure(), c.result);
        EXPECT_EQ(err(error), c.error);
        EXPECT_EQ(wire(), c.wire);
        EXPECT_EQ(g_host.settings, c.settings);
    }
}

TEST_F(SessionCallsTest, AccountIsStoredThroughThePortOnlyAfterASuccessfulLogin)
{
    restart(ladder());
    port().hasAccount = false;
    EXPECT_EQ(configure(), -1);
    EXPECT_EQ(error.errorCode, 49);
    EXPECT_EQ(verify(nullptr, "pw"), -1);
    EXPECT_EQ(error.errorCode, 49);
    EXPECT_EQ(verify("", "pw"), -1);
    EXPECT_EQ(error.errorCode, 49);
    EXPECT_EQ(wire(), "");
    EXPECT_EQ(tql_get_status(), 0);
    EXPECT_EQ(port().setAccountCalls, 0);

    EXPECT_EQ(verify("new", "secret"), 1);
    EXPECT_EQ(wire(), "R C A");
    EXPECT_EQ(port().setAccountCalls, 1);
    EXPECT_TRUE(port().logged("Writting new account credentials to settings new", 4));
    for (size_t slot = 0; slot < 8; ++slot) {
        EXPECT_TRUE(port().accountSlotSet[slot]) << slot;
        EXPECT_EQ(port().account[slot], slot == 0 ? "new" : slot == 1 ? "secret" : "") << slot;
    }
    // Logged in: new credentials are taken without a request.
    EXPECT_EQ(verify("other", "x"), 1);
    EXPECT_EQ(port().setAccountCalls, 2);
    EXPECT_EQ(port().account[0], "other");
    EXPECT_EQ(configure(), 1);
    EXPECT_EQ(wire(), "R C A");
}

TEST_F(SessionCallsTest, NoOpFailsOnlyForADeadSession)
{
    EXPECT_EQ(tql_get_bypassStatus(), -1); // nothing routed yet
    EXPECT_EQ(lastError(), "14/0");
    EXPECT_EQ(wire(), "");

    Route gupId = answer(kNoop, "");
    gupId.headers = {"GupId: G7"};
    struct Case {
        Route route;
        int result;
        string error, log;
    } cases[] = {
        {answer(kNoop, R"({"R":{"status":1,"messages":[{"code":100}],"moduleList":{"modules":[{"updateFrequency":60}]}}})"),
         1, "", "NOOP updateFrequency = 60"},
        {answer(kNoop, reply(0, {204})), -1, "", "Simultaneous Login"},
        {answer(kNoop, reply(0, {208})), -1, "", "Invalid session - reuathenticate"},
        {answer(kNoop, reply(0, {500})), -1, "", "Invalid session - reuathenticate"},
        {answer(kNoop, reply(1, {201})), 1, "", ""},
        {broken(kNoop, 7), 1, "", ""},
        {broken(kNoop, -1), 1, "55/0", "TamberRequest::tamberNorvaleNoOP HTTP Error"},
        {gupId, 1, "", "Response header = "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.route.body + c.log);
        restart(ladder() + std::vector<Route>{c.route});
        ASSERT_EQ(configure(), 1);
        EXPECT_EQ(tql_get_bypassStatus(), c.result);
        ASSERT_EQ(wire(3), "N");
        const testport::RecordedRequest& noop = port().requests[3];
        EXPECT_EQ(join(noop.isPost, noop.postData, noop.connectTimeout, noop.totalTimeout), "0||10|25|");
        if (!c.error.empty()) {
            EXPECT_EQ(lastError(), c.error);
        }
        if (!c.log.empty()) {
            EXPECT_TRUE(port().logged(c.log));
        }
    }
    EXPECT_EQ(req().getGupId().toStdString(), "G7"); // a no-op without a body still reads its header
}

TEST_F(SessionCallsTest, RelativeUrlsAreTheSettingsRowOfTheRoutingTemplate)
{
    struct Case {
        const char *resultTemplate, *component, *urls;
    } cases[] = {
        {"homeDevice", "relativeUrls", "Live|https://home.test|Art|https://art.test|"},
        {"tenfoot", "relativeUrls", "Live|https://tenfoot.test|"},
        {"mobile", "relativeUrls", "keep|me|"},
        {"homeDevice", "other", "keep|me|"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(string(c.resultTemplate) + "/" + c.component);
        restart(ladder(c.resultTemplate, configModule(c.component)));
        ASSERT_EQ(configure(), 1);
        tql_list<TQLRelativeUrlsItem> out = {{"keep", "me"}};
        req().getRelativeUrls(out);
        string text;
        for (const TQLRelativeUrlsItem& item : out)
            text += join(item.name, item.url);
        EXPECT_EQ(text, c.urls);
    }
}

// The three session replies, parsed as a service call parses them.
class SessionCallsRecordsTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
    }
    template <class Record>
    Record* parse(const string& text, const string& areaAndType)
    {
        response = testport::parseReply(text, text.size());
        if (response->m_modules.size() != 1)
            return ADD_FAILURE() << "modules: " << response->m_modules.size(), nullptr;
        const TQLModule& m = response->m_modules.front();
        EXPECT_EQ(m.moduleArea.toStdString() + "/" + m.moduleType.toStdString(), areaAndType);
        return dynamic_cast<Record*>(m.m_moduleResponse);
    }
    std::unique_ptr<TQLResponse> response;
};

TEST_F(SessionCallsRecordsTest, RoutingKeepsTheLastPartnerDeviceOverEarlierValues)
{
    struct Case {
        string area, type, devices, record;
    } cases[] = {
        {"Routing", "PartnerDevices",
         R"([{"brandName":"B1","routingUrl":"https://one.test","guid":"g1","hlsVersion":"v1","active":true,)"
         R"("hlsProxy":true,"bizOnlyDevice":true,"resultTemplate":"t1","audioFirst":true},)"
         R"({"brandName":"B2","routingUrl":"https://two.test","active":false,"audioFirst":false}])",
         "B2|https://two.test|g1|v1|0|1|1|t1|0|"},
        {"Routing", "PartnerDevices", "[]", "||||0|0|0||0|"},
        {"Partner", "Routing", R"([{"routingUrl":"u","bizOnlyDevice":true}])", "|u|||0|0|1||0|"},
    };
    for (const Case& c : cases) {
        auto* routing = parse<TQLModuleResponseRouting>(
            reply(1, {100}, module(c.area, c.type, R"({"partnerDeviceList":{"partnerDevices":)" + c.devices + "}}")),
            c.area + "/" + c.type);
        ASSERT_NE(routing, nullptr) << c.devices;
        const TQLNorvalePartnerDevice& d = routing->m_partnerDevice;
        EXPECT_EQ(join(d.brandName, d.routingUrl, d.guid, d.hlsVersion, d.active, d.hlsProxy, d.bizOnlyDevice,
                       d.resultTemplate, d.audioFirst),
                  c.record)
            << c.devices;
    }
}

TEST_F(SessionCallsRecordsTest, ConfigurationKeepsOnlyTheRelativeUrlsComponent)
{
    const string urls = R"({"name":"relativeUrls","settings":[{"platform":"p1","relativeUrls":[{"name":"n1","url":"u1"},)"
                        R"({"name":"n2","url":"u2"}]},{"platform":"p2","relativeUrls":[{"name":"n3","url":"u3"}]}]})";
    const string other = R"({"settings":[{"platform":"p9","relativeUrls":[{"name":"x","url":"y"}]}],"name":"other"})";
    auto in = [](const string& list) { return R"({"configuration":{"components":[)" + list + "]}}"; };
    const string both = "relativeUrls|p1:n1=u1,n2=u2,;p2:n3=u3,;";
    struct Case {
        string text, areaAndType, record;
    } cases[] = {
        {reply(1, {100}, module("Configuration", "Settings", in(urls + "," + other))), "Configuration/Settings", both},
        // Settings of a component of another name are carried into the next one.
        {reply(1, {100}, module("Configuration", "Settings", in(other + "," + urls))), "Configuration/Settings",
         "relativeUrls|p9:x=y,;p1:n1=u1,n2=u2,;p2:n3=u3,;"},
        {reply(1, {100}, module("Configuration", "Settings", in(other))), "Configuration/Settings", "|"},
        // Held until the module type selects, then replayed in order.
        {R"({"R":{"status":1,"moduleList":{"modules":[{"moduleResponse":)" + in(urls) +
             R"(,"moduleArea":"Settings","moduleType":"Configuration"}]}}})",
         "Settings/Configuration", both},
    };
    for (const Case& c : cases) {
        auto* config = parse<TQLModuleResponseConfig>(c.text, c.areaAndType);
        ASSERT_NE(config, nullptr) << c.text;
        string text = config->m_componentName.toStdString() + "|";
        for (const TQLSettingsItem& s : config->m_settings) {
            text += s.platform.toStdString() + ":";
            for (const TQLRelativeUrlsItem& u : s.relativeUrls)
                text += u.name.toStdString() + "=" + u.url.toStdString() + ",";
            text += ";";
        }
        EXPECT_EQ(text, c.record) << c.text;
    }
}

TEST_F(SessionCallsRecordsTest, AuthenticationReadsSiblingClientConfigurationAndNumericLockoutOnly)
{
    const string client = R"("clientConfiguration":{"maximumAutoDownloads":5,"cachedContentDeletionPeriodInDays":6,)"
                          R"("onDemandExpiryDays":7,"authenticationGracePeriodInDays":8,)"
                          R"("activeListeningGracePeriodInMins":9.7,"faqurl":"F","facebookAppId":"FB",)"
                          R"("clientDeviceId":"CD","fbLinkStatus":"L"},)";
    const string response =
        R"({"clientConfiguration":{"maximumAutoDownloads":99,"faqurl":"wrong"},"authenticationData":{"sessionID":"S",)"
        R"("username":"U","remainingLockoutMinutes":"12","remainingLockoutSeconds":30},"deviceSettingList":)"
        R"({"deviceSettings":[{"deviceId":"d1","name":"n1","value":"v1"},{"name":"n2"}]},"globalSettingList":)"
        R"({"globalSettings":[{"settingName":"a","settingValue":"1"},{"settingValue":"2"}]}})";
    auto* auth = parse<TQLModuleResponseAuth>(
        reply(1, {100}, module("UserFlow", "StandardAuth", response, R"("updateFrequency":45.9,"wallClockRenderTime":"W",)" + client)),
        "UserFlow/StandardAuth");
    ASSERT_NE(auth, nullptr);
    const TQLClientConfiguration& cc = auth->m_clientConfiguration;
    const TQLAuthenticationData& ad = auth->m_authenticationData;
    string text = join(auth->updateFrequency, auth->wallClockRenderTime, cc.maxAutoDownloads,
                       cc.cachedContentDeletionPeriodInDays, cc.onDemandExpiryDays, cc.authGracePeriodInDays,
                       cc.activeListeningGracePeriodInMins, cc.faqurl, cc.facebookAppId, cc.clientDeviceId,
                       cc.fbLinkStatus, ad.sessionID, ad.username, ad.remainingLockoutMinutes, ad.remainingLockoutSeconds);
    for (const TQLDeviceSettingsItem& d : auth->m_deviceSettings)
        text += join(d.deviceId, d.name, d.value);
    for (const TQLGlobalSettingsItem& g : auth->m_globalSettings.m_items)
        text += join(g.settingName, g.settingValue);
    // The object under moduleResponse is not the client configuration; clientDeviceId
    // is in the reply but not read; a lockout given as text is not a number.
    EXPECT_EQ(text, "45|W|5|6|7|8|9|F|FB||L|S|U|0|30|d1|n1|v1||n2||a|1||2|");
}

} // namespace

namespace {
TEST_F(SessionCallsTest, TheFaultMessageIsTheLastRefusalsMessages)
{
    restart(std::vector<Route>{answer(kAuth, reply(0, {101, 102}), 1)} + ladder());
    EXPECT_EQ(configure(), -1);
    // Every message text of the refused login, each closed by " : ", no terminator.
    char buffer[32];
    memset(buffer, '#', sizeof buffer);
    unsigned int length = sizeof buffer;
    EXPECT_EQ(tql_getFaultResponseMessage(buffer, &length), 8);
    EXPECT_EQ(length, 8u);
    EXPECT_EQ(string(buffer, 9), "m : m : #");
    length = 7;
    EXPECT_EQ(tql_getFaultResponseMessage(buffer, &length), -8);
    EXPECT_EQ(length, 8u) << "the length needed";
}
} // namespace
