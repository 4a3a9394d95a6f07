#include "tamberResponse/tamberForYouCarousel.h"

namespace {
const TQLCarouselRules kForYouRules = {kCarouselForYou, TQLModuleResponseCarouselHandlerBase::scPath_carouselTiles,
                                       true, true, false};
}

TQLModuleResponseForYouCarouselHandler::TQLModuleResponseForYouCarouselHandler(TQLResponse* response,
                                                                               tql_channelCallBackIf* callback)
    : TQLModuleResponseCarouselHandlerBase(response, kForYouRules, new TQLModuleResponseForYouCarousel()),
      m_callback(callback)
{
}

// The title names the tile as the readable group and, without blanks, as
// its key.
void TQLModuleResponseForYouCarouselHandler::beforeString()
{
    if (m_carouselTitle.isEmpty() || !m_tile.secondaryId.isEmpty())
        return;
    m_tile.secondaryId = m_carouselTitle;
    m_tile.tertiaryId = m_carouselTitle;
    m_tile.tertiaryId.remove(' ');
}
