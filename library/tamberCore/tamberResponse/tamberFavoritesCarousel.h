#ifndef TAMBER_FAVORITES_CAROUSEL_H
#define TAMBER_FAVORITES_CAROUSEL_H

#include "tamberResponse/tamberContent.h"

class TQLModuleResponseFavoritesCarouselHandler : public TQLModuleHandlerBase {
public:
    TQLModuleResponseFavoritesCarouselHandler(TQLResponse* response);

private:
};

#endif
