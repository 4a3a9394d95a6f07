#ifndef TAMBER_CALLBACK_H
#define TAMBER_CALLBACK_H

#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"
#include "tqllib.h"

class TQLResponse;
class TQLContent;
class TQLModuleResponseCarousel;
class TQLModuleResponseSearch;
class TQLModuleResponseAODListing;
class TQLModuleResponseChannelListPDT;
class TamberMetadata;

class tql_core;

// The one place that holds and calls the host's functions.
class TamberCallback {
public:
    explicit TamberCallback(tql_core* core);
    virtual ~TamberCallback();

    // Takes every non-NULL slot; -1 when a mandatory slot is NULL.
    int registerCallbacks(tql_CallbackStruct callbacks);
    tql_core* getCore() const { return m_core; }

    // The global settings of a login reply go to the host; 1.
    int handleAuthenticationResponse(TQLResponse* response);

    // Tile lists, one item per call with isLast on the last. Recents,
    // favorites and for-you also arm the refresh notification with the
    // expiry of the list.
    int handleSearchResponse(const TQLModuleResponseSearch& response);
    int handleRecentsResponse(const TQLModuleResponseCarousel& response);
    int handleFavoritesResponse(const TQLModuleResponseCarousel& response);
    int handleForYouResponse(const TQLModuleResponseCarousel& response);

    // Shows to onDemand one per call, isLast on the last; -1 for none.
    int handleOnDemandResponse(const TQLModuleResponseAODListing& response, const tql_string& genre);
    // All episodes of a reply in one onEpisodes call, also when there are none.
    int handleGetEpisodesResponse(TQLResponse* response, const tql_string& show);
    // The cuts of a program data reply in one onPdtUpdate call.
    int handlePDTUpdateResponse(const TQLModuleResponseChannelListPDT& response);

    // The target must be cleared; its texts are borrowed from source, the
    // image URLs from this object, until the next call.
    void responseToTQLContent(const TQLContent& source, tql_content& target);

    // One channel of the line-up to the host; its result, -1 when unregistered.
    int propagateChannel(tql_content* content);

    // The host's result, -1 when unregistered; the last two also log then.
    int notifyBitrateChanged(int bitrate);
    int notifyBusyChanged(int busy);
    int notifyErrorInfo(tql_errorNotification notification);
    int notifyRefreshInfo(tql_moduleType module);

    // What is playing, to onMetadata; -1 when there is nothing to tell or
    // nobody to tell it to.
    int handleAndSendMetadataCallback(const TamberMetadata& metadata);

    // The timebar of an asset as the engine builds it; the segments array
    // lives for the callback. 1, or -1 when unregistered.
    int propagateTimebar(const tql_string& asset);
    // A cleared timebar with the live flag; 1, or -1 when unregistered.
    int clearTimebar();

private:
    struct TileRules;
    int deliverTiles(tql_onTileFn function, const tql_list<TQLContent>& contents, const TileRules& rules);
    int deliverCarousel(tql_onTileFn function, const TQLModuleResponseCarousel& response, const TileRules& rules,
                        tql_moduleType module);

    tql_core* m_core;
    void* m_hostContext;
    tql_onTileFn m_onSearch;
    tql_onTileFn m_onRecents;
    tql_onTileFn m_onFavorites;
    tql_onTileFn m_onForYou;
    tql_onEpisodesFn m_onEpisodes;
    tql_onGlobalSettingsFn m_onGlobalSettings;
    tql_onMetadataFn m_onMetadata;
    tql_onTimebarFn m_onTimebar;
    tql_onBitrateFn m_onBitrate;
    tql_onBusyFn m_onBusy;
    tql_onErrorFn m_onError;
    tql_onPdtUpdateFn m_onPdtUpdate;
    tql_onDemandFn m_onDemand;
    tql_onChannelFn m_onChannel;
    tql_onRefreshFn m_onRefresh;
    tql_string m_imageUrls[TQL_CONTENT_IMAGES];
};

#endif
