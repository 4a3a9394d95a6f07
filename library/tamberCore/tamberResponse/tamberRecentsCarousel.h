#ifndef TAMBER_RECENTS_CAROUSEL_H
#define TAMBER_RECENTS_CAROUSEL_H

#include "tamberResponse/tamberContent.h"

class TQLModuleResponseRecentsCarouselHandler : public TQLModuleHandlerBase {
public:
    TQLModuleResponseRecentsCarouselHandler(TQLResponse* response);

private:
};

#endif
