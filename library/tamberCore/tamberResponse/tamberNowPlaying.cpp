#include "tamberResponse/tamberNowPlaying.h"

TQLModuleResponseNowPlayingHandler::TQLModuleResponseNowPlayingHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseNowPlaying();
}
