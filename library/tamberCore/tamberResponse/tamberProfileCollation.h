#ifndef TAMBER_PROFILE_COLLATION_H
#define TAMBER_PROFILE_COLLATION_H

// The profile reply: favorites, presets, recent plays and pause points of the
// account at once. No selecting value names it; the router makes its handler
// when one of the four list keys appears under moduleResponse.

#include "requestDocuments/requestDocuments.h"
#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

class TQLRecentlyPlayed {
public:
    virtual ~TQLRecentlyPlayed() {}

    int assetType = 0; // 0 channel, 2 on-demand episode
    tql_string recentlyPlayedGuid;
    tql_string recentPlayType;
    tql_string assetGUID;
    tql_string channelGuid;
    tql_string episodeTitle;
    tql_string shortEpisodeDescription;
    tql_string startStreamDateTime;
    tql_string aodEpisodeExpiryDate;
    int aodPercentConsumed = 0;
    int incognito = 0;
    tql_list<TQLImage> showLogos;
};

class TQLAODPausePoint {
public:
    virtual ~TQLAODPausePoint() {}

    int assetType = 2; // every pause point the service keeps is an episode's
    tql_string assetGUID;
    tql_string showGUID;
    int aodPercentConsumed = 0;
};

class TQLModuleResponseProfileGUPCollation : public TQLModuleResponseBase {
public:
    void clear() override
    {
        m_items.clear();
        m_recentlyPlayed.clear();
        m_pausePoints.clear();
    }

    tql_list<TQLGUPCollationItem> m_items; // favorites and presets, in arrival order
    tql_list<TQLRecentlyPlayed> m_recentlyPlayed;
    tql_list<TQLAODPausePoint> m_pausePoints;
};

class TQLModuleResponseProfileGUPCollationHandler : public TQLModuleHandlerBase {
public:
    static const char* const scPath_favorites;
    static const char* const scPath_presets;
    static const char* const scPath_recentlyPlayeds;
    static const char* const scPath_pausePointTypes;

    TQLModuleResponseProfileGUPCollationHandler(TQLResponse* response, tql_channelCallBackIf* callback);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    // Replaces the logos of a recent episode by four sized variants of its
    // "show logo on dark"; without one the list ends up empty.
    static void chooseImages(tql_list<TQLImage>& list);

private:
    TQLModuleResponseProfileGUPCollation* record()
    {
        return static_cast<TQLModuleResponseProfileGUPCollation*>(m_moduleResponse);
    }
    // A hook for whoever wants to watch favorites as they arrive.
    void reportFavorite() {}
    bool favoriteString(const char* path, const tql_string& value);
    bool presetString(const char* path, const tql_string& value);
    bool recentString(const char* path, const tql_string& value);
    bool pausePointString(const char* path, const tql_string& value);

    tql_channelCallBackIf* m_callback; // kept for the router's interface; parsing calls nothing
    TQLGUPCollationItem m_favorite;
    TQLGUPCollationItem m_preset;
    TQLRecentlyPlayed m_recent;
    TQLImage m_logo;
    TQLAODPausePoint m_pausePoint;
};

// The router's hook for keys under moduleResponse: the collation handler
// when shortPath names one of the four profile lists, else null.
TQLModuleHandlerBase* createProfileCollationHandler(const char* shortPath, TQLResponse* response,
                                                    tql_channelCallBackIf* callback);

#endif
