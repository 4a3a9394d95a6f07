#include "HostCallbacks.h"

namespace testport {

namespace {
int acceptError(void*, tql_errorNotification*) { return 1; }
void ignoreMetadata(void*, tql_metadata*) {}
int acceptInt(void*, int) { return 1; }
void ignorePdt(void*, tql_pdtChannel*, int) {}
int acceptChannel(void*, tql_content*) { return 1; }
int acceptRefresh(void*, tql_moduleType) { return 1; }
} // namespace

tql_CallbackStruct quietCallbacks(void* hostContext)
{
    tql_CallbackStruct cb{};
    cb.hostContext = hostContext;
    cb.onError = acceptError;
    cb.onMetadata = ignoreMetadata;
    cb.onBitrate = acceptInt;
    cb.onBusy = acceptInt;
    cb.onPdtUpdate = ignorePdt;
    cb.onChannel = acceptChannel;
    cb.onRefresh = acceptRefresh;
    return cb;
}

} // namespace testport
