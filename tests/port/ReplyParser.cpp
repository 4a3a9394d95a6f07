#include "ReplyParser.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace testport {

std::unique_ptr<TQLResponse> parseReply(const std::string& text, size_t piece)
{
    auto response = std::make_unique<TQLResponse>();
    TQLResponseHandler router(response.get(), nullptr);
    tql_json json(&router);
    tql_Error error;
    for (size_t at = 0; at < text.size(); at += piece) {
        unsigned int n = static_cast<unsigned int>(std::min(piece, text.size() - at));
        EXPECT_EQ(json.parseSax(reinterpret_cast<const unsigned char*>(text.data()) + at, n, error), n)
            << "piece at " << at << " of " << text;
    }
    return response;
}

} // namespace testport
