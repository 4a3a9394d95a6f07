#ifndef TQLPLAY_ERRORS_H
#define TQLPLAY_ERRORS_H

// How tqlplay tells the library's errors: the library's text and code, and
// for a service that could not be reached or answered badly, which URL
// was asked, so that a wrong --service shows at once.
#include <string>

namespace tqlplay {

void setServiceUrl(const std::string& url);

// "tqlplay: TEXT (error CODE)" on stderr, and the service hint where it helps.
void reportError(int code);

} // namespace tqlplay

#endif
