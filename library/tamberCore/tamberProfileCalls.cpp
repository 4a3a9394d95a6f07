// The profile writes: presets, favorites, the recents list and the global
// settings. All are POSTs in the frame of the session calls and are
// classified as profile writes, so that their good replies may turn bypass
// flags off. None retries; the core decides that.
#include "requestDocuments/requestDocuments.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberDebug.h"

#define TQL_GREEN "\033[0;32m"
#define TQL_RESET "\033[0m"

namespace {
const char* const kModifyV4 = "/rest/v4/experience/modules/modify";
const char* const kModifyV2 = "/rest/v2/experience/modules/modify";

void logUrl(const char* format, const tql_url& url)
{
    tql_int_debug_print(3, "TamberRequest", __LINE__, format, url.toString().c_str());
}

// The service names what a preset plays and what becomes of it in words.
const char* presetContentType(int assetType)
{
    switch (assetType) {
    case 0: return "live";
    case 2: return "aod";
    case 3: return "aic";
    default: return "";
    }
}

const char* presetChangeType(int action)
{
    switch (action) {
    case 0: return "add";
    case 1: return "delete";
    case 2: return "update";
    default: return "";
    }
}
} // namespace

TQLResponse* TamberRequest::tamberNorvaleUpdateUserPresets(tql_chainedPresets* presets)
{
    tql_url url;
    if (!serviceUrl(kModifyV4, url))
        return nullptr;
    logUrl(TQL_GREEN "Modify Presets request url: %s" TQL_RESET, url);
    // The host's list is used whole: it has no terminator node.
    tql_list<TQLGUPCollationItem> items;
    for (const tql_chainedPresets* node = presets; node; node = node->next) {
        TQLGUPCollationItem item;
        item.assetGUID = node->assetGuid;
        item.assetType = node->contentType;
        item.tabSortOrder = node->sortOrder;
        item.channelId = node->channelId;
        item.contentType = presetContentType(node->contentType);
        item.changeType = presetChangeType(node->action);
        items.push_back(item);
    }
    if (items.empty()) {
        TQL_LOG(2, "Empty preset list, cannot save");
        return nullptr;
    }
    TQLModuleRequestModifyGUPPresets request;
    request.m_items = &items;
    tql_string body = moduleListBody("Profile", "Presets", &request);
    TQL_LOG(3, "Modify Presets request body: %s", body.c_str());
    // The reply is a collation like any other; its handler reports through
    // no function, and the context is this client.
    tql_channelCallBackIf callback = {nullptr, this};
    TQLResponse* response = sendServiceCall(m_norvalecollation, url, 1, body, &callback);
    if (!response) {
        TQL_LOG(1, "TamberRequest::tamberNorvaleUpdateUserPresets HTTP Error");
        setLibraryErrorResponse(tamberErrorPresets, 0);
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestModify);
    if (response->m_status == 1) {
        TQL_LOG(3, "TamberRequest::tamberNorvaleUpdateUserPresets: Success");
        setLibraryErrorResponse(tamberErrorNone, 0);
        return response;
    }
    if (m_sessionInvalid) {
        setLibraryErrorResponse(tamberErrorSession, code);
    } else {
        TQL_LOG(1, "TamberRequest::tamberNorvaleUpdateUserPresets: Error ");
        setLibraryErrorResponse(tamberErrorPresets, code);
    }
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleSetFavorites(tql_list<TQLGUPCollationItem>& favorites)
{
    tql_url url;
    if (!serviceUrl(kModifyV4, url))
        return nullptr;
    url.addQueryItem("format", "json");
    logUrl(TQL_GREEN "Modify favorite url: %s" TQL_RESET, url);
    TQLModuleRequestModifyGUPFavorites request;
    request.m_items = &favorites;
    tql_string body = moduleListBody("Profile", "Favorites", &request);
    TQL_LOG(3, "Modify favorite request body: %s", body.c_str());
    TQLResponse* response = sendServiceCall(m_norvalesetfavorites, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestModify);
    if (response->m_status == 1) {
        TQL_LOG(3, "Success"); // the library error stays what it was
        return response;
    }
    // A refusal with a reason is a refused save; without one the service was not reached.
    if (code != 0)
        setLibraryErrorResponse(tamberErrorSaveFavorites, code);
    else
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleClearRecents()
{
    tql_url url;
    if (!serviceUrl(kModifyV4, url))
        return nullptr;
    url.addQueryItem("format", "json");
    logUrl(TQL_GREEN "Recents clear path = %s" TQL_RESET, url);
    TQLModuleRequestClearRecents request;
    // Area and type are those of the settings document; the subtype tells them apart.
    tql_list<TQLModule> modules(1);
    modules[0].moduleArea = "Profile";
    modules[0].moduleType = "GUPCollation";
    modules[0].moduleSubType = "recents";
    modules[0].m_moduleRequest = &request;
    TQLModuleList document;
    document.m_modules = &modules;
    tql_string body = document.serialize(nullptr);
    TQLResponse* response = sendServiceCall(m_norvaleclearrecents, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        setLibraryErrorResponse(tamberErrorSaveFavorites, 0);
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestModify);
    if (response->m_status == 1) {
        TQL_LOG(3, "Success");
        return response;
    }
    setLibraryErrorResponse(tamberErrorSaveFavorites, code);
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleSetGlobalSettings(TQLGlobalSettings& settings)
{
    tql_url url;
    if (!serviceUrl(kModifyV2, url))
        return nullptr;
    url.addQueryItem("format", "json");
    logUrl(TQL_GREEN "Global settings path = %s" TQL_RESET, url);
    TQLModuleRequestModifyGlobalSettings request;
    request.m_settings = &settings;
    tql_string body = moduleListBody("Profile", "GUPCollation", &request);
    TQL_LOG(3, "Global settings request: %s", body.c_str());
    TQLResponse* response = sendServiceCall(m_norvalesetsettings, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    tamberNorvaleCheckMessages(response->m_messages, eRequestModify);
    // The service answers settings with a message and no status worth reading.
    if (!response->m_messages.empty() && response->m_messages.front().m_code == 100) {
        TQL_LOG(3, "Success");
        return response;
    }
    return nullptr;
}
