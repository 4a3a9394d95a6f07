#include "tamberResponse/tamberSearch.h"

namespace {
const TQLCarouselRules kSearchRules = {kCarouselSearch, TQLModuleResponseCarouselHandlerBase::scPath_carouselTiles,
                                       true, true, false};
}

const char* const TQLModuleResponseSearchHandler::scCarousel_channelsAndShows = "Channels & Shows";
const char* const TQLModuleResponseSearchHandler::scCarousel_audioOnDemand = "Audio On Demand";

TQLModuleResponseSearchHandler::TQLModuleResponseSearchHandler(TQLResponse* response)
    : TQLModuleResponseCarouselHandlerBase(response, kSearchRules, new TQLModuleResponseSearch())
{
}

bool TQLModuleResponseSearchHandler::tileEventsOpen() const
{
    return m_carouselTitle == scCarousel_channelsAndShows || m_carouselTitle == scCarousel_audioOnDemand;
}

// A category has no id of its own; its key is what the host asks for next.
bool TQLModuleResponseSearchHandler::keepsTile() const
{
    return !m_tile.id.isEmpty() || (m_tile.type == 4 && !m_tile.categoryKey.isEmpty());
}

// The record goes out under a blank envelope, and only outside the two
// carousels.
void TQLModuleResponseSearchHandler::moduleEnded()
{
    if (tileEventsOpen())
        return;
    TQLModule module;
    module.m_moduleResponse = m_moduleResponse;
    m_response->m_modules.push_back(module);
}
