#ifndef TAMBER_FORYOU_CAROUSEL_H
#define TAMBER_FORYOU_CAROUSEL_H

#include "tamberResponse/tamberCarousel.h"

// Recommendations in several carousels. Each tile carries the title of the
// carousel that holds it, so that the host can group them again.
class TQLModuleResponseForYouCarouselHandler : public TQLModuleResponseCarouselHandlerBase {
public:
    TQLModuleResponseForYouCarouselHandler(TQLResponse* response, tql_channelCallBackIf* callback);

protected:
    void beforeString() override;
    bool keepsTile() const override { return !m_dropTile; }

private:
    [[maybe_unused]] tql_channelCallBackIf* m_callback; // held, not used in parsing
};

#endif
