#ifndef TAMBER_CHANNEL_LISTING_H
#define TAMBER_CHANNEL_LISTING_H

// The channel line-up. Only the category tree is kept; each channel is
// joined with the categories that list it and handed on the moment its
// object ends, so the line-up is never held whole.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

class TQLChannelBase {
public:
    virtual ~TQLChannelBase() {}
    TQLChannelBase() = default;
    TQLChannelBase(const TQLChannelBase&) = default;
    TQLChannelBase(TQLChannelBase&&) = default; // the tree is built by moving, not copying, its lists
    TQLChannelBase& operator=(const TQLChannelBase&) = default;
    TQLChannelBase& operator=(TQLChannelBase&&) = default;

    tql_string channelGuid;
    tql_string name;
};

// A channel's own view of a category.
class TQLCategoriesBase {
public:
    virtual ~TQLCategoriesBase() {}
    TQLCategoriesBase() = default;
    TQLCategoriesBase(const TQLCategoriesBase&) = default;
    TQLCategoriesBase(TQLCategoriesBase&&) = default;
    TQLCategoriesBase& operator=(const TQLCategoriesBase&) = default;
    TQLCategoriesBase& operator=(TQLCategoriesBase&&) = default;

    tql_string categoryGuid;
    tql_string name;
    tql_string key;
    int order = 0;
};

class TQLCategories {
public:
    virtual ~TQLCategories() {}
    TQLCategories() = default;
    TQLCategories(const TQLCategories&) = default;
    TQLCategories(TQLCategories&&) = default; // the tree is built by moving, not copying, its lists
    TQLCategories& operator=(const TQLCategories&) = default;
    TQLCategories& operator=(TQLCategories&&) = default;

    tql_string categoryGuid;
    tql_string name;
    tql_string description;
    tql_string key;
    int sortOrder = 0;
    tql_list<TQLImage> images;
    tql_list<TQLChannelBase> channels;
};

class TQLSuperCategories {
public:
    virtual ~TQLSuperCategories() {}
    TQLSuperCategories() = default;
    TQLSuperCategories(const TQLSuperCategories&) = default;
    TQLSuperCategories(TQLSuperCategories&&) = default; // the tree is built by moving, not copying, its lists
    TQLSuperCategories& operator=(const TQLSuperCategories&) = default;
    TQLSuperCategories& operator=(TQLSuperCategories&&) = default;

    tql_string categoryGuid;
    tql_string name;
    tql_string description;
    int sortOrder = 0;
    tql_string url;
    tql_string key;
    tql_list<TQLCategories> categories;
};

class TQLInactivityTimeouts {
public:
    virtual ~TQLInactivityTimeouts() {}
    TQLInactivityTimeouts() = default;
    TQLInactivityTimeouts(const TQLInactivityTimeouts&) = default;
    TQLInactivityTimeouts(TQLInactivityTimeouts&&) = default;
    TQLInactivityTimeouts& operator=(const TQLInactivityTimeouts&) = default;
    TQLInactivityTimeouts& operator=(TQLInactivityTimeouts&&) = default;

    tql_string platform;
    int value = 0;
};

// The channel in progress.
class TQLChannel {
public:
    virtual ~TQLChannel() {}

    tql_string channelGuid;
    tql_string channelId;
    tql_string name;
    tql_string streamingName;
    tql_string shortDescription;
    tql_string tuneMethod;
    int channelNumber = 0;
    int tamberChannelNumber = 0;
    int qlChannelNumber = 0;
    int geoRestrictions = 0;
    int sortOrder = 0;
    int inactivityTimeout = 0;
    int isAvailable = 0;
    int isMature = 0;
    int isFavorite = 0;
    int isBizMature = 0;
    tql_list<TQLInactivityTimeouts> inactivityTimeouts;
    tql_list<TQLImage> images;
    tql_list<TQLCategoriesBase> categories;
};

class TQLModuleResponseChannelListing : public TQLModuleResponseBase {
public:
    void clear() override
    {
        channelChangeId = tql_string();
        superCategories.clear();
    }

    tql_string channelChangeId; // the line-up's version
    tql_list<TQLSuperCategories> superCategories;
};

class TQLModuleResponseChannelListingHandler : public TQLModuleHandlerBase {
public:
    TQLModuleResponseChannelListingHandler(TQLResponse* response, tql_channelCallBackIf* callback);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    void scaleChannelLogo();
    void findBestGenreIcon(int superCategory, int category);
    void sendChannelCallback();

private:
    TQLModuleResponseChannelListing* record()
    {
        return static_cast<TQLModuleResponseChannelListing*>(m_moduleResponse);
    }

    tql_channelCallBackIf* m_callback;
    TQLSuperCategories m_superCategory;
    TQLCategories m_category;
    TQLChannelBase m_categoryChannel;
    TQLImage m_categoryImage;
    TQLChannel m_channel;
    TQLImage m_channelImage;
    TQLCategoriesBase m_channelCategory;
    tql_string m_genreIconUrl; // not cleared between listings, on purpose

    // Images of finished channels, kept with the room of their texts, so that
    // the next channel's logos and sized variants are written into them
    // instead of into new blocks. A few at most, whatever a reply holds.
    TQLImage takeSpareImage();
    void keepSpareImages(tql_list<TQLImage>& images);
    tql_list<TQLImage> m_spareImages;
    std::string m_urlHead; // the parts of a source logo's URL around the sizes
    std::string m_urlTail;

    // Where each channel is listed, in tree order: the join then costs a
    // look-up per channel instead of a walk of the whole tree. One sorted
    // array of the guid's hash and the listing's place, made again whenever
    // the tree has grown; a hit counts only when the listed guid is the
    // channel's, so the index holds no copy of any guid.
    struct Listing {
        size_t hash;
        uint32_t superCategory;
        uint32_t category;
        uint32_t channel;
    };
    void indexListings();
    const tql_list<std::pair<size_t, size_t>>& listingsOf(const tql_string& channelGuid);
    tql_list<Listing> m_listings;
    tql_list<std::pair<size_t, size_t>> m_hits;
    size_t m_indexedSuperCategories = static_cast<size_t>(-1);
};

#endif
