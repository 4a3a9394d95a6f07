// Arbitrary bytes in two halves: the first line is the path of an audio chunk
// whose name is picked apart, the rest an index file that the scripted port
// serves in pieces and the playlist parser reads.
#include <cstdint>
#include <string>

#include "ScriptedPort.h"
#include "tamberPlaylistParser.h"
#include "tamberRequest.h"

namespace {
const char* const kIndexUrl = "https://live.test/hls/ch1/index.m3u8";

void chunkName(TamberRequest& request, const std::string& path)
{
    tql_url url;
    url.setScheme("https");
    url.setHost("live.test");
    url.setPath(tql_string(path.data(), static_cast<int>(path.size())));
    tamberChunkName name = request.parseChunkName(url);
    // Unsigned: the parsed numbers may be anything an int holds.
    volatile unsigned int sink = static_cast<unsigned int>(name.bitRate) + static_cast<unsigned int>(name.seqNum) +
                                 name.keyIndex + static_cast<unsigned int>(name.name.length() + name.seqText.length());
    (void)sink;
}

void indexFile(TamberRequest& request, const std::string& body, size_t pieceSize)
{
    testport::Route route;
    route.url = kIndexUrl;
    route.body = body;
    route.pieceSize = pieceSize;
    testport::ScriptedPort::get().addRoute(route);

    tql_url url{tql_string(kIndexUrl)};
    tql_list<tql_roles> out;
    TamberPlaylistParser(request).doParse(url, out);
    // Touch what the engine reads: every entry and the key of the last element.
    size_t n = 0;
    for (const tql_roles& entry : out)
        n += static_cast<size_t>(entry.uri.length() + entry.programDateTime.length()) +
             static_cast<unsigned int>(entry.bitRate) + static_cast<unsigned int>(entry.duration);
    if (!out.empty())
        n += out.back().hlsInfo.keyUriCopy.length() + static_cast<size_t>(out.back().hlsInfo.keyData.size()) +
             out.back().hlsInfo.streamTail.length();
    volatile size_t sink = n;
    (void)sink;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static TamberRequest* request = new TamberRequest(nullptr);
    testport::ScriptedPort::get().reset(); // no routes, logs or sleeps piling up between runs

    std::string input(reinterpret_cast<const char*>(data), size);
    size_t newline = input.find('\n');
    chunkName(*request, input.substr(0, newline));
    std::string body = newline == std::string::npos ? std::string() : input.substr(newline + 1);
    indexFile(*request, body, 1 + size % 61); // the size picks the piece length
    return 0;
}
