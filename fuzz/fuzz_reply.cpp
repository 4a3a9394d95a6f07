// Arbitrary bytes, cut into pieces at arbitrary points, through the stream
// parser, the response router and the module handlers it makes, the way a
// transfer delivers a reply.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberResponse.h"

namespace {
int onChannel(void* context, tql_content* content)
{
    // Touch every text the host would read.
    size_t n = 0;
    for (const char* text : {content->id, content->name, content->secondaryId, content->categoryName,
                             content->extraText, content->images[0].url})
        n += text ? strlen(text) : 0;
    *static_cast<size_t*>(context) += n;
    return 1;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    // The first two bytes choose the piece sizes.
    uint32_t state = static_cast<uint32_t>(data[0]) << 8 | data[1];
    data += 2;
    size -= 2;

    TQLResponse response;
    size_t seen = 0;
    tql_channelCallBackIf callback = {onChannel, &seen};
    TQLResponseHandler router(&response, &callback);
    tql_json parser(&router);
    tql_Error error;
    size_t at = 0;
    while (at < size) {
        state = state * 1103515245u + 12345u;
        size_t piece = 1 + (state >> 16) % 97;
        if (piece > size - at)
            piece = size - at;
        // Each piece in a block of its own, so that reading past a piece is caught.
        std::vector<unsigned char> copy(data + at, data + at + piece);
        unsigned int taken = parser.parseSax(copy.data(), static_cast<unsigned int>(piece), error);
        if (taken != piece)
            break; // the transfer would stop here
        at += piece;
    }
    parser.parseSaxDone();
    // Whatever the input, the envelope keeps no more messages than its limit.
    if (response.m_messages.size() > TQLResponseHandler::kMessageLimit)
        abort();
    return 0;
}
