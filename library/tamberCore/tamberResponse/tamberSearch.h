#ifndef TAMBER_SEARCH_H
#define TAMBER_SEARCH_H

#include "tamberResponse/tamberContent.h"

class TQLModuleResponseSearchHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseSearchHandler(TQLResponse* response);
};

#endif
