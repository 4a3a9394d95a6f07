// One answer of the simulator, before the fault plan has its say.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tqlsim {

struct Reply {
    int http = 200;
    std::string body;
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers;
};

// HTTP 500 with an envelope of status 0, for the http500 fault.
Reply serverErrorReply();
// {"error": text} with the given HTTP status.
Reply plainError(int http, const std::string& text);

}  // namespace tqlsim
