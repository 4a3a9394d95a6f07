// What the response router may hold while it waits for a module type: a
// reply whose data comes first is replayed up to a fixed budget, and a reply
// past it is refused instead of growing memory with its size; so is a reply
// with more envelope messages than a service sends.
#include <string>

#include "HeapCounter.h"
#include "PortTest.h"
#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberResponse.h"
#include "tamberResponse/tamberSessionHandlers.h"

namespace {

using testport::heapPeakBytes;
using testport::resetHeapPeak;

struct Outcome {
    bool refused = false; // a piece was not taken whole: the transfer stops there
    long peakBytes = 0;   // heap at its highest while the reply was read, over the start
};

// Feeds the text in pieces of 4 KiB, as a transport would, into the real
// router; the reply object outlives the router, as in a service call.
Outcome feed(TQLResponse& response, const std::string& text)
{
    Outcome out;
    long before = testport::heapLiveBytes();
    resetHeapPeak();
    {
        TQLResponseHandler router(&response, nullptr);
        tql_json json(&router);
        tql_Error error;
        for (size_t at = 0; at < text.size() && !out.refused; at += 4096) {
            unsigned int n = static_cast<unsigned int>(std::min<size_t>(4096, text.size() - at));
            out.refused = json.parseSax(reinterpret_cast<const unsigned char*>(text.data()) + at, n, error) != n;
        }
    }
    out.peakBytes = heapPeakBytes() - before;
    return out;
}

std::string repeat(const std::string& item, size_t count)
{
    std::string out;
    out.reserve(item.size() * count);
    for (size_t i = 0; i < count; ++i)
        out += item;
    return out;
}

// The line-up reply of the report: a status, then padding, and no module
// type ever.
std::string paddedEnvelope(size_t zeros)
{
    return "{\"TamberQLMessage\":{\"status\":1,\"pad\":[" + repeat("0,", zeros) + "0]}}";
}

class RouterHeldEvents : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
        port().logs.clear();
    }
    static const size_t kEvents = TQLResponseHandler::kHeldEventLimit;
};

TEST_F(RouterHeldEvents, HostilePaddingCostsTheSameAtAnySize)
{
    // The text and its copies are made before the measured span.
    const std::string small = paddedEnvelope(kEvents * 4);
    const std::string large = paddedEnvelope(kEvents * 64);
    TQLResponse first, second;
    Outcome a = feed(first, small);
    Outcome b = feed(second, large);

    EXPECT_TRUE(a.refused);
    EXPECT_TRUE(b.refused);
    EXPECT_EQ(1, first.m_status) << "the envelope read before the refusal stays";
    EXPECT_TRUE(port().logged("Reply holds too much before its module type", 1));
    // Sixteen times the input may not cost more than the smaller one, give
    // or take the vectors' growth steps.
    EXPECT_LT(b.peakBytes, a.peakBytes + a.peakBytes / 4) << a.peakBytes << " then " << b.peakBytes;
    EXPECT_LT(b.peakBytes, 4L << 20) << "held events at the limit stay within a few MiB";
}

TEST_F(RouterHeldEvents, ManyLongStringsBeforeTheTypeAreRefusedByTheirBytes)
{
    const std::string value(64 * 1024, 'x');
    std::string text = "{\"R\":{\"status\":1";
    for (int i = 0; i < 64; ++i)
        text += ",\"k" + std::to_string(i) + "\":\"" + value + "\"";
    text += "}}";
    TQLResponse response;
    Outcome out = feed(response, text);
    EXPECT_TRUE(out.refused) << "4 MiB of held text is eight times the budget";
    EXPECT_LT(out.peakBytes, 2L << 20);
}

TEST_F(RouterHeldEvents, DataBeforeTheTypeWithinTheBudgetIsStillReplayed)
{
    // A routing module whose fields and a long list of padding come before
    // its type: all of it reaches the handler, and the record is built.
    const size_t padding = kEvents - 16;
    std::string text = "{\"R\":{\"status\":100,\"moduleList\":{\"modules\":[{\"pad\":[" + repeat("1,", padding) +
                       "1],\"moduleResponse\":{\"routing\":{\"resultTemplate\":\"web\"}},"
                       "\"moduleType\":\"Routing\"}]}}}";
    TQLResponse response;
    Outcome out = feed(response, text);
    EXPECT_FALSE(out.refused);
    EXPECT_EQ(100, response.m_status);
    ASSERT_EQ(1u, response.m_modules.size());
    EXPECT_EQ("Routing", response.m_modules.front().moduleType.toStdString());
    EXPECT_TRUE(port().logged("Posteriorly process response body after the module handler was created. Lines: " +
                              std::to_string(padding + 11)));
}

TEST_F(RouterHeldEvents, EnvelopeMessagesAreBoundedAlsoAfterTheSelection)
{
    const size_t limit = TQLResponseHandler::kMessageLimit;
    std::string within = "{\"R\":{\"moduleList\":{\"modules\":[{\"moduleType\":\"Routing\"}]},\"messages\":[" +
                         repeat("{\"code\":1},", limit - 1) + "{\"code\":2}]}}";
    TQLResponse ok;
    EXPECT_FALSE(feed(ok, within).refused);
    EXPECT_EQ(limit, ok.m_messages.size());

    std::string flood = "{\"R\":{\"moduleList\":{\"modules\":[{\"moduleType\":\"Routing\"}]},\"messages\":[" +
                        repeat("{},", 200000) + "{}]}}";
    TQLResponse refused;
    Outcome out = feed(refused, flood);
    EXPECT_TRUE(out.refused);
    EXPECT_EQ(limit, refused.m_messages.size());
    EXPECT_TRUE(port().logged("Reply carries more than 64 messages, dropped", 1));
    EXPECT_LT(out.peakBytes, 1L << 20);
}

} // namespace
