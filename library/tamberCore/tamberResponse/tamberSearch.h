#ifndef TAMBER_SEARCH_H
#define TAMBER_SEARCH_H

#include "tamberResponse/tamberCarousel.h"

// Search results. The reply holds several carousels, of which only two list
// what the device can play; the others are skipped whole.
class TQLModuleResponseSearchHandler : public TQLModuleResponseCarouselHandlerBase {
public:
    static const char* const scCarousel_channelsAndShows;
    static const char* const scCarousel_audioOnDemand;

    explicit TQLModuleResponseSearchHandler(TQLResponse* response);

protected:
    bool tileEventsOpen() const override;
    bool keepsTile() const override;
    void moduleEnded() override;
};

#endif
