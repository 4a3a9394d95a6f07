#include "tamberResponse/tamberSearch.h"

TQLModuleResponseSearchHandler::TQLModuleResponseSearchHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseSearch();
}
