// tql_channel_list on a generated line-up delivered in network-sized pieces
// through the scripted transport: throughput, and allocations per channel
// through the port and on the heap, beside a bare yajl parse of the same
// bytes with empty callbacks (the ceiling).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

#include "BareYajl.h"

#include "HeapCounter.h"
#include "ScriptedPort.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tqllibInt.h"

namespace {

const size_t kPiece = 1460;
long g_channels = 0;

int onChannel(void*, tql_content*)
{
    ++g_channels;
    return 1;
}

const std::string& lineup(int channels)
{
    static std::string body;
    static int made = -1;
    if (made != channels) {
        body = testport::lineupReply(channels);
        made = channels;
    }
    return body;
}

void ChannelList(benchmark::State& state)
{
    int channels = static_cast<int>(state.range(0));
    testport::ScriptedPort& port = testport::ScriptedPort::get();
    port.reset();
    tql_init();
    static TQLModuleResponseRouting routing;
    routing.m_partnerDevice.routingUrl = "https://svc.test";
    tql_int_get_core()->setRouting(&routing);
    static int host;
    tql_CallbackStruct cb{};
    cb.hostContext = &host;
    cb.onChannel = onChannel;
    tql_registerCallbacks(cb);
    testport::Route route;
    route.url = "https://svc.test/rest/v4/experience/modules/get";
    route.body = lineup(channels);
    route.pieceSize = kPiece;
    port.addRoute(route);

    long portAllocs = 0;
    long heapAllocs = 0;
    long peakBytes = 0;
    g_channels = 0;
    tql_errorNotification error;
    for (auto _ : state) {
        tql_triggerChannelRefetch();
        port.logs.clear();
        long portBefore = port.mallocCalls + port.reallocCalls;
        long heapBefore = testport::heapAllocations();
        long liveBefore = testport::heapLiveBytes() + static_cast<long>(port.liveBytes());
        testport::resetHeapPeak();
        port.peakBytes = port.liveBytes();
        if (tql_channel_list(&error) != 1)
            state.SkipWithError("listing failed");
        portAllocs += port.mallocCalls + port.reallocCalls - portBefore;
        heapAllocs += testport::heapAllocations() - heapBefore;
        // Heap and port memory peak separately; their sum bounds the peak.
        peakBytes = std::max(peakBytes, testport::heapPeakBytes() + static_cast<long>(port.peakBytes) - liveBefore);
    }
    double listings = static_cast<double>(state.iterations());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(route.body.size()));
    state.counters["channels"] = static_cast<double>(g_channels) / listings;
    state.counters["port_allocs_per_channel"] = static_cast<double>(portAllocs) / listings / channels;
    state.counters["heap_allocs_per_channel"] = static_cast<double>(heapAllocs) / listings / channels;
    state.counters["peak_bytes"] = static_cast<double>(peakBytes);
    // The scripted port serves a copy of the reply, on the heap for the
    // length of the transfer: part of the peak, none of the library's.
    state.counters["reply_copy_bytes"] = static_cast<double>(route.body.size() + 1);
    // What the category tree must keep: each listing's channel guid and name.
    state.counters["tree_text_bytes"] = static_cast<double>(testport::lineupListingTextBytes(channels));
    tql_deinit();
}

void BareYajl(benchmark::State& state)
{
    const std::string& body = lineup(static_cast<int>(state.range(0)));
    for (auto _ : state)
        if (!bench::bareYajlParse(body, kPiece))
            state.SkipWithError("parse failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(body.size()));
}

BENCHMARK(BareYajl)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelList)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
