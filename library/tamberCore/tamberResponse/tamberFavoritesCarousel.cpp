#include "tamberResponse/tamberFavoritesCarousel.h"

namespace {
const TQLCarouselRules kFavoritesRules = {
    kCarouselFavorites, TQLModuleResponseCarouselHandlerBase::scPath_toggleSelectorTiles, false, false, true};
}

TQLModuleResponseFavoritesCarouselHandler::TQLModuleResponseFavoritesCarouselHandler(TQLResponse* response)
    : TQLModuleResponseCarouselHandlerBase(response, kFavoritesRules, new TQLModuleResponseFavoritesCarousel())
{
}
