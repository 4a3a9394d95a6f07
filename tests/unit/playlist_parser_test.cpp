// Variant and index files as the engine receives them: entries and the key
// carrier at the end of the list, files that are no playlist or are hostile,
// and the choice between the two servers, seen in the requests on the wire.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberPlaylistParser.h"
#include "tamberTokens.h"
#include "tqllibInt.h"

namespace {

const std::string kDir = "https://live.test/hls/ch1/";
const std::string kIndex = kDir + "index.m3u8";
const std::string kHead = "#EXTM3U\n#EXT-X-VERSION:3\n";

void serve(const std::string& url, const std::string& body, int status = 200, int uses = -1)
{
    testport::Route route;
    route.url = url, route.body = body, route.status = status, route.uses = uses;
    route.pieceSize = 7; // in pieces, as a transfer delivers it
    testport::ScriptedPort::get().addRoute(route);
}

class PlaylistParser : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(1, tql_init());
    }
    int parse(const std::string& body)
    {
        port().routes.clear();
        serve(kIndex, body);
        return parseAt(kIndex);
    }
    int parseAt(const std::string& at)
    {
        url = tql_url(tql_string(at.c_str()));
        return TamberPlaylistParser(tql_int_get_core()->getTamberRequest()).doParse(url, out);
    }
    std::vector<std::string> uris() const
    {
        std::vector<std::string> list;
        for (size_t i = 0; i + 1 < out.size(); ++i)
            list.push_back(out[i].uri.c_str());
        return list;
    }
    const TQL_HlsInfo& carrier() const { return out.back().hlsInfo; }

    tql_url url;
    tql_list<tql_roles> out;
};

TEST_F(PlaylistParser, EntriesThenTheKeyCarrier)
{
    ASSERT_EQ(1, parse(kHead + "#EXT-X-KEY:METHOD=AES-128,URI=\"key/4\",IV=0x1234\n#EXTINF:10.0,\na_1.aac\n"
                               "#EXT-X-PROGRAM-DATE-TIME:2024-03-10T07:30:05Z\n#EXTINF:9.98,Artist - Title\na_2.aac\n"
                               "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=128000\n128k.m3u8\n"
                               "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=30000,BANDWIDTH=32000\n32k.m3u8\n"
                               "https://other.test/x.aac\n"));
    EXPECT_EQ(1u, port().requests.size());
    EXPECT_EQ((std::vector<std::string>{kDir + "a_1.aac", kDir + "a_2.aac", kDir + "128k.m3u8", kDir + "32k.m3u8",
                                        kDir + "https://other.test/x.aac"}), // absolute lines are glued on too
              uris());
    EXPECT_EQ(10, out[0].duration);
    EXPECT_EQ(9, out[1].duration);
    EXPECT_EQ((std::vector<int>{0, 0, 0, 32000, 0}), (std::vector<int>{out[0].bitRate, out[1].bitRate,
                                                                        out[2].bitRate, out[3].bitRate, out[4].bitRate}));
    EXPECT_STREQ("", out[0].programDateTime.c_str());
    EXPECT_STREQ("2024-03-10T07:30:05Z", out[4].programDateTime.c_str()); // never cleared
    // Only the last element carries the key, its copy taken from keyUri.
    EXPECT_TRUE(out[0].hlsInfo.keyUri.isEmpty() && out.back().uri.isEmpty());
    EXPECT_STREQ((kDir + "key/4").c_str(), carrier().keyUriCopy.c_str());
    EXPECT_STREQ("other.test/x.aac", carrier().streamTail.c_str()); // the line less 8, after no EXTINF
    EXPECT_TRUE(port().logged("doParse full time", 4));
}

TEST_F(PlaylistParser, TagBeforeAnEntryFeedsItAndTheCarrier)
{
    struct Row {
        const char* tag;
        int duration;
        const char* tail; // of the entry "abcdefgh.aac"
        std::string keyUri, keyData;
    };
    const Row rows[] = {
        {"#EXTINF:10.5", 0, ".aac", "", ""},
        {"#extinf:7,", 7, "", "", ""},
        {"#EXTINF:10,a,b", 0, "", "", ""},
        {"#EXTINF:99999999999999999999,", 0, "", "", ""},
        {"#ext-x-key:METHOD=AES-128, URI=\"key2\" ,IV=0x01", 0, ".aac", kDir + "key2", ""},
        {"#EXT-X-KEY:URI=\"data:;base64,AAAA\",URI=\"k3\"", 0, ".aac", "", "AAAA"}, // inline key ends the walk
        {"#EXT-X-KEY:METHOD=AES-128,URI=\"data:;base64\"", 0, ".aac", "", ""},
        {"#EXT-X-KEY:URI=\"key4", 0, ".aac", kDir + "key4", ""}, // hostile quoting
        {"#EXT-X-KEY:URI=", 0, ".aac", kDir, ""},
        {"#EXT-X-KEY:URI=\"data:;base64,BBBB", 0, ".aac", "", "BBBB"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.tag);
        port().logs.clear();
        ASSERT_EQ(1, parse(kHead + row.tag + "\nabcdefgh.aac\n"));
        ASSERT_EQ(2u, out.size());
        EXPECT_EQ(row.duration, out[0].duration);
        EXPECT_STREQ(row.tail, carrier().streamTail.c_str());
        EXPECT_EQ(row.keyUri, carrier().keyUriCopy.c_str());
        const tql_bytearray& data = carrier().keyData;
        EXPECT_EQ(row.keyData, data.isEmpty() ? "" : std::string(data.constData(), size_t(data.size())));
        EXPECT_EQ(!row.keyData.empty(), port().logged("Dirrect stream info: " + row.keyData, 3));
    }
}

TEST_F(PlaylistParser, HeaderAndLineEndsDecideWhatIsRead)
{
    struct Row {
        std::string body;
        int result;
        std::vector<std::string> entries;
    };
    const Row rows[] = {
        {"#extm3u\n#ext-x-version:3\na\n", 1, {"a"}},
        {"\n\n#EXTM3U  \r\n#SXIR:1\r\na\r\n", 1, {"a"}},
        {"#EXTM3U extra\n#EXT-X-VERSION:3\na\n", -1, {}},
        {"#EXTM3U\n#EXTINF:10,\na\n", -1, {}},
        {"#EXTM3U\n#EXT-X-KEY:URI=\"lost\"\na\n", 1, {"a"}}, // the second line is not read
        {kHead + "#EXT-X-ENDLIST\n", 1, {}},                   // no entries, no carrier
        {kHead + "a\n\n\nb\n \t\nc\n", 1, {"a", "b"}},        // a line of blanks ends the file
        {kHead + std::string("a\0b\n", 4), 1, {"a"}},
        {kHead + "a", 1, {"a"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body);
        out.assign(3, tql_roles()); // a file that is read empties the list first
        EXPECT_EQ(row.result, parse(row.body));
        std::vector<std::string> expected;
        for (const std::string& e : row.entries)
            expected.push_back(kDir + e);
        EXPECT_EQ(expected, uris());
        EXPECT_EQ(row.entries.empty() ? 0u : row.entries.size() + 1, out.size());
        EXPECT_TRUE(out.empty() || carrier().keyUri.isEmpty());
    }
}

TEST_F(PlaylistParser, LongLinesAreCutAndTheFullBufferIsRead)
{
    ASSERT_EQ(1, parse(kHead + std::string(5000, 'x') + "\n"));
    const std::string cut = kDir + std::string(2047, 'x');
    EXPECT_EQ((std::vector<std::string>{cut, cut, kDir + std::string(906, 'x')}), uris());

    // The largest body the buffer takes is read to its last byte.
    const size_t largest = TamberRequest::kBufferSize - 1;
    std::string big = kHead;
    while (big.size() + 8 + 2 <= largest)
        big += "seg.aac\n";
    big.append(largest - 2 - big.size(), '\n');
    ASSERT_EQ(1, parse(big + "zz"));
    EXPECT_EQ(kDir + "zz", uris().back());
    // One byte more and the transfer is refused, the list untouched.
    out.assign(2, tql_roles());
    EXPECT_EQ(-1, parse(big + "zz\n"));
    EXPECT_EQ(2u, out.size());
}

TEST_F(PlaylistParser, DownloadFailsOrFollowsARedirect)
{
    out.assign(2, tql_roles());
    EXPECT_EQ(-1, parseAt(kIndex)); // nothing answers: 404, which is final
    EXPECT_TRUE(port().logged("Unable to download file from url: " + kIndex, 1));
    serve(kIndex, "", 500, 3); // tried three times, five seconds apart
    EXPECT_EQ(-1, parseAt(kIndex));
    EXPECT_EQ(4u, port().requests.size());
    EXPECT_EQ((std::vector<int>{5, 5, 5}), port().sleeps);
    EXPECT_EQ(2u, out.size());

    testport::Route moved;
    moved.url = kIndex, moved.status = 302, moved.headers = {"Location: https://edge.test/b/index.m3u8"};
    port().addRoute(moved);
    serve("https://edge.test/b/index.m3u8", kHead + "#EXT-X-KEY:URI=\"k\"\na.aac\n");
    ASSERT_EQ(1, parseAt(kIndex));
    EXPECT_STREQ("https://edge.test/b/index.m3u8", url.toString().c_str());
    EXPECT_EQ((std::vector<std::string>{"https://edge.test/b/a.aac"}), uris());
    EXPECT_STREQ("https://edge.test/b/k", carrier().keyUri.c_str());
}

TEST(PlaylistParserRecords, CopiesTakeKeyUriCopyFromKeyUri)
{
    TQL_HlsInfo info;
    info.keyUri = "https://live.test/key", info.keyUriCopy = "stale";
    TQL_HlsInfo assigned;
    assigned = info;
    EXPECT_STREQ("https://live.test/key", TQL_HlsInfo(info).keyUriCopy.c_str());
    EXPECT_STREQ("https://live.test/key", assigned.keyUriCopy.c_str());
}

// Variant URLs come from the token's variants rebased on the "Live" relative URL.
TEST_F(PlaylistParser, VariantFileFromServerInUseOtherOnlyWhenAudioRunsLow)
{
    ASSERT_EQ(1, tql_registerCallbacks(testport::quietCallbacks(this)));
    testport::scriptLogin();
    tql_errorNotification error{};
    ASSERT_EQ(1, tql_configure_tamber(&error));
    tokenDataT token;
    tokenRequestStrT request;
    for (const char* name : {"primary", "secondary"}) {
        TQLHlsAudioInfos info;
        info.name = name, info.size = "MEDIUM", info.url = tql_string("%Live%/") + name + "/v.m3u8";
        token.hlsAudioInfos.push_back(info);
    }
    const std::string p = "https://live.test/primary/v.m3u8", s = "https://live.test/secondary/v.m3u8";
    struct Row {
        int requestAlternate, tokenAlternate, dataLeftMs;
        int primaryFailures, secondaryFailures; // 404 answers before good ones; -1: always
        int result;
        std::vector<std::string> wire;
        int alternateAfter; // of token and request
        std::vector<int> sleeps;
        size_t outSize; // 3: the list as it was
    };
    const Row rows[] = {
        {0, 0, 0, 0, 0, 1, {p}, 0, {}, 2},
        {1, 0, 0, 0, 0, 1, {s}, 0, {}, 2}, // the request then takes the token's flag
        {1, 1, 0, 0, 0, 1, {s}, 1, {}, 2},
        {0, 0, 30000, -1, 0, 1, {p}, 0, {}, 3},
        {0, 0, 20000, -1, 0, 1, {p, s}, 1, {}, 2},
        {1, 1, 0, 0, -1, 1, {s, p}, 0, {}, 2},
        {0, 0, 0, 1, -1, 1, {p, s, p}, 0, {2}, 2},
        {0, 0, 0, -1, -1, -1, {p, s, p}, 0, {2}, 3},
    };
    TamberPlaylistParser parser(tql_int_get_core()->getTamberRequest());
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::Message() << "alternate " << row.requestAlternate << " failures "
                                          << row.primaryFailures << "/" << row.secondaryFailures);
        port().routes.clear(), port().requests.clear(), port().sleeps.clear(), port().logs.clear();
        if (row.primaryFailures)
            serve(p, "", 404, row.primaryFailures);
        if (row.secondaryFailures)
            serve(s, "", 404, row.secondaryFailures);
        serve(p, kHead + "64k.m3u8\n"), serve(s, kHead + "64k.m3u8\n");
        request.useAlternateServer = row.requestAlternate, token.useAlternateServer = row.tokenAlternate;
        out.assign(3, tql_roles());
        EXPECT_EQ(row.result, parser.tamberDownloadVariantFile(token, request, out, row.dataLeftMs));
        std::vector<std::string> wire;
        for (const testport::RecordedRequest& r : port().requests)
            wire.push_back(r.url);
        EXPECT_EQ(row.wire, wire);
        EXPECT_EQ(row.alternateAfter, token.useAlternateServer);
        EXPECT_EQ(row.alternateAfter, request.useAlternateServer);
        EXPECT_EQ(row.sleeps, port().sleeps);
        ASSERT_EQ(row.outSize, out.size());
        if (row.outSize == 2) { // read from the server that answered last
            EXPECT_EQ(wire.back().substr(0, wire.back().size() - 6) + "64k.m3u8", out[0].uri.c_str());
        }
        EXPECT_EQ(row.result == -1, port().logged("Unable to parse index variant file", 1));
    }
    token.hlsAudioInfos.clear();
    port().requests.clear();
    EXPECT_EQ(-1, parser.tamberDownloadVariantFile(token, request, out, 0));
    EXPECT_TRUE(port().requests.empty());
    EXPECT_TRUE(port().logged("Variant Url is empty", 1));
}

} // namespace
