// The cost of one tql_externalTimerTick on the scripted port, for counting
// instructions under callgrind (bench/compare.sh runs it with
// --toggle-collect=measuredTicks and divides by the count):
//
//   bench_tick idle N      logged in, nothing playing
//   bench_tick playing N   a live channel playing, ticks between worker turns
//   bench_tick walk N      the ceiling: a bare walk over as many timers
//
// Without callgrind it prints the wall time per tick, for a rough look.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "HostCallbacks.h"
#include "ScriptedPort.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"
#include "tqllib.h"

namespace {

// What any tick scheduler must do at the least: add the time to each
// running timer and test whether it is due.
struct BareTimer {
    int running = 0;
    unsigned long long elapsed = 0, start = 0;
    long long interval = -1;
};
std::vector<BareTimer> g_bare;
volatile int g_fired = 0;

int audioWrite(void*, const unsigned char* data, int length, int, unsigned int*)
{
    return data ? length : 0;
}

extern "C" __attribute__((noinline)) int measuredTicks(int n, unsigned ms, bool bare)
{
    int result = 0;
    for (int i = 0; i < n; ++i) {
        if (!bare) {
            result += tql_externalTimerTick(ms);
            continue;
        }
        for (BareTimer& t : g_bare) {
            if (!t.running)
                continue;
            t.elapsed += ms;
            if (t.interval > 0 && t.elapsed - t.start >= static_cast<unsigned long long>(t.interval))
                ++g_fired;
        }
    }
    return result;
}

bool logIn()
{
    testport::ScriptedPort& port = testport::ScriptedPort::get();
    port.reset();
    port.initialLogLevel = 3; // a device that logs information, not debug lines
    static int host;
    if (tql_init() != 1 || tql_registerCallbacks(testport::quietCallbacks(&host)) != 1)
        return false;
    testport::scriptLogin();
    tql_errorNotification error{};
    return tql_configure_tamber(&error) == 1;
}

} // namespace

int main(int argc, char** argv)
{
    const char* mode = argc > 1 ? argv[1] : "idle";
    int n = argc > 2 ? atoi(argv[2]) : 100000;
    bool bare = strcmp(mode, "walk") == 0;
    unsigned ms = 100;
    static testport::ScriptedStream stream;
    static tql_channel_ctx ctx{};
    if (!logIn()) {
        fprintf(stderr, "bench_tick: login on the scripted port failed\n");
        return 1;
    }
    if (strcmp(mode, "playing") == 0) {
        stream.chunks = 60;
        stream.install();
        ctx.contentId = "ch-1";
        ctx.audioWrite = audioWrite;
        if (tql_playChannel(&ctx) != 1) {
            fprintf(stderr, "bench_tick: the channel would not play\n");
            return 1;
        }
        for (int turn = 0; turn < 3; ++turn) {
            testport::ScriptedPort::get().advance(3000);
            tql_externalTimerTick(3000);
        }
        ms = 1; // a worker turn is 3000 ms away: none of the measured ticks runs one
        n = n < 2900 ? n : 2900;
    } else if (bare) {
        g_bare.resize(6); // as many as the core registers
        for (size_t i = 0; i < g_bare.size(); ++i) {
            g_bare[i].running = i % 2;
            g_bare[i].interval = 60000;
        }
    } else if (strcmp(mode, "idle") != 0) {
        fprintf(stderr, "usage: bench_tick idle|playing|walk [N]\n");
        return 2;
    }
    auto t0 = std::chrono::steady_clock::now();
    measuredTicks(n, ms, bare);
    auto t1 = std::chrono::steady_clock::now();
    printf("%s: %d ticks, %.1f ns per tick\n", mode, n,
           std::chrono::duration<double, std::nano>(t1 - t0).count() / n);
    tql_stopChannel();
    tql_deinit();
    return 0;
}
