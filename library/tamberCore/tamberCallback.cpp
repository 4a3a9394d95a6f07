#include "tamberCallback.h"

#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberDebug.h"

TamberCallback::TamberCallback(tql_core* core)
    : m_core(core),
      m_hostContext(nullptr),
      m_onSearch(nullptr),
      m_onRecents(nullptr),
      m_onFavorites(nullptr),
      m_onForYou(nullptr),
      m_onEpisodes(nullptr),
      m_onGlobalSettings(nullptr),
      m_onMetadata(nullptr),
      m_onTimebar(nullptr),
      m_onBitrate(nullptr),
      m_onBusy(nullptr),
      m_onError(nullptr),
      m_onPdtUpdate(nullptr),
      m_onDemand(nullptr),
      m_onChannel(nullptr),
      m_onRefresh(nullptr)
{
}

TamberCallback::~TamberCallback() {}

// Stores a non-NULL slot; a NULL one keeps what was stored and is logged under
// this function's name. Returns whether the slot was given.
template <class Fn>
static bool take(Fn& slot, Fn given, const char* what)
{
    if (given) {
        slot = given;
        return true;
    }
    tql_int_debug_print(1, "registerCallbacks", __LINE__,
                        "Invalid argument (null pointer in callback struct - %s)", what);
    return false;
}

int TamberCallback::registerCallbacks(tql_CallbackStruct cb)
{
    int result = 1;
    if (cb.hostContext)
        m_hostContext = cb.hostContext;
    // Every slot is visited in this order whatever an earlier one gave.
    take(m_onSearch, cb.onSearch, "Search notification");
    take(m_onRecents, cb.onRecents, "Recents notification");
    take(m_onFavorites, cb.onFavorites, "Favorites notification");
    take(m_onForYou, cb.onForYou, "For You notification");
    take(m_onEpisodes, cb.onEpisodes, "Get Episodes notification");
    take(m_onGlobalSettings, cb.onGlobalSettings, "Global Settings notification");
    if (!take(m_onMetadata, cb.onMetadata, "MetaData notifications"))
        result = -1;
    take(m_onTimebar, cb.onTimebar, "timebar");
    // The bit rate slot stands for the host context as well.
    if (!take(m_onBitrate, cb.hostContext ? cb.onBitrate : nullptr, "Bitrate notification"))
        result = -1;
    if (!take(m_onBusy, cb.onBusy, "busy notification"))
        result = -1;
    if (take(m_onError, cb.onError, "error notification"))
        tql_int_debug_print(3, "registerCallbacks", __LINE__, "Callback registered for error notification");
    else
        result = -1;
    if (!take(m_onPdtUpdate, cb.onPdtUpdate, "PDT update notification"))
        result = -1;
    take(m_onDemand, cb.onDemand, "On Demand notification");
    if (!take(m_onChannel, cb.onChannel, "Channel Lineup notification"))
        result = -1;
    if (!take(m_onRefresh, cb.onRefresh, "Refresh notification"))
        result = -1;
    return result;
}

int TamberCallback::notifyErrorInfo(tql_errorNotification notification)
{
    if (!m_onError || !m_hostContext) {
        TQL_LOG(1, "Callback error - null pointer");
        return -1;
    }
    return m_onError(m_hostContext, &notification);
}

// Settings are a by-product of the login; the array lives for the callback.
int TamberCallback::handleAuthenticationResponse(TQLResponse* response)
{
    auto* auth = dynamic_cast<TQLModuleResponseAuth*>(response->m_modules.front().m_moduleResponse);
    tql_list<TQLGlobalSettingsItem> items = auth->m_globalSettings.m_items;
    int count = static_cast<int>(items.size());
    auto* settings = static_cast<tql_globalSetting*>(tql_malloc(sizeof(tql_globalSetting) * (count ? count : 1)));
    if (!settings)
        return 1;
    for (int i = 0; i < count; ++i) {
        settings[i].key = items[static_cast<size_t>(i)].settingName.c_str();
        settings[i].value = items[static_cast<size_t>(i)].settingValue.c_str();
    }
    if (m_onGlobalSettings && m_hostContext)
        m_onGlobalSettings(m_hostContext, settings, count);
    tql_free(settings);
    return 1;
}

int TamberCallback::propagateChannel(tql_content* content)
{
    if (!m_onChannel || !m_hostContext)
        return -1;
    return m_onChannel(m_hostContext, content);
}
