// Arbitrary bytes, cut into pieces at arbitrary points, through the stream
// parser and the response router, the way a transfer delivers a reply.
#include <cstdint>
#include <cstring>
#include <vector>

#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberResponse.h"

namespace {

class SinkRecord : public TQLModuleResponseBase {
public:
    int events = 0;
};

// Stands in for the module handlers: counts what reaches it and stores a
// record at the end of each module, as every real handler does.
class SinkHandler : public TQLModuleHandlerBase {
public:
    explicit SinkHandler(TQLResponse* response) : TQLModuleHandlerBase(response)
    {
        m_moduleResponse = new SinkRecord();
    }
    int handleString(const char* path, const tql_string& value) override
    {
        takeEnvelopeString(path, value);
        return count();
    }
    int handleNumber(const char*, double) override { return count(); }
    int handleBoolean(const char*, int) override { return count(); }
    int handleEndArray(const char*) override { return count(); }
    int handleEndMap(const char* path) override
    {
        if (strcmp(path, "/moduleList/modules") == 0)
            storeModule();
        return count();
    }

private:
    int count()
    {
        ++static_cast<SinkRecord*>(m_moduleResponse)->events;
        return 1;
    }
};

class FuzzRouter : public TQLResponseHandler {
public:
    explicit FuzzRouter(TQLResponse* response) : TQLResponseHandler(response, nullptr) {}

protected:
    TQLModuleHandlerBase* createModuleHandler(const tql_string& value) override
    {
        static const char* const selecting[] = {"Routing", "UserFlow", "Configuration", "ChannelListing",
                                                "Episodes", "search", "recents"};
        for (const char* name : selecting)
            if (value == name)
                return new SinkHandler(m_response);
        return nullptr;
    }
    TQLModuleHandlerBase* createHandlerForKey(const char* shortPath) override
    {
        if (strcmp(shortPath, "/moduleList/modules/moduleResponse/favoritesList") == 0)
            return new SinkHandler(m_response);
        return nullptr;
    }
};

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
    FuzzRouter router(&response);
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
    return 0;
}
