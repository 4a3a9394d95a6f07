#ifndef TAMBER_FORYOU_H
#define TAMBER_FORYOU_H

#include "tamberResponse/tamberContent.h"

// The recommender's tiles. They reach the host as the for-you carousel's
// do, so the record is a carousel, one that never names an expiry.
class TQLModuleResponseForYou : public TQLModuleResponseCarousel {};

// Personal recommendations: each channel and each episode of the reply is a
// tile, with the best logo of its channel or show in four sizes.
class TQLModuleResponseForYouHandler : public TQLModuleHandlerBase {
public:
    TQLModuleResponseForYouHandler(TQLResponse* response, tql_channelCallBackIf* callback);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    // Channel logos for dark backgrounds and show logos for dark
    // backgrounds are the only ones a tile shows.
    static void findBestLogo(tql_list<TQLImage>& images);

private:
    TQLModuleResponseForYou* record() const { return static_cast<TQLModuleResponseForYou*>(m_moduleResponse); }

    TQLContent m_tile;
    TQLImage m_image;
    [[maybe_unused]] tql_channelCallBackIf* m_callback; // held, not used in parsing
};

#endif
