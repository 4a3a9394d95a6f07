// The content queries as the service and the host see them: one request per
// call with its query in a fixed order, and the library error that a host
// reads back when the service refuses or the transfer cannot be made.
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "PortTest.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tqllibInt.h"

namespace {

const std::string kBase = "https://svc.test";
const std::string kCarousels = kBase + "/rest/v4/experience/carousels";
const std::string kRecents = kCarousels + "?page-name=recents&entities-only=false&result-template=norvale%7Cweb";
const std::string kFavorites = kCarousels + "?page-name=favorites_norvale&result-template=norvale%7Cweb";
const std::string kForYouCarousel = kCarousels + "?page-name=for_you&result-template=norvale";
const std::string kCollation = kBase + "/rest/v4/experience/modules/get/profile-gup-collation";
const std::string kRecommender = kBase + "/rest/v2/experience/modules/recommender";
const std::string kOnDemand = kBase + "/rest/v2/experience/modules/get/discover-aod?request-option=discover-aod-shows";
const std::string kOnDemandTail = "format=json&page=2&count=20&result-template=radio&exclude=episodes";
const std::string kSearch = kCarousels + "?page-name=search&result-template=mobile&search-term=";
const std::string kGeo = kBase + "/rest/v2/experience/modules/get/geolocation";
const std::string kPdt = kBase + "/rest/v2/experience/modules/get/discover-channel-list?request-option="
                                 "discover-channel-list-withpdt&format=json&batch-mode=true&result-template=web";
const std::string kEpisodes = kBase + "/rest/v1/shows?only=show-1&get-episodes=true";
const std::string kLogin = kBase + "/rest/v2/experience/modules/modify/authentication-partner?format=json";
const std::string kForYouBody = R"({"moduleList":{"modules":[{"moduleArea":"Discovery",)"
                                R"("moduleType":"RecommendationsForYou","moduleRequest":{"resultTemplate":"web"}}]}})";

// A module of a class no content call expects; it counts where any module does.
const std::string kOtherModule = R"({"moduleArea":"Configuration","moduleType":"Configuration","moduleResponse":{}})";
const std::string kLoginModule = R"({"moduleArea":"UserFlow","moduleType":"StandardAuth",)"
                                 R"("moduleResponse":{"authenticationData":{"sessionID":"S-2"}}})";

std::string messages(std::initializer_list<int> codes)
{
    std::string out;
    for (int code : codes)
        out += (out.empty() ? "[" : ",") + ("{\"code\":" + std::to_string(code) + ",\"message\":\"m\"}");
    return out.empty() ? "[]" : out + "]";
}

// A log line whose message is exactly this text (lines read "function:line:N: message").
bool loggedMessage(const std::string& text)
{
    for (const testport::LogLine& line : testport::ScriptedPort::get().logs)
        if (line.text.size() > text.size() + 1 &&
            line.text.compare(line.text.size() - text.size() - 2, std::string::npos, ": " + text) == 0)
            return true;
    return false;
}

// A call as the tests drive it: 1 for a response, 0 for null; geolocation
// gives its own int.
using QueryCall = std::function<int(TamberRequest&)>;
int given(TQLResponse* response) { return response ? 1 : 0; }

class ContentCalls : public PortTest {
protected:
    void SetUp() override { PortTest::SetUp(); start(); }
    void start()
    {
        ASSERT_EQ(1, tql_init());
        routing.m_partnerDevice.routingUrl = kBase.c_str();
        tql_int_get_core()->setRouting(&routing);
    }
    void restart() { tql_deinit(); port().reset(); start(); }
    static TamberRequest& req() { return tql_int_get_core()->getTamberRequest(); }
    static void answer(const std::string& url, const std::string& body, std::vector<std::string> headers = {})
    {
        testport::Route route;
        route.url = url;
        route.body = body;
        route.headers = std::move(headers);
        port().addRoute(route);
    }
    static std::pair<int, int> lastError()
    {
        tql_errorNotification e{};
        req().getErrorResponse(&e);
        return {e.errorCode, e.responseCode};
    }
    // A call that arrives while a transfer is in progress gets no transfer.
    static int refused(const QueryCall& run)
    {
        req().m_requestInProgress = 1;
        int result = run(req());
        req().m_requestInProgress = 0;
        return result;
    }

    TQLModuleResponseRouting routing;
};

struct Wire {
    QueryCall run;
    std::string url;
    std::string logText; // level 3, followed by the URL
};

std::vector<Wire> wireTable()
{
    auto call = [](TQLResponse* (TamberRequest::*fn)()) {
        return [=](TamberRequest& r) { return given((r.*fn)()); };
    };
    auto onDemand = [](const char* genre, const char* channel) {
        return [=](TamberRequest& r) { return given(r.tamberNorvaleOnDemand("2", "20", genre, channel)); };
    };
    auto collation = [](int type) {
        return [=](TamberRequest& r) { return given(r.tamberNorvaleRetrieveGUPCollation(type)); };
    };
    auto search = [](const char* term) { return [=](TamberRequest& r) { return given(r.tamberSearch(term)); }; };
    auto geo = [](const char* channel, const char* episode) {
        return [=](TamberRequest& r) { return r.tamberNorvaleCheckGeoLocation(channel, episode); };
    };
    auto pdt = [](const char* category, const char* ids) {
        return [=](TamberRequest& r) { return given(r.tamberNorvalePDTRequest(category, ids)); };
    };
    const char* collationLog = "Profile GUP Collation request url: ";
    return {
        {call(&TamberRequest::tamberNorvaleRecentsCarousel), kRecents, "Carousels Recents request url: "},
        {call(&TamberRequest::tamberNorvaleFavoritesCarousel), kFavorites, ""},
        {call(&TamberRequest::tamberNorvaleRetrieveForYouCarousel), kForYouCarousel, ""},
        {collation(0), kCollation + "?gup-type=presets", collationLog},
        {collation(1), kCollation + "?gup-type=recent-plays", collationLog},
        {collation(2), kCollation + "?gup-type=aod-pause-points", collationLog},
        {collation(3), kCollation + "?gup-type=favorites", collationLog},
        {collation(4), kCollation, collationLog},
        {call(&TamberRequest::tamberNorvaleRetrieveForYou), kRecommender, ""},
        // A genre wins over a channel.
        {onDemand("jazz", "ch-1"), kOnDemand + "&genre=jazz&" + kOnDemandTail, "OnDemand Listing request url: "},
        {onDemand("", "ch-1"), kOnDemand + "&channelId=ch-1&" + kOnDemandTail, ""},
        {onDemand("", ""), kOnDemand + "&" + kOnDemandTail, ""},
        // The term is escaped once, in lower-case hex.
        {search("rock/pop & jazz"), kSearch + "rock%2fpop%20%26%20jazz", "Search request url: "},
        {geo("ch-1", "ep-1"), kGeo + "?channelID=ch-1", "Geo Location request url: "},
        {geo("", "ep-1"), kGeo + "?episodeCAID=ep-1", ""},
        {geo("", ""), kGeo, ""},
        {pdt("rock", "ch-1"), kPdt + "&category=rock", "PDT Channel Listing request url: "},
        {pdt("all", "ch-1"), kPdt + "&channelIds=ch-1", ""},
        {pdt("", "ch-1"), kPdt + "&channelIds=ch-1", ""},
        {pdt("all", ""), kPdt, ""},
        {[](TamberRequest& r) { return given(r.tamberNorvaleGetEpisodes("show-1")); }, kEpisodes,
         "Get Episodes request url: "},
    };
}

bool isGeo(const Wire& w) { return w.url.compare(0, kGeo.size(), kGeo) == 0; }

TEST_F(ContentCalls, EachCallSendsOneRequestWithItsQueryInOrder)
{
    for (const Wire& w : wireTable()) {
        SCOPED_TRACE(w.url);
        restart();
        answer(w.url, testport::serviceReply(""));
        w.run(req());
        ASSERT_EQ(1u, port().requests.size());
        const testport::RecordedRequest& r = port().requests[0];
        EXPECT_EQ(w.url, r.url);
        // Only the recommendations post a document; only geolocation has the short time limits.
        EXPECT_EQ(w.url == kRecommender ? 1 : 0, r.isPost);
        EXPECT_EQ(w.url == kRecommender ? kForYouBody : "", r.postData);
        EXPECT_EQ(isGeo(w) ? 7 : 10, r.connectTimeout);
        EXPECT_EQ(isGeo(w) ? 10 : 25, r.totalTimeout);
        if (!w.logText.empty()) {
            EXPECT_TRUE(port().logged(w.logText + w.url, 3));
        }
    }
}

TEST_F(ContentCalls, WithoutRoutingNothingIsSentAndErrorIs14)
{
    for (const char* base : {static_cast<const char*>(nullptr), ""}) {
        for (const Wire& w : wireTable()) {
            SCOPED_TRACE(w.url);
            restart();
            if (base)
                routing.m_partnerDevice.routingUrl = base;
            else
                tql_int_get_core()->setRouting(nullptr);
            EXPECT_EQ(isGeo(w) ? -1 : 0, w.run(req()));
            EXPECT_EQ(std::make_pair(14, 0), lastError());
            EXPECT_TRUE(port().requests.empty());
            EXPECT_TRUE(port().logged("Tamber not configured, no routing Url", 1));
        }
    }
}

enum Scenario { Refused, Dead208, Dead101And208, Refused301, EmptyReply, Ok, OkWithModule, kScenarios };

struct Outcome {
    int result, error, code; // error -1: no particular error is due
};

struct FailureRow {
    std::string name; // as the call's log lines name it
    bool carousel;
    QueryCall run;
    std::string url;
    Outcome outcome[kScenarios];
};

TEST_F(ContentCalls, FailuresGiveTheErrorOfEachCall)
{
    const FailureRow table[] = {
        {"TamberRequest::tamberNorvaleRecentsCarousel", true,
         [](TamberRequest& r) { return given(r.tamberNorvaleRecentsCarousel()); }, kRecents,
         {{0, 500, 0}, {0, 53, 208}, {0, 53, 208}, {0, 20, 301}, {0, 20, 0}, {1, 0, 0}, {1, 0, 0}}},
        {"TamberRequest::tamberNorvaleFavoritesCarousel", true,
         [](TamberRequest& r) { return given(r.tamberNorvaleFavoritesCarousel()); }, kFavorites,
         {{0, 500, 0}, {0, 53, 208}, {0, 53, 208}, {0, 21, 301}, {0, 21, 0}, {1, 0, 0}, {1, 0, 0}}},
        {"TamberRequest::tamberNorvaleRetrieveForYouCarousel", true,
         [](TamberRequest& r) { return given(r.tamberNorvaleRetrieveForYouCarousel()); }, kForYouCarousel,
         {{0, 500, 0}, {0, 53, 208}, {0, 53, 208}, {0, 23, 301}, {0, 23, 0}, {1, 0, 0}, {1, 0, 0}}},
        {"TamberRequest::tamberNorvaleRetrieveGUPCollation", false,
         [](TamberRequest& r) { return given(r.tamberNorvaleRetrieveGUPCollation(1)); },
         kCollation + "?gup-type=recent-plays",
         {{0, 22, 0}, {0, 53, 208}, {0, 53, 208}, {0, 22, 301}, {0, 22, 0}, {1, 0, 0}, {1, 0, 0}}},
        // The recommendations never pass the service code on.
        {"TamberRequest::tamberNorvaleRetrieveForYou", false,
         [](TamberRequest& r) { return given(r.tamberNorvaleRetrieveForYou()); }, kRecommender,
         {{0, 23, 0}, {0, 53, 0}, {0, 53, 0}, {0, 23, 0}, {0, 23, 0}, {1, 0, 0}, {1, 0, 0}}},
        // Once tried, on-demand returns its response in every case; error 0
        // needs an on-demand listing as the first module, so 49 stays here.
        {"", false, [](TamberRequest& r) { return given(r.tamberNorvaleOnDemand("2", "20", "jazz", "")); },
         kOnDemand + "&genre=jazz&" + kOnDemandTail,
         {{1, 55, 0}, {1, 53, 208}, {1, 50, 208}, {1, 49, 301}, {1, 49, 0}, {1, 49, 0}, {1, 49, 0}}},
        // Search wants status 1 and a module before it reads anything.
        {"", false, [](TamberRequest& r) { return given(r.tamberSearch("jazz")); }, kSearch + "jazz",
         {{0, 500, 0}, {0, 500, 0}, {0, 500, 0}, {0, 500, 0}, {0, 500, 0}, {0, 500, 0}, {1, -1, -1}}},
        // Geolocation fails only on the transfer; the service refuses it with 307 alone.
        {"", false, [](TamberRequest& r) { return r.tamberNorvaleCheckGeoLocation("ch-1", ""); },
         kGeo + "?channelID=ch-1",
         {{-1, 55, 0}, {1, -1, -1}, {1, -1, -1}, {1, -1, -1}, {1, -1, -1}, {1, -1, -1}, {1, -1, -1}}},
        // Program data succeeds on status 100 only, and sets no error when the service refuses.
        {"", false, [](TamberRequest& r) { return given(r.tamberNorvalePDTRequest("rock", "")); },
         kPdt + "&category=rock",
         {{0, 55, 0}, {0, 406, 7}, {0, 406, 7}, {0, 406, 7}, {0, 406, 7}, {0, 406, 7}, {0, 406, 7}}},
        // An episode list has no envelope: any module is success, whatever the status.
        {"", false, [](TamberRequest& r) { return given(r.tamberNorvaleGetEpisodes("show-1")); }, kEpisodes,
         {{0, 55, 0}, {1, -1, -1}, {1, -1, -1}, {1, -1, -1}, {0, -1, -1}, {0, -1, -1}, {1, -1, -1}}},
    };
    for (const FailureRow& row : table) {
        for (int s = 0; s < kScenarios; ++s) {
            SCOPED_TRACE(row.url + " scenario " + std::to_string(s));
            restart();
            req().setLibraryErrorResponse(406, 7); // what an earlier call left
            int result = 0;
            switch (s) {
            case Refused: result = refused(row.run); break;
            case Dead208: answer(row.url, testport::serviceReply(kOtherModule, 0, messages({208}))); break;
            case Dead101And208: answer(row.url, testport::serviceReply(kOtherModule, 0, messages({101, 208}))); break;
            case Refused301: answer(row.url, testport::serviceReply(kOtherModule, 0, messages({301}))); break;
            case EmptyReply: break; // nothing scripted: a 404 with no body
            case Ok: answer(row.url, testport::serviceReply("")); break;
            case OkWithModule: answer(row.url, testport::serviceReply(kOtherModule)); break;
            }
            if (s != Refused)
                result = row.run(req());
            const Outcome& want = row.outcome[s];
            EXPECT_EQ(want.result, result);
            if (want.error >= 0) {
                EXPECT_EQ(std::make_pair(want.error, want.code), lastError());
            }
            EXPECT_EQ(s == Refused ? 0u : 1u, port().requests.size());
            // A carousel names itself and the header it had when no transfer was made.
            if (s == Refused) {
                std::string line = row.carousel ? row.name + " HTTP Error header is empty" : "HTTP Error";
                EXPECT_TRUE(port().logged(line, 1));
            }
            if ((s == Ok || s == OkWithModule) && want.result == 1 && want.error >= 0) {
                EXPECT_TRUE(loggedMessage(row.name.empty() ? "Success" : row.name + ": Success"));
            }
        }
    }
}

// Called back from inside another transfer, a carousel gets none of its own
// and logs the header of the transfer in progress.
TEST_F(ContentCalls, CarouselCalledDuringATransferLogsThatTransfersHeader)
{
    testport::Route outer;
    outer.url = kGeo + "?channelID=ch-1";
    outer.headers = {"X-Trace: t-1"};
    outer.body = testport::serviceReply("");
    std::pair<int, int> nested;
    outer.duringBody = [&] { nested = {given(req().tamberNorvaleRecentsCarousel()), lastError().first}; };
    port().addRoute(outer);
    req().tamberNorvaleCheckGeoLocation("ch-1", "");
    EXPECT_EQ(std::make_pair(0, 500), nested);
    EXPECT_EQ(1u, port().requests.size());
    EXPECT_TRUE(port().logged("tamberNorvaleRecentsCarousel HTTP Error header= HTTP/1.1 200 OK", 1));
    EXPECT_TRUE(port().logged("X-Trace: t-1", 1));
}

TEST_F(ContentCalls, SearchLogsInAgainWhenTheSessionIsDead)
{
    struct { int status; bool module; int code; bool login; int result; } rows[] = {
        {1, true, 208, true, 1}, {1, true, 500, true, 1}, {1, true, 204, true, 1}, {1, true, 100, false, 1},
        // Not classified: the reply's messages raise no flag at all.
        {0, true, 208, false, 0}, {1, false, 204, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("status " + std::to_string(row.status) + " code " + std::to_string(row.code));
        restart();
        port().storeAccount("user", "secret");
        answer(kSearch + "jazz",
               testport::serviceReply(row.module ? kOtherModule : "", row.status, messages({row.code})));
        answer(kLogin, testport::serviceReply(kLoginModule));
        EXPECT_EQ(row.result, given(req().tamberSearch("jazz")));
        ASSERT_EQ(row.login ? 2u : 1u, port().requests.size());
        EXPECT_EQ(row.login, port().logged("Expired session Id or logged elswhere"));
        EXPECT_EQ(row.login ? 4 : 0, tql_get_status());
        if (row.login) {
            EXPECT_EQ(kLogin, port().requests[1].url);
        }
        EXPECT_EQ(0, req().m_sessionInvalid);
        EXPECT_EQ(0, req().m_simultaneousLogin);
    }
}

TEST_F(ContentCalls, GeolocationLooksAtTheFirstMessageOnly)
{
    const std::pair<std::string, int> rows[] = {
        {messages({307}), -117}, {messages({100, 307}), 1}, {messages({307, 100}), -117}, {"[]", 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        restart();
        answer(kGeo + "?channelID=ch-1", testport::serviceReply("", 1, row.first));
        EXPECT_EQ(row.second, req().tamberNorvaleCheckGeoLocation("ch-1", ""));
    }
}

TEST_F(ContentCalls, ProgramDataIsGoodOnStatus100)
{
    answer(kPdt + "&category=rock", testport::serviceReply("", 100));
    EXPECT_EQ(req().m_norvalepdt, req().tamberNorvalePDTRequest("rock", ""));
    EXPECT_NE(nullptr, req().m_norvalepdt);
    EXPECT_TRUE(loggedMessage("Success"));
}

TEST_F(ContentCalls, ProgramDataReadsNotificationsOfAReplyWithoutBody)
{
    answer(kPdt + "&category=rock", "", {"X-TamberQL-Notification: Action=ReloadChannelLineup"});
    ASSERT_EQ(0, tql_get_status());
    EXPECT_EQ(0, given(req().tamberNorvalePDTRequest("rock", "")));
    EXPECT_EQ(4, tql_get_status());
    EXPECT_TRUE(port().logged("Trigger list forced update!", 3));
}

} // namespace
