// The profile through the flat interface: the exact documents the writes
// post, how often each call asks before it gives up, how a dead session is
// repaired, what the host gets back, and that the chains it gets are freed
// through the library without a trace in port memory.
#include <cstring>
#include <string>
#include <vector>

#include "PortTest.h"
#include "ServiceReplies.h"
#include "TestText.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tqllibInt.h"

namespace {

using std::string;
using testport::join;

const string kBase = "https://svc.test";
const string kCollation = kBase + "/rest/v4/experience/modules/get/profile-gup-collation?gup-type=";
const string kPresetsGet = kCollation + "presets";
const string kPausePointsGet = kCollation + "aod-pause-points";
const string kModify = kBase + "/rest/v4/experience/modules/modify";
const string kModifyJson = kModify + "?format=json";
const string kSettings = kBase + "/rest/v2/experience/modules/modify?format=json";
const string kResume = kBase + "/rest/v2/experience/modules/resume?format=json";
// The port's clock at its start, as the favorites carry it.
const string kNow = "2023-11-14T22:13:20.000Z";

string messages(std::initializer_list<int> codes)
{
    string out;
    for (int code : codes)
        out += (out.empty() ? "[" : ",") + ("{\"code\":" + std::to_string(code) + ",\"message\":\"m" +
                                            std::to_string(code) + "\"}");
    return out.empty() ? "[]" : out + "]";
}

string presetsModule(const string& presets)
{
    return R"({"moduleArea":"Profile","moduleType":"GUPCollation","moduleResponse":{"presetsList":{"presets":[)" +
           presets + "]}}}";
}

string pausePointsModule(const string& points)
{
    return R"({"moduleArea":"Profile","moduleType":"GUPCollation","moduleResponse":{"pausePointTypes":[)" + points +
           "]}}";
}

string preset(const string& guid, const string& channel, int slot, bool aic = false)
{
    return R"({"assetGUID":")" + guid + R"(","assetType":"channel","contentType":")" + (aic ? "aic" : "live") +
           R"(","channelId":")" + channel + R"(","tabSortOrder":)" + std::to_string(slot) + "}";
}

const string kOtherModule = R"({"moduleArea":"Configuration","moduleType":"Configuration","moduleResponse":{}})";

class ProfileCalls : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
        routing.m_partnerDevice.routingUrl = kBase.c_str();
        tql_int_get_core()->setRouting(&routing);
    }
    static TamberRequest& req() { return tql_int_get_core()->getTamberRequest(); }
    static void answer(const string& url, const string& body, int uses = -1)
    {
        testport::Route route;
        route.url = url, route.body = body, route.uses = uses;
        port().addRoute(route);
    }
    static void resumable() { answer(kResume, testport::serviceReply(kOtherModule)); }
    static std::vector<string> urls()
    {
        std::vector<string> out;
        for (const testport::RecordedRequest& r : port().requests)
            out.push_back(r.url);
        return out;
    }
    static std::pair<int, int> lastError()
    {
        tql_errorNotification e{};
        req().getErrorResponse(&e);
        return {e.errorCode, e.responseCode};
    }
    static std::vector<string> chain(const tql_chainedPresets* p)
    {
        std::vector<string> out;
        for (; p; p = p->next)
            out.push_back(join(p->assetGuid, p->contentType, p->channelId, p->action, p->sortOrder));
        return out;
    }

    TQLModuleResponseRouting routing;
};

string presetsBody(const string& items)
{
    return R"({"moduleList":{"modules":[{"moduleArea":"Profile","moduleType":"Presets","moduleDetails":)"
           R"({"presetsList":{"presets":[)" + items + "]}}}]}}";
}

TEST_F(ProfileCalls, PresetUpdatePostsEveryNodeAndGivesTheServersList)
{
    const string longGuid(4000, 'g');
    tql_chainedPresets nodes[4] = {
        {"g1", 0, "c1", 0, 3, nullptr}, {"g2", 3, "a2", 1, 1, nullptr}, {"g3", 2, "c3", 2, 9, nullptr},
        {longGuid.c_str(), 7, "", 5, -4, nullptr}};
    for (int i = 0; i < 3; ++i)
        nodes[i].next = &nodes[i + 1];
    answer(kModify, testport::serviceReply(presetsModule(preset("g1", "c1", 3) + "," + preset("g9", "a9", 4, true))));
    char buffer[4];
    unsigned int length = sizeof buffer;
    int count = 77;
    tql_chainedPresets* list = tql_update_server_preset(nodes, buffer, &length, &count);
    const long live = port().liveAllocations();
    ASSERT_EQ(1u, port().requests.size());
    const testport::RecordedRequest& r = port().requests[0];
    EXPECT_EQ(kModify, r.url);
    EXPECT_EQ(1, r.isPost);
    EXPECT_EQ(10, r.connectTimeout);
    EXPECT_EQ(25, r.totalTimeout);
    // The last node is used too: a preset list has no terminator.
    EXPECT_EQ(presetsBody(R"({"assetGUID":"g1","assetType":"channel","changeType":"add","channelId":"c1",)"
                          R"("contentType":"live","tabSortOrder":3,"createdDateTime":"","modifiedDateTime":""},)"
                          R"({"assetGUID":"g2","assetType":"channel","changeType":"delete","channelId":"a2",)"
                          R"("contentType":"aic","tabSortOrder":1,"createdDateTime":"","modifiedDateTime":""},)"
                          R"({"assetGUID":"g3","assetType":"episode","changeType":"update","channelId":"c3",)"
                          R"("contentType":"aod","tabSortOrder":9,"createdDateTime":"","modifiedDateTime":""},)"
                          R"({"assetGUID":")" + longGuid + R"(","changeType":"","channelId":"","contentType":"",)"
                          R"("tabSortOrder":-4,"createdDateTime":"","modifiedDateTime":""})"),
              r.postData);
    EXPECT_TRUE(port().logged("Modify Presets request url: " + kModify, 3));
    EXPECT_TRUE(port().logged("TamberRequest::tamberNorvaleUpdateUserPresets: Success", 3));
    // Pushed on the front: the service's last preset comes first.
    EXPECT_EQ(2, count);
    EXPECT_EQ((std::vector<string>{"g9|3|a9|0|4|", "g1|0|c1|0|3|"}), chain(list));
    EXPECT_EQ(1, tql_freePresets(list));
    EXPECT_EQ(live - 2, port().liveAllocations());
}

TEST_F(ProfileCalls, PresetUpdateRefusesBadArgumentsWithoutARequest)
{
    tql_chainedPresets node = {"g1", 0, "c1", 0, 1, nullptr};
    char buffer[1];
    unsigned int length = 1, zero = 0;
    int count = 77;
    EXPECT_EQ(nullptr, tql_update_server_preset(nullptr, buffer, &length, &count));
    EXPECT_EQ(nullptr, tql_update_server_preset(&node, nullptr, &length, &count));
    EXPECT_EQ(nullptr, tql_update_server_preset(&node, buffer, nullptr, &count));
    EXPECT_EQ(nullptr, tql_update_server_preset(&node, buffer, &zero, &count));
    EXPECT_EQ(nullptr, tql_update_server_preset(&node, buffer, &length, nullptr));
    EXPECT_EQ(77, count);
    EXPECT_TRUE(port().requests.empty());
    // The request itself refuses an empty list and sets no error of its own.
    req().setLibraryErrorResponse(406, 7);
    EXPECT_EQ(nullptr, req().tamberNorvaleUpdateUserPresets(nullptr));
    EXPECT_TRUE(port().logged("Empty preset list, cannot save"));
    EXPECT_EQ(std::make_pair(406, 7), lastError());
    EXPECT_TRUE(port().requests.empty());
}

TEST_F(ProfileCalls, PresetUpdateTriesFiveTimesThenCountsMinusOne)
{
    tql_chainedPresets node = {"g1", 0, "c1", 0, 1, nullptr};
    char buffer[1];
    unsigned int length = 1;
    struct Row {
        string reply;
        size_t requests;
        int count;
        std::pair<int, int> error;
    } rows[] = {
        {testport::serviceReply(kOtherModule, 0, messages({301})), 5, -1, {24, 301}},
        // Status 1 without a module is asked again too.
        {testport::serviceReply("", 1, messages({100})), 5, -1, {0, 0}},
        // A good reply that is no collation, or does not open with 100, fails at once.
        {testport::serviceReply(kOtherModule, 1, messages({100})), 1, -1, {0, 0}},
        {testport::serviceReply(presetsModule(preset("g", "c", 1)), 1, messages({101, 100})), 1, -1, {0, 0}},
        // Every preset deleted: an empty chain, not a failure.
        {testport::serviceReply(presetsModule("")), 1, 0, {0, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.reply);
        port().requests.clear();
        port().routes.clear();
        answer(kModify, row.reply);
        int count = 77;
        EXPECT_EQ(nullptr, tql_update_server_preset(&node, buffer, &length, &count));
        EXPECT_EQ(row.requests, port().requests.size());
        EXPECT_EQ(row.count, count);
        EXPECT_EQ(row.error, lastError());
    }
}

TEST_F(ProfileCalls, PresetUpdateOnADeadSessionResumesBetweenTries)
{
    tql_chainedPresets node = {"g1", 0, "c1", 0, 1, nullptr};
    char buffer[1];
    unsigned int length = 1;
    int count = 0;
    answer(kModify, testport::serviceReply(kOtherModule, 0, messages({208})), 1);
    answer(kModify, testport::serviceReply(presetsModule(preset("g1", "c1", 1))));
    resumable();
    tql_chainedPresets* list = tql_update_server_preset(&node, buffer, &length, &count);
    EXPECT_EQ((std::vector<string>{kModify, kResume, kModify}), urls());
    EXPECT_TRUE(port().logged("retrievePresets.faultResponse.message = m208 code = 208", 1));
    EXPECT_EQ(1, count);
    tql_freePresets(list);
}

TEST_F(ProfileCalls, PresetListFetchesOrServesTheHeldCollation)
{
    answer(kPresetsGet, testport::serviceReply(presetsModule(preset("g1", "c1", 1) + "," + preset("g2", "a2", 2, true))));
    int count = 0;
    tql_chainedPresets* warm = tql_get_preset_list(&count, TQL_PRESETS_FETCH);
    tql_freePresets(warm);
    const long live = port().liveAllocations();
    // Held and good: state 0 asks nothing.
    tql_chainedPresets* held = tql_get_preset_list(&count, TQL_PRESETS_HELD);
    EXPECT_EQ(1u, port().requests.size());
    EXPECT_EQ(2, count);
    EXPECT_EQ((std::vector<string>{"g2|3|a2|0|2|", "g1|0|c1|0|1|"}), chain(held));
    tql_chainedPresets* fresh = tql_get_preset_list(&count, TQL_PRESETS_FETCH);
    EXPECT_EQ((std::vector<string>{kPresetsGet, kPresetsGet}), urls());
    EXPECT_EQ(live + 4, port().liveAllocations());
    tql_freePresets(held);
    tql_freePresets(fresh);
    EXPECT_EQ(live, port().liveAllocations());
    EXPECT_EQ(nullptr, tql_get_preset_list(nullptr, TQL_PRESETS_FETCH));
    EXPECT_EQ(2u, port().requests.size());
}

TEST_F(ProfileCalls, PresetListFailures)
{
    struct Row {
        string name;
        std::vector<string> replies; // in order; the last one answers from then on
        std::vector<string> wire;
        int count;
    } rows[] = {
        // Refused with no dead session: -1 at once, with the service's message logged.
        {"refused", {testport::serviceReply(kOtherModule, 0, messages({301}))}, {kPresetsGet}, -1},
        // Dead session: resume and ask again, four times in all.
        {"dead",
         {testport::serviceReply(kOtherModule, 0, messages({208}))},
         {kPresetsGet, kResume, kPresetsGet, kResume, kPresetsGet, kResume, kPresetsGet, kResume},
         0},
        {"dead once",
         {testport::serviceReply(kOtherModule, 0, messages({208})), testport::serviceReply(presetsModule(preset("g", "c", 5)))},
         {kPresetsGet, kResume, kPresetsGet},
         1},
        // Answered, but not with plain success first: asked again, then nothing.
        {"no 100", {testport::serviceReply(presetsModule(preset("g", "c", 5)), 1, "[]")},
         {kPresetsGet, kPresetsGet, kPresetsGet, kPresetsGet}, 0},
        {"other module", {testport::serviceReply(kOtherModule)}, {kPresetsGet}, 0},
        {"none", {testport::serviceReply(presetsModule(""))}, {kPresetsGet}, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        tql_deinit();
        port().reset();
        SetUp();
        for (size_t i = 0; i < row.replies.size(); ++i)
            answer(kPresetsGet, row.replies[i], i + 1 < row.replies.size() ? 1 : -1);
        resumable();
        int count = 77;
        tql_chainedPresets* list = tql_get_preset_list(&count, TQL_PRESETS_FETCH);
        EXPECT_EQ(row.wire, urls());
        EXPECT_EQ(row.count, count);
        EXPECT_EQ(row.count > 0, list != nullptr);
        if (row.name == "refused") {
            EXPECT_TRUE(port().logged("retrievePresets.faultResponse.message = m301 code = 301", 1));
        }
        tql_freePresets(list);
    }
}

string favoritesBody(const string& items)
{
    return R"({"moduleList":{"modules":[{"moduleArea":"Profile","moduleType":"Favorites","moduleDetails":)"
           R"({"favoritesList":{"favorites":[)" + items + "]}}}]}}";
}

string favorite(const string& guid, const string& type, const string& change, const string& channel,
                const string& content)
{
    return R"({"assetGUID":")" + guid + R"(",)" + (type.empty() ? "" : R"("assetType":")" + type + R"(",)") +
           R"("changeType":")" + change + R"(","channelId":")" + channel + R"(","contentType":")" + content +
           R"(","tabSortOrder":0,"createdDateTime":")" + kNow + R"(","modifiedDateTime":")" + kNow + R"("})";
}

TEST_F(ProfileCalls, FavoritesPostEveryNodeButTheTerminator)
{
    tql_chainedFavorites nodes[6] = {
        {"f0", 0, nullptr, "c0", "", 0, 0, nullptr}, {"f1", 1, nullptr, "", nullptr, 0, 1, nullptr},
        {"f2", 2, nullptr, "c2", "", 0, 2, nullptr},  {"f3", 3, nullptr, "a3", "foo", 0, 9, nullptr},
        {"f4", 8, nullptr, "", "", 0, -1, nullptr},   {"end", 0, nullptr, "x", "", 0, 0, nullptr}};
    for (int i = 0; i < 5; ++i)
        nodes[i].next = &nodes[i + 1];
    answer(kModifyJson, testport::serviceReply(""));
    tql_errorNotification error;
    memset(&error, 0xff, sizeof error);
    req().setLibraryErrorResponse(406, 7);
    EXPECT_EQ(1, tql_update_server_favorites(nodes, &error));
    ASSERT_EQ(1u, port().requests.size());
    EXPECT_EQ(kModifyJson, port().requests[0].url);
    // A text type wins over the number; a type number out of the table writes no assetType key.
    EXPECT_EQ(favoritesBody(favorite("f0", "channel", "add", "c0", "live") + "," +
                            favorite("f1", "show", "delete", "", "show") + "," +
                            favorite("f2", "episode", "update", "c2", "aod") + "," +
                            favorite("f3", "channel", "update", "a3", "foo") + "," +
                            favorite("f4", "", "update", "", "")),
              port().requests[0].postData);
    // Only the first three ints of the record are cleared; a success keeps the last library error.
    EXPECT_EQ(join(0, 0, 0, -1), join(error.errorCode, error.responseCode, error.playbackStopped, error.bypass.bypass704));
    EXPECT_EQ(std::make_pair(406, 7), lastError());
    EXPECT_TRUE(port().logged("Modify favorite url: " + kModifyJson, 3));
}

TEST_F(ProfileCalls, ASingleNodeOrNoListSendsAnEmptyList)
{
    tql_chainedFavorites only = {"f0", 0, nullptr, "c0", "", 0, 0, nullptr};
    answer(kModifyJson, testport::serviceReply(""));
    EXPECT_EQ(1, tql_update_server_favorites(&only, nullptr));
    EXPECT_EQ(1, tql_update_server_favorites(nullptr, nullptr));
    ASSERT_EQ(2u, port().requests.size());
    EXPECT_EQ(favoritesBody(""), port().requests[0].postData);
    EXPECT_EQ(favoritesBody(""), port().requests[1].postData);
}

// The three writes that answer with an error record or a result alone,
// refused in each way the service has.
TEST_F(ProfileCalls, RefusedWritesGiveTheirErrors)
{
    tql_chainedFavorites nodes[2] = {{"f0", 0, nullptr, "c0", "", 0, 0, nullptr}, {}};
    nodes[0].next = &nodes[1];
    tql_globalSetting settings[1] = {{"k", "v"}};
    struct Row {
        string name, url, reply;
        bool refusedTransfer;
        int result;
        std::pair<int, int> error;
    } rows[] = {
        {"favorites", kModifyJson, testport::serviceReply("", 0, "[]"), false, -1, {500, 0}},
        {"favorites", kModifyJson, testport::serviceReply("", 0, messages({301})), false, -1, {406, 301}},
        {"favorites", kModifyJson, "", true, -1, {500, 0}},
        {"recents", kModifyJson, testport::serviceReply("", 0, messages({301})), false, -1, {406, 301}},
        {"recents", kModifyJson, testport::serviceReply("", 0, "[]"), false, -1, {406, 0}},
        {"recents", kModifyJson, "", true, -1, {406, 0}},
        {"recents", kModifyJson, testport::serviceReply("", 1, "[]"), false, 1, {33, 3}},
        // Settings look at the first message only, never at the status.
        {"settings", kSettings, testport::serviceReply("", 0, messages({100})), false, 1, {33, 3}},
        {"settings", kSettings, testport::serviceReply("", 1, "[]"), false, -1, {33, 3}},
        {"settings", kSettings, testport::serviceReply("", 1, messages({301, 100})), false, -1, {33, 3}},
        {"settings", kSettings, "", true, -1, {55, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name + " " + row.reply);
        port().requests.clear();
        port().routes.clear();
        if (!row.refusedTransfer)
            answer(row.url, row.reply);
        req().setLibraryErrorResponse(33, 3); // what an earlier call left
        tql_errorNotification error{};
        if (row.refusedTransfer)
            req().m_requestInProgress = 1;
        int result = row.name == "favorites" ? tql_update_server_favorites(nodes, &error)
                     : row.name == "recents" ? tql_clearRecents()
                                             : tql_update_global_settings(settings, 1, &error);
        req().m_requestInProgress = 0;
        EXPECT_EQ(row.result, result);
        EXPECT_EQ(row.refusedTransfer ? 0u : 1u, port().requests.size());
        EXPECT_EQ(row.error, lastError());
        if (row.name != "recents" && result < 0) {
            EXPECT_EQ(row.error, std::make_pair(error.errorCode, error.responseCode));
        }
    }
}

TEST_F(ProfileCalls, WritesOnADeadSessionResumeAndAskOnceMore)
{
    tql_chainedFavorites nodes[2] = {{"f0", 0, nullptr, "c0", "", 0, 0, nullptr}, {}};
    nodes[0].next = &nodes[1];
    tql_globalSetting settings[1] = {{"k", "v"}};
    const string dead = testport::serviceReply("", 0, messages({208}));
    resumable();
    answer(kModifyJson, dead, 1);
    answer(kModifyJson, testport::serviceReply(""), 1);
    EXPECT_EQ(1, tql_update_server_favorites(nodes, nullptr));
    answer(kModifyJson, dead, 1);
    answer(kModifyJson, testport::serviceReply(""), 1);
    EXPECT_EQ(1, tql_clearRecents());
    // Asked once more, and no further: the second answer stands.
    answer(kSettings, dead, 2);
    tql_errorNotification error{};
    EXPECT_EQ(-1, tql_update_global_settings(settings, 1, &error));
    EXPECT_EQ((std::vector<string>{kModifyJson, kResume, kModifyJson, kModifyJson, kResume, kModifyJson, kSettings,
                                   kResume, kSettings}),
              urls());
}

TEST_F(ProfileCalls, ClearRecentsAndSettingsDocuments)
{
    answer(kModifyJson, testport::serviceReply(""));
    answer(kSettings, testport::serviceReply(""));
    EXPECT_EQ(1, tql_clearRecents());
    tql_globalSetting settings[3] = {{"TimeZone", "CET"}, {"AutoPlayNext", nullptr}, {"never", "sent"}};
    EXPECT_EQ(1, tql_update_global_settings(settings, 2, nullptr));
    // No pairs: a NULL array, a count of 0 or below.
    EXPECT_EQ(1, tql_update_global_settings(nullptr, 3, nullptr));
    EXPECT_EQ(1, tql_update_global_settings(settings, 0, nullptr));
    EXPECT_EQ(1, tql_update_global_settings(settings, -2, nullptr));
    ASSERT_EQ(5u, port().requests.size());
    EXPECT_EQ(R"({"moduleList":{"modules":[{"moduleArea":"Profile","moduleType":"GUPCollation","moduleRequest":)"
              R"({"profileUpdateRequest":{"gupRecentPlaysUpdateRequests":[{"recentPlay":{"incognito":"true"}}]}}}]}})",
              port().requests[0].postData);
    const string settingsHead =
        R"({"moduleList":{"modules":[{"moduleArea":"Profile","moduleType":"GUPCollation","moduleRequest":)"
        R"({"profileUpdateRequest":{"gupGlobalSettingsUpdateRequests":[{"globalSettingList":{"globalSettings":[)";
    const string settingsTail = "]}}]}}}]}}";
    EXPECT_EQ(settingsHead + R"({"settingName":"TimeZone","settingValue":"CET"},)"
                             R"({"settingName":"AutoPlayNext","settingValue":""})" + settingsTail,
              port().requests[1].postData);
    for (int i = 2; i < 5; ++i)
        EXPECT_EQ(settingsHead + settingsTail, port().requests[i].postData);
    EXPECT_TRUE(port().logged("Recents clear path = " + kModifyJson, 3));
    EXPECT_TRUE(port().logged("Global settings path = " + kSettings, 3));
}

// A good write that does not repeat a bypass code turns that bypass off.
TEST_F(ProfileCalls, AGoodWriteMayEndABypass)
{
    answer(kModifyJson, testport::serviceReply("", 1, messages({100})));
    req().m_bypassStatus.bypass702 = 1;
    req().m_bypassStatus.bypass708 = 1;
    EXPECT_EQ(1, tql_clearRecents());
    EXPECT_EQ(0, req().m_bypassStatus.bypass702);
    EXPECT_EQ(0, req().m_bypassStatus.bypass708);
    EXPECT_TRUE(port().logged("Bypass mode OFF. No 702 error code.", 3));
}

TEST_F(ProfileCalls, PausePointsComeLastFirstAndAreFreedThroughTheLibrary)
{
    answer(kPausePointsGet,
           testport::serviceReply(pausePointsModule(R"({"assetType":"aodEpisode","assetGUID":"e1","showGUID":"s1",)"
                                                    R"("aodPercentConsumed":25},{"assetGUID":"e2","showGUID":"s2"})")));
    int status = 0;
    tql_freePausePointList(tql_getPausePoints(&status)); // the first call makes the transport
    const long live = port().liveAllocations();
    tql_chainedPausePoints* list = tql_getPausePoints(&status);
    EXPECT_EQ(1, status);
    std::vector<string> got;
    for (tql_chainedPausePoints* p = list; p; p = p->next)
        got.push_back(join(p->assetType, p->assetGuid, p->showGuid, p->percentConsumed));
    EXPECT_EQ((std::vector<string>{"2|e2|s2|0|", "2|e1|s1|25|"}), got);
    EXPECT_EQ(live + 2, port().liveAllocations());
    EXPECT_EQ(1, tql_freePausePointList(list));
    EXPECT_EQ(live, port().liveAllocations());
    EXPECT_EQ(2u, port().requests.size());
}

TEST_F(ProfileCalls, PausePointsStatus)
{
    struct Row {
        string name, reply;
        std::vector<string> wire;
        int status;
        string log;
    } rows[] = {
        // No pause points is not a failure.
        {"empty", testport::serviceReply(pausePointsModule("")), {kPausePointsGet}, 1, ""},
        {"other module", testport::serviceReply(kOtherModule), {kPausePointsGet}, -1, ""},
        {"no module", testport::serviceReply(""), {kPausePointsGet}, -1, ""},
        {"refused", testport::serviceReply("", 0, messages({301})), {kPausePointsGet}, -1,
         "Get Pause Points - No error message"},
        // A session that stays dead: five tries, each followed by a resume; the status stays 1.
        {"dead",
         testport::serviceReply("", 0, messages({208})),
         {kPausePointsGet, kResume, kPausePointsGet, kResume, kPausePointsGet, kResume, kPausePointsGet, kResume,
          kPausePointsGet, kResume},
         1,
         "Get Pause Points - error message = m208 code = 208"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        port().requests.clear();
        port().routes.clear();
        answer(kPausePointsGet, row.reply);
        resumable();
        int status = 77;
        EXPECT_EQ(nullptr, tql_getPausePoints(&status));
        EXPECT_EQ(row.wire, urls());
        EXPECT_EQ(row.status, status);
        if (!row.log.empty()) {
            EXPECT_TRUE(port().logged(row.log, 1));
        }
    }
    EXPECT_EQ(nullptr, tql_getPausePoints(nullptr));
}

// Port memory running out while a chain is built: the list call gives
// nothing and keeps nothing, the update gives what it has.
TEST_F(ProfileCalls, ChainsWhenPortMemoryRunsOut)
{
    answer(kPresetsGet, testport::serviceReply(presetsModule(preset("g1", "c1", 1) + "," + preset("g2", "c2", 2))));
    int count = 0;
    tql_freePresets(tql_get_preset_list(&count, TQL_PRESETS_FETCH));
    const long live = port().liveAllocations();
    port().failMallocAfter = 1; // the held reply serves: the nodes are the only allocations
    count = 77;
    EXPECT_EQ(nullptr, tql_get_preset_list(&count, TQL_PRESETS_HELD));
    port().failMallocAfter = -1;
    EXPECT_TRUE(port().logged("Unable to allocate chained preset Item", 1));
    EXPECT_EQ(live, port().liveAllocations());

    // The same call twice: the first counts its allocations, the second runs
    // out at its last one, the second node.
    tql_chainedPresets node = {"g1", 0, "c1", 0, 1, nullptr};
    char buffer[1];
    unsigned int length = 1;
    answer(kModify, testport::serviceReply(presetsModule(preset("g1", "c1", 1) + "," + preset("g2", "c2", 2))));
    long before = port().mallocCalls;
    tql_freePresets(tql_update_server_preset(&node, buffer, &length, &count));
    port().failMallocAfter = port().mallocCalls - before - 1;
    tql_chainedPresets* partial = tql_update_server_preset(&node, buffer, &length, &count);
    port().failMallocAfter = -1;
    EXPECT_EQ(1, count);
    EXPECT_EQ((std::vector<string>{"g1|0|c1|0|1|"}), chain(partial));
    tql_freePresets(partial);

    answer(kPausePointsGet, testport::serviceReply(pausePointsModule(R"({"assetGUID":"e1"},{"assetGUID":"e2"})")));
    int status = 0;
    before = port().mallocCalls;
    tql_freePausePointList(tql_getPausePoints(&status));
    const long pauseLive = port().liveAllocations();
    port().failMallocAfter = port().mallocCalls - before - 1;
    EXPECT_EQ(nullptr, tql_getPausePoints(&status));
    port().failMallocAfter = -1;
    EXPECT_TRUE(port().logged("Unable to allocate recent item", 1));
    EXPECT_EQ(pauseLive, port().liveAllocations());
}

TEST_F(ProfileCalls, FreeFunctionsTakeNull)
{
    EXPECT_EQ(1, tql_freePresets(nullptr));
    EXPECT_EQ(1, tql_freePausePointList(nullptr));
}

// Without a core made by tql_init the list calls make one, and without
// routing they reach nothing and fail as their kind does.
TEST_F(ProfileCalls, WithoutRoutingNothingIsSent)
{
    tql_int_get_core()->setRouting(nullptr);
    int count = 77, status = 77;
    EXPECT_EQ(nullptr, tql_get_preset_list(&count, TQL_PRESETS_FETCH));
    EXPECT_EQ(-1, count);
    EXPECT_EQ(nullptr, tql_getPausePoints(&status));
    EXPECT_EQ(-1, status);
    tql_errorNotification error{};
    EXPECT_EQ(-1, tql_update_server_favorites(nullptr, &error));
    EXPECT_EQ(14, error.errorCode);
    EXPECT_EQ(-1, tql_clearRecents());
    EXPECT_EQ(-1, tql_update_global_settings(nullptr, 0, &error));
    EXPECT_TRUE(port().requests.empty());
}

} // namespace
