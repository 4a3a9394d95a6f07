// The response router, driven through the stream reader with reply texts:
// envelope, path keeping, handler selection and replay, module records.
#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "PortTest.h"
#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberResponse.h"

namespace {

struct RecordCounts {
    int made = 0, cleared = 0, deleted = 0;
} g_records;

class Record : public TQLModuleResponseBase {
public:
    explicit Record(const std::string& n) : name(n) { ++g_records.made; }
    ~Record() override { ++g_records.deleted; }
    void clear() override { ++g_records.cleared; }
    std::string name;
};

using Trace = std::vector<std::string>;

// A module handler that writes every call into a trace and stores its module
// at the end of each modules element, as the real handlers do.
class Recorder : public TQLModuleHandlerBase {
public:
    Recorder(TQLResponse* response, const std::string& name, Trace* trace)
        : TQLModuleHandlerBase(response), m_name(name), m_trace(trace)
    {
        m_moduleResponse = new Record(name);
    }
    ~Recorder() override { m_trace->push_back("-" + m_name); }
    int handleNull(const char* p) override { return note("null", p); }
    int handleBoolean(const char* p, int v) override { return note("bool", p, "=" + std::to_string(v)); }
    int handleNumber(const char* p, double v) override
    {
        std::ostringstream text;
        text << "=" << v;
        return note("num", p, text.str());
    }
    int handleString(const char* p, const tql_string& v) override
    {
        takeEnvelopeString(p, v);
        return note("str", p, "=" + v.toStdString());
    }
    int handleMapKey(const char* p, tql_bytearray&) override { return note("key", p); }
    int handleStartMap(const char* p) override { return note("{", p); }
    int handleStartArray(const char* p) override { return note("[", p); }
    int handleEndArray(const char* p) override { return note("]", p); }
    int handleEndMap(const char* p) override
    {
        if (strcmp(p, "/moduleList/modules") == 0)
            storeModule();
        return note("}", p);
    }

private:
    int note(const char* op, const char* path, const std::string& value = "")
    {
        m_trace->push_back(m_name + " " + op + " " + path + value);
        return 1;
    }
    std::string m_name;
    Trace* m_trace;
};

// Selects "Routing", "UserFlow" and "Episodes" by value, and a "Key" handler
// by the presence of one key path.
class Router : public TQLResponseHandler {
public:
    Router(TQLResponse* r, Trace* trace, const std::string& key)
        : TQLResponseHandler(r, nullptr), m_trace(trace), m_key(key) {}

protected:
    TQLModuleHandlerBase* createModuleHandler(const tql_string& v) override
    {
        return v == "Routing" || v == "UserFlow" || v == "Episodes" ? new Recorder(m_response, v.c_str(), m_trace)
                                                                    : nullptr;
    }
    TQLModuleHandlerBase* createHandlerForKey(const char* shortPath) override
    {
        return !m_key.empty() && m_key == shortPath ? new Recorder(m_response, "Key", m_trace) : nullptr;
    }

private:
    Trace* m_trace;
    std::string m_key;
};

// Feeds the reply in pieces; false when a piece was refused.
bool feed(tamberJsonHandlerIf* handler, const std::string& text, size_t piece)
{
    tql_json json(handler);
    tql_Error error;
    for (size_t at = 0; at < text.size(); at += piece) {
        unsigned int n = static_cast<unsigned int>(std::min(piece, text.size() - at));
        if (json.parseSax(reinterpret_cast<const unsigned char*>(text.data()) + at, n, error) != n) {
            EXPECT_EQ(error.m_code, -1);
            return false;
        }
    }
    return true;
}

// One service call: the reply outlives the router.
struct Call {
    TQLResponse response;
    Trace trace;
    bool ok = false;
};

std::unique_ptr<Call> run(const std::string& reply, const std::string& keyPath = "", size_t piece = 0)
{
    auto call = std::make_unique<Call>();
    Router router(&call->response, &call->trace, keyPath);
    call->ok = feed(&router, reply, piece ? piece : reply.size());
    return call;
}

std::string messagesOf(const TQLResponse& r)
{
    std::string out;
    for (const TQLMessagesType& m : r.m_messages)
        out += std::to_string(m.m_code) + "|" + m.m_codeText.toStdString() + "|" + m.m_message.toStdString() + ";";
    return out;
}

std::string modulesOf(const TQLResponse& r)
{
    std::string out;
    for (const TQLModule& m : r.m_modules) {
        auto* record = dynamic_cast<Record*>(m.m_moduleResponse);
        out += m.moduleArea.toStdString() + "/" + m.moduleType.toStdString() + "/" +
               (record ? record->name : "?") + ";";
    }
    return out;
}

const std::string kReplay = "Posteriorly process response body after the module handler was created. Lines: ";

class RouterTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_records = RecordCounts();
        ASSERT_EQ(tql_init(), 1);
        port().logs.clear();
    }
    void TearDown() override
    {
        EXPECT_EQ(g_records.made, g_records.deleted) << "module records leaked or freed twice";
        PortTest::TearDown();
    }
};

TEST_F(RouterTest, EnvelopeIsReadWhileNoHandlerExists)
{
    struct Case {
        std::string reply;
        int status, updateFrequency;
        std::string messages;
        bool warned;
    };
    const std::vector<Case> cases = {
        {"{\"R\":{\"status\":3}}", 3, 0, "", false},
        {"{\"status\":3}", 3, 0, "", false},
        {"{\"R\":{\"x\":{\"status\":9}}}", 0, 0, "", false},
        {"{\"R\":{\"status\":-2.9}}", -2, 0, "", false},
        {"{\"R\":{\"status\":3e10}}", INT_MAX, 0, "", false},
        {"{\"R\":{\"status\":-3e10}}", INT_MIN, 0, "", false},
        {"{\"R\":{\"status\":100,\"messages\":[{\"code\":100,\"message\":\"Success\"},"
         "{\"code\":\"ERR-7\",\"message\":\"Nope\"},{}]}}",
         100, 0, "100||Success;0|ERR-7|Nope;0||;", false},
        {"{\"R\":{\"messages\":{\"code\":12.7}}}", 0, 0, "12||;", false},
        {"{\"R\":{\"moduleList\":{\"modules\":[{\"updateFrequency\":30}]}}}", 0, 30, "", false},
        {"{\"R\":{\"moduleList\":{\"modules\":[{\"updateFrequency\":\"45\"}]}}}", 0, 45, "", false},
        {"{\"moduleList\":{\"modules\":[{\"updateFrequency\":30}]}}", 0, 0, "", false},
        // Codes and texts with no message entry to land in are dropped; the reply goes on.
        {"{\"messages\":{\"code\":1},\"status\":2}", 2, 0, "", true},
        {"{\"R\":{\"status\":2,\"messages/code\":\"E1\"}}", 2, 0, "", true},
        {"{\"R\":{\"status\":2,\"messages/message\":\"hi\"}}", 2, 0, "", true},
    };
    for (const Case& c : cases) {
        port().logs.clear();
        auto call = run(c.reply);
        EXPECT_TRUE(call->ok) << c.reply;
        EXPECT_EQ(call->response.m_status, c.status) << c.reply;
        EXPECT_EQ(call->response.m_updateFrequency, c.updateFrequency) << c.reply;
        EXPECT_EQ(messagesOf(call->response), c.messages) << c.reply;
        auto isWarning = [](const testport::LogLine& l) { return l.severity == 2; };
        const bool warned = std::any_of(port().logs.begin(), port().logs.end(), isWarning);
        EXPECT_EQ(warned, c.warned) << c.reply;
        EXPECT_TRUE(call->trace.empty());
    }
}

TEST_F(RouterTest, PathHelpers)
{
    TQLResponse response;
    TQLResponseHandler router(&response, nullptr);
    auto append = [&](const std::string& t, unsigned n) {
        return router.pathAppend(reinterpret_cast<const unsigned char*>(t.data()), n);
    };
    EXPECT_STREQ(router.printPath(0), ""); // the buffer starts zero-filled
    EXPECT_STREQ(router.printPath(1), "/");
    EXPECT_EQ(router.pathDepth(), 0);
    for (const std::string level : {"moduleList", "modules", "moduleArea"})
        ASSERT_EQ(append(level, static_cast<unsigned>(level.size())), 1);
    EXPECT_STREQ(router.printPath(0), "/moduleList/modules/moduleArea");
    EXPECT_STREQ(router.printPath(1), "/modules/moduleArea");
    EXPECT_STREQ(router.printPath(2), "/moduleArea");
    EXPECT_STREQ(router.printPath(3), "/");
    EXPECT_EQ(router.pathDepth(), 3);

    const char* shortPath = router.printPath(1);
    router.pathTakeLast();
    EXPECT_STREQ(router.printPath(0), "/moduleList/modules");
    EXPECT_STREQ(shortPath, "/modules"); // a printed path follows later changes
    EXPECT_EQ(router.pathDepth(), 2);
    for (int i = 0; i < 3; ++i) // the last one finds nothing to take
        router.pathTakeLast();
    EXPECT_STREQ(shortPath, "");
    EXPECT_STREQ(router.printPath(0), "");
    EXPECT_EQ(router.pathDepth(), 0);
    // length + 2 + used bytes may reach 1023, not more.
    const std::string big(1022, 'k');
    EXPECT_EQ(append(big, 1022), 0);
    EXPECT_EQ(append(big, 1021), 1);
    EXPECT_EQ(router.printPath(0), "/" + big.substr(1));
    EXPECT_EQ(router.pathAppend(nullptr, 0), 0);
}

TEST_F(RouterTest, KeyPathLimitCancelsTheParse)
{
    struct Case {
        size_t keyLength;
        const char* value;
        const char* refusedBy; // empty: fits
    };
    for (const Case& c : {Case{1021, "1", ""}, Case{1022, "1", "handleMapKeyIf:"}, Case{1019, "{}", ""},
                          Case{1020, "{}", "handleStartMapIf:"}}) {
        port().logs.clear();
        const bool fits = !*c.refusedBy;
        auto call = run("{\"" + std::string(c.keyLength, 'k') + "\":" + c.value + ",\"status\":7}");
        EXPECT_EQ(call->ok, fits) << c.keyLength;
        EXPECT_EQ(call->response.m_status, fits ? 7 : 0) << c.keyLength;
        EXPECT_EQ(port().countLogged("Unable to add path level"), fits ? 0u : 2u) << c.keyLength;
        if (!fits) {
            EXPECT_TRUE(port().logged("pathAppend:", 1));
            EXPECT_TRUE(port().logged(c.refusedBy, 1));
        }
    }
}

TEST_F(RouterTest, SelectionReplaysHeldEventsInOrderAtAnyPieceSize)
{
    // Either selection value may come first; the other reaches the handler all the same.
    for (bool typeFirst : {true, false}) {
        const char* type = typeFirst ? "T" : "Routing";
        const char* area = typeFirst ? "Routing" : "T";
        const std::string typeKey = std::string("\"moduleType\":\"") + type + "\"";
        const std::string areaKey = std::string("\"moduleArea\":\"") + area + "\"";
        const std::string reply = "{\"R\":{\"status\":1,\"flag\":true,\"obj\":{\"n\":2.5},"
                                  "\"moduleList\":{\"modules\":[{" +
                                  (typeFirst ? typeKey + "," + areaKey : areaKey + "," + typeKey) +
                                  ",\"updateFrequency\":30,\"moduleResponse\":{\"a\":\"b\"}}]}}}";
        const std::string typeEvent = std::string("Routing str /moduleList/modules/moduleType=") + type;
        const std::string areaEvent = std::string("Routing str /moduleList/modules/moduleArea=") + area;
        const Trace expected = {
            "Routing { /", "Routing { /", "Routing num /status=1", "Routing bool /flag=1", "Routing { /obj/",
            "Routing num /obj/n=2.5", "Routing } /obj", "Routing { /moduleList/", "Routing { /moduleList/modules/",
            typeFirst ? typeEvent : areaEvent, typeFirst ? areaEvent : typeEvent,
            "Routing num /moduleList/modules/updateFrequency=30", "Routing { /moduleList/modules/moduleResponse/",
            "Routing str /moduleList/modules/moduleResponse/a=b", "Routing } /moduleList/modules/moduleResponse",
            "Routing } /moduleList/modules", "Routing } /moduleList", "Routing } ", "Routing } /", "-Routing"};
        for (size_t piece = 1; piece <= reply.size(); ++piece) {
            port().logs.clear();
            auto call = run(reply, "", piece);
            ASSERT_TRUE(call->ok);
            ASSERT_EQ(call->trace, expected) << reply << " piece " << piece;
            ASSERT_EQ(port().countLogged(kReplay), 1u);
            ASSERT_TRUE(port().logged(kReplay + "10, ", 4));
            ASSERT_TRUE(port().logged("processTmpModulHandler:", 4));
            EXPECT_EQ(call->response.m_status, 1);
            EXPECT_EQ(call->response.m_updateFrequency, 0); // it came after the selection
            EXPECT_EQ(modulesOf(call->response), std::string(area) + "/" + type + "/Routing;");
        }
    }
}

TEST_F(RouterTest, LaterMatchingValueReplacesTheHandler)
{
    auto call = run("{\"R\":{\"moduleList\":{\"modules\":[{\"moduleType\":\"UserFlow\","
                    "\"moduleArea\":\"Routing\"}]}}}");
    EXPECT_EQ(call->trace, (Trace{"UserFlow { /", "UserFlow { /", "UserFlow { /moduleList/",
                                  "UserFlow { /moduleList/modules/",
                                  "UserFlow str /moduleList/modules/moduleType=UserFlow", "-UserFlow",
                                  "Routing str /moduleList/modules/moduleArea=Routing", "Routing } /moduleList/modules",
                                  "Routing } /moduleList", "Routing } ", "Routing } /", "-Routing"}));
    EXPECT_EQ(g_records.deleted, 1); // the replaced handler's record never reached the reply
    EXPECT_TRUE(port().logged(kReplay + "4, ", 4));
    EXPECT_TRUE(port().logged(kReplay + "0, ", 4));
    EXPECT_EQ(modulesOf(call->response), "Routing//Routing;");
}

TEST_F(RouterTest, EnvelopeAfterTheSelectionGoesToTheHandler)
{
    struct Case {
        const char* area;
        const char* frequency;
        int status, updateFrequency;
        const char* messages;
    };
    for (const Case& c : {Case{"Routing", "30", 0, 0, "0||late;"}, Case{"Nope", "30", 5, 30, "7||late;"},
                          Case{"Routing", "\"45\"", 0, 45, "0||late;"}}) {
        const std::string reply = std::string("{\"R\":{\"moduleList\":{\"modules\":[{\"moduleArea\":\"") + c.area +
                                  "\",\"updateFrequency\":" + c.frequency +
                                  "}]},\"status\":5,\"messages\":[{\"code\":7,\"message\":\"late\"}]}}";
        auto call = run(reply);
        ASSERT_TRUE(call->ok);
        EXPECT_EQ(call->response.m_status, c.status) << reply;
        EXPECT_EQ(call->response.m_updateFrequency, c.updateFrequency) << reply;
        EXPECT_EQ(messagesOf(call->response), c.messages) << reply;
        const long handled = strcmp(c.area, "Routing") == 0;
        for (const char* event :
             {"Routing num /status=5", "Routing num /messages/code=7", "Routing str /messages/message=late"})
            EXPECT_EQ(std::count(call->trace.begin(), call->trace.end(), event), handled) << event;
    }
}

TEST_F(RouterTest, KeySelectedHandlerDoesNotReplay)
{
    const std::string key = "/moduleList/modules/moduleResponse/favoritesList";
    const std::string head = "{\"R\":{\"moduleList\":{\"modules\":[{\"moduleArea\":\"Profile\","
                             "\"moduleResponse\":{\"favoritesList\":[{\"id\":7}]}";
    const Trace keyed = {"Key { " + key + "/", "Key num " + key + "/id=7", "Key } " + key,
                         "Key } /moduleList/modules/moduleResponse"};
    const Trace tail = {"Key } /moduleList/modules", "Key } /moduleList", "Key } ", "Key } /", "-Key"};

    // The moduleArea that came first is still held when the reply ends.
    auto call = run(head + "}]}}}", key);
    Trace expected = keyed;
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(call->trace, expected);
    EXPECT_EQ(port().countLogged(kReplay), 0u);
    EXPECT_EQ(modulesOf(call->response), "//Key;");

    // A later selection string that matches nothing replays them.
    call = run(head + ",\"moduleType\":\"Other\"}]}}}", key);
    expected = keyed;
    for (const char* e : {"Key { /", "Key { /", "Key { /moduleList/", "Key { /moduleList/modules/",
                          "Key str /moduleList/modules/moduleArea=Profile", "Key { /moduleList/modules/moduleResponse/",
                          "Key str /moduleList/modules/moduleType=Other"})
        expected.push_back(e);
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(call->trace, expected);
    EXPECT_TRUE(port().logged(kReplay + "6, ", 4));
    EXPECT_EQ(modulesOf(call->response), "Profile/Other/Key;");

    // With a handler in place the key makes none.
    call = run("{\"R\":{\"moduleList\":{\"modules\":[{\"moduleArea\":\"Routing\",\"moduleResponse\":"
               "{\"favoritesList\":[]}}]}}}",
               key);
    EXPECT_EQ(std::count_if(call->trace.begin(), call->trace.end(), [](auto& e) { return e.rfind("Key", 0) == 0; }), 0);
    EXPECT_EQ(modulesOf(call->response), "Routing//Routing;");
}

TEST_F(RouterTest, ShowListRepliesKeepTheirFullPaths)
{
    auto call = run("{\"showList\":[{\"a\":\"x\",\"m\":{\"k\":1}},{\"b\":true}]}");
    // Every element of the list starts with a fresh selection.
    EXPECT_EQ(call->trace,
              (Trace{"Episodes { /", "Episodes { /showList/", "Episodes str /showList/a=x", "Episodes { /m/",
                     "Episodes num /showList/m/k=1", "Episodes } /showList/m", "Episodes } /showList", "-Episodes",
                     "Episodes { /showList/", "Episodes bool /showList/b=1", "Episodes } /showList",
                     "Episodes ] /showList", "Episodes } /", "-Episodes"}));
    EXPECT_TRUE(port().logged(kReplay + "1, ", 4));
    EXPECT_TRUE(port().logged(kReplay + "0, ", 4));
    EXPECT_TRUE(call->response.m_modules.empty());
    EXPECT_EQ(g_records.deleted, 2);
}

TEST_F(RouterTest, ModulesAreStoredAtTheEndOfEachElement)
{
    auto call = run("{\"R\":{\"moduleList\":{\"modules\":[{\"moduleArea\":\"Routing\",\"moduleType\":\"A\"},"
                    "{\"moduleArea\":\"UserFlow\",\"moduleType\":\"B\"},{\"other\":1}]}}}");
    EXPECT_EQ(g_records.deleted, 0); // stored records belong to the reply
    EXPECT_EQ(modulesOf(call->response), "Routing/A/Routing;UserFlow/B/UserFlow;UserFlow/B/UserFlow;");
    call.reset();
    EXPECT_EQ(g_records.deleted, 2); // each record once, however many entries point to it
    EXPECT_EQ(g_records.cleared, 2);
}

TEST_F(RouterTest, ResetEmptiesTheReply)
{
    const std::string reply = "{\"R\":{\"status\":4,\"messages\":[{\"code\":1}],\"moduleList\":{\"modules\":"
                              "[{\"updateFrequency\":9,\"moduleArea\":\"Routing\"}]}}}";
    auto call = run(reply);
    TQLResponse& r = call->response;
    auto all = [&r] {
        return std::to_string(r.m_status) + " " + std::to_string(r.m_updateFrequency) + " " + messagesOf(r) + " " +
               modulesOf(r) + " " + r.m_wallClockRenderTime.toStdString() + " " +
               std::to_string(r.m_remainingLockoutMinutes) + " " + std::to_string(r.m_remainingLockoutSeconds);
    };
    r.m_wallClockRenderTime = "2024-01-01T00:00:00.000Z";
    r.m_remainingLockoutMinutes = 3;
    r.m_remainingLockoutSeconds = 4;
    EXPECT_EQ(all(), "4 9 1||; Routing//Routing; 2024-01-01T00:00:00.000Z 3 4");
    r.reset();
    EXPECT_EQ(g_records.deleted, 1);
    EXPECT_EQ(all(), "0 0    0 0");
    {
        Router router(&r, &call->trace, ""); // the next call reuses it
        ASSERT_TRUE(feed(&router, reply, reply.size()));
    }
    EXPECT_EQ(all(), "4 9 1||; Routing//Routing;  0 0");
}

TEST_F(RouterTest, PathBufferIsTheOnlyPortMemoryAndNothingLeaks)
{
    const std::string selected = "{\"R\":{\"status\":1,\"moduleList\":{\"modules\":[{\"moduleType\":\"UserFlow\",";
    for (const std::string& reply : std::vector<std::string>{
             selected + "\"moduleArea\":\"Routing\",\"x\":[1,\"s\",true]}]}}}", // replaced, then stored
             selected + "\"moduleArea\":\"Routing\",\"x\":{\"y\":",             // ends mid-module
             "{\"R\":{\"status\":1,\"a\":[true,2,\"s\"],\"o\":{},\"messages\":[{\"code\":\"E\"", // held, cut
             "{\"R\":{\"status\":1,\"o\":{\"p\":{}}}}",                                       // never selected
             "{\"showList\":[{\"a\":1},{\"b\":2}",                                            // cut in the list
             selected + "\"" + std::string(1100, 'k') + "\":1}]}}}", // cancelled by the path limit
         }) {
        g_records = RecordCounts();
        const long before = port().liveAllocations();
        const long mallocs = port().mallocCalls;
        const size_t bytes = port().liveBytes();
        {
            TQLResponse response;
            Trace trace;
            Router router(&response, &trace, "");
            EXPECT_EQ(port().liveBytes(), bytes + 1024u);
            feed(&router, reply, 5);
            EXPECT_EQ(port().liveAllocations(), before + 1) << reply;
            EXPECT_EQ(port().mallocCalls, mallocs + 1) << reply;
        }
        EXPECT_EQ(port().liveAllocations(), before) << reply;
        EXPECT_EQ(g_records.made, g_records.deleted) << reply;
    }
    // Without its buffer the router cannot exist.
    EXPECT_DEATH({ port().failMallocAfter = 0; TQLResponse r; TQLResponseHandler router(&r, nullptr); }, "m_path");
}

} // namespace
