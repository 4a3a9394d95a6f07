#ifndef TAMBER_CONTENT_H
#define TAMBER_CONTENT_H

#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

// One tile of a carousel or a search: the public tql_content with owned
// texts. The hub lends its texts to the host for one callback.
class TQLContent {
public:
    virtual ~TQLContent() {}

    int type = 0; // 0 channel, 1 show, 2 episode, 3 additional channel, 4 category
    tql_string id;
    tql_string secondaryId;
    tql_string tertiaryId;
    tql_string categoryName;
    tql_string categoryKey;
    tql_string extraText;
    int extraValue = 0;
    tql_string name;
    tql_string description;
    tql_list<TQLImage> images;
    tql_string channelGuid;
    tql_string channelId;
    tql_string channelExtra;
    int tamberChannelNumber = 0;
    int qlChannelNumber = 0;
    int genreId = 0;
    int sortOrder = 0;
    int inactivityTimeout = 0;
    int isAvailable = 0;
    int isFavorite = 0;
    tql_string showGuid;
    int showValue1 = 0;
    int showValue2 = 0;
    tql_string episodeId;
    tql_string episodeExtra;
    tql_string episodeStart;
    int tileValue1 = 0;
    int tileValue2 = 0;
};

// The tiles of a favorites, recents or for-you carousel, and when the
// service wants them asked for again.
class TQLModuleResponseCarousel : public TQLModuleResponseBase {
public:
    void clear() override
    {
        m_contents.clear();
        expiry = "";
    }

    tql_list<TQLContent> m_contents;
    tql_string expiry;
};

class TQLModuleResponseFavoritesCarousel : public TQLModuleResponseCarousel {};
class TQLModuleResponseRecentsCarousel : public TQLModuleResponseCarousel {};
class TQLModuleResponseForYouCarousel : public TQLModuleResponseCarousel {};

// Search results: tiles without an expiry.
class TQLModuleResponseSearch : public TQLModuleResponseBase {
public:
    void clear() override { m_contents.clear(); }

    tql_list<TQLContent> m_contents;
};

#endif
