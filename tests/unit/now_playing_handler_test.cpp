// Tune replies as the engine reads them afterwards: the record of the live and
// the on-demand variant, parsed through the real router in pieces of any size.
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "PortTest.h"
#include "ReplyParser.h"
#include "ServiceReplies.h"
#include "TestText.h"
#include "tamberJson/tamberJson.h"
#include "tamberResponse/tamberNowPlaying.h"

namespace {

using std::string;
using std::to_string;

using testport::join;
using testport::str;

// Everything a reply left in TQLResponse, so that two parses compare whole.
string describe(const TQLResponse& response)
{
    string out = join(response.m_status, response.m_wallClockRenderTime) + "\n";
    for (const TQLModule& module : response.m_modules) {
        out += join(module.moduleArea, module.moduleType) + "\n";
        auto* r = dynamic_cast<const TQLModuleResponseNowPlaying*>(module.m_moduleResponse);
        if (!r)
            continue;
        out += join(r->updateFrequency, r->wallClockRenderTime, r->hlsConsumptionInfo, r->channelId,
                    r->pausePointOffset, r->aodEpisodeCount) + "\n";
        for (const TQLHlsAudioInfos& h : r->hlsAudioInfos)
            out += "hls:" + join(h.name, h.url, h.size) + "\n";
        for (const TQLCustomAudioInfos& c : r->customAudioInfos) {
            out += "custom:" + join(c.name, c.url, c.size, c.positionTimestamp, c.position) + "\n";
            for (const TQLChunk& k : c.chunks)
                out += "chunk:" + join(k.url, k.timestamp, k.offset, k.key, k.keyUrl) + "\n";
        }
        for (const TQLCuePointList& p : r->cuePointLists)
            out += "cue:" + join(p.assetGUID, p.active, p.layer, p.time, p.timestamp, p.event, p.markerGuid) + "\n";
        for (const TQLMarkerList& list : r->markerLists) {
            out += "list:" + join(list.layer) + "\n";
            for (const TQLMarker& m : list.markers) {
                const TQLDmcaInfo& d = m.dmcaInfo;
                out += "marker:" + join(m.assetGUID, m.consumptionInfo, m.layer, m.time, m.timestamp, m.containerGUID,
                                        m.duration, m.title, m.artistName, m.artistPersonGuid, m.albumTitle,
                                        m.showLongTitle, m.showGUID, m.clipGUID, m.longDescription, m.legacyShortId,
                                        m.segmentType, d.irNavClass, d.playOnSelect, d.maxFwdSkips, d.maxBackSkips,
                                        d.fwdSkipDur, d.backSkipDur, d.maxTotalSkips, d.maxSkipDur);
                for (const TQLImage& i : m.creativeArts)
                    out += "art:" + join(i.name, i.url, i.platform, i.height, i.width, i.encrypted);
                out += "\n";
            }
        }
    }
    return out;
}

string module(const string& type, const string& root, const string& data, const string& before = "")
{
    return R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":")" + type + "\"," + before +
           R"("moduleResponse":{")" + root + R"(":)" + data + "}}";
}
string live(const string& data, const string& before = "") { return module("Live", "liveChannelData", data, before); }
string aod(const string& data, const string& before = "") { return module("AOD", "aodData", data, before); }

class NowPlayingHandlerTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1);
    }

    // Parses the reply in pieces of 1 and 7 bytes and whole, shows that the
    // three results agree, and returns the first module's record.
    const TQLModuleResponseNowPlaying* parse(const string& text)
    {
        string first;
        for (size_t piece : {size_t(1), size_t(7), text.size()}) {
            response = testport::parseReply(text, piece);
            if (first.empty())
                first = describe(*response);
            else
                EXPECT_EQ(describe(*response), first) << "pieces of " << piece;
        }
        if (response->m_modules.empty())
            return ADD_FAILURE() << "no module", nullptr;
        return dynamic_cast<TQLModuleResponseNowPlaying*>(response->m_modules.front().m_moduleResponse);
    }

    std::unique_ptr<TQLResponse> response;
};

const char* const kLiveData = R"({"channelId":"jazzhits","hlsConsumptionInfo":"tok:1","pausePointOffset":99,
  "hlsAudioInfos":[{"name":"primary","url":"%Live%/256k.m3u8","size":"LARGE"},{"name":"secondary"}],
  "customAudioInfos":[{"name":"intro","url":"%Custom%/intro.m3u8","size":"MEDIUM",
     "position":{"timestamp":"2024-03-01T10:00:00.000+0000","position":"START"},
     "chunks":{"chunks":[{"url":"c1.aac","timestamp":"t1","offset":12.9,"key":"a\u0000b","keyUrl":"%Key%/1"},
                         {"url":"c2.aac","key":"k2"}]}},
    {"name":"outro"}],
  "cuePointList":{"cuePoints":[{"assetGUID":"a1","active":true,"layer":"cut","time":65,
     "timestamp":{"absolute":"2024-03-01T10:00:05.000+0000"},"event":"START","markerGuid":"m1"},
    {"assetGUID":"a2","time":1709287205000}]},
  "markerLists":[
    {"layer":"episode","markers":[{"assetGUID":"e1","layer":"episode","time":1000,"duration":3600,
      "timestamp":{"absolute":"2024-03-01T09:00:00.000+0000"},"consumptionInfo":"ci","containerGUID":"ct",
      "episode":{"longTitle":"Morning Show","longDescription":"News",
        "show":{"longTitle":"The Morning","showGUID":"show-1","mediumTitle":"Morn","creativeArts":
          [{"name":"show art","url":"%Art%/show.jpg","height":300,"width":400,"encrypted":true}]},
        "dmcaInfo":{"irNavClass":"RESTRICTED","playOnSelect":"LIVE","maxFwdSkips":6,"maxBackSkips":7,
                    "fwdSkipDur":8,"backSkipDur":9,"maxTotalSkips":10,"maxSkipDur":11}}}]},
    {"layer":"cut","markers":[{"assetGUID":"c1","time":2000.7,"duration":-4.5,
       "cut":{"title":"Blue Tune","clipGUID":"clip-1","artists":[{"name":"First","personGuid":"p1"},
         {"name":"Second","personGuid":"p2"}],"album":{"title":"Blues","creativeArts":[{"name":"cover","index":0}]}}},
      {"assetGUID":"c2","episode":{"show":{"longTitle":"Not this show","showGUID":"show-x"}}}]},
    {"markers":[{"assetGUID":"s1","segment":{"segmentType":"talk","legacyIds":{"shortId":"S1"}}}],"layer":"segment"},
    {"layer":"none","markers":[]}]})";

TEST_F(NowPlayingHandlerTest, LiveReplyFillsTheWholeRecord)
{
    // The second module keeps the handler, as its type selects none: the
    // same record grows, but without the first module's show.
    parse(testport::serviceReply(
        live(kLiveData, R"("updateFrequency":30,"wallClockRenderTime":"2024-03-01T10:00:00Z",)") +
        R"(,{"moduleType":"Live","moduleResponse":{"liveChannelData":{"markerLists":[{"markers":[{"assetGUID":"n"}]}]}}})"));
    // Each element starts from a blank work item. The last artist wins. The
    // episode list's show labels every later marker of the module; a show in
    // another layer is ignored. A list's layer is the last one seen when its
    // markers ended, and a list without markers has none.
    const string module = "30|2024-03-01T10:00:00Z|tok:1|jazzhits|0|0|\n"
                          "hls:primary|%Live%/256k.m3u8|LARGE|\n"
                          "hls:secondary|||\n"
                          "custom:intro|%Custom%/intro.m3u8|MEDIUM|2024-03-01T10:00:00.000+0000|START|\n" +
                          string("chunk:c1.aac|t1|12|a\0b|%Key%/1|\n", 32) +
                          "chunk:c2.aac||0|k2||\n"
                          "custom:outro|||||\n"
                          "cue:a1|1|cut|A|2024-03-01T10:00:05.000+0000|START|m1|\n"
                          "cue:a2|0||\xff||||\n"
                          "list:episode|\n"
                          "marker:e1|ci|episode|1000|2024-03-01T09:00:00.000+0000|ct|3600|Morning Show||||The Morning|"
                          "show-1||News|||RESTRICTED|LIVE|6|7|8|9|10|11|art:show art|%Art%/show.jpg||300|400|1|\n"
                          "list:cut|\n"
                          "marker:c1|||2000|||-4|Blue Tune|Second|p2|Blues|The Morning|show-1|clip-1||||||"
                          "0|0|0|0|0|0|art:cover|||0|0|0|\n"
                          "marker:c2|||0|||0|||||The Morning|show-1|||||||0|0|0|0|0|0|\n"
                          "list:cut|\n"
                          "marker:s1|||0|||0|||||The Morning|show-1|||S1|talk|||0|0|0|0|0|0|\n"
                          "list:|\n"
                          "list:none|\n"
                          "marker:n|||0|||0|||||||||||||0|0|0|0|0|0|\n";
    const string entry = "NowPlayingTimelineFeed|Live|\n" + module;
    EXPECT_EQ(describe(*response), "1|2024-03-01T10:00:00Z|\n" + entry + entry);
}

TEST_F(NowPlayingHandlerTest, OnDemandReadsItsOwnTableOnly)
{
    const string data = R"({"channelId":"show-ch","pausePointOffset":3000000000.9,"aodEpisodeCount":4,)"
                        R"("markerLists":[{"layer":"cut","markers":[{"assetGUID":"x1","cut":{"title":"Cut"},)"
                        R"("episode":{"longTitle":"Ep 1","show":{"longTitle":"Any layer","showGUID":"g"}},)"
                        R"("segment":{"segmentType":"talk","legacyIds":{"shortId":"S"}}}]}]})";
    // moduleType before moduleArea is held and replayed, so the variant is known in time.
    const string typeFirst = R"({"moduleType":"AOD","moduleArea":"NowPlayingTimelineFeed","moduleResponse":)"
                             R"({"liveChannelData":{"channelId":"live-ch"},"aodData":)" + data + "}}";
    // A second module of the same handler must not inherit the show.
    const string next = R"(,{"moduleType":"AOD","moduleResponse":{"aodData":{"markerLists":[{"markers":[{}]}]}}})";
    for (const string& first : {aod(data), typeFirst}) {
        const TQLModuleResponseNowPlaying* r = parse(testport::serviceReply(first + next));
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(join(r->channelId, r->pausePointOffset, r->aodEpisodeCount), "show-ch|3000000000|4|");
        ASSERT_EQ(r->markerLists.size(), 2u);
        const TQLMarker& m = r->markerLists[0].markers.at(0);
        // The later of cut and episode title wins. The show title counts in
        // any layer; GUID, segment type and short id are live-only.
        EXPECT_EQ(join(m.title, m.showLongTitle, m.showGUID, m.segmentType, m.legacyShortId), "Ep 1|Any layer||||");
        EXPECT_EQ(r->markerLists[1].markers.at(0).showLongTitle, "");
    }
}

TEST_F(NowPlayingHandlerTest, VariantFollowsTheModuleTypeSeenSoFar)
{
    struct Case {
        string modules, channelIds;
    } cases[] = {
        // A consume module's type keeps the live table.
        {module("aic", "liveChannelData", R"({"channelId":"L"})"), "L|"},
        {module("aic", "aodData", R"({"channelId":"A"})"), "|"},
        // After an on-demand module, "aic" keeps the on-demand table.
        {aod(R"({"channelId":"A1"})") + R"(,{"moduleType":"aic","moduleResponse":{"aodData":{"channelId":"A2"}}})",
         "A2|A2|"},
        {aod(R"({"channelId":"A1"})") + R"(,{"moduleType":"Live","moduleResponse":{"liveChannelData":{"channelId":"L"}}})",
         "L|L|"},
        // A type that comes after the data is too late: the live table read it.
        {R"({"moduleArea":"NowPlayingTimelineFeed","moduleResponse":{"aodData":{"channelId":"A"}},"moduleType":"AOD"})",
         "|"},
        {live(R"({"channelId":"L"})") + "," + aod(R"({"channelId":"A"})"), "L|A|"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.modules);
        parse(testport::serviceReply(c.modules));
        string ids;
        for (const TQLModule& m : response->m_modules)
            ids += join(static_cast<TQLModuleResponseNowPlaying*>(m.m_moduleResponse)->channelId);
        EXPECT_EQ(ids, c.channelIds);
    }
}

TEST_F(NowPlayingHandlerTest, AnyNumberLandsInRangeAndWrongTypesAreDropped)
{
    // A cue point's time keeps only the low byte of the number as unsigned;
    // ints and the 64-bit pause point saturate.
    const int64_t max64 = std::numeric_limits<int64_t>::max(), min64 = std::numeric_limits<int64_t>::min();
    struct Case {
        const char* number;
        int64_t offset;
        string cueTime;
        int markerTime;
    } cases[] = {
        {"65.9", 65, "A", 65},
        {"256", 256, string(1, '\0'), 256},
        {"4294967105", 4294967105, "A", 2147483647},
        {"-2.5", -2, string(1, '\0'), -2},
        {"1e20", max64, "\xff", 2147483647},
        {"-1e400", min64, string(1, '\0'), -2147483647 - 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        const string n = c.number;
        const TQLModuleResponseNowPlaying* r = parse(testport::serviceReply(
            aod(R"({"pausePointOffset":)" + n + R"(,"channelId":7,"aodEpisodeCount":"3","cuePointList":{"cuePoints":)"
                R"([{"time":)" + n + R"(,"active":"yes"}]},"markerLists":[{"markers":[{"assetGUID":true,"time":)" +
                n + "}]}]}")));
        ASSERT_NE(r, nullptr);
        const TQLCuePointList& cue = r->cuePointLists.at(0);
        const TQLMarker& m = r->markerLists.at(0).markers.at(0);
        EXPECT_EQ(join(r->pausePointOffset, cue.time, m.time), join(c.offset, c.cueTime, c.markerTime));
        EXPECT_EQ(join(r->channelId, r->aodEpisodeCount, cue.active, m.assetGUID), "|0|0||");
    }
}

} // namespace
