// The hub's deliveries of on-demand shows, episodes and program data. Texts
// and image URLs go to the host as the records hold them.
#include <cstring>
#include <set>

#include "tamberCallback.h"
#include "tamberResponse/tamberAODListing.h"
#include "tamberResponse/tamberChannelListPDT.h"
#include "tamberResponse/tamberEpisodeListing.h"
#include "tamberTypes/tamberDebug.h"

namespace {
template <class Image>
void lendImages(const tql_list<Image>& images, tql_content& target)
{
    for (size_t i = 0; i < images.size() && i < TQL_CONTENT_IMAGES; ++i) {
        target.images[i].url = images[i].url.c_str();
        target.images[i].width = images[i].width;
        target.images[i].height = images[i].height;
    }
}

const char* orNull(const tql_string& text)
{
    return text.isEmpty() ? nullptr : text.c_str();
}

// An array for the host that has room for at least one entry, so that an
// empty list still goes out as a valid pointer with a count of 0.
template <class T>
T* allocateCleared(size_t count)
{
    size_t bytes = sizeof(T) * (count ? count : 1);
    auto* array = static_cast<T*>(tql_malloc(bytes));
    if (array)
        memset(array, 0, bytes);
    return array;
}

void fillEpisode(const TQLAODEpisode& episode, tql_content& target)
{
    target.type = 2;
    target.id = episode.accessControlIdentifier.c_str();
    target.episodeId = episode.accessControlIdentifier.c_str();
    // A special names itself by its long title; a regular episode leads
    // with its short description, and the long title becomes the second line.
    if (episode.special) {
        target.name = episode.longTitle.c_str();
        target.description = episode.shortDescription.c_str();
    } else {
        target.name = episode.shortDescription.c_str();
        target.description = episode.longTitle.c_str();
    }
    target.tileValue1 = episode.duration;
    target.tileValue2 = episode.special;
    target.showGuid = episode.showGUID.c_str();
    target.episodeStart = episode.originalAirDate.c_str();
    target.episodeExtra = episode.expiryDate.c_str();
    target.channelGuid = episode.channelGuid.c_str();
    target.channelId = episode.channelId.c_str();
    lendImages(episode.images, target);
}
} // namespace

int TamberCallback::handleOnDemandResponse(const TQLModuleResponseAODListing& response, const tql_string& genre)
{
    if (!m_onDemand || !m_hostContext)
        return -1;
    // The host may ask for more from its callback; the list it walks must
    // not change under it.
    const tql_list<TQLAODShow> shows = response.m_shows;
    if (shows.empty()) {
        m_onDemand(m_hostContext, nullptr, 1, 1);
        TQL_LOG(3, "Empty On Demand shows callback sent");
        return -1;
    }
    for (size_t i = 0; i < shows.size(); ++i) {
        const TQLAODShow& show = shows[i];
        tql_content record;
        memset(&record, 0, sizeof record);
        record.type = 1;
        record.id = show.guid.c_str();
        record.showGuid = show.guid.c_str();
        record.categoryKey = genre.c_str();
        record.name = show.longTitle.c_str();
        record.description = show.shortDescription.c_str();
        record.channelId = show.channelId.c_str();
        record.showValue1 = show.aodEpisodeCount;
        record.showValue2 = show.newEpisodeCount;
        lendImages(show.creativeArts, record);
        m_onDemand(m_hostContext, &record, 1, i + 1 == shows.size());
    }
    TQL_LOG(3, "%d On Demand shows reported", static_cast<int>(shows.size()));
    return 1;
}

int TamberCallback::handleGetEpisodesResponse(TQLResponse* response, const tql_string& show)
{
    if (!m_onEpisodes || !m_hostContext)
        return -1;
    // Every show of the reply, in order; modules that share a record count once.
    tql_list<TQLAODEpisode> episodes;
    std::set<const void*> seen;
    for (const TQLModule& module : response->m_modules) {
        auto* listing = dynamic_cast<TQLModuleResponseEpisodeListing*>(module.m_moduleResponse);
        if (!listing || !seen.insert(listing).second)
            continue;
        for (const TQLAODEpisode& episode : listing->m_episodes)
            episodes.push_back(episode);
    }
    auto* array = allocateCleared<tql_content>(episodes.size());
    if (!array) {
        TQL_LOG(1, "Unable to allocate the episode list");
        return -1;
    }
    for (size_t i = 0; i < episodes.size(); ++i)
        fillEpisode(episodes[i], array[i]);
    int count = static_cast<int>(episodes.size());
    m_onEpisodes(m_hostContext, show.c_str(), array, count);
    TQL_LOG(3, "%d episodes reported", count);
    tql_free(array);
    return 1;
}

int TamberCallback::handlePDTUpdateResponse(const TQLModuleResponseChannelListPDT& response)
{
    if (!m_onPdtUpdate || !m_hostContext)
        return -1;
    const tql_list<TQLChannelListPDTCut> cuts = response.m_cuts;
    auto* array = allocateCleared<tql_pdtChannel>(cuts.size());
    if (!array) {
        TQL_LOG(1, "Unable to allocate the program data list");
        return -1;
    }
    for (size_t i = 0; i < cuts.size(); ++i) {
        array[i].time = cuts[i].time;
        array[i].duration = cuts[i].duration;
        array[i].channelId = orNull(cuts[i].channelId);
        array[i].title = orNull(cuts[i].title);
        array[i].artist = orNull(cuts[i].artistName);
        array[i].album = orNull(cuts[i].albumTitle);
    }
    m_onPdtUpdate(m_hostContext, array, static_cast<int>(cuts.size()));
    tql_free(array);
    return 1;
}
