#ifndef SERVICE_REPLIES_H
#define SERVICE_REPLIES_H

// Reply texts as the service sends them, for scripted routes.
#include <string>

namespace testport {

// {"TamberQLMessage":{"status":..,"messages":..,"moduleList":{"modules":[modules]}}}
std::string serviceReply(const std::string& modules, int status = 1,
                         const std::string& messages = "[{\"code\":100,\"message\":\"Successful request\"}]");

// A channel line-up: two super categories with two categories each; channel
// i is listed by category i % 4, and every category carries an icon.
std::string lineupReply(int channels);

} // namespace testport

#endif
