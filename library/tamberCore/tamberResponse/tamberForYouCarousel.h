#ifndef TAMBER_FORYOU_CAROUSEL_H
#define TAMBER_FORYOU_CAROUSEL_H

#include "tamberResponse/tamberContent.h"

class TQLModuleResponseForYouCarouselHandler : public TQLModuleHandlerBase {
public:
    TQLModuleResponseForYouCarouselHandler(TQLResponse* response, tql_channelCallBackIf* callback);

private:
    tql_channelCallBackIf* m_callback; // held, not used in parsing
};

#endif
