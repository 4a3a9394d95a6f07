#include "tamberCallback.h"

#include <cstring>

#include "tamberCore.h"
#include "tamberMetadata.h"
#include "tamberResponse/tamberContent.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberDateTime.h"
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

int TamberCallback::notifyBitrateChanged(int bitrate)
{
    if (!m_onBitrate || !m_hostContext)
        return -1;
    return m_onBitrate(m_hostContext, bitrate);
}

int TamberCallback::notifyBusyChanged(int busy)
{
    if (!m_onBusy || !m_hostContext)
        return -1;
    return m_onBusy(m_hostContext, busy);
}

int TamberCallback::notifyRefreshInfo(tql_moduleType module)
{
    if (!m_onRefresh || !m_hostContext) {
        TQL_LOG(1, "Callback error - null pointer");
        return -1;
    }
    return m_onRefresh(m_hostContext, module);
}

int TamberCallback::handleAndSendMetadataCallback(const TamberMetadata& metadata)
{
    tql_metadata record;
    memset(&record, 0, sizeof record);
    for (const TamberMetadataRec& item : metadata.m_items) {
        const char* text = item.value.c_str();
        switch (item.type) {
        case TamberMetadataRec::Title: record.title = text; break;
        case TamberMetadataRec::Artist: record.artist = text; break;
        case TamberMetadataRec::Album: record.album = text; break;
        case TamberMetadataRec::ShowTitle: record.showTitle = text; break;
        case TamberMetadataRec::ShowGuid: record.showGuid = text; break;
        case TamberMetadataRec::Tag6: record.tag6Text = text; break;
        case TamberMetadataRec::ArtworkUrl:
            record.artworkUrl = text;
            TQL_LOG(4, "New artwork url %s", text);
            break;
        default: break;
        }
    }
    auto empty = [](const char* text) { return !text || !*text; };
    if (empty(record.title) && empty(record.artist) && empty(record.album) && empty(record.artworkUrl) &&
        empty(record.showTitle) && empty(record.showGuid)) {
        TQL_LOG(2, "Getting empty metadata to propagate. Not propagating");
        return -1;
    }
    if (!m_onMetadata || !m_hostContext) {
        TQL_LOG(1, "Could not load callback (NULL pointer)");
        return -1;
    }
    m_onMetadata(m_hostContext, &record);
    return 1;
}

int TamberCallback::propagateTimebar(const tql_string& asset)
{
    if (!m_onTimebar || !m_hostContext || !m_core)
        return -1;
    tql_timebarData timebar;
    memset(&timebar, 0, sizeof timebar);
    m_core->getCurrentStreamer()->createTimebarInfo(&timebar, asset);
    m_onTimebar(m_hostContext, &timebar);
    if (timebar.segments)
        tql_free(timebar.segments);
    return 1;
}

int TamberCallback::clearTimebar()
{
    if (!m_onTimebar || !m_hostContext)
        return -1;
    tql_timebarData timebar;
    memset(&timebar, 0, sizeof timebar);
    timebar.liveFlag = 1;
    m_onTimebar(m_hostContext, &timebar);
    return 1;
}

void TamberCallback::responseToTQLContent(const TQLContent& source, tql_content& target)
{
    target.type = source.type;
    target.id = source.id.c_str();
    target.secondaryId = source.secondaryId.c_str();
    target.tertiaryId = source.tertiaryId.c_str();
    target.categoryName = source.categoryName.c_str();
    target.categoryKey = source.categoryKey.c_str();
    target.extraText = source.extraText.c_str();
    target.extraValue = source.extraValue;
    target.name = source.name.c_str();
    target.description = source.description.c_str();
    target.channelGuid = source.channelGuid.c_str();
    target.channelId = source.channelId.c_str();
    target.channelExtra = source.channelExtra.c_str();
    target.tamberChannelNumber = source.tamberChannelNumber;
    target.qlChannelNumber = source.qlChannelNumber;
    target.genreId = source.genreId;
    target.sortOrder = source.sortOrder;
    target.inactivityTimeout = source.inactivityTimeout;
    target.isAvailable = source.isAvailable;
    target.isFavorite = source.isFavorite;
    target.isAdditional = source.type == 3;
    target.showGuid = source.showGuid.c_str();
    target.showValue1 = source.showValue1;
    target.showValue2 = source.showValue2;
    target.episodeId = source.episodeId.c_str();
    target.episodeExtra = source.episodeExtra.c_str();
    target.episodeStart = source.episodeStart.c_str();
    target.tileValue1 = source.tileValue1;
    target.tileValue2 = source.tileValue2;

    // Tile images name their server by a placeholder that the configuration
    // resolves; the rebased texts live here until the next tile.
    tql_list<TQLRelativeUrlsItem> relative;
    if (m_core)
        m_core->getTamberRequest().getRelativeUrls(relative);
    for (int i = 0; i < TQL_CONTENT_IMAGES; ++i)
        m_imageUrls[i] = "";
    for (size_t i = 0; i < source.images.size() && i < TQL_CONTENT_IMAGES; ++i) {
        const TQLImage& image = source.images[i];
        m_imageUrls[i] = m_core ? m_core->getTamberRequest().replaceBaseUrl(relative, image.url) : image.url;
        target.images[i].url = m_imageUrls[i].c_str();
        target.images[i].width = image.width;
        target.images[i].height = image.height;
    }
}

// What sets the four tile lists apart; the differences are the service's
// contract with hosts and stay as they are.
struct TamberCallback::TileRules {
    const char* refused;        // logged when the host gives -4
    const char* emptySent;      // logged when an empty list was taken
    const char* reported;       // the count at the end
    bool stopOnRefusal;         // search ends the list at a refusal
    bool emptyNeedsZero;        // the empty call fails unless the host gives 0
};

int TamberCallback::deliverTiles(tql_onTileFn function, const tql_list<TQLContent>& contents,
                                 const TileRules& rules)
{
    if (!function || !m_hostContext)
        return -1;
    if (contents.empty()) {
        int given = function(m_hostContext, nullptr, 1);
        if (rules.emptyNeedsZero ? given != 0 : given == -4) {
            tql_int_debug_print(2, "TamberCallback", __LINE__, "%s", rules.refused);
            return -1;
        }
        tql_int_debug_print(2, "TamberCallback", __LINE__, "%s", rules.emptySent);
        return 1;
    }
    for (size_t i = 0; i < contents.size(); ++i) {
        tql_content tile;
        memset(&tile, 0, sizeof tile);
        responseToTQLContent(contents[i], tile);
        if (function(m_hostContext, &tile, i + 1 == contents.size()) == -4) {
            tql_int_debug_print(2, "TamberCallback", __LINE__, "%s", rules.refused);
            if (rules.stopOnRefusal)
                return -1;
        }
    }
    tql_int_debug_print(3, "TamberCallback", __LINE__, rules.reported, static_cast<int>(contents.size()));
    return 1;
}

int TamberCallback::handleSearchResponse(const TQLModuleResponseSearch& response)
{
    static const TileRules rules = {"Can't send search callback", "Empty search callback sent",
                                    "%d search result reported", true, false};
    // The host may start another request from its callback; the list it
    // walks must not change under it.
    tql_list<TQLContent> contents = response.m_contents;
    return deliverTiles(m_onSearch, contents, rules);
}

int TamberCallback::deliverCarousel(tql_onTileFn function, const TQLModuleResponseCarousel& response,
                                    const TileRules& rules, tql_moduleType module)
{
    tql_list<TQLContent> contents = response.m_contents;
    tql_string expiry = response.expiry;
    int result = deliverTiles(function, contents, rules);
    // An empty list asks for no refresh; the host learns of new items when
    // it asks again.
    if (result == 1 && !contents.empty() && !expiry.isEmpty() && m_core && m_core->getCurrentStreamer())
        m_core->getCurrentStreamer()->setExpireTimestamp(module, tamberTime(expiry));
    return result;
}

int TamberCallback::handleRecentsResponse(const TQLModuleResponseCarousel& response)
{
    static const TileRules rules = {"Can't send recents callback", "Empty recents callback sent",
                                    "%d recently played media reported", false, true};
    return deliverCarousel(m_onRecents, response, rules, TQL_MODULE_RECENTS);
}

int TamberCallback::handleFavoritesResponse(const TQLModuleResponseCarousel& response)
{
    static const TileRules rules = {"Can't send favorites callback", "Empty favorites callback sent",
                                    "%d favorites reported", false, true};
    return deliverCarousel(m_onFavorites, response, rules, TQL_MODULE_FAVORITES);
}

int TamberCallback::handleForYouResponse(const TQLModuleResponseCarousel& response)
{
    static const TileRules rules = {"Can't send For You callback", "Empty For You Recommendations callback sent",
                                    "%d For You Recommendations reported", false, true};
    return deliverCarousel(m_onForYou, response, rules, TQL_MODULE_FOR_YOU);
}
