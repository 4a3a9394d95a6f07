#include "tamberResponse/tamberForYouCarousel.h"

TQLModuleResponseForYouCarouselHandler::TQLModuleResponseForYouCarouselHandler(TQLResponse* response, tql_channelCallBackIf* callback)
    : TQLModuleHandlerBase(response), m_callback(callback)
{
    m_moduleResponse = new TQLModuleResponseForYouCarousel();
}
