// Classification of the service's reply messages: the result code, the fault
// copy, the sticky message flags, and the six bypass flags with their
// per-request masks, whose changes reach the host as an error report.
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "PortTest.h"
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tqllibInt.h"

namespace {

typedef std::array<int, 6> Flags; // 704, 702, 705, 314, 708, 701

Flags flagsOf(const tql_bypassStatus& s)
{
    return {s.bypass704, s.bypass702, s.bypass705, s.bypass314, s.bypass708, s.bypass701};
}

std::vector<tql_errorNotification> g_reports; // what the host's onError saw
int onError(void*, tql_errorNotification* error) { return g_reports.push_back(*error), 1; }

class ServerMessagesTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        restart();
    }

    // A new core: bypass flags live as long as the request object.
    void restart()
    {
        tql_deinit();
        ASSERT_EQ(tql_init(), 1);
        tql_CallbackStruct cb = {};
        cb.hostContext = &g_reports;
        cb.onError = onError;
        tql_registerCallbacks(cb);
        g_reports.clear();
        req = &tql_int_get_core()->getTamberRequest();
    }

    int check(int type, const std::vector<int>& codes)
    {
        tql_list<TQLMessagesType> messages;
        for (int code : codes) {
            TQLMessagesType m;
            m.m_code = code;
            m.m_message = tql_string::formatString("text %d", code);
            messages.push_back(m);
        }
        return req->tamberNorvaleCheckMessages(messages, static_cast<eRequestType>(type));
    }

    TamberRequest* req = nullptr;
};

TEST_F(ServerMessagesTest, ErrorTableLinesSetMasksOnlyForTypesThatRestateBypassCodes)
{
    for (int type = 0; type <= 22; ++type) {
        const tql_errorLine line = req->getErrorTableLine(static_cast<eRequestType>(type));
        Flags expected = {}; // mask704, mask702, mask705, mask314, mask708, mask701
        if (type == 1 || type == 14 || type == 16 || type == 19 || type == 20)
            expected = {1, 1, 1, 0, 1, 0};
        else if (type == 11)
            expected = {0, 1, 0, 0, 0, 0};
        const Flags masks = {line.mask704, line.mask702, line.mask705, line.mask314, line.mask708, line.mask701};
        EXPECT_EQ(masks, expected) << "type " << type;
        EXPECT_EQ(flagsOf(line), Flags{}) << "type " << type;
        EXPECT_EQ(line.authBypass704, 0);
    }
}

TEST_F(ServerMessagesTest, ResultIsTheLastCodeAndTheMessagesAreKeptAsFault)
{
    EXPECT_EQ(check(3, {100, 305, 4242}), 4242);
    const tql_list<TQLMessagesType>& fault = req->tamberFaultResponse()->m_messages;
    ASSERT_EQ(fault.size(), 3u);
    EXPECT_EQ(std::to_string(fault[1].m_code) + " " + fault[1].m_message.toStdString(), "305 text 305");
    EXPECT_TRUE(port().logged("Message: text 100 code: 100 Request type: 3", 4));
    EXPECT_TRUE(port().logged("Message: text 4242 code: 4242 Request type: 3", 4));

    EXPECT_EQ(check(9, {}), 0);
    EXPECT_TRUE(fault.empty());

    // The fault list itself may be classified again.
    check(3, {101});
    EXPECT_EQ(req->tamberNorvaleCheckMessages(req->tamberFaultResponse()->m_messages, eRequestRouting), 101);
    ASSERT_EQ(fault.size(), 1u);
    EXPECT_EQ(fault[0].m_code, 101);
}

TEST_F(ServerMessagesTest, StickyFlagsFollowTheirCodesWhateverTheRequestType)
{
    int TamberRequest::*const flags[] = {
        &TamberRequest::m_sessionInvalid, &TamberRequest::m_simultaneousLogin, &TamberRequest::m_noTracks,
        &TamberRequest::m_contentNotAvailable, &TamberRequest::m_badCredentials, &TamberRequest::m_loginAttempts,
        &TamberRequest::m_noSubscription, &TamberRequest::m_pastDue, &TamberRequest::m_authRequired,
        &TamberRequest::m_accountClosed, &TamberRequest::m_notCompatible, &TamberRequest::m_episodeExpired};
    // flag: index in flags, -1 for none
    const struct { int code, flag; } cases[] = {
        {208, 0},  {500, 0},  {204, 1},  {700, 2},  {309, 3},   {101, 4},  {102, 5},  {5140, 6}, {5200, 7},
        {201, 8},  {202, 8},  {206, 8},  {207, 8},  {5230, 9},  {5260, 10}, {320, 11}, {100, -1}, {704, -1},
        {313, -1}, {999, -1}, {203, -1}, {5000, -1}};
    for (int type : {0, 1, 9, 19}) {
        for (const auto& c : cases) {
            req->clearToken();
            EXPECT_EQ(check(type, {c.code}), c.code);
            for (int i = 0; i < 12; ++i)
                EXPECT_EQ(req->*flags[i], i == c.flag ? 1 : 0) << c.code << " type " << type << " flag " << i;
        }
    }

    check(3, {208, 204, 700, 309, 101, 102, 5140, 5200, 206, 5230, 5260, 320});
    check(3, {100}); // a later good reply leaves them
    req->clear();
    for (auto f : flags)
        EXPECT_EQ(req->*f, 1);
    req->clearToken();
    for (auto f : flags)
        EXPECT_EQ(req->*f, 0);
}

// offLog: 702 or 704 when this step writes that "Bypass mode OFF" line.
struct Step { int type; std::vector<int> codes; Flags flags; int auth; bool notified; int offLog; };

TEST_F(ServerMessagesTest, BypassFlagsFollowRelevantRepliesAndNotifyTheHostOnChange)
{
    // type, codes, six flags after, authBypass704, host notified, "Bypass mode OFF" line written (702/704)
    const std::vector<std::vector<Step>> scenarios = {
        // A login restates 704, 702, 705, 708: what it does not repeat goes off.
        {{1, {708, 702}, {0, 1, 0, 0, 1, 0}, 0, true, 0},
         {1, {100}, {0, 0, 0, 0, 0, 0}, 0, true, 702},
         {1, {}, {0, 0, 0, 0, 0, 0}, 0, false, 0}},
        // 701 and 314 have no mask and stay; 701 only masks 705.
        {{19, {701}, {0, 0, 0, 0, 0, 1}, 0, true, 0},
         {19, {705, 314}, {0, 0, 1, 1, 0, 1}, 0, true, 0},
         {19, {}, {0, 0, 0, 1, 0, 1}, 0, true, 0},
         {20, {100}, {0, 0, 0, 1, 0, 1}, 0, false, 0}},
        // 313 raises 702 for any relevant type, listed in its row or not.
        {{14, {313}, {0, 1, 0, 0, 0, 0}, 0, true, 0},
         {11, {313}, {0, 1, 0, 0, 0, 0}, 0, false, 0},
         {11, {}, {0, 0, 0, 0, 0, 0}, 0, true, 702},
         {16, {313}, {0, 1, 0, 0, 0, 0}, 0, true, 0}},
        // Collation masks 702 only, yet raises any flag it is sent.
        {{11, {708, 704}, {1, 0, 0, 0, 1, 0}, 0, true, 0},
         {11, {}, {1, 0, 0, 0, 1, 0}, 0, false, 0},
         {1, {704}, {1, 0, 0, 0, 0, 0}, 1, true, 0},
         {1, {}, {0, 0, 0, 0, 0, 0}, 0, true, 704}},
        // authBypass704 comes with a login's 704 and lasts while 704 keeps coming.
        {{1, {704}, {1, 0, 0, 0, 0, 0}, 1, true, 0},
         {19, {704}, {1, 0, 0, 0, 0, 0}, 1, false, 0},
         {19, {704, 708}, {1, 0, 0, 0, 1, 0}, 1, true, 0},
         {20, {708}, {0, 0, 0, 0, 1, 0}, 0, true, 704}},
        // 704 of another request gives no authBypass704, nor does a login 704 that changes none of the six.
        {{19, {704}, {1, 0, 0, 0, 0, 0}, 0, true, 0},
         {1, {704}, {1, 0, 0, 0, 0, 0}, 0, false, 0},
         {16, {}, {0, 0, 0, 0, 0, 0}, 0, true, 704}},
        // The end of 704 takes its own path: no 702 line although 702 ends too.
        {{19, {704, 702}, {1, 1, 0, 0, 0, 0}, 0, true, 0}, {19, {}, {0, 0, 0, 0, 0, 0}, 0, true, 704}},
    };
    const char* const off702 = "Bypass mode OFF. No 702 error code.";
    const char* const off704 = "Bypass mode OFF. No 704 error code. Reauthenticate";
    // Outside session state 5 no resume is nested; logged in with the line-up to read (4) is alike.
    for (size_t n = 0; n < 2 * scenarios.size(); ++n) {
        restart();
        if (n >= scenarios.size())
            tql_triggerChannelRefetch();
        const int state = tql_get_status();
        for (size_t i = 0; i < scenarios[n % scenarios.size()].size(); ++i) {
            const Step& step = scenarios[n % scenarios.size()][i];
            SCOPED_TRACE(testing::Message() << "scenario " << n << " step " << i << " state " << state);
            const size_t reports = g_reports.size(), logs702 = port().countLogged(off702),
                         logs704 = port().countLogged(off704);
            EXPECT_EQ(check(step.type, step.codes), step.codes.empty() ? 0 : step.codes.back());
            EXPECT_EQ(flagsOf(req->m_bypassStatus), step.flags);
            EXPECT_EQ(req->m_bypassStatus.authBypass704, step.auth);
            ASSERT_EQ(g_reports.size(), reports + (step.notified ? 1 : 0));
            if (step.notified) {
                EXPECT_EQ(g_reports.back().errorCode, 0);
                EXPECT_EQ(g_reports.back().playbackStopped, 0);
                EXPECT_EQ(flagsOf(g_reports.back().bypass), step.flags);
            }
            EXPECT_EQ(port().countLogged(off702), logs702 + (step.offLog == 702));
            EXPECT_EQ(port().countLogged(off704), logs704 + (step.offLog == 704));
        }
        EXPECT_EQ(tql_get_status(), state);
    }
    EXPECT_TRUE(port().logged(off702, 3));
    EXPECT_TRUE(port().logged(off704, 3));
}

TEST_F(ServerMessagesTest, TypesWithoutMasksNeverMoveAFlag)
{
    const std::vector<int> bypassCodes = {704, 702, 705, 708, 314, 701, 313};
    const int quiet[] = {0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 13, 15, 17, 18, 21, 22};
    for (int type : quiet) {
        EXPECT_EQ(check(type, bypassCodes), 313);
        EXPECT_EQ(flagsOf(req->m_bypassStatus), Flags{}) << type;
        EXPECT_EQ(req->m_bypassStatus.authBypass704, 0);
    }
    check(19, bypassCodes);
    const Flags on = {1, 1, 1, 1, 1, 1};
    ASSERT_EQ(flagsOf(req->m_bypassStatus), on);
    for (int type : quiet) {
        check(type, {100});
        EXPECT_EQ(flagsOf(req->m_bypassStatus), on) << type;
    }
    EXPECT_EQ(g_reports.size(), 1u);
}

TEST_F(ServerMessagesTest, DeadSessionRepliesLeaveTheBypassFlags)
{
    for (int dead : {208, 500, 204}) {
        restart();
        check(19, {702});
        ASSERT_EQ(g_reports.size(), 1u);
        EXPECT_EQ(check(19, {dead, 708}), 708);
        EXPECT_EQ(flagsOf(req->m_bypassStatus), (Flags{0, 1, 0, 0, 0, 0})) << dead;
        check(19, {}); // the message flag is sticky: still a dead session
        EXPECT_EQ(flagsOf(req->m_bypassStatus), (Flags{0, 1, 0, 0, 0, 0})) << dead;
        EXPECT_EQ(g_reports.size(), 1u);
        req->clearToken();
        check(19, {});
        EXPECT_EQ(flagsOf(req->m_bypassStatus), Flags{}) << dead;
        EXPECT_EQ(g_reports.size(), 2u);
    }
}

TEST_F(ServerMessagesTest, LibraryErrorIsStoredAndReadBack)
{
    req->setLibraryErrorResponse(53, 208);
    EXPECT_TRUE(port().logged("setLibraryErrorResponse: 53", 4));
    EXPECT_TRUE(port().logged("TQL Response code: 208", 3));
    tql_errorNotification out;
    memset(&out, 0x11, sizeof out);
    req->getErrorResponse(&out);
    EXPECT_EQ(out.errorCode, 53);
    EXPECT_EQ(out.responseCode, 208);
    EXPECT_EQ(out.playbackStopped, 0x11111111); // only the two codes are copied
}

} // namespace
