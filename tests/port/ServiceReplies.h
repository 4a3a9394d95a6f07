#ifndef SERVICE_REPLIES_H
#define SERVICE_REPLIES_H

// Reply texts as the service sends them, for scripted routes.
#include <cstddef>
#include <string>

namespace testport {

// {"TamberQLMessage":{"status":..,"messages":..,"moduleList":{"modules":[modules]}}}
std::string serviceReply(const std::string& modules, int status = 1,
                         const std::string& messages = "[{\"code\":100,\"message\":\"Successful request\"}]");

// A channel line-up: two super categories with two categories each; channel
// i is listed by category i % 4, and every category carries an icon.
std::string lineupReply(int channels);
// The text the category tree of that line-up must keep: every listing's
// channel guid and name, in bytes.
size_t lineupListingTextBytes(int channels);

// A stored account and a service that a host can log in to: routing (to kServiceBase),
// configuration with the relative URLs "Art" and "Live" for the platform
// "homeDevice", login and resume all answer with success. Added as routes
// of the scripted port; tql_configure_tamber then reaches the logged-in state.
extern const char* const kServiceBase;
void scriptLogin();

} // namespace testport

#endif
