#include "tamberResponse/tamberRecentsCarousel.h"

namespace {
const TQLCarouselRules kRecentsRules = {kCarouselRecents, TQLModuleResponseCarouselHandlerBase::scPath_carouselTiles,
                                        false, false, true};
}

TQLModuleResponseRecentsCarouselHandler::TQLModuleResponseRecentsCarouselHandler(TQLResponse* response)
    : TQLModuleResponseCarouselHandlerBase(response, kRecentsRules, new TQLModuleResponseRecentsCarousel())
{
}
