#include "requestDocuments/requestDocuments.h"

#include <yajl/yajl_gen.h>

namespace {
// A map value under a key, written into the caller's generator.
class Child : public tql_jsonGen {
public:
    Child(void* gen, const char* key) : m_target(gen) { jsonStart(m_target, tql_string(key)); }
    ~Child() override { jsonFinish(m_target); }

private:
    void* m_target;
};
} // namespace

void TQLDeviceInfo::serialize(void* gen)
{
    jsonStart(gen, "deviceInfo");
    addString(gen, "deviceMake", deviceMake);
    addString(gen, "deviceModel", deviceModel);
    addString(gen, "tqlAppVersion", tqlAppVersion);
    addString(gen, "clientDeviceId", clientDeviceId);
    addString(gen, "oem", oem);
    addString(gen, "supportsAddlChannels", "true"); // a string, not a boolean
    if (!appRegion.isEmpty())
        addString(gen, "appRegion", appRegion);
    if (!osVersion.isEmpty())
        addString(gen, "osVersion", osVersion);
    if (!platform.isEmpty())
        addString(gen, "platform", platform);
    jsonFinish(gen);
}

void TQLNorvaleStandardAuth::serialize(void* gen)
{
    jsonStart(gen, "standardAuth");
    addString(gen, "username", username.str());
    addString(gen, "password", password.str());
    jsonFinish(gen);
}

void TQLModuleRequestAuth::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    addString(gen, "resultTemplate", resultTemplate);
    if (m_deviceInfo)
        m_deviceInfo->serialize(gen);
    // No credentials at all unless both are there: a resume sends none.
    if (m_standardAuth && !m_standardAuth->username.isEmpty() && !m_standardAuth->password.isEmpty())
        m_standardAuth->serialize(gen);
    jsonFinish(gen);
}

void TQLModuleRequestRouting::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    if (m_deviceInfo)
        m_deviceInfo->serialize(gen);
    jsonFinish(gen);
}

void TQLModuleRequestDiscoverChannelList::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    openArray(gen, "consumeRequests", 1);
    closeArray(gen, 2);
    addString(gen, "resultTemplate", resultTemplate);
    jsonFinish(gen);
}

void TQLModuleRequestForYou::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    addString(gen, "resultTemplate", "web");
    jsonFinish(gen);
}

void TQLModuleRequestClearRecents::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    {
        Child update(gen, "profileUpdateRequest");
        openArray(gen, "gupRecentPlaysUpdateRequests", 1);
        openMap(gen);
        {
            Child play(gen, "recentPlay");
            addString(gen, "incognito", "true"); // a string, as the service wants it
        }
        closeMap(gen);
        closeArray(gen, 2);
    }
    jsonFinish(gen);
}

void TQLConsumeRequests::serialize(void* gen)
{
    openMap(gen);
    addString(gen, "consumeEvent", consumeEvent);
    addString(gen, "consumeEventAction", consumeEventAction);
    addString(gen, "consumptionInfo", consumptionInfo);
    addString(gen, "consumeDateTime", consumeDateTime);
    addString(gen, "consumeStreamDateTime", consumeStreamDateTime);
    addBool(gen, "incognito", incognito);
    addBool(gen, "aodDownload", aodDownload);
    addBool(gen, "offline", offline);
    closeMap(gen);
}

void TQLModuleRequestConsume::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    openArray(gen, "consumeRequests", 1);
    if (m_requests)
        for (TQLConsumeRequests& request : *m_requests)
            request.serialize(gen);
    closeArray(gen, 2);
    jsonFinish(gen);
}

tql_string TQLModuleRequestTrackUpdate::serialize(void* gen)
{
    if (!gen)
        gen = init();
    openMap(gen);
    openArray(gen, "recommenderPlays", 1);
    if (m_plays) {
        for (const TQLRecommenderPlaysItem& play : *m_plays) {
            openMap(gen);
            addString(gen, "clipAssetGuid", play.clipAssetGuid);
            addString(gen, "playEventType", play.playEventType);
            closeMap(gen);
        }
    }
    closeArray(gen, 2);
    closeMap(gen);
    return tql_string(getJson(gen));
}

void TQLControlSettingsRequest::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    openArray(gen, "consumeRequests", 1);
    closeArray(gen, 2);
    {
        Child settings(gen, "controlSettings");
        openArray(gen, "controlSettings", 1);
        if (m_settings) {
            for (const TQLControlSettings& setting : *m_settings) {
                openMap(gen);
                addString(gen, "controlGuid", setting.controlGuid);
                addInteger(gen, "value", setting.value.toInt(nullptr, 10));
                closeMap(gen);
            }
        }
        closeArray(gen, 2);
    }
    addString(gen, "channelID", channelID ? *channelID : tql_string(""));
    jsonFinish(gen);
}

void TQLGUPCollationItem::serialize(void* gen)
{
    openMap(gen);
    addString(gen, "assetGUID", assetGUID);
    if (assetType == 0 || assetType == 3)
        addString(gen, "assetType", "channel");
    else if (assetType == 1)
        addString(gen, "assetType", "show");
    else if (assetType == 2)
        addString(gen, "assetType", "episode");
    addString(gen, "changeType", changeType);
    addString(gen, "channelId", channelId);
    addString(gen, "contentType", contentType);
    addInteger(gen, "tabSortOrder", tabSortOrder);
    addString(gen, "createdDateTime", createdDateTime);
    addString(gen, "modifiedDateTime", modifiedDateTime);
    closeMap(gen);
}

void TQLGlobalSettings::serialize(void* gen)
{
    openMap(gen);
    {
        Child list(gen, "globalSettingList");
        openArray(gen, "globalSettings", 1);
        for (const TQLGlobalSettingsItem& item : m_items) {
            openMap(gen);
            addString(gen, "settingName", item.settingName);
            addString(gen, "settingValue", item.settingValue);
            closeMap(gen);
        }
        closeArray(gen, 2);
    }
    closeMap(gen);
}

void TQLModuleRequestModifyGlobalSettings::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    {
        Child update(gen, "profileUpdateRequest");
        openArray(gen, "gupGlobalSettingsUpdateRequests", 1);
        if (m_settings)
            m_settings->serialize(gen);
        closeArray(gen, 2);
    }
    jsonFinish(gen);
}

static void serializeCollation(tql_jsonGen& doc, void* gen, const char* listKey, const char* itemsKey,
                               tql_list<TQLGUPCollationItem>* items)
{
    doc.jsonStart(gen, "moduleDetails");
    {
        Child list(gen, listKey);
        doc.openArray(gen, itemsKey, 1);
        if (items)
            for (TQLGUPCollationItem& item : *items)
                item.serialize(gen);
        doc.closeArray(gen, 2);
    }
    doc.jsonFinish(gen);
}

void TQLModuleRequestModifyGUPFavorites::serialize(void* gen)
{
    serializeCollation(*this, gen, "favoritesList", "favorites", m_items);
}

void TQLModuleRequestModifyGUPFavorites::clear()
{
    if (m_items)
        m_items->clear();
}

void TQLModuleRequestModifyGUPPresets::serialize(void* gen)
{
    serializeCollation(*this, gen, "presetsList", "presets", m_items);
}

void TQLModuleRequestModifyGUPPresets::clear()
{
    if (m_items)
        m_items->clear();
}

void TQLModuleRequestRefreshTracks::serialize(void* gen)
{
    jsonStart(gen, "moduleRequest");
    addString(gen, "type", "REFRESH");
    addString(gen, "sessionId", sessionId);
    addString(gen, "channelGuid", channelGuid);
    openArray(gen, "tracks", 1);
    if (m_clips) {
        for (size_t i = 0; i < m_clips->size(); ++i) {
            openMap(gen);
            // Clips up to the current one were heard; the rest are still ahead.
            addString(gen, "playerEventType",
                      static_cast<int>(i) <= m_currentClipIndex ? "CONSUME" : "PLAYLIST");
            addString(gen, "assetGuid", (*m_clips)[i].assetGuid);
            closeMap(gen);
        }
    }
    closeArray(gen, 2);
    jsonFinish(gen);
}

namespace {
void writeAreaAndType(tql_jsonGen& doc, void* gen, const TQLModule& module)
{
    doc.addString(gen, "moduleArea", module.moduleArea);
    doc.addString(gen, "moduleType", module.moduleType);
}

template <class Request>
void writeRequest(TQLModuleRequestBase* base, void* gen)
{
    if (Request* request = dynamic_cast<Request*>(base))
        request->serialize(gen);
}
} // namespace

void serializeModule(TQLModule& module, void* gen)
{
    const tql_string& area = module.moduleArea;
    const tql_string& type = module.moduleType;
    TQLModuleRequestBase* request = module.m_moduleRequest;
    module.openMap(gen);
    if (area == "Routing") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestRouting>(request, gen);
    } else if (area == "UserFlow" && type == "StandardAuth") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestAuth>(request, gen);
    } else if (area == "Discovery" && type == "ChannelListing") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestDiscoverChannelList>(request, gen);
    } else if (area == "NowPlayingTimelineFeed" && (type == "Live" || type == "AOD" || type == "aic")) {
        writeAreaAndType(module, gen, module);
        if (dynamic_cast<TQLModuleRequestConsume*>(request))
            writeRequest<TQLModuleRequestConsume>(request, gen);
        else
            writeRequest<TQLControlSettingsRequest>(request, gen);
    } else if (area == "Profile" && type == "Favorites") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestModifyGUPFavorites>(request, gen);
    } else if (area == "Profile" && type == "Presets") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestModifyGUPPresets>(request, gen);
    } else if (area == "Profile" && type == "GUPCollation") {
        writeAreaAndType(module, gen, module);
        if (module.moduleSubType == "recents")
            writeRequest<TQLModuleRequestClearRecents>(request, gen);
        else
            writeRequest<TQLModuleRequestModifyGlobalSettings>(request, gen);
    } else if (area == "Discovery" && type == "Welcome") {
        writeRequest<TQLModuleRequestAuth>(request, gen); // no area or type, on purpose
    } else if (area == "Discovery" && type == "RecommendationsForYou") {
        writeAreaAndType(module, gen, module);
        writeRequest<TQLModuleRequestForYou>(request, gen);
    } else if (type == "refreshTracks") {
        writeRequest<TQLModuleRequestRefreshTracks>(request, gen);
    }
    module.closeMap(gen);
}

tql_string TQLModuleList::serialize(void* gen)
{
    if (!gen)
        gen = init();
    jsonStart(gen, "moduleList");
    openArray(gen, "modules", 1);
    int count = 0;
    if (m_modules) {
        for (TQLModule& module : *m_modules) {
            serializeModule(module, gen);
            ++count;
        }
    }
    // With no module this closes a map instead of the array; kept unguarded.
    closeArray(gen, count + 1);
    closeMap(gen);
    jsonFinish(gen);
    return tql_string(getJson(gen));
}

tql_string moduleListBody(const tql_string& area, const tql_string& type, TQLModuleRequestBase* request)
{
    tql_list<TQLModule> modules(1);
    modules[0].moduleArea = area;
    modules[0].moduleType = type;
    modules[0].m_moduleRequest = request; // the caller's; the list does not own it
    TQLModuleList document;
    document.m_modules = &modules;
    return document.serialize(nullptr);
}
