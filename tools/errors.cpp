#include "errors.h"

#include <cstdio>

#include "tqllib.h"

namespace tqlplay {

namespace {

std::string g_serviceUrl;

// Codes that mean the service was not reached or its answers were unusable.
bool aboutTheService(int code)
{
    return code == 32 || code == 45 || code == 55 || code == 500;
}

} // namespace

void setServiceUrl(const std::string& url)
{
    g_serviceUrl = url;
}

void reportError(int code)
{
    fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(code), code);
    if (aboutTheService(code))
        fprintf(stderr, "tqlplay: the service asked was %s (set it with --service or TQLPLAY_SERVICE)\n",
                g_serviceUrl.c_str());
}

} // namespace tqlplay
