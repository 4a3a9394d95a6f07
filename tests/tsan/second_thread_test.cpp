// The calls a host may make from a thread of its own (the state, the stream
// index and the log level) while its main thread plays, re-tunes and feeds
// the sink. Built with ThreadSanitizer: any unguarded access of the state
// these calls share with the playback fails the run.
#include <atomic>
#include <string>
#include <thread>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ScriptedStream.h"
#include "ServiceReplies.h"

namespace {

std::atomic<size_t> g_audioBytes{0};

int audioWrite(void*, const unsigned char* data, int length, int, unsigned int*)
{
    if (data)
        g_audioBytes += static_cast<size_t>(length);
    return data ? length : 0;
}

class SecondThread : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_audioBytes = 0;
        ASSERT_EQ(1, tql_init());
        ASSERT_EQ(1, tql_registerCallbacks(testport::quietCallbacks(&ctx)));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        stream.chunks = 40;
        stream.install();
        ctx.contentId = "ch-1";
        ctx.audioWrite = audioWrite;
    }
    static void tick(unsigned ms)
    {
        port().advance(ms);
        tql_externalTimerTick(ms);
    }
    testport::ScriptedStream stream;
    tql_channel_ctx ctx{};
};

TEST_F(SecondThread, StatusStreamIndexAndLogLevelDuringAPlayback)
{
    ASSERT_EQ(1, tql_playChannel(&ctx));
    std::atomic<bool> done{false};
    std::atomic<long> calls{0};
    std::atomic<int> badStatus{0};
    std::thread other([&] {
        for (int i = 0; !done; ++i) {
            int status = tql_get_status();
            badStatus += status < 0;
            tql_selectStreamIndex(1 + i % 2); // the two upper rates of the variant file
            tql_set_debug_level(3 + i % 2);
            ++calls;
        }
    });
    while (calls == 0)
        std::this_thread::yield();

    // Every few turns a new tune: the engine resets its stream index, which
    // the other thread writes at the same time.
    for (int tune = 0; tune < 6; ++tune) {
        if (tune > 0) {
            ASSERT_EQ(1, tql_playChannel(&ctx));
        }
        for (int turn = 0; turn < 4; ++turn) {
            tick(3000);
            tql_sendAudioData();
            tql_on_playTimeChanged(static_cast<unsigned>(turn) * 3000u);
        }
    }
    done = true;
    other.join();
    tql_stopChannel();

    EXPECT_GT(calls.load(), 0);
    EXPECT_EQ(0, badStatus.load()) << "the state is read whole";
    EXPECT_GT(g_audioBytes.load(), 0u) << "the playback ran while the other thread called";
}

} // namespace
