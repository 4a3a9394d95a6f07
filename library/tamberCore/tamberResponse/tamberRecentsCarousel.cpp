#include "tamberResponse/tamberRecentsCarousel.h"

TQLModuleResponseRecentsCarouselHandler::TQLModuleResponseRecentsCarouselHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseRecentsCarousel();
}
