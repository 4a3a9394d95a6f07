// The JSON frame: the stream reader that turns reply bodies into handler
// events while they arrive, and the writer every request document goes through.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "PortTest.h"
#include "tamberJson/tamberJson.h"

namespace {

// Records every event as text; the event with index stopAt answers 0.
class Events : public tamberJsonHandlerIf {
public:
    std::vector<std::string> seen;
    std::vector<double> numbers;
    int stopAt = -1;

    int note(const std::string& e)
    {
        seen.push_back(e);
        return static_cast<int>(seen.size()) - 1 == stopAt ? 0 : 1;
    }
    int handleNullIf() override { return note("null"); }
    int handleBooleanIf(int v) override { return note("bool:" + std::to_string(v)); }
    int handleNumberIf(double v) override
    {
        char text[40];
        snprintf(text, sizeof text, "num:%.17g", v);
        numbers.push_back(v);
        return note(text);
    }
    int handleStringIf(const tql_string& v) override { return note("str:" + v.toStdString()); }
    int handleMapKeyIf(const unsigned char* k, unsigned n) override
    {
        return note("key:" + std::string(reinterpret_cast<const char*>(k), n));
    }
    int handleStartMapIf() override { return note("{"); }
    int handleEndMapIf() override { return note("}"); }
    int handleStartArrayIf() override { return note("["); }
    int handleEndArrayIf() override { return note("]"); }
};

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

// Feeds the text in pieces; every piece must be taken whole.
void feedAll(tql_json& json, const std::string& text, size_t piece)
{
    tql_Error error;
    for (size_t at = 0; at < text.size(); at += piece) {
        unsigned int n = static_cast<unsigned int>(std::min(piece, text.size() - at));
        ASSERT_EQ(json.parseSax(bytes(text) + at, n, error), n) << "piece " << piece << " at " << at;
    }
    EXPECT_EQ(error.m_code, 0);
}

// The parser's own failure text, from a parser configured as the reader's is.
std::string yajlText(const std::string& text, bool complete)
{
    static const yajl_callbacks none = {};
    yajl_handle h = yajl_alloc(&none, nullptr, nullptr);
    yajl_config(h, yajl_allow_comments, 1);
    yajl_config(h, yajl_dont_validate_strings, 1);
    yajl_parse(h, bytes(text), text.size());
    if (complete)
        yajl_complete_parse(h);
    unsigned char* error = yajl_get_error(h, 1, complete ? nullptr : bytes(text), complete ? 0 : text.size());
    std::string out = error ? reinterpret_cast<const char*>(error) : "";
    yajl_free_error(h, error);
    yajl_free(h);
    return out;
}

class JsonReader : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1); // log lines reach the port from here on
        port().logs.clear();
    }
};

TEST_F(JsonReader, EveryPieceSizeGivesTheSameEvents)
{
    const std::string doc = "/* lead */ {\"s\":\"a\\\"b\\\\c\\u00e9\\n\",\"t\":true,\"f\":false,\"z\":null,"
                            "\"n\":[0,-12.5e-1,1.5e3,1E2,123456789012], /* mid */ \"m\":{},"
                            "\"a\":[[],{\"k\":\"\xc3\xa9\"}],// line\n\"nul\":\"a\\u0000b\",\"k\xc0\":\"\xff\xfe\"}";
    const std::vector<std::string> expected = {
        "{", "key:s", "str:a\"b\\c\xc3\xa9\n", "key:t", "bool:1", "key:f", "bool:0", "key:z", "null", "key:n",
        "[", "num:0", "num:-1.25", "num:1500", "num:100", "num:123456789012", "]", "key:m", "{", "}", "key:a",
        "[", "[", "]", "{", "key:k", "str:\xc3\xa9", "}", "]", "key:nul", std::string("str:a\0b", 7),
        "key:k\xc0", "str:\xff\xfe", "}"};
    for (size_t piece = 1; piece <= doc.size(); ++piece) {
        Events events;
        tql_json json(&events);
        feedAll(json, doc, piece);
        EXPECT_EQ(json.parseSaxDone(), 0);
        ASSERT_EQ(events.seen, expected) << "piece " << piece;
    }
}

TEST_F(JsonReader, NumbersHaveTheValueOfTheirWholeText)
{
    const std::vector<std::string> texts = {"1.5e3", "-0.25", "1E2", "123456789012", "1" + std::string(99, '0'),
                                            "0." + std::string(80, '0') + "15", "-" + std::string(70, '9') + ".5e-3"};
    for (const std::string& text : texts) {
        const double value = strtod(text.c_str(), nullptr);
        for (size_t piece : {1, 7, 1000}) {
            Events inArray;
            tql_json json(&inArray);
            feedAll(json, "[" + text + "]", piece);
            EXPECT_EQ(inArray.numbers, std::vector<double>{value}) << text << " piece " << piece;
        }
        // Last in the input: the number ends only with the body.
        Events atEnd;
        tql_json json(&atEnd);
        feedAll(json, text, 3);
        EXPECT_EQ(json.parseSaxDone(), 0);
        EXPECT_EQ(atEnd.numbers, std::vector<double>{value}) << text;
    }
}

TEST_F(JsonReader, HandlerAnsweringZeroCancelsAtThatEvent)
{
    const std::string doc = "[null,true,1,\"s\",{\"k\":{}},[]]";
    const std::vector<std::string> all = {"[", "null", "bool:1", "num:1", "str:s", "{", "key:k", "{", "}", "}",
                                          "[", "]", "]"};
    for (int stop = 0; stop < static_cast<int>(all.size()); ++stop) {
        Events events;
        events.stopAt = stop;
        tql_json json(&events);
        tql_Error error;
        EXPECT_EQ(json.parseSax(bytes(doc), static_cast<unsigned>(doc.size()), error), 1u) << stop;
        EXPECT_EQ(error.m_code, -1);
        EXPECT_FALSE(error.m_message.isEmpty());
        EXPECT_EQ(events.seen, std::vector<std::string>(all.begin(), all.begin() + stop + 1));
    }
}

TEST_F(JsonReader, MalformedBodyReportsTheParserTextUnlogged)
{
    for (const std::string doc : {"{\"a\":}", "{\"a\" 1}", "[1 2]", "{\"a\":1}}", "{\"a\":tru}"}) {
        port().logs.clear();
        Events events;
        tql_json json(&events);
        tql_Error error;
        EXPECT_EQ(json.parseSax(bytes(doc), static_cast<unsigned>(doc.size()), error), 1u) << doc;
        EXPECT_EQ(error.m_code, -1);
        const std::string expected = yajlText(doc, false);
        EXPECT_FALSE(expected.empty());
        EXPECT_EQ(error.m_message.toStdString(), expected) << doc;
        EXPECT_TRUE(port().logs.empty()) << doc;
    }
}

TEST_F(JsonReader, FailingOneBytePieceReturnsOneAndLaterPiecesFailToo)
{
    Events events;
    tql_json json(&events);
    tql_Error error, again;
    EXPECT_EQ(json.parseSax(bytes("[1,"), 3, error), 3u);
    EXPECT_EQ(error.m_code, 0);
    EXPECT_EQ(json.parseSax(bytes("x"), 1, error), 1u);
    EXPECT_EQ(error.m_code, -1);
    EXPECT_EQ(json.parseSax(bytes("2]"), 2, again), 1u);
    EXPECT_EQ(again.m_code, -1);
    EXPECT_EQ(events.seen, (std::vector<std::string>{"[", "num:1"}));
}

TEST_F(JsonReader, WithoutHandlerNothingIsParsed)
{
    tql_json json(nullptr);
    tql_Error error;
    EXPECT_EQ(json.parseSax(bytes("{\"a\":1}"), 7, error), 0xFFFFFFFFu);
    EXPECT_EQ(port().countLogged("No JSON Handler to be used"), 1u);
    EXPECT_TRUE(port().logged("No JSON Handler to be used", 0));
    EXPECT_EQ(error.m_code, 0);
    EXPECT_TRUE(error.m_message.isEmpty());
}

TEST_F(JsonReader, DoneReportsACutOffBody)
{
    for (const std::string doc : {"{}", "{\"a\":[1,", "{\"a\":\"xy", "[true"}) {
        port().logs.clear();
        Events events;
        tql_json json(&events);
        feedAll(json, doc, doc.size()); // the reader itself does not notice the cut
        const bool complete = doc == "{}";
        EXPECT_EQ(json.parseSaxDone(), complete ? 0 : 1) << doc;
        const std::string text = complete ? "" : yajlText(doc, true);
        const std::string line = "yajl_complete_parse ended with error: " + text.substr(0, text.find('\n'));
        EXPECT_EQ(port().logs.size(), complete ? 0u : 1u) << doc;
        EXPECT_TRUE(complete || port().logged(line, 1)) << doc;
    }
}

// A document that shows its own generator.
class Doc : public tql_jsonGen {
public:
    void* own() const { return m_gen; }
};

class JsonWriter : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
        port().logs.clear();
    }
    // Every line logged must be a level 1 generator failure with this text.
    static size_t failures(const std::string& fragment)
    {
        for (const auto& line : port().logs)
            EXPECT_TRUE(line.severity == 1 && line.text.find(fragment) != std::string::npos) << line.text;
        return port().logs.size();
    }
};

TEST_F(JsonWriter, CompactTextsAndFailures)
{
    struct Case {
        const char* name;
        std::function<void(Doc&, void*)> write;
        std::string text;
        size_t failures;
        std::string failure = "problem with json body generating";
    };
    const std::vector<Case> cases = {
        {"document",
         [](Doc& d, void* g) {
             d.jsonStart(g, "moduleList"); d.openArray(g, "modules", 1); d.openMap(g);
             d.addString(g, "moduleArea", "Routing"); d.addString(g, "url", "http://a/b?c=1");
             d.addBool(g, "on", 1); d.addBool(g, "off", 0); d.addInteger(g, "big", 1700000000000L);
             d.addInteger(g, "neg", -42); d.addFloatNum(g, "lat", "40.7100");
             d.addString(g, tql_string("n\0l", 3), tql_string("a\0b", 3));
             d.closeMap(g); d.closeArray(g, 2); d.jsonFinish(g);
         },
         "{\"moduleList\":{\"modules\":[{\"moduleArea\":\"Routing\",\"url\":\"http://a/b?c=1\",\"on\":true,"
         "\"off\":false,\"big\":1700000000000,\"neg\":-42,\"lat\":40.7100,\"n\\u0000l\":\"a\\u0000b\"}]}}",
         0},
        {"count zero writes nothing",
         [](Doc& d, void* g) {
             d.openMap(g); d.openArray(g, "none", 0); d.closeArray(g, 0); d.addInteger(g, "a", 1); d.closeMap(g);
         },
         "{\"a\":1}", 0},
        {"closeArray 1 closes a map",
         [](Doc& d, void* g) {
             d.openMap(g); d.openArray(g, "l", 1); d.openMap(g); d.addInteger(g, "x", 1);
             d.closeArray(g, 1); d.closeArray(g, 2); d.closeArray(g, 1);
         },
         "{\"l\":[{\"x\":1}]}", 0},
        {"child writes no outer brace",
         [](Doc& d, void* g) {
             d.jsonStart(g, "outer");
             Doc child;
             child.jsonStart(g, "inner"); child.addInteger(g, "x", 1); child.jsonFinish(g);
             EXPECT_EQ(child.own(), nullptr);
             d.addString(g, "after", "y"); d.jsonFinish(g);
         },
         "{\"outer\":{\"inner\":{\"x\":1},\"after\":\"y\"}}", 0},
        {"root finish on a completed text is silent",
         [](Doc& d, void* g) { d.jsonStart(g, "k"); d.closeMap(g); d.jsonFinish(g); }, "{\"k\":{}}", 0},
        // At the root the first close of jsonFinish must find something open.
        {"root finish with nothing open",
         [](Doc& d, void* g) { d.openMap(g); d.closeMap(g); d.jsonFinish(g); }, "{}", 1,
         "problem with json body generating. Yajl code: 4"},
        {"map where a key belongs", [](Doc& d, void* g) { d.openMap(g); d.openMap(g); d.closeMap(g); }, "{}", 1,
         "problem with json body generating. Yajl Code: 1"},
        {"invalid UTF-8 pair is left out",
         [](Doc& d, void* g) {
             d.openMap(g); d.addString(g, "ok", "1"); d.addString(g, "\xc3(", "\xff"); d.addInteger(g, "n", 2);
             d.closeMap(g);
         },
         "{\"ok\":\"1\",\"n\":2}", 2},
    };
    for (const Case& c : cases) {
        port().logs.clear();
        Doc root;
        void* g = root.init();
        ASSERT_NE(g, nullptr);
        EXPECT_EQ(root.own(), g);
        c.write(root, g);
        EXPECT_EQ(std::string(root.getJson(g)), c.text) << c.name;
        EXPECT_EQ(failures(c.failure), c.failures) << c.name;
    }
}

TEST_F(JsonWriter, InvalidUtf8ValueIsALoggedFailure)
{
    Doc root;
    void* g = root.init();
    root.openMap(g); root.addString(g, "ok", "1"); root.addString(g, "bad", "\xff\xfe"); root.closeMap(g);
    const std::string text = root.getJson(g);
    EXPECT_EQ(failures("problem with json body generating"), 1u);
    EXPECT_EQ(text.find('\xff'), std::string::npos) << text;
    EXPECT_EQ(text.find("\"bad\":"), std::string::npos) << text; // no value follows the key
    EXPECT_EQ(text.rfind("{\"ok\":\"1\"", 0), 0u) << text;
}

} // namespace
