#ifndef TAMBER_AOD_LISTING_H
#define TAMBER_AOD_LISTING_H

#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

// One on-demand show of the catalogue.
class TQLAODShow {
public:
    virtual ~TQLAODShow() {}

    tql_string guid;
    tql_string longTitle;
    tql_string mediumTitle;
    tql_string longDescription;
    tql_string shortDescription;
    tql_string programType;
    tql_string shortId;
    int aodEpisodeCount = 0;
    int newEpisodeCount = 0;
    tql_string channelId;
    tql_string channelName;
    tql_list<TQLImage> creativeArts;
};

class TQLModuleResponseAODListing : public TQLModuleResponseBase {
public:
    void clear() override { m_shows.clear(); }

    tql_list<TQLAODShow> m_shows;
};

// The shows of a genre or a channel.
class TQLModuleResponseAODListingHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseAODListingHandler(TQLResponse* response);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    // A show's images become four sizes of its logo for dark backgrounds;
    // without one they stay as they came.
    static void chooseImage(tql_list<TQLImage>& images);

private:
    TQLModuleResponseAODListing* record() const
    {
        return static_cast<TQLModuleResponseAODListing*>(m_moduleResponse);
    }
    void findBestImages();

    TQLAODShow m_show;
    TQLImage m_image;
};

#endif
