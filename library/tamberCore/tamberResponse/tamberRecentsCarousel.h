#ifndef TAMBER_RECENTS_CAROUSEL_H
#define TAMBER_RECENTS_CAROUSEL_H

#include "tamberResponse/tamberCarousel.h"

// The recently played carousel. Its tiles name no show id, so only channels
// and episodes are kept.
class TQLModuleResponseRecentsCarouselHandler : public TQLModuleResponseCarouselHandlerBase {
public:
    TQLModuleResponseRecentsCarouselHandler(TQLResponse* response);
};

#endif
