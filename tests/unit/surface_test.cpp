// The exported tql_ functions as a host sees them: error texts, versions,
// lazy and strict entries, callback registration and the session entries
// that need no service.
#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "PortTest.h"
#include "tqllib.h"

namespace {

class PublicSurfaceTest : public PortTest {
protected:
    // Messages of the lines logged at a severity under a function name.
    static std::vector<std::string> messagesOf(const std::string& function, int severity)
    {
        std::vector<std::string> out;
        const std::string head = function + ":line:";
        for (const auto& line : port().logs) {
            size_t colon = line.text.find(": ", head.size());
            if (line.severity == severity && line.text.rfind(head, 0) == 0 && colon != std::string::npos)
                out.push_back(line.text.substr(colon + 2));
        }
        return out;
    }
};

int dummyHost;
void anyCallback() {} // registered only: nothing is delivered in these tests
// The block as eighteen pointer-sized slots; slot 0 is the host context, 1 and 8 are reserved.
tql_CallbackStruct callbacksWithout(int nullSlot = -1)
{
    void* slots[18];
    for (int i = 0; i < 18; ++i)
        slots[i] = reinterpret_cast<void*>(&anyCallback);
    slots[0] = &dummyHost;
    slots[1] = slots[8] = nullptr;
    if (nullSlot >= 0)
        slots[nullSlot] = nullptr;
    tql_CallbackStruct cb;
    static_assert(sizeof cb == sizeof slots, "eighteen slots");
    memcpy(&cb, slots, sizeof cb);
    return cb;
}

TEST_F(PublicSurfaceTest, ErrorTextsAreFoundByCodeWithoutACore)
{
    const char* const connect = "Unable to connect to TamberQL. Please check your Internet connection.";
    const struct { int code; const char* text; } table[] = {
        {0, "No Error"}, {1, "General Library Error"}, {3, "Configuration error"},
        {4, "Tamber not properly configured"},
        {13, "Channel Lineup Error"}, {14, "Channel Lineup Error"}, {15, "Playback stopped."},
        {16, "Tamber Token Update Error: Url is empty"}, {17, "Unavailable Channel"},
        {18, "Service Error: Invalid session. Please try again."}, {20, "Failed to get recents"},
        {21, "Failed to get favorites"}, {22, "Failed to get Profile GUP Collation data"},
        {23, "Failed to get recommendations"}, {24, "Failed to get presets"}, {25, "Failed to get search results"},
        {26, "Password Error"}, {30, "Not enough memory"}, {32, connect},
        {33, "Playback stopped.  Account logged into another device."}, {34, "Unavailable Channel"},
        {35, "HLS client Error"}, {37, "Streaming client stopped"}, {45, connect}, {49, "Authentication failed."},
        {50, "Invalid or missing TamberQL credentials."}, {51, "TamberQL service error. Please try again."},
        {52, "Too many unsuccessful login attempts. Please wait a few minutes and try again."},
        {53, "Invalid Session"}, {54, "Invalid library version"},
        {55, "Content unreachable. Check your Internet connection."},
        {56, "Your account is past due. Please log in to make a payment. After receiving your payment, your service "
             "will be reactivated and you can continue to enjoy TamberQL."},
        {58, "Subscriber account closed"}, {59, "On Demand Episode is no longer available"},
        {57, "Don't miss everything TamberQL has to offer. Please purchase a subscription to continue listening"},
        {406, "Failed to save favorites."},
        {500, "TamberQL server unreachable. Please check your internet connection."},
        {5260, "Your account is not compatible with this device."},
    };
    for (const auto& row : table) {
        ASSERT_NE(tql_get_error(row.code), nullptr) << row.code;
        EXPECT_STREQ(tql_get_error(row.code), row.text) << row.code;
    }
    for (int unknown : {2, 5, 12, 19, 31, 36, 46, 60, 405, 501, 5261, -1, -49})
        EXPECT_STREQ(tql_get_error(unknown), "") << unknown;
    EXPECT_EQ(tql_deinit(), -1); // the table needs no core and makes none
}

TEST_F(PublicSurfaceTest, VersionCallsAndCompatibilityLines)
{
    int major = -1, minor = -1, patch = -1;
    EXPECT_EQ(tql_getVersion(&major, &minor, &patch), 1);
    EXPECT_EQ(std::vector<int>({major, minor, patch}), std::vector<int>({3, 0, 0}));
    EXPECT_EQ(tql_setExternalVersion("7.1.2"), 1);
    const struct { const char* version; int expected; } cases[] = {
        {"3.0.0", 1}, {"3.0.9", 1}, {"03.00.4", 1}, {"3.1.0", -1},
        {"2.0.0", -1}, {"4.0.0", -1}, {"30.0.0", -1}, {"3.10.0", -1}};
    for (const auto& c : cases) {
        port().logs.clear();
        EXPECT_EQ(tql_checkVersion(c.version), c.expected) << c.version;
        EXPECT_EQ(port().logged("Header and Lib versions are compatible", 3), c.expected == 1) << c.version;
        EXPECT_EQ(port().logged("Header and Lib versions are not compatible", 1), c.expected != 1) << c.version;
    }
}

TEST_F(PublicSurfaceTest, StrictCallsFailWithoutACoreAndMakeNone)
{
    tql_channel_ctx ctx;
    memset(&ctx, 0, sizeof ctx);
    ctx.contentId = "channel";
    const std::vector<std::pair<std::function<int()>, int>> strict = {
        {[] { return tql_deinit(); }, -1},
        {[] { return tql_selectStreamIndex(1); }, 0},
        {[] { return tql_on_playTimeChanged(5); }, -1},
        {[] { return tql_externalTimerTick(100); }, -1},
        {[] { return tql_externalTimerTick(0); }, -1},
        {[] { return tql_sendAudioData(); }, -1},
        {[&] { return tql_playChannel(&ctx); }, -1},
        {[] { return tql_userPause(1); }, -1},
        {[] { return tql_stopChannel(); }, -1},
    };
    for (size_t i = 0; i < strict.size(); ++i) {
        EXPECT_EQ(strict[i].first(), strict[i].second) << "call " << i;
        EXPECT_EQ(tql_deinit(), -1) << "call " << i << " made a core";
    }
    EXPECT_TRUE(port().requests.empty());
}

TEST_F(PublicSurfaceTest, LazyCallsMakeTheCoreOrFailWhenNoneCanBeMade)
{
    const int kAny = -1000, kSkip = -1001; // no value defined here; not called in that run
    int major = 0, minor = 0, patch = 0, count = 0;
    char buffer[4];
    unsigned int length = sizeof buffer;
    tql_errorNotification error;
    const struct { std::function<int()> call; int withCore, withoutCore; } lazy[] = {
        {[] { return tql_get_status(); }, 0, kAny},
        {[&] { return tql_getVersion(&major, &minor, &patch); }, 1, -1},
        {[] { return tql_checkVersion("3.0.0"); }, 1, -1},
        {[] { return tql_setExternalVersion("1.2.3"); }, 1, -1},
        {[] { return tql_registerCallbacks(callbacksWithout()); }, 1, -1},
        {[&] { return tql_getFaultResponseMessage(buffer, &length); }, 0, -1},
        {[] { return tql_getMaxInactivityTime(); }, 0, kAny},
        {[] { return tql_getMaxIdleTimeout(); }, 0, kAny},
        {[] { return tql_outputLatency(250); }, 250, kAny},
        {[] { tql_triggerChannelRefetch(); return tql_get_status(); }, 4, kAny},
        {[&] { return tql_configure_tamber(&error); }, -1, -1}, // no stored account
        {[&] { return tql_verify_account({"user", "pw", 0, 0, 0, 0, 0, 0}, &error); }, kSkip, -1},
        {[] { return tql_reset_cUrl(); }, kSkip, 0},
        {[&] { return tql_get_preset_list(&count, TQL_PRESETS_FETCH) ? 1 : 0; }, kSkip, 0},
        {[&] { return tql_getPausePoints(&count) ? 1 : 0; }, kSkip, 0},
    };
    for (bool coreCanBeMade : {true, false}) {
        port().crInitResult = coreCanBeMade ? 1 : 0;
        for (size_t i = 0; i < sizeof lazy / sizeof lazy[0]; ++i) {
            int expected = coreCanBeMade ? lazy[i].withCore : lazy[i].withoutCore;
            if (expected == kSkip)
                continue;
            int result = lazy[i].call();
            if (expected != kAny) {
                EXPECT_EQ(result, expected) << "call " << i << (coreCanBeMade ? "" : " without a core");
            }
            EXPECT_EQ(tql_deinit(), coreCanBeMade ? 1 : -1) << "call " << i;
        }
    }
    EXPECT_TRUE(port().requests.empty());
    EXPECT_EQ(port().setAccountCalls, 0);
}

TEST_F(PublicSurfaceTest, InitTwiceKeepsTheCoreAndInitAfterDeinitMakesAFreshOne)
{
    ASSERT_EQ(tql_init(), 1);
    const std::string rule(56, '-');
    std::vector<std::string> banner;
    for (const auto& line : port().logs)
        if (line.severity == 3)
            banner.push_back(line.text.substr(line.text.find(": ") + 2));
    EXPECT_EQ(banner, std::vector<std::string>({rule, "TQL Norvale library version 3.0.0", rule}));

    tql_triggerChannelRefetch();
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(tql_init(), 1); // a no-op on the existing core
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_EQ(port().countLogged("TQL Norvale library version"), 1u);

    EXPECT_EQ(tql_deinit(), 1);
    EXPECT_EQ(tql_init(), 1);
    EXPECT_EQ(tql_get_status(), 0);
    EXPECT_EQ(port().countLogged("TQL Norvale library version"), 2u);
}

TEST_F(PublicSurfaceTest, RegisterCallbacksChecksEverySlot)
{
    // Slot numbers of the callback block, in the order the hub checks them.
    const struct { int slot; const char* what; int result; } cases[] = {
        {16, "Search notification", 1},   {12, "Recents notification", 1},     {13, "Favorites notification", 1},
        {15, "For You notification", 1},  {11, "Get Episodes notification", 1}, {14, "Global Settings notification", 1},
        {3, "MetaData notifications", -1}, {10, "timebar", 1},                  {4, "Bitrate notification", -1},
        {0, "Bitrate notification", -1},  {5, "busy notification", -1},        {2, "error notification", -1},
        {9, "PDT update notification", -1}, {7, "On Demand notification", 1},  {6, "Channel Lineup notification", -1},
        {17, "Refresh notification", -1},
    };
    ASSERT_EQ(tql_init(), 1);
    port().logs.clear();
    EXPECT_EQ(tql_registerCallbacks(callbacksWithout()), 1);
    EXPECT_TRUE(messagesOf("registerCallbacks", 1).empty());
    EXPECT_EQ(messagesOf("registerCallbacks", 3),
              std::vector<std::string>{"Callback registered for error notification"});

    // Each later registration is judged on the slots it was given, not on what is held.
    std::vector<std::string> allNull;
    for (const auto& c : cases) {
        port().logs.clear();
        std::string text = "Invalid argument (null pointer in callback struct - " + std::string(c.what) + ")";
        EXPECT_EQ(tql_registerCallbacks(callbacksWithout(c.slot)), c.result) << c.what;
        EXPECT_EQ(messagesOf("registerCallbacks", 1), std::vector<std::string>{text}) << c.what;
        EXPECT_EQ(port().logged("Callback registered for error notification", 3), c.slot != 2) << c.what;
        if (c.slot != 0)
            allNull.push_back(text);
    }

    // All NULL: every slot is still visited, one line each, in that order.
    port().logs.clear();
    tql_CallbackStruct empty;
    memset(&empty, 0, sizeof empty);
    EXPECT_EQ(tql_registerCallbacks(empty), -1);
    EXPECT_EQ(messagesOf("registerCallbacks", 1), allNull);
}

// Three nodes from port memory, each holding a borrowed text that is port memory too.
template <class Node, class SetText>
void checkFree(int (*freeList)(Node*), SetText setText)
{
    EXPECT_EQ(freeList(nullptr), 1);
    auto& port = testport::ScriptedPort::get();
    long before = port.liveAllocations();
    Node* head = nullptr;
    std::vector<void*> texts;
    for (int i = 0; i < 3; ++i) {
        auto* node = static_cast<Node*>(tql_malloc(sizeof(Node)));
        memset(node, 0, sizeof(Node));
        texts.push_back(tql_malloc(8));
        setText(*node, static_cast<const char*>(texts.back()));
        node->next = head;
        head = node;
    }
    EXPECT_EQ(freeList(head), 1);
    EXPECT_EQ(port.liveAllocations(), before + 3); // the nodes went, the texts stay
    for (void* t : texts)
        tql_free(t);
    EXPECT_EQ(port.liveAllocations(), before);
}

TEST_F(PublicSurfaceTest, FreeFunctionsTakeNullAndReleaseEveryNode)
{
    checkFree(tql_freePresets, [](tql_chainedPresets& n, const char* t) { n.assetGuid = t; });
    checkFree(tql_freePausePointList, [](tql_chainedPausePoints& n, const char* t) { n.showGuid = t; });
    checkFree(tql_freeFavoriteList, [](tql_chainedFavorites& n, const char* t) { n.channelId = t; });
    checkFree(tql_freeStringList, [](tql_chainedStrings& n, const char* t) { n.text = t; });
    checkFree(tql_freeContentList, [](tql_chainedTQLContent& n, const char* t) { n.content.name = t; });
}

TEST_F(PublicSurfaceTest, FaultMessageLatencyAndTickArgument)
{
    char buffer[8];
    unsigned int length = sizeof buffer;
    EXPECT_EQ(tql_getFaultResponseMessage(nullptr, &length), -1);
    EXPECT_EQ(tql_getFaultResponseMessage(buffer, nullptr), -1);
    for (unsigned int given : {8u, 0u}) {
        memset(buffer, 'X', sizeof buffer);
        length = given;
        EXPECT_EQ(tql_getFaultResponseMessage(buffer, &length), 0); // no reply held: an empty text
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(buffer[0], 'X'); // and no terminator added
    }
    for (int latency : {0, 1, 350, -20})
        EXPECT_EQ(tql_outputLatency(latency), latency);

    port().logs.clear();
    EXPECT_EQ(tql_externalTimerTick(0), -1);
    ASSERT_EQ(port().logs.size(), 1u);
    EXPECT_TRUE(port().logged(":line:", 1));
    EXPECT_EQ(port().logs[0].text.substr(port().logs[0].text.find(": ") + 2),
              "Invalid argument, timer tick has to be defined");
}

TEST_F(PublicSurfaceTest, ConfigureWithoutAStoredUserNameFailsWith49AndSendsNothing)
{
    tql_errorNotification error;
    for (bool storedWithEmptyName : {false, true}) {
        tql_deinit();
        port().reset();
        if (storedWithEmptyName)
            port().storeAccount("", "password");
        memset(&error, 0xff, sizeof error);
        EXPECT_EQ(tql_configure_tamber(&error), -1);
        tql_errorNotification expected{};
        expected.errorCode = 49;
        EXPECT_EQ(memcmp(&error, &expected, sizeof error), 0) << "the rest is cleared; stored " << storedWithEmptyName;
        EXPECT_EQ(tql_get_status(), 0);
        EXPECT_TRUE(port().requests.empty());
        EXPECT_EQ(port().freeAccountCalls, port().getAccountCalls);
    }

    // The user name is checked before the state: even a logged-in core answers 49.
    tql_triggerChannelRefetch();
    EXPECT_EQ(tql_configure_tamber(&error), -1);
    EXPECT_EQ(error.errorCode, 49);
    // With a stored account the logged-in state answers at once.
    port().storeAccount("user", "password");
    memset(&error, 0xff, sizeof error);
    EXPECT_EQ(tql_configure_tamber(&error), 1);
    EXPECT_EQ(error.errorCode, 0);
    EXPECT_EQ(error.bypass.authBypass704, 0);
    EXPECT_EQ(tql_get_status(), 4);
    EXPECT_TRUE(port().requests.empty());
}

TEST_F(PublicSurfaceTest, VerifyAccountNeedsAUserNameAndWhenLoggedInStoresUnchecked)
{
    tql_errorNotification error;
    for (const char* user : {static_cast<const char*>(nullptr), ""}) {
        memset(&error, 0xff, sizeof error);
        EXPECT_EQ(tql_verify_account({user, "password", "f2", "f3", "f4", "f5", "f6", "f7"}, &error), -1);
        EXPECT_EQ(error.errorCode, 49);
        EXPECT_EQ(error.responseCode, 0);
        EXPECT_EQ(tql_get_status(), 0);
        EXPECT_EQ(port().setAccountCalls, 0);
    }

    // Logged in, the ladder is skipped and the new account is stored without a check.
    tql_triggerChannelRefetch();
    EXPECT_EQ(tql_verify_account({"newuser", "secret", "f2", "f3", "f4", "f5", "f6", "f7"}, &error), 1);
    EXPECT_TRUE(port().requests.empty());
    ASSERT_EQ(port().setAccountCalls, 1);
    // Only user name and password of the host's record are taken; all eight slots are written.
    EXPECT_EQ(port().account, (std::array<std::string, 8>{"newuser", "secret", "", "", "", "", "", ""}));
    EXPECT_EQ(port().accountSlotSet, (std::array<bool, 8>{true, true, true, true, true, true, true, true}));
    EXPECT_TRUE(port().logged("Writting new account credentials to settings newuser", 4));
}

} // namespace
