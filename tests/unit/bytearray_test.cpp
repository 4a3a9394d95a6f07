#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "PortTest.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberDebug.h"

namespace {
using Rows = std::vector<std::pair<std::string, std::string>>; // what was given, what must be
std::string B(const tql_bytearray& b) { return b.size() ? std::string(b.constData(), b.size()) : std::string(); }
tql_bytearray M(const std::string& s) { return tql_bytearray(s.data(), static_cast<int>(s.size())); }
void expectRows(const Rows& rows)
{
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
}
int zeros(const char* p, int from, int to) { return static_cast<int>(std::count(p + from, p + to, 0)); }
} // namespace

// Every test must give back all the port memory it took.
class TqlByteArrayTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        tql_int_init_debug(); // the logger's buffers are made once and kept
        port().mallocCalls = port().reallocCalls = port().freeCalls = 0;
        m_live = port().liveAllocations();
        m_liveBytes = port().liveBytes();
    }
    void TearDown() override
    {
        EXPECT_EQ(port().liveAllocations(), m_live) << "a byte array leaked its block";
        PortTest::TearDown();
    }
    long m_live = 0;
    size_t m_liveBytes = 0;
};

TEST_F(TqlByteArrayTest, GrowsToTheNextMultipleOf64AboveTheNeed)
{
    struct Step { int need; int capacity; long mallocs; long reallocs; };
    tql_bytearray b;
    for (const Step& s : {Step{0, 0, 0, 0}, Step{1, 64, 1, 0}, Step{64, 64, 1, 0}, Step{65, 128, 1, 1},
                          Step{128, 128, 1, 1}, Step{129, 192, 1, 2}, Step{193, 256, 1, 3}}) {
        b.reallocateTo(s.need);
        EXPECT_EQ(b.capacity(), s.capacity) << "need " << s.need;
        EXPECT_EQ(port().mallocCalls, s.mallocs) << "need " << s.need;
        EXPECT_EQ(port().reallocCalls, s.reallocs) << "need " << s.need;
        EXPECT_EQ(port().liveBytes() - m_liveBytes, static_cast<size_t>(s.capacity)) << "need " << s.need;
    }
    tql_bytearray first; // a need that is a multiple of 64 still gets 64 more
    first.reallocateTo(64);
    EXPECT_EQ(first.capacity(), 128);

    // Growing an existing block zeroes everything past the size; a fresh one is not cleared.
    tql_bytearray grown("abc", 3);
    ASSERT_EQ(grown.capacity(), 64);
    grown.reallocateTo(128);
    ASSERT_EQ(grown.capacity(), 192);
    EXPECT_EQ(B(grown), "abc");
    EXPECT_EQ(zeros(grown.constData(), 3, 192), 189);
}

TEST_F(TqlByteArrayTest, AppendGrowsInStepsAndIgnoresNothing)
{
    tql_bytearray b;
    for (int i = 0; i < 64; ++i)
        b.append(static_cast<char>('a' + i % 26));
    EXPECT_EQ(b.capacity(), 64);
    EXPECT_EQ(port().mallocCalls, 1);
    b.append('!');
    EXPECT_EQ(b.capacity(), 128);
    EXPECT_EQ(port().reallocCalls, 1);
    b.append(tql_string("xyz")).append(M(std::string("1\0" "2", 3)));
    EXPECT_EQ(B(b).substr(64), std::string("!xyz1\0" "2", 7));

    const long mallocs = port().mallocCalls;
    tql_bytearray none;
    none.append(nullptr, 3).append("abc", 0).append("abc", -1).append(tql_string("")).append(tql_bytearray());
    EXPECT_EQ(none.capacity(), 0);
    EXPECT_EQ(port().mallocCalls, mallocs);
}

TEST_F(TqlByteArrayTest, AssignmentKeepsTheBlockAndClearFreesIt)
{
    tql_bytearray b = M(std::string(70, 'x'));
    const char* block = b.constData();
    b = M("xyz");
    EXPECT_EQ(B(b), "xyz");
    EXPECT_EQ(b.constData(), block);
    b = tql_string(""); // size 0 with a block: no data is handed out
    EXPECT_EQ(b.capacity(), 128);
    EXPECT_EQ(b.constData(), nullptr);
    EXPECT_EQ(b.data(), nullptr);
    EXPECT_EQ(port().freeCalls, 1); // only the temporary

    b.clear();
    EXPECT_EQ(port().freeCalls, 2);
    EXPECT_EQ(port().liveAllocations(), m_live);
    EXPECT_EQ(b.capacity(), 0);

    b.setRawData("pq", 2);
    b.setRawData(nullptr, 2); // ignored, block kept
    EXPECT_EQ(B(b), "pq");
    EXPECT_EQ(port().freeCalls, 2);
    b.setRawData("uv", 2); // clears first
    EXPECT_EQ(B(b), "uv");
    EXPECT_EQ(port().freeCalls, 3);

    tql_bytearray copy(b);
    copy[0] = 'U';
    EXPECT_EQ(B(b) + B(copy), "uvUv");
}

// A stray write past the end must land on one static byte, not in a block.
TEST_F(TqlByteArrayTest, AccessPastTheEndIsHarmless)
{
    tql_bytearray b("abc", 3), other("q", 1);
    EXPECT_EQ(std::string({b.at(1), b.at(3), b.at(1000)}), std::string("b\0\0", 3));
    char& stray = b[3];
    EXPECT_NE(&stray, b.data() + 3);
    EXPECT_EQ(&stray, &b[1000]);
    EXPECT_EQ(&stray, &other[5]);
    stray = 'Z';
    b[1] = 'B';
    EXPECT_EQ(B(b) + B(other), "aBcq");
}

TEST_F(TqlByteArrayTest, EditsAndSlices)
{
    // Position 0 cannot be removed, n is clipped at the end; a byte array cannot be chopped empty.
    const tql_bytearray s("abcdef", 6);
    struct Cut { bool chop; int pos; int n; const char* want; };
    for (const Cut& c : {Cut{false, 0, 2, "abcdef"}, Cut{false, -1, 2, "abcdef"}, Cut{false, 1, 2, "adef"},
                         Cut{false, 4, 10, "abcd"}, Cut{false, 6, 1, "abcdef"}, Cut{false, 1, 0, "abcdef"},
                         Cut{true, 0, 2, "abcd"}, Cut{true, 0, 5, "a"}, Cut{true, 0, 0, "abcdef"},
                         Cut{true, 0, -1, "abcdef"}, Cut{true, 0, 6, "abcdef"}}) {
        tql_bytearray b(s);
        EXPECT_EQ(B(c.chop ? b.chop(c.n) : b.remove(c.pos, c.n)), c.want) << c.chop << " " << c.pos << "," << c.n;
    }
    expectRows({
        {B(s.mid(2, 2)), "cd"}, {B(s.mid(2, -1)), "cdef"}, {B(s.mid(2, 4)), "cdef"}, {B(s.mid(2, 10)), "cdef"},
        {B(s.left(2)), "ab"}, {B(s.right(2)), "ef"}, {B(s.right(10)), "abcdef"},
    });

    // indexOf counts from the start position, not from the block.
    const tql_bytearray t("abcabc", 6);
    struct Find { char c; int from; int want; };
    for (const Find& f : {Find{'b', 0, 1}, Find{'b', 2, 2}, Find{'a', 3, 0}, Find{'b', -5, 1}, Find{'b', 7, -1},
                          Find{'z', 0, -1}})
        EXPECT_EQ(t.indexOf(f.c, f.from), f.want) << f.c << " from " << f.from;
    EXPECT_TRUE(t.contains('c'));
    EXPECT_FALSE(tql_bytearray().contains('a'));
}

TEST_F(TqlByteArrayTest, ResizeClearsFromTheNewSizeAndInsertWritesAtTheOldEnd)
{
    tql_bytearray b("abcdef", 6);
    b.resize(2);
    EXPECT_EQ(B(b), "ab");
    EXPECT_EQ(zeros(b.constData(), 2, 64), 62);
    b.resize(0);
    EXPECT_EQ(b.constData(), nullptr);
    EXPECT_EQ(b.capacity(), 64);
    b.resize(100);
    EXPECT_EQ(b.size(), 100);
    EXPECT_EQ(b.capacity(), 128);
    EXPECT_EQ(zeros(b.constData(), 0, 128), 128);

    tql_bytearray inside("abc", 3);
    inside.insert(1, "XY", 2);
    EXPECT_EQ(B(inside), "abc"); // no growth for a position inside
    EXPECT_EQ(std::string(inside.constData() + 3, 2), "XY");
    tql_bytearray beyond("abc", 3);
    beyond.insert(5, "XY", 2);
    EXPECT_EQ(beyond.size(), 7);
    EXPECT_EQ(std::string(beyond.constData(), 5), "abcXY");
}

TEST_F(TqlByteArrayTest, ConversionsHexBase64AndDump)
{
    for (const auto& [text, value] : {std::pair<const char*, int>{"42", 42}, {"-7", -7}, {"12ab", 12}, {"x", 0}}) {
        int ok = 0;
        EXPECT_EQ(M(text).toInt(&ok), value) << text;
        EXPECT_EQ(ok, 1) << text; // whatever the text held
    }
    EXPECT_EQ(M("-1").toULong(), ULONG_MAX);

    const tql_bytearray raw = M(std::string("\x00\xab\x7f\x10", 4));
    auto hex = [](const char* text) { return B(tql_bytearray::fromHex(text, static_cast<int>(strlen(text)))); };
    expectRows({
        {B(raw.toHex()), "00ab7f10"}, {raw.dump().toStdString(), "00 AB 7F 10 "},
        // Filled from the end, high nibble last; a skipped character leaves the head zero.
        {hex("00AB7f10"), B(raw)}, {hex("abc"), std::string("\x0a\xbc", 2)}, {hex("a-b"), std::string("\x00\xab", 2)},
        {hex("f"), "\x0f"},
        {B(M("aGVsbG8=").decode64Based()), "hello"}, {B(M("aGk=").decode64Based()), "hi"},
        {B(M("aA==").decode64Based()), "h"}, {B(M("YWJj").decode64Based()), "abc"},
        {B(M("AAEC/w==").decode64Based()), std::string("\x00\x01\x02\xff", 4)},
        {B(M("+/+/").decode64Based()), "\xfb\xff\xbf"},
    });
}

TEST_F(TqlByteArrayTest, GetTrimmedLineWalksLines)
{
    // Leading newlines are skipped, but only trailing white space is cut.
    const char* text = "\n\nfirst \t\r\n  second\v\n\nlast";
    const char* cursor = text;
    char line[64];
    for (const auto& [want, next] : {std::pair<std::string, size_t>{"first", 11}, {"  second", 21}, {"last", 26}}) {
        tql_bytearray::getTrimmedLine(cursor, line, sizeof line);
        EXPECT_EQ(line, want);
        EXPECT_EQ(cursor, text + next) << want;
    }
    const char* longLine = "abcdef\n";
    char small[4];
    tql_bytearray::getTrimmedLine(longLine, small, sizeof small);
    EXPECT_STREQ(small, "abc");
}

TEST_F(TqlByteArrayTest, DumpRawDataLogsAFramedTableAtDebugLevel)
{
    M("A\x01").dumpRawData();
    const std::string rule(38, '-');
    size_t at = 0;
    for (const std::string& want : {rule, std::string("index\thex\tdec\tchar"), rule, std::string("0\t0x41\t65\tA"),
                                    std::string("1\t0x01\t1\t\x01")}) {
        while (at < port().logs.size() && port().logs[at].text.find(want) == std::string::npos)
            ++at;
        ASSERT_LT(at, port().logs.size()) << "missing in order: " << want;
        EXPECT_EQ(port().logs[at++].severity, 4) << want;
    }
}
