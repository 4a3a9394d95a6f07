// Throughput of the reply frame (stream parser, router and a module handler)
// against a bare yajl parse of the same bytes with empty callbacks, which is
// the ceiling. The reply is a line-up sized document delivered in
// network-sized pieces.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "BareYajl.h"

#include "ScriptedPort.h"
#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberResponse.h"

namespace {

const size_t kPiece = 16 * 1024;

std::string makeReply(int channels)
{
    std::string body = "{\"TamberQLMessage\":{\"status\":1,\"messages\":[{\"code\":100,\"message\":\"Successful "
                       "request\"}],\"moduleList\":{\"modules\":[{\"moduleArea\":\"Discovery\",\"moduleType\":"
                       "\"ChannelListing\",\"updateFrequency\":60,\"moduleResponse\":{\"contentData\":{"
                       "\"channelListing\":{\"channels\":[";
    for (int i = 0; i < channels; ++i) {
        if (i)
            body += ',';
        std::string n = std::to_string(i);
        body += "{\"channelGuid\":\"c0ffee00-0000-4000-8000-" + std::string(12 - n.size(), '0') + n +
                "\",\"channelId\":\"ch" + n + "\",\"name\":\"Channel " + n +
                "\",\"shortDescription\":\"Music and talk around the clock\",\"channelNumber\":" + n +
                ",\"isAvailable\":true,\"isMature\":false,\"sortOrder\":" + n +
                ",\"images\":{\"images\":[{\"name\":\"logo\",\"url\":\"%Root%/images/ch" + n +
                ".png\",\"width\":300,\"height\":300},{\"name\":\"bg\",\"url\":\"%Root%/images/bg" + n +
                ".jpg\",\"width\":1280,\"height\":720}]},\"categories\":{\"categories\":[{\"key\":\"pop\","
                "\"name\":\"Pop\",\"isPrimary\":true}]}}";
    }
    body += "]}}}}]}}}";
    return body;
}

const std::string& reply()
{
    static const std::string body = makeReply(20000); // about 9 MB
    return body;
}

// A handler that takes every event the way the line-up handler does and
// keeps nothing.
class SinkHandler : public TQLModuleHandlerBase {
public:
    explicit SinkHandler(TQLResponse* response) : TQLModuleHandlerBase(response) {}
    int handleString(const char* path, const tql_string& value) override
    {
        takeEnvelopeString(path, value);
        return 1;
    }
    int handleNumber(const char*, double) override { return 1; }
    int handleBoolean(const char*, int) override { return 1; }
    int handleEndMap(const char*) override { return 1; }
};

class BenchRouter : public TQLResponseHandler {
public:
    explicit BenchRouter(TQLResponse* response) : TQLResponseHandler(response, nullptr) {}

protected:
    TQLModuleHandlerBase* createModuleHandler(const tql_string& value) override
    {
        return value == "ChannelListing" ? new SinkHandler(m_response) : nullptr;
    }
};

void Frame(benchmark::State& state)
{
    const std::string& body = reply();
    const unsigned char* data = reinterpret_cast<const unsigned char*>(body.data());
    for (auto _ : state) {
        TQLResponse response;
        BenchRouter router(&response);
        tql_json parser(&router);
        tql_Error error;
        for (size_t at = 0; at < body.size(); at += kPiece) {
            unsigned int n = static_cast<unsigned int>(std::min(kPiece, body.size() - at));
            if (parser.parseSax(data + at, n, error) != n)
                state.SkipWithError("parse failed");
        }
        benchmark::DoNotOptimize(response.m_status);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(body.size()));
}

void BareYajl(benchmark::State& state)
{
    const std::string& body = reply();
    for (auto _ : state)
        if (!bench::bareYajlParse(body, kPiece))
            state.SkipWithError("parse failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(body.size()));
}

BENCHMARK(BareYajl)->Unit(benchmark::kMillisecond);
BENCHMARK(Frame)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
