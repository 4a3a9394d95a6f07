// The POST bodies of the service, compared as exact texts: key order, which
// keys are optional, value types and the module rows of the outer frame.
#include <string>
#include <vector>

#include "PortTest.h"
#include "requestDocuments/requestDocuments.h"

namespace {

using std::string;

TQLModule mod(const char* area, const char* type, TQLModuleRequestBase* request, const char* subType = "")
{
    TQLModule m;
    m.moduleArea = area, m.moduleType = type, m.moduleSubType = subType, m.moduleGUID = "guid-never-sent";
    m.m_moduleRequest = request;
    return m;
}

std::string bodyOf(std::vector<TQLModule> modules)
{
    TQLModuleList document;
    document.m_modules = &modules;
    return document.serialize(nullptr).toStdString();
}

std::string framed(const std::string& elements)
{
    return R"({"moduleList":{"modules":[)" + elements + "]}}";
}

TQLDeviceInfo device()
{
    TQLDeviceInfo d;
    d.deviceMake = "Make", d.deviceModel = "Model", d.tqlAppVersion = "3.0.0", d.clientDeviceId = "id-1";
    d.oem = "tamberql";
    return d;
}

const std::string kDevice = R"({"deviceMake":"Make","deviceModel":"Model","tqlAppVersion":"3.0.0",)"
                            R"("clientDeviceId":"id-1","oem":"tamberql","supportsAddlChannels":"true")";

TQLGUPCollationItem item(int assetType)
{
    TQLGUPCollationItem i;
    i.assetGUID = "A", i.assetType = assetType, i.changeType = "ADD", i.channelId = "", i.contentType = "live";
    i.tabSortOrder = 4, i.modifiedDateTime = "M";
    i.assetName = "not sent", i.episodeCount = 9;
    return i;
}

class DocumentsTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
    }
    void TearDown() override
    {
        // Every document here is well formed for the generator: nothing may be refused.
        EXPECT_FALSE(port().logged("problem with json body generating"));
        PortTest::TearDown();
    }
};

TEST_F(DocumentsTest, DeviceInfoAndCredentialsWriteTheirOptionalKeysOnlyWhenSet)
{
    const char* both = R"(,"standardAuth":{"username":"user","password":"pw"})";
    struct Case {
        const char *region, *os, *platform, *deviceTail, *user, *password;
        bool withCredentials;
        const char* authTail;
    } cases[] = {
        {"", "", "", "", "user", "pw", true, both},
        {"US", "", "", R"(,"appRegion":"US")", "user", "", true, ""},
        {"", "7.1", "", R"(,"osVersion":"7.1")", "", "pw", true, ""},
        {"", "", "Home", R"(,"platform":"Home")", "", "", true, ""},
        {"US", "7.1", "Home", R"(,"appRegion":"US","osVersion":"7.1","platform":"Home")", "user", "pw", false, ""},
    };
    for (const Case& c : cases) {
        TQLDeviceInfo d = device();
        d.appRegion = c.region, d.osVersion = c.os, d.platform = c.platform;
        TQLNorvaleStandardAuth credentials;
        credentials.username.append(tql_string(c.user));
        credentials.password.append(tql_string(c.password));
        TQLModuleRequestAuth auth;
        auth.m_deviceInfo = &d, auth.resultTemplate = "tenfoot";
        auth.m_standardAuth = c.withCredentials ? &credentials : nullptr;
        EXPECT_EQ(bodyOf({mod("UserFlow", "StandardAuth", &auth)}),
                  framed(R"({"moduleArea":"UserFlow","moduleType":"StandardAuth","moduleRequest":)"
                         R"({"resultTemplate":"tenfoot","deviceInfo":)" +
                         kDevice + c.deviceTail + "}" + c.authTail + "}}"))
            << c.region << c.os << c.platform << "/" << c.user << "/" << c.password;
    }
}

TEST_F(DocumentsTest, ModuleRowsDecideKeysAndRequestClass)
{
    TQLDeviceInfo d = device();
    TQLModuleRequestRouting routing;
    TQLModuleRequestAuth auth;
    TQLModuleRequestDiscoverChannelList lineup;
    TQLModuleRequestForYou forYou;
    TQLModuleRequestClearRecents clearRecents;
    TQLGlobalSettings settings;
    TQLModuleRequestModifyGlobalSettings globals;
    TQLModuleRequestConsume consume;
    TQLModuleRequestModifyGUPFavorites favorites;
    TQLModuleRequestModifyGUPPresets presets;
    TQLModuleRequestRefreshTracks refresh;
    tql_list<TQLConsumeRequests> reports(2), noReports;
    TQLModuleRequestConsume noConsume;
    noConsume.m_requests = &noReports;
    tql_list<TQLGUPCollationItem> noItems;
    tql_list<TQLClip> noClips;
    routing.m_deviceInfo = &d, auth.resultTemplate = "mobile", lineup.resultTemplate = "tenfoot";
    settings.m_items.resize(2);
    settings.m_items[0].settingName = "theme", settings.m_items[0].settingValue = "dark";
    settings.m_items[1].settingName = "volume";
    globals.m_settings = &settings, consume.m_requests = &reports;
    for (size_t n = 0; n < 2; ++n) {
        TQLConsumeRequests& r = reports[n];
        string k = std::to_string(n + 1);
        r.consumeEvent = "e" + k, r.consumeEventAction = "a" + k, r.consumptionInfo = "i" + k;
        r.consumeDateTime = "d" + k, r.consumeStreamDateTime = "s" + k, r.m_consumeChannel = "never-sent";
        r.incognito = n == 0 ? 1 : 0, r.aodDownload = n == 0 ? 0 : 7, r.offline = n == 0 ? 1 : 0;
    }
    const string kReports = R"({"consumeRequests":[{"consumeEvent":"e1","consumeEventAction":"a1","consumptionInfo":"i1",)"
                            R"("consumeDateTime":"d1","consumeStreamDateTime":"s1","incognito":true,"aodDownload":false,)"
                            R"("offline":true},{"consumeEvent":"e2","consumeEventAction":"a2","consumptionInfo":"i2",)"
                            R"("consumeDateTime":"d2","consumeStreamDateTime":"s2","incognito":false,"aodDownload":true,)"
                            R"("offline":false}]}})";
    favorites.m_items = &noItems, presets.m_items = &noItems;
    refresh.m_clips = &noClips, refresh.sessionId = "s-1", refresh.channelGuid = "c-1";

    const std::string kGlobals = R"("moduleRequest":{"profileUpdateRequest":{"gupGlobalSettingsUpdateRequests":)"
                                 R"([{"globalSettingList":{"globalSettings":[{"settingName":"theme",)"
                                 R"("settingValue":"dark"},{"settingName":"volume","settingValue":""}]}}]}})";
    struct Case {
        TQLModule module;
        std::string element;
    } cases[] = {
        // The routing row takes any module type and writes it as given.
        {mod("Routing", "Anything", &routing),
         R"({"moduleArea":"Routing","moduleType":"Anything","moduleRequest":{"deviceInfo":)" + kDevice + "}}}"},
        {mod("Routing", "PartnerDevices", &forYou), R"({"moduleArea":"Routing","moduleType":"PartnerDevices"})"},
        {mod("UserFlow", "StandardAuth", &auth),
         R"({"moduleArea":"UserFlow","moduleType":"StandardAuth","moduleRequest":{"resultTemplate":"mobile"}})"},
        {mod("Discovery", "ChannelListing", &lineup),
         R"({"moduleArea":"Discovery","moduleType":"ChannelListing","moduleRequest":)"
         R"({"consumeRequests":[],"resultTemplate":"tenfoot"}})"},
        {mod("Discovery", "ChannelListing", nullptr), R"({"moduleArea":"Discovery","moduleType":"ChannelListing"})"},
        {mod("NowPlayingTimelineFeed", "Live", &consume),
         R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":"Live","moduleRequest":)" + kReports},
        {mod("NowPlayingTimelineFeed", "aic", &noConsume),
         R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":"aic","moduleRequest":{"consumeRequests":[]}})"},
        {mod("NowPlayingTimelineFeed", "Other", &consume), "{}"},
        {mod("Profile", "Favorites", &favorites),
         R"({"moduleArea":"Profile","moduleType":"Favorites","moduleDetails":{"favoritesList":{"favorites":[]}}})"},
        {mod("Profile", "Presets", &presets),
         R"({"moduleArea":"Profile","moduleType":"Presets","moduleDetails":{"presetsList":{"presets":[]}}})"},
        {mod("Profile", "GUPCollation", &clearRecents, "recents"),
         R"({"moduleArea":"Profile","moduleType":"GUPCollation","moduleRequest":{"profileUpdateRequest":)"
         R"({"gupRecentPlaysUpdateRequests":[{"recentPlay":{"incognito":"true"}}]}}})"},
        {mod("Profile", "GUPCollation", &globals), R"({"moduleArea":"Profile","moduleType":"GUPCollation",)" +
                                                       kGlobals + "}"},
        {mod("Profile", "GUPCollation", &globals, "recents"), R"({"moduleArea":"Profile","moduleType":"GUPCollation"})"},
        {mod("Other", "GUPCollation", &globals), "{}"},
        // Resume and clip refresh send a bare request, without area or type.
        {mod("Discovery", "Welcome", &auth), R"({"moduleRequest":{"resultTemplate":"mobile"}})"},
        {mod("Other", "Welcome", &auth), "{}"},
        {mod("Discovery", "RecommendationsForYou", &forYou),
         R"({"moduleArea":"Discovery","moduleType":"RecommendationsForYou","moduleRequest":{"resultTemplate":"web"}})"},
        {mod("AnyArea", "refreshTracks", &refresh),
         R"({"moduleRequest":{"type":"REFRESH","sessionId":"s-1","channelGuid":"c-1","tracks":[]}})"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(bodyOf({c.module}), framed(c.element))
            << c.module.moduleArea.toStdString() << "/" << c.module.moduleType.toStdString();

    // Several modules keep their order, an unmatched one in the middle included.
    EXPECT_EQ(bodyOf({mod("Discovery", "RecommendationsForYou", &forYou), mod("X", "Y", &forYou),
                      mod("Discovery", "Welcome", &auth)}),
              framed(R"({"moduleArea":"Discovery","moduleType":"RecommendationsForYou","moduleRequest":)"
                     R"({"resultTemplate":"web"}},{},{"moduleRequest":{"resultTemplate":"mobile"}})"));
}

TEST_F(DocumentsTest, ZeroModulesCloseAMapWhereTheArrayShouldClose)
{
    // Deliberately unguarded: the text is what goes out. The generator does
    // not refuse the stray brace, so nothing is logged either (TearDown).
    EXPECT_EQ(bodyOf({}), R"({"moduleList":{"modules":[}}})");
}

TEST_F(DocumentsTest, CollationItemsMapAssetTypeAndWriteEmptyValues)
{
    struct Case {
        int assetType;
        const char* key;
    } cases[] = {{0, R"("assetType":"channel",)"}, {1, R"("assetType":"show",)"}, {2, R"("assetType":"episode",)"},
                 {3, R"("assetType":"channel",)"}, {4, ""}, {-1, ""}};
    for (const Case& c : cases) {
        tql_list<TQLGUPCollationItem> items = {item(c.assetType)};
        TQLModuleRequestModifyGUPPresets presets;
        presets.m_items = &items;
        EXPECT_EQ(bodyOf({mod("Profile", "Presets", &presets)}),
                  framed(std::string(R"({"moduleArea":"Profile","moduleType":"Presets","moduleDetails":{"presetsList":)"
                                     R"({"presets":[{"assetGUID":"A",)") +
                         c.key +
                         R"("changeType":"ADD","channelId":"","contentType":"live","tabSortOrder":4,)"
                         R"("createdDateTime":"","modifiedDateTime":"M"}]}}})"))
            << c.assetType;
    }
}

TEST_F(DocumentsTest, RefreshMarksClipsUpToTheCurrentOneAsConsumed)
{
    tql_list<TQLClip> clips(5);
    for (size_t i = 0; i < clips.size(); ++i)
        clips[i].assetGuid = "c" + std::to_string(i);
    struct Case {
        int current;
        const char* events; // C for CONSUME, P for PLAYLIST
    } cases[] = {{2, "CCCPP"}, {0, "CPPPP"}, {-1, "PPPPP"}, {4, "CCCCC"}, {9, "CCCCC"}};
    for (const Case& c : cases) {
        TQLModuleRequestRefreshTracks refresh;
        refresh.m_clips = &clips, refresh.m_currentClipIndex = c.current, refresh.sessionId = "S";
        refresh.channelGuid = "G";
        std::string tracks;
        for (int i = 0; i < 5; ++i)
            tracks += std::string(i ? "," : "") + R"({"playerEventType":")" +
                      (c.events[i] == 'C' ? "CONSUME" : "PLAYLIST") + R"(","assetGuid":"c)" + std::to_string(i) + "\"}";
        EXPECT_EQ(bodyOf({mod("Any", "refreshTracks", &refresh)}),
                  framed(R"({"moduleRequest":{"type":"REFRESH","sessionId":"S","channelGuid":"G","tracks":[)" + tracks +
                         "]}}"))
            << c.current;
    }
}

} // namespace
