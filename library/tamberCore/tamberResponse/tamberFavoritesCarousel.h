#ifndef TAMBER_FAVORITES_CAROUSEL_H
#define TAMBER_FAVORITES_CAROUSEL_H

#include "tamberResponse/tamberCarousel.h"

// The favorites carousel: tiles under the content toggle selector, each
// kept by its favorite id.
class TQLModuleResponseFavoritesCarouselHandler : public TQLModuleResponseCarouselHandlerBase {
public:
    TQLModuleResponseFavoritesCarouselHandler(TQLResponse* response);
};

#endif
