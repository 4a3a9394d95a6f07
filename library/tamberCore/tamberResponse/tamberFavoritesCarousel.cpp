#include "tamberResponse/tamberFavoritesCarousel.h"

TQLModuleResponseFavoritesCarouselHandler::TQLModuleResponseFavoritesCarouselHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseFavoritesCarousel();
}
