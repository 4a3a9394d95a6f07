#ifndef TAMBER_EPISODE_LISTING_H
#define TAMBER_EPISODE_LISTING_H

#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

// One on-demand episode of a show.
class TQLAODEpisode {
public:
    virtual ~TQLAODEpisode() {}

    tql_string accessControlIdentifier;
    tql_string episodeGUID;
    tql_string aodEpisodeGUID;
    tql_string longTitle;
    tql_string mediumTitle;
    tql_string longDescription;
    tql_string shortDescription;
    tql_string originalAirDate;
    tql_string expiryDate;
    int duration = 0;
    int special = 0;
    tql_string showGUID;
    tql_string channelGuid;
    tql_string channelId;
    int aodEpisodeCount = 0;
    tql_list<TQLImage> images;
};

class TQLModuleResponseEpisodeListing : public TQLModuleResponseBase {
public:
    void clear() override { m_episodes.clear(); }
    void addEpisode(const TQLAODEpisode& episode) { m_episodes.push_back(episode); }
    tql_list<TQLAODEpisode> aodEpisodes() const { return m_episodes; }

    tql_list<TQLAODEpisode> m_episodes;
};

// The episodes of a show, from the bare show list document. The show's logo
// comes once, ahead of its episodes, and all of them carry it.
class TQLModuleResponseEpisodeListingHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseEpisodeListingHandler(TQLResponse* response);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;
    int handleEndArray(const char* path) override;

    // Four sizes of the best show logo so far; -1 without one.
    int createScaledLogos();

private:
    TQLModuleResponseEpisodeListing* record() const
    {
        return static_cast<TQLModuleResponseEpisodeListing*>(m_moduleResponse);
    }

    tql_string m_showGuid;
    TQLAODEpisode m_episode;
    TQLImage m_image;
    TQLImage m_bestLogo;
    tql_list<TQLImage> m_scaledLogos;
};

#endif
