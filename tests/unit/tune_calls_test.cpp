// Tuning as the service and the engine see it: the tune URL per mode with
// its query order, a reply turned into token data, the index files chosen
// for the start that is wanted, and each way a tune can fail.
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "PortTest.h"
#include "ServiceReplies.h"
#include "tamberCore.h"
#include "tamberTokens.h"
#include "tqllibInt.h"

namespace {

const std::string kBase = testport::kServiceBase;
const std::string kLive = kBase + "/rest/v4/experience/modules/tune/now-playing-live";
const std::string kAod = kBase + "/rest/v2/experience/modules/tune/now-playing-aod";

// Variants on both servers in all three sizes, named by the "Live" placeholder.
std::string hlsInfos()
{
    std::string out;
    for (const char* name : {"primary", "secondary"})
        for (const char* size : {"SMALL", "MEDIUM", "LARGE"})
            out += std::string(out.empty() ? "" : ",") + R"({"name":")" + name + R"(","size":")" + size +
                   R"(","url":"%Live%/)" + name + "/" + size + R"(.m3u8"})";
    return "[" + out + "]";
}

std::string nowPlaying(const std::string& type, const std::string& data, int updateFrequency = 0)
{
    const std::string root = type == "AOD" ? "aodData" : "liveChannelData";
    return testport::serviceReply(R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":")" + type +
                                  R"(","updateFrequency":)" + std::to_string(updateFrequency) +
                                  R"(,"moduleResponse":{")" + root + R"(":{)" + data + "}}}");
}

std::string messages(int code)
{
    return R"([{"code":)" + std::to_string(code) + R"(,"message":"text )" + std::to_string(code) + "\"}]";
}

struct Reports {
    std::vector<tql_errorNotification> errors;
} g_reports;

int onError(void*, tql_errorNotification* e)
{
    g_reports.errors.push_back(*e);
    return 1;
}

class TuneCalls : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        g_reports = Reports();
        ASSERT_EQ(1, tql_init());
        tql_CallbackStruct cb = testport::quietCallbacks(this);
        cb.onError = onError;
        ASSERT_EQ(1, tql_registerCallbacks(cb));
        testport::scriptLogin();
        tql_errorNotification error{};
        ASSERT_EQ(1, tql_configure_tamber(&error));
        port().requests.clear();
        port().logs.clear();
        request.channelId = "ch-1";
    }
    static TamberRequest& req() { return tql_int_get_core()->getTamberRequest(); }
    static void answer(const std::string& body, int status = 200, bool prefixOfLive = true)
    {
        testport::Route route;
        route.url = prefixOfLive ? kLive : kAod;
        route.prefix = true;
        route.body = body;
        route.status = status;
        port().routes.insert(port().routes.begin(), route);
    }
    static std::pair<int, int> lastError()
    {
        tql_errorNotification e{};
        req().getErrorResponse(&e);
        return {e.errorCode, e.responseCode};
    }
    tokenRequestStrT request;
    tokenDataT token;
};

TEST_F(TuneCalls, UrlCarriesWhatEachModeAsksForInOrder)
{
    struct Row {
        int mode, custom;
        const char *timestamp, *asset;
        std::string url;
    };
    const std::string live = kLive + "?ccRequestType=AUDIO_VIDEO&channelId=ch-1&marker_mode=all_separate_cue_points";
    const std::string when = "2024-03-10T07:30:05.042+00:00";
    const std::string sent = "2024-03-10T07:30:05.0000042Z";
    const Row rows[] = {
        // Live sends position and time only with custom output.
        {0, 0, when.c_str(), "asset-9", live + "&hls_output_mode=none&result-template=mobile"},
        {0, 1, when.c_str(), "asset-9",
         live + "&hls_output_mode=custom&assetGUID=asset-9&timestamp=" + sent + "&result-template=mobile"},
        {0, 1, "", "", live + "&hls_output_mode=custom&result-template=mobile"},
        // On demand sends them whatever the output, spelled its own way.
        {1, 0, when.c_str(), "asset-9",
         kAod + "?caId=ca-5&hls_output_mode=none&channelId=ch-1&marker_mode=all_separate_cue_points&timestamp=" +
             sent + "&assetGuid=asset-9&result-template=mobile"},
        {1, 1, "", "",
         kAod + "?caId=ca-5&hls_output_mode=custom&channelId=ch-1&marker_mode=all_separate_cue_points"
                "&result-template=mobile"},
        {2, 1, "", "clips-3", kBase + "/rest/v4/aic/tune?channelGuid=clips-3&result-template=mobile"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        request.mode = row.mode, request.caId = "ca-5", request.timestamp = row.timestamp;
        request.assetGuid = row.asset;
        EXPECT_EQ(row.url, req().formRequestUrl(request, row.custom).toString().c_str());
    }
}

TEST_F(TuneCalls, WithoutRoutingThereIsNoUrl)
{
    tql_int_get_core()->setRouting(nullptr);
    EXPECT_TRUE(req().formRequestUrl(request, 1).isEmpty());
    EXPECT_EQ(std::make_pair(14, 0), lastError());
    EXPECT_EQ(-1, req().tamberStationToken(request, token, 1, 1));
    EXPECT_TRUE(port().requests.empty());
}

TEST_F(TuneCalls, LiveReplyBecomesTokenDataAndMediumIndexFiles)
{
    answer(nowPlaying("Live", R"("hlsAudioInfos":)" + hlsInfos(), 45));
    token.useAlternateServer = 7;
    request.useAlternateServer = 1;
    ASSERT_EQ(1, req().tamberStationToken(request, token, 1, 1));
    EXPECT_EQ(1u, port().requests.size());
    EXPECT_EQ(std::make_pair(0, 0), lastError());
    EXPECT_EQ(1, token.useAlternateServer);
    EXPECT_EQ(static_cast<int64_t>(port().nowMs), token.tokenTimestampMs);
    EXPECT_EQ(45, req().m_norvaletune->m_updateFrequency);
    // The fixed key of the port, hex-decoded.
    EXPECT_EQ(std::string("\x01\x23\x45\x67\x89\xab\xcd\xef"),
              std::string(token.keys[0].constData(), static_cast<size_t>(token.keys[0].size())));
    ASSERT_EQ(6u, token.hlsAudioInfos.size());

    tamberVariantUrls urls = req().getVariantFilesHLSv2(request, token);
    EXPECT_STREQ("https://live.test/primary/MEDIUM.m3u8", urls.primary.toString().c_str());
    EXPECT_STREQ("https://live.test/secondary/MEDIUM.m3u8", urls.secondary.toString().c_str());
    EXPECT_TRUE(port().logged("LIVE START ACTIVATED"));
    EXPECT_TRUE(urls.reserved1.isEmpty() && urls.reserved2.isEmpty());
}

TEST_F(TuneCalls, IndexSizeFollowsTheStartThatIsWanted)
{
    struct Row {
        int mode, tuneType, liveStart, firstChunkDone;
        const char* position; // of the first custom block
        const char* size;
        const char* log;
    };
    const Row rows[] = {
        {0, 0, 1, 0, "", "SMALL", "LIVE START ACTIVATED - USE SMALL INDEX FILE"},
        {0, 2, 1, 0, "", "LARGE", "LIVE START ACTIVATED - USE SMALL INDEX FILE"}, // time shift wins
        {0, 0, 0, 0, "TUNE_START", "LARGE", "TUNE START ACTIVATED"},
        {0, 0, 0, 0, "BUFFER", "LARGE", "BUFFER START ACTIVATED"},
        {0, 0, 0, 1, "", "LARGE", "LIVE AF START ACTIVATED"},
        {1, 1, 0, 0, "", "LARGE", "Using size = LARGE"},
    };
    token.hlsAudioInfos.clear();
    answer(nowPlaying("Live", R"("hlsAudioInfos":)" + hlsInfos()));
    ASSERT_EQ(1, req().tamberStationToken(request, token, 1, 1));
    for (const Row& row : rows) {
        SCOPED_TRACE(row.log);
        port().logs.clear();
        request.mode = row.mode, request.tuneType = row.tuneType, request.liveStart = row.liveStart;
        request.firstChunkDone = row.firstChunkDone;
        token.customAudioInfos.clear();
        TQLCustomAudioInfos custom;
        custom.position = row.position;
        token.customAudioInfos.push_back(custom);
        tamberVariantUrls urls = req().getVariantFilesHLSv2(request, token);
        EXPECT_EQ("https://live.test/primary/" + std::string(row.size) + ".m3u8", urls.primary.toString().c_str());
        EXPECT_TRUE(port().logged(row.log));
        EXPECT_EQ(0, request.liveStart); // consumed by the choice
    }
}

TEST_F(TuneCalls, CustomBlockFillsWhatTheVariantListLacks)
{
    // Only a small primary in the variant list; a medium one in custom blocks, the later winning.
    TQLHlsAudioInfos small;
    small.name = "primary", small.size = "MEDIUM", small.url = "%Live%/list-primary.m3u8";
    token.hlsAudioInfos.push_back(small);
    for (const char* url : {"%Live%/custom-1.m3u8", "%Live%/custom-2.m3u8"}) {
        TQLCustomAudioInfos custom;
        custom.name = "primary", custom.size = "MEDIUM", custom.url = url;
        token.customAudioInfos.push_back(custom);
    }
    tamberVariantUrls urls = req().getVariantFilesHLSv2(request, token);
    EXPECT_STREQ("https://live.test/custom-2.m3u8", urls.primary.toString().c_str());
    EXPECT_TRUE(urls.secondary.isEmpty());
    EXPECT_TRUE(port().logged("Using customAudioInfo block to obtain variant files"));

    // No relative URLs configured: nothing at all.
    tql_int_get_core()->getTamberRequest().m_norvaleconfiguration->reset();
    EXPECT_TRUE(req().getVariantFilesHLSv2(request, token).primary.isEmpty());
    EXPECT_TRUE(port().logged("Unable to obtain base streaming url from configuration", 1));
}

TEST_F(TuneCalls, OnDemandReplyGivesThePausePoint)
{
    request.mode = 1, request.caId = "ca-5";
    answer(nowPlaying("AOD", R"("pausePointOffset":5000000000,"hlsAudioInfos":)" + hlsInfos()), 200, false);
    ASSERT_EQ(1, req().tamberStationToken(request, token, 1, 1));
    EXPECT_EQ(5000000000LL, request.pausePointOffset);
    tamberVariantUrls urls = req().getVariantFilesHLSv2(request, token);
    EXPECT_STREQ("https://live.test/secondary/LARGE.m3u8", urls.secondary.toString().c_str());
}

TEST_F(TuneCalls, ARepliedListReplacesTheHeldOneOnlyWhenItHasEntries)
{
    answer(nowPlaying("Live", R"("hlsAudioInfos":)" + hlsInfos()));
    ASSERT_EQ(1, req().tamberStationToken(request, token, 1, 0));
    port().routes.clear();
    answer(nowPlaying("Live", R"("channelId":"ch-1")"));
    ASSERT_EQ(1, req().tamberStationToken(request, token, 1, 0));
    EXPECT_EQ(6u, token.hlsAudioInfos.size());
}

TEST_F(TuneCalls, FailuresEndInTheirOwnErrorAndResult)
{
    struct Row {
        std::string reply;
        int httpStatus;
        int result;
        std::pair<int, int> error;
        const char* log;
        size_t sleeps;
    };
    const std::string none = testport::serviceReply("", 0, "[]");
    const Row rows[] = {
        {testport::serviceReply("", 0, messages(204)), 200, -1, {33, 0}, "Token Update: Failed -> Simultaneous Login", 0},
        {testport::serviceReply("", 0, messages(208)), 200, -16, {18, 208},
         "Token Update: Failed -> Invalid session reuathentication required", 0},
        {testport::serviceReply("", 0, messages(309)), 200, -1, {17, 309}, "Content not available server code 309", 0},
        {testport::serviceReply("", 0, messages(320)), 200, -1, {59, 320}, "Expired AOD episode 320", 1},
        // The service is briefly unwell: play on with what is there.
        {none, 503, 1, {0, 0}, "Tune cannel temporary failed continue to play", 1},
        {none, 500, -1, {15, 0}, "Unspecified error from server >> no server message provided HTTP code = 500", 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.log);
        req().clearMessageFlags();
        req().setLibraryErrorResponse(0, 0);
        port().routes.clear();
        port().logs.clear();
        port().sleeps.clear();
        g_reports.errors.clear();
        answer(row.reply, row.httpStatus);
        EXPECT_EQ(row.result, req().tamberStationToken(request, token, 1, 1));
        EXPECT_EQ(row.error, lastError());
        EXPECT_TRUE(port().logged(row.log));
        EXPECT_EQ(row.sleeps, port().sleeps.size());
        if (row.httpStatus == 503) {
            EXPECT_EQ(1, req().m_norvaletune->m_status);
        }
        // Only an expired episode is told to the host at once.
        if (row.error.first == 59) {
            ASSERT_EQ(1u, g_reports.errors.size());
            EXPECT_EQ(59, g_reports.errors[0].errorCode);
            EXPECT_EQ(320, g_reports.errors[0].responseCode);
            EXPECT_EQ(0, g_reports.errors[0].playbackStopped);
        } else {
            EXPECT_TRUE(g_reports.errors.empty());
        }
    }
}

TEST_F(TuneCalls, RetriesPauseFiveSecondsAfterEachFailedTry)
{
    answer(testport::serviceReply("", 0, "[]"), 500);
    EXPECT_EQ(-1, req().tamberStationToken(request, token, 3, 1));
    EXPECT_EQ(3u, port().requests.size());
    EXPECT_EQ((std::vector<int>{5, 5, 5}), port().sleeps);
    EXPECT_EQ(3u, port().countLogged("try to do token request try = "));
}

TEST_F(TuneCalls, AStickyNoTracksFlagFailsAGoodReply)
{
    answer(nowPlaying("Live", R"("hlsAudioInfos":)" + hlsInfos()));
    req().m_noTracks = 1;
    EXPECT_EQ(-1, req().tamberStationToken(request, token, 1, 1));
    EXPECT_EQ(17, lastError().first);
    EXPECT_TRUE(token.hlsAudioInfos.empty());
}

TEST_F(TuneCalls, StartNowAlwaysGivesTheReplyAndSaysHowItWent)
{
    answer(nowPlaying("Live", R"("hlsAudioInfos":)" + hlsInfos()));
    TQLResponse* response = req().tamberNorvaleTuneStartNow("ch-2");
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(req().m_norvaletunestart, response);
    EXPECT_EQ(kLive + "?ccRequestType=AUDIO_VIDEO&channelId=ch-2&hls_output_mode=custom"
                      "&marker_mode=all_separate_cue_points&result-template=mobile",
              port().requests.back().url);
    EXPECT_EQ(1, response->m_status);
    EXPECT_EQ(std::make_pair(0, 0), lastError());

    port().routes.clear();
    answer(testport::serviceReply("", 0, messages(309)));
    response = req().tamberNorvaleTuneStartNow("ch-2");
    ASSERT_NE(nullptr, response);
    EXPECT_EQ(0, response->m_status);
    EXPECT_EQ(std::make_pair(17, 309), lastError());
}

} // namespace
