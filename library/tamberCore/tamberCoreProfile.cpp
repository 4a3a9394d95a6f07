// The core's policies around the profile: presets, favorites, the recents
// list, pause points and global settings. Each call has its own retry depth
// and its own way of repairing the session, as the service has long been
// served acceptably by them.
#include <cstring>

#include "tamberCore.h"
#include "tamberResponse/tamberProfileCollation.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kCollationPresets = 0;
const int kCollationPausePoints = 2;
const int kPresetPasses = 4;
const int kPresetUpdateTries = 5;
const int kPausePointTries = 5;

void clearErrorCodes(tql_errorNotification* error)
{
    if (error) {
        error->errorCode = 0;
        error->responseCode = 0;
        error->playbackStopped = 0;
    }
}

// The first message of the last classified reply, when there is one.
void logFault(TamberRequest& request, const char* format)
{
    const tql_list<TQLMessagesType>& messages = request.tamberFaultResponse()->m_messages;
    if (!messages.empty())
        tql_int_debug_print(1, "tql_core", __LINE__, format, messages.front().m_message.c_str(),
                            messages.front().m_code);
}

// A profile reply that can be read: plain success first, and a module.
bool answeredWithProfile(const TQLResponse* response)
{
    return !response->m_messages.empty() && response->m_messages.front().m_code == 100 &&
           !response->m_modules.empty();
}

template <class Node>
void freeNodes(Node* head)
{
    while (head) {
        Node* next = head->next;
        tql_free(head);
        head = next;
    }
}

// Cleared nodes from the port's memory, as the host frees them.
template <class Node>
Node* newNode()
{
    Node* node = static_cast<Node*>(tql_malloc(sizeof(Node)));
    if (node)
        memset(node, 0, sizeof(Node));
    return node;
}

const char* favoriteTypeText(int assetType)
{
    switch (assetType) {
    case 0: return "live";
    case 1: return "show";
    case 2: return "aod";
    case 3: return "additionalChannel";
    default: return "";
    }
}

const char* favoriteChange(int action)
{
    return action == 0 ? "add" : action == 1 ? "delete" : "update";
}
} // namespace

bool tql_core::sessionFlagged() const
{
    return m_tamberRequest.m_sessionInvalid || m_tamberRequest.m_simultaneousLogin;
}

// The presets of a collation reply as a chain, last preset first. The texts
// stay in the reply. failure goes to count when the reply is no collation.
tql_chainedPresets* tql_core::presetsFromCollation(TQLResponse* response, int* count, int failure,
                                                   bool logAllocation)
{
    TQLModuleResponseProfileGUPCollation* collation = firstModule<TQLModuleResponseProfileGUPCollation>(response);
    if (!collation) {
        *count = failure;
        return nullptr;
    }
    tql_chainedPresets* head = nullptr;
    int made = 0;
    for (const TQLGUPCollationItem& preset : collation->m_items) {
        tql_chainedPresets* node = newNode<tql_chainedPresets>();
        if (!node) {
            if (!logAllocation)
                break; // an update gives what it has
            TQL_LOG(1, "Unable to allocate chained preset Item");
            freeNodes(head);
            return nullptr;
        }
        node->assetGuid = preset.assetGUID.c_str();
        node->contentType = preset.assetType;
        node->channelId = preset.channelId.c_str();
        node->sortOrder = preset.tabSortOrder;
        node->next = head;
        head = node;
        ++made;
    }
    *count = made;
    return head;
}

tql_chainedPresets* tql_core::getPresetList(int* count, int state)
{
    if (!count)
        return nullptr;
    TQLResponse* held = m_tamberRequest.m_norvalecollation;
    const bool cached = held && held->m_status == 1 && state == 0;
    auto fetch = [this] { return m_tamberRequest.tamberNorvaleRetrieveGUPCollation(kCollationPresets); };
    TQLResponse* response = cached ? held : fetch();
    for (int pass = 1;; ++pass) {
        const bool retriesLeft = pass < kPresetPasses;
        if (!response) {
            if (!sessionFlagged()) {
                logFault(m_tamberRequest, "retrievePresets.faultResponse.message = %s code = %d");
                *count = -1;
                return nullptr;
            }
            norvaleResumeCall();
            if (!retriesLeft) {
                *count = 0;
                return nullptr;
            }
            response = fetch();
            continue;
        }
        if (answeredWithProfile(response))
            break;
        if (!retriesLeft) {
            *count = 0;
            return nullptr;
        }
        if (!cached)
            response = fetch();
    }
    return presetsFromCollation(response, count, 0, true);
}

tql_chainedPresets* tql_core::updateServerPresets(tql_chainedPresets* list, char* buffer, unsigned int* length,
                                                  int* count)
{
    // The buffer is part of the interface but carries nothing.
    if (!list || !buffer || !length || *length == 0 || !count)
        return nullptr;
    *count = 0;
    TQLResponse* response = nullptr;
    for (int attempt = 0; attempt < kPresetUpdateTries && !response; ++attempt) {
        response = m_tamberRequest.tamberNorvaleUpdateUserPresets(list);
        if (response && response->m_modules.empty())
            response = nullptr; // status 1 alone: the service kept the list to itself
        else if (!response && sessionFlagged()) {
            logFault(m_tamberRequest, "retrievePresets.faultResponse.message = %s code = %d");
            norvaleResumeCall();
        }
    }
    if (!response || !answeredWithProfile(response)) {
        *count = -1;
        return nullptr;
    }
    return presetsFromCollation(response, count, -1, false);
}

int tql_core::norvaleFavoritesSetCall(tql_chainedFavorites* list, tql_errorNotification* error)
{
    clearErrorCodes(error);
    const tql_string now =
        tql_datetime::fromMSecsSinceEpoch(tql_datetime::currentMSecsSinceEpoch(), true).toString(TQL_DATE_ISO_UTC);
    tql_list<TQLGUPCollationItem> items;
    // The host ends its list with a terminator node that carries nothing.
    for (const tql_chainedFavorites* node = list; node && node->next; node = node->next) {
        TQLGUPCollationItem item;
        // NULL texts of the host's nodes are taken as empty.
        item.assetGUID = tql_string(node->assetGuid);
        item.assetType = node->assetType;
        const tql_string typeText(node->assetTypeText);
        item.contentType = typeText.isEmpty() ? tql_string(favoriteTypeText(node->assetType)) : typeText;
        item.channelId = tql_string(node->channelId);
        item.changeType = favoriteChange(node->action);
        item.createdDateTime = now;
        item.modifiedDateTime = now;
        items.push_back(item);
    }
    TQLResponse* response = withSessionRepeat([&] { return m_tamberRequest.tamberNorvaleSetFavorites(items); });
    if (!response) {
        m_tamberRequest.getErrorResponse(error);
        return -1;
    }
    return 1;
}

int tql_core::norvaleClearRecentsCall()
{
    return withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleClearRecents(); }) ? 1 : -1;
}

int tql_core::norvaleGlobalSettingsSetCall(tql_globalSetting* settings, int count, tql_errorNotification* error)
{
    clearErrorCodes(error);
    TQLGlobalSettings document;
    for (int i = 0; settings && i < count; ++i) {
        TQLGlobalSettingsItem item;
        item.settingName = tql_string(settings[i].key); // NULL is taken as empty
        item.settingValue = tql_string(settings[i].value);
        document.m_items.push_back(item);
    }
    TQLResponse* response =
        withSessionRepeat([&] { return m_tamberRequest.tamberNorvaleSetGlobalSettings(document); });
    if (!response) {
        m_tamberRequest.getErrorResponse(error);
        return -1;
    }
    return 1;
}

// An account without pause points gives NULL with status 1; a failure sets -1.
tql_chainedPausePoints* tql_core::getPausePoints(int* status)
{
    if (!status)
        return nullptr;
    *status = 1;
    for (int attempt = 0; attempt < kPausePointTries; ++attempt) {
        TQLResponse* response = m_tamberRequest.tamberNorvaleRetrieveGUPCollation(kCollationPausePoints);
        if (response)
            return pausePointsFrom(response, status);
        if (!sessionFlagged()) {
            TQL_LOG(1, "Get Pause Points - No error message");
            *status = -1;
            return nullptr;
        }
        logFault(m_tamberRequest, "Get Pause Points - error message = %s code = %d");
        norvaleResumeCall();
    }
    return nullptr;
}

tql_chainedPausePoints* tql_core::pausePointsFrom(TQLResponse* response, int* status)
{
    TQLModuleResponseProfileGUPCollation* collation = firstModule<TQLModuleResponseProfileGUPCollation>(response);
    if (response->m_status != 1 || !collation) {
        *status = -1;
        return nullptr;
    }
    tql_chainedPausePoints* head = nullptr;
    for (const TQLAODPausePoint& point : collation->m_pausePoints) {
        tql_chainedPausePoints* node = newNode<tql_chainedPausePoints>();
        if (!node) {
            TQL_LOG(1, "Unable to allocate recent item");
            freeNodes(head);
            return nullptr;
        }
        node->assetType = point.assetType;
        node->assetGuid = point.assetGUID.c_str();
        node->showGuid = point.showGUID.c_str();
        node->percentConsumed = point.aodPercentConsumed;
        node->next = head;
        head = node;
    }
    return head;
}
