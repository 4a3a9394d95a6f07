#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "tamberTypes/tamberString.h"

namespace {
using Parts = std::vector<std::string>;
// Each row: what an operation gave, and what it must give.
using Rows = std::vector<std::pair<std::string, std::string>>;
std::string S(const tql_string& s) { return s.toStdString(); }
tql_string T(const char* s) { return tql_string(s); }
void expectRows(const Rows& rows)
{
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
}
Parts texts(const tql_list<tql_string>& list)
{
    Parts out;
    for (const tql_string& s : list)
        out.push_back(s.toStdString());
    return out;
}
} // namespace

// A move is a copy that may take the text's block: the target ends as a copy
// would, null or not, and the source is left empty.
TEST(TqlStringNull, AMoveKeepsTheNullStateAndTakesTheText)
{
    const std::string longText(64, 'g'); // past any short-string room
    tql_string source(longText.c_str());
    const char* block = source.c_str();
    tql_string moved(std::move(source));
    EXPECT_EQ(longText, S(moved));
    EXPECT_EQ(block, moved.c_str()) << "the block is handed over, not copied";
    EXPECT_TRUE(source.isEmpty());

    tql_string never, emptyText("");
    tql_string target("old");
    target = std::move(never);
    EXPECT_TRUE(target.isNull());
    target = std::move(emptyText);
    EXPECT_FALSE(target.isNull());
    EXPECT_TRUE(tql_string(tql_string()).isNull());

    std::vector<tql_string> list{T("a"), tql_string(), T(longText.c_str())};
    list.reserve(list.capacity() + 1); // grows by moving
    EXPECT_EQ((Parts{"a", "", longText}), texts(list));
    EXPECT_TRUE(list[1].isNull());
    EXPECT_FALSE(list[0].isNull());
}

// Null and empty are two states: a key never seen in a document stays null,
// a key with an empty value does not.
TEST(TqlStringNull, OnlyTheDefaultConstructorMakesANullString)
{
    const tql_string never;
    EXPECT_TRUE(never.isNull());
    EXPECT_TRUE(tql_string(never).isNull());
    for (const tql_string& s : {T(""), T(nullptr), tql_string("abc", 0), tql_string('x', 0), tql_string(T(""))})
        EXPECT_FALSE(s.isNull()) << "'" << S(s) << "'";
    expectRows({{S(T(nullptr)), ""}, {S(tql_string("abcdef", 3)), "abc"}, {S(tql_string('x', 3)), "xxx"},
                {S(tql_string(T("abcdef"), 2, 3)), "cde"}});

    auto nullAfter = [](tql_string target, const tql_string& source) { return (target = source).isNull(); };
    EXPECT_TRUE(nullAfter(T(""), never));
    EXPECT_TRUE(nullAfter(T("text"), never));
    EXPECT_FALSE(nullAfter(never, T("")));
    tql_string fromText, written;
    fromText = "";
    written += "ab";
    written.truncate(0);
    EXPECT_FALSE(fromText.isNull());
    EXPECT_FALSE(written.isNull());
}

TEST(TqlStringDeathTest, AssigningNullTextAbortsOnTheAssertion)
{
    tql_string s("keep");
    const char* none = nullptr;
    EXPECT_DEATH(s = none, "tamberCore/tamberTypes/tamberString:205: "
                           "tql_string& tql_string::operator=\\(const charT\\*\\): Assertion `s' failed");
}

// chopLeft cuts the end and chopRight the start; callers rely on the names.
TEST(TqlStringEdit, ChopRemoveReplaceFillAndResize)
{
    expectRows({
        {S(T("abc").chopLeft(1)), "ab"}, {S(T("abc").chopRight(1)), "bc"}, {S(T("abc").chop(2)), "a"},
        {S(T("abc").chopRight(2)), "c"}, {S(T("abc").chopLeft(0)), "abc"}, {S(T("abc").chopRight(-1)), "abc"},
        {S(T("abc").chopLeft(3)), "abc"}, {S(T("abc").chopRight(3)), "abc"}, {S(T("abc").chop(4)), "abc"},

        {S(T("abcdef").remove(2, -1)), "ab"}, {S(T("abcdef").remove(2, -2)), "ab"},
        {S(T("abcdef").remove(2, 0)), "abcdef"}, {S(T("abcdef").remove(2, 2)), "abef"},
        {S(T("abcdef").remove(2, 99)), "ab"}, {S(T("abcdef").remove(6, 1)), "abcdef"},
        {S(T("a--b-c").remove(T("-"))), "abc"}, {S(T("a--b-c").remove('-')), "abc"},
        // Scanning restarts after the inserted text: no endless growth, no re-match.
        {S(T("aaa").replace("a", "aa")), "aaaaaa"}, {S(T("banana").replace("an", "")), "ba"},
        {S(T("abcdef").replace(1, 2, "XYZ")), "aXYZdef"}, {S(T("abcdef").replace(2, -1, "!")), "ab!"},

        // A fill range past the end pads with blanks first; the Right forms work on the reversed text.
        {S(T("abcdef").fillLeft('x', 1, 2)), "axxdef"}, {S(T("abcdef").fillRight('x', 1, 2)), "abcxxf"},
        {S(T("abcdef").fillLeft('x', 2)), "abxxxx"}, {S(T("abcdef").fillRight('x', 2)), "xxxxef"},
        {S(T("ab").fillLeft('x', 1, 4)), "axxxx"}, {S(T("ab").fillRight('x', 1, 4)), "xxxxb"},
        {S(T("ab").fillLeft('x', 4, 1)), "ab  x"}, {S(T("ab").fillRight('x', 4, 1)), "x  ab"},
        {S(T("abc").fill('z')), "zzz"}, {S(T("abc").fill('z', 5)), "zzzzz"},
        {S(T("ab").resizeLeft(4, '*')), "ab**"}, {S(T("ab").resizeLeft(-1)), "ab"},
        {S(T("ab").resizeRight(4, '*')), "**ab"}, {S(T("ab").resizeRight(1)), "b"},
        {S(T("abc").leftJustified(5, '.')), "abc.."}, {S(T("abc").rightJustified(5, '.')), "..abc"},
        {S(T("abcdef").leftJustified(3, '.')), "abcdef"}, {S(T("abcdef").leftJustified(3, '.', true)), "abc"},
    });
}

TEST(TqlStringRead, SubstringsSearchTrimAndFormat)
{
    const tql_string s("hello");
    const tql_string padded(" \t\n\r\v\fab c\f\v\t "), white(" \t\n\r\v\f");
    const std::string longText(600, 'q');
    expectRows({
        {S(s.mid(1, 3)), "ell"}, {S(s.mid(1)), "ello"}, {S(s.substr(1, 99)), "ello"}, {S(s.substr(-1, 2)), ""},
        {S(s.substr(6, 1)), ""}, {S(s.left(9)), "hello"}, {S(s.right(2)), "lo"}, {S(s.right(9)), "hello"},
        {S(padded.trimmed()), "ab c"}, {S(padded.trimmedLeft()), "ab c\f\v\t "},
        {S(padded.trimmedRight()), " \t\n\r\v\fab c"},
        {S(white.trimmed()) + S(white.trimmedLeft()) + S(white.trimmedRight()), ""},
        {S(tql_string::formatString("%d-%s", 7, "x")), "7-x"},
        {S(tql_string::formatString("%s", longText.c_str())), longText.substr(0, 511)},
    });
    EXPECT_EQ(tql_string::WHITESPACE.length(), 6);
    EXPECT_EQ(T("xaxbx").lastIndexOf(T("ab")), 3); // any of the characters, not the sequence
    EXPECT_EQ(T("xaxbx").lastIndexOf(T("qz")), -1);
}

// The char form keeps a trailing separator in the last part; the text form
// emits the tail after the last separator even when it is empty, also when
// empty parts are skipped elsewhere.
TEST(TqlStringSplit, CharAndTextSeparators)
{
    struct Case { const char* text; bool byChar; int behavior; Parts want; };
    for (const Case& c : {Case{"a,b,", true, 0, {"a", "b,"}}, Case{"a,b,", true, 1, {"a", "b,"}},
                          Case{"", true, 0, {}}, Case{"a,,b", true, 0, {"a", "", "b"}},
                          Case{"a,,b", true, 1, {"a", "b"}}, Case{",a", true, 0, {"", "a"}},
                          Case{"a,", true, 0, {"a,"}}, Case{"a::b::", false, 0, {"a", "b", ""}},
                          Case{"a::::b::", false, 1, {"a", "b", ""}}, Case{"", false, 0, {""}},
                          Case{"", false, 1, {""}}, Case{"a:b::c", false, 0, {"a:b", "c"}},
                          Case{"::a", false, 0, {"", "a"}}, Case{" a :: ::b", false, 1, {" a ", " ", "b"}},
                          Case{" a :: ::b", false, 2, {"a", "b"}}}) {
        const tql_string text(c.text);
        tql_list<tql_string> out;
        c.byChar ? text.split(',', out, c.behavior) : text.split(T("::"), out, c.behavior);
        const Parts fresh = texts(c.byChar ? text.split(',', c.behavior) : text.split(T("::"), c.behavior));
        EXPECT_EQ(texts(out), c.want) << "'" << c.text << "' / " << c.behavior;
        EXPECT_EQ(fresh, c.want) << "'" << c.text << "' / " << c.behavior;
    }
}

// The flag of toInt is only ever cleared, so callers preset it to 1.
TEST(TqlStringNumber, ToIntToInt64AndIsNum)
{
    struct Case { const char* text; int base; int preset; int value; int flag; };
    for (const Case& c : {Case{"12", 10, 1, 12, 1}, Case{"12", 10, 0, 12, 0}, Case{"x", 10, 1, 0, 0},
                          Case{"", 10, 1, 0, 0}, Case{"12abc", 10, 1, 12, 1}, Case{"ff", 16, 1, 255, 1},
                          Case{"2147483647", 10, 1, INT_MAX, 1}, Case{"-2147483648", 10, 1, INT_MIN, 1}}) {
        int ok = c.preset;
        EXPECT_EQ(T(c.text).toInt(&ok, c.base), c.value) << c.text;
        EXPECT_EQ(ok, c.flag) << c.text;
    }
    for (const char* outside : {"2147483648", "-2147483649"}) {
        int ok = 1;
        T(outside).toInt(&ok);
        EXPECT_EQ(ok, 0) << outside;
    }
    int ok = 1;
    EXPECT_EQ(T("99999999999999999999").toInt64(&ok), LLONG_MAX); // too big, yet something was parsed
    EXPECT_EQ(ok, 1);
    EXPECT_EQ(T("-9999999999").toInt64(&ok), -9999999999LL);
    T("x").toInt64(&ok);
    EXPECT_EQ(ok, 0);

    for (const char* yes : {"0", "123", "-123", "-"})
        EXPECT_TRUE(T(yes).isNum()) << yes;
    for (const char* no : {"12a", "+1", " 1", "1.5", "--1", "1-"})
        EXPECT_FALSE(T(no).isNum()) << no;
}
