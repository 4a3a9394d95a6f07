// The log: line format, level filter, length limits, allocation-free
// formatting, and how tql_init depends on the logger and the crypto layer.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include "HeapCounter.h"
#include "PortTest.h"
#include "tamberTypes/tamberDebug.h"
#include "tamberTypes/tamberString.h"
#include "tqllib.h"

namespace {

class DebugLogTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1); // makes the log object, at the port's level 4
        port().logs.clear();
    }
    void TearDown() override
    {
        // Leave a working log object at the port's level for whatever runs next.
        tql_deinit();
        port().reset();
        tql_init();
        PortTest::TearDown();
    }
    static std::vector<std::string> texts()
    {
        std::vector<std::string> out;
        for (const auto& line : port().logs)
            out.push_back(std::to_string(line.severity) + " " + line.text);
        return out;
    }
};

TEST_F(DebugLogTest, LineIsFunctionLineNumberAndMessage)
{
    tql_int_debug_print(3, "someFunction", 42, "value %d of %s", 7, "x");
    tql_int_debug_print(2, "f", 0, "%s", "");
    tql_int_debug_print(1, "g", 1234567, "long"); // the number gets six bytes: five characters
    tql_int_debug_print(1, "h", -123456, "neg");
    EXPECT_EQ(texts(), (std::vector<std::string>{"3 someFunction:line:42: value 7 of x", "2 f:line:0: ",
                                                 "1 g:line:12345: long", "1 h:line:-1234: neg"}));
}

TEST_F(DebugLogTest, FilterBySeverityAndLevel)
{
    for (int level : {-100, -1, 0, 1, 2, 3, 4, 5, 6, 7, 100}) {
        tql_set_debug_level(level);
        for (int severity = -2; severity <= 8; ++severity) {
            port().logs.clear();
            tql_int_debug_print(severity, "filter", 1, "s%d", severity);
            bool shown = (severity >= 1 && severity <= 6 && level >= severity) || (severity == 0 && level >= 0);
            ASSERT_EQ(port().logs.size(), shown ? 1u : 0u) << "level " << level << " severity " << severity;
            if (shown) {
                EXPECT_EQ(port().logs[0].severity, severity);
            }
        }
    }
}

TEST_F(DebugLogTest, MessageIsCutAt998AndTheLineAt1023)
{
    for (size_t length : {997, 998, 999, 2000}) {
        port().logs.clear();
        tql_int_debug_print(1, "f", 9, "%s", std::string(length, 'a').c_str());
        EXPECT_EQ(texts(), std::vector<std::string>{"1 f:line:9: " + std::string(std::min<size_t>(length, 998), 'a')});
    }
    // A long function name pushes the line past its buffer: cut, never overrun.
    port().logs.clear();
    std::string function(100, 'F');
    tql_int_debug_print(1, function.c_str(), 9, "%s", std::string(2000, 'm').c_str());
    EXPECT_EQ(texts(), std::vector<std::string>{"1 " + function + ":line:9: " + std::string(1023 - 109, 'm')});
}

TEST_F(DebugLogTest, FormatFailureIsReportedWhateverTheLevel)
{
    const wchar_t bad[] = {static_cast<wchar_t>(0xD800), 0}; // a lone surrogate has no multibyte form
    char probe[16];
    if (snprintf(probe, sizeof probe, "%ls", bad) >= 0)
        GTEST_SKIP() << "this C library formats an invalid wide character without failing";
    tql_set_debug_level(-1);
    tql_int_debug_print(4, "fmt", 77, "%ls", bad);
    EXPECT_EQ(texts(), std::vector<std::string>{"1 fmt:line:77: log format error\n"});
}

// Stands for an argument that costs something to build, a hex key or a URL
// text: counts how often it is built.
static int g_built = 0;
static const char* builtArgument()
{
    ++g_built;
    return "built";
}

TEST_F(DebugLogTest, LinesBelowTheLevelBuildNeitherTheirArgumentsNorTheirText)
{
    tql_set_debug_level(3);
    g_built = 0;
    long heapBefore = testport::heapAllocations();
    long portBefore = port().mallocCalls;
    for (int i = 0; i < 100; ++i) {
        TQL_LOG(4, "debug %s %s", builtArgument(), tql_string("a long text that needs the heap").c_str());
        TQL_LOG(6, "trace %s", builtArgument());
    }
    EXPECT_EQ(g_built, 0);
    EXPECT_EQ(testport::heapAllocations(), heapBefore);
    EXPECT_EQ(port().mallocCalls, portBefore);
    EXPECT_TRUE(port().logs.empty());

    // At the level and above, the same lines print as they always did.
    TQL_LOG(3, "info %s", builtArgument());
    TQL_LOG(0, "always %s", builtArgument());
    EXPECT_EQ(g_built, 2);
    ASSERT_EQ(port().logs.size(), 2u);
    EXPECT_EQ(port().logs[0].severity, 3);
    EXPECT_NE(port().logs[0].text.find(":line:"), std::string::npos);
    EXPECT_NE(port().logs[0].text.find(": info built"), std::string::npos);
    EXPECT_EQ(port().logs[1].severity, 0);

    // A negative level drops everything, severity 0 included; a new level
    // takes effect at once.
    tql_set_debug_level(-1);
    TQL_LOG(0, "never %s", builtArgument());
    tql_set_debug_level(6);
    TQL_LOG(6, "trace %s", builtArgument());
    EXPECT_EQ(g_built, 3);
    EXPECT_EQ(port().logs.size(), 3u);
}

TEST_F(DebugLogTest, AnIdleTickFormatsNothingBelowTheLevel)
{
    // Logged out, no playback: the timers that do not run each have a trace
    // line, which a device at level 3 never sees and never pays for.
    tql_set_debug_level(3);
    long heapBefore = testport::heapAllocations();
    for (int i = 0; i < 50; ++i)
        tql_externalTimerTick(100);
    EXPECT_EQ(testport::heapAllocations(), heapBefore);
    EXPECT_TRUE(port().logs.empty());
    tql_set_debug_level(6);
    tql_externalTimerTick(100);
    EXPECT_TRUE(port().logged("Timer not running", 6));
}

TEST_F(DebugLogTest, LevelAndLogObjectOutliveDeinitUntilInitFailsOrRenews)
{
    tql_set_debug_level(1);
    ASSERT_EQ(tql_deinit(), 1);
    EXPECT_TRUE(port().logged("Timer 6 removed", 1)); // the core's timers leave the tick
    port().logs.clear();
    tql_int_debug_print(2, "f", 1, "warning after deinit");
    tql_int_debug_print(1, "f", 2, "error after deinit");
    EXPECT_EQ(texts(), std::vector<std::string>{"1 f:line:2: error after deinit"});

    size_t bytesBefore = port().liveBytes();
    port().loggerHandle = 0;
    EXPECT_EQ(tql_init(), -2);
    EXPECT_EQ(tql_deinit(), -1); // the half-built core is gone
    EXPECT_EQ(port().liveBytes(), bytesBefore - 2 * 1024); // and the log object with both buffers
    port().logs.clear();
    tql_set_debug_level(6); // no log object: ignored, and nothing prints
    tql_int_debug_print(0, "f", 3, "nothing");
    tql_int_debug_print(1, "f", 4, "nothing");
    EXPECT_TRUE(port().logs.empty());

    port().loggerHandle = 1;
    port().initialLogLevel = 2; // a new log object takes the port's level
    ASSERT_EQ(tql_init(), 1);
    port().logs.clear();
    tql_int_debug_print(3, "f", 5, "info");
    tql_int_debug_print(2, "f", 6, "warning");
    EXPECT_EQ(texts(), std::vector<std::string>{"2 f:line:6: warning"});
}

TEST_F(DebugLogTest, InitNeedsANonZeroLoggerHandleAndCryptoResultOne)
{
    const struct { int loggerHandle, crInitResult, expected; } cases[] = {
        {1, 1, 1}, {-1, 1, 1}, {77, 1, 1}, {1, 0, -2}, {1, 2, -2}, {1, -1, -2}};
    for (const auto& c : cases) {
        tql_deinit();
        port().reset();
        port().loggerHandle = c.loggerHandle;
        port().crInitResult = c.crInitResult;
        EXPECT_EQ(tql_init(), c.expected) << "handle " << c.loggerHandle << " crypto " << c.crInitResult;
        bool cryptoFailed = c.crInitResult != 1;
        EXPECT_EQ(port().logged("Unable to initialize crypto library"), cryptoFailed);
        EXPECT_EQ(port().logged("TQL Norvale library version"), !cryptoFailed);
        EXPECT_EQ(tql_deinit(), cryptoFailed ? -1 : 1);
    }
}

TEST_F(DebugLogTest, FormattingALineAllocatesNothing)
{
    port().logs.reserve(64); // the port's own list must not grow during the measurement
    const std::string sample(40, 's');
    long heap0 = testport::heapAllocations();
    tql_platform_print(3, sample.c_str());
    const long portCostPerLine = testport::heapAllocations() - heap0; // what the test port spends per line
    port().logs.clear();

    std::string big(2000, 'b');
    long mallocsBefore = port().mallocCalls;
    long heapBefore = testport::heapAllocations();
    tql_int_debug_print(3, "allocFree", 10, "number %d text %s", 12345, "abcdefghijklmnopqrstuvwxyz");
    tql_int_debug_print(4, "allocFree", 11, "%s", big.c_str());
    tql_int_debug_print(5, "allocFree", 12, "suppressed but formatted %s", big.c_str());
    tql_int_debug_print(7, "allocFree", 13, "never printed");
    long heapAfter = testport::heapAllocations();
    ASSERT_EQ(port().logs.size(), 2u);
    EXPECT_EQ(port().mallocCalls, mallocsBefore);
    EXPECT_EQ(heapAfter - heapBefore, 2 * portCostPerLine);
}

TEST_F(DebugLogTest, LinesFromTwoThreadsStayWhole)
{
    const int perThread = 2000;
    port().logs.reserve(2 * perThread);
    std::atomic<int> ready{0};
    auto writer = [&ready](const char* function, char fill) {
        std::string text(900, fill);
        for (++ready; ready.load() < 2;) {
        }
        for (int i = 0; i < perThread; ++i)
            tql_int_debug_print(1, function, i, "%s", text.c_str());
    };
    std::thread a(writer, "threadA", 'a'), b(writer, "threadB", 'b');
    a.join();
    b.join();
    ASSERT_EQ(port().logs.size(), static_cast<size_t>(2 * perThread));
    int seen[2] = {0, 0};
    for (const auto& line : port().logs) {
        bool isA = line.text.rfind("threadA:", 0) == 0;
        ASSERT_EQ(line.text, std::string(isA ? "threadA" : "threadB") + ":line:" + std::to_string(seen[isA ? 0 : 1]++) +
                                 ": " + std::string(900, isA ? 'a' : 'b'));
    }
}

} // namespace
