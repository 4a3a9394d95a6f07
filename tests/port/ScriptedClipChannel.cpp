#include "ScriptedClipChannel.h"

#include "ScriptedPort.h"
#include "ServiceReplies.h"

namespace testport {

const char* const ScriptedClipChannel::kServer = "https://live.test/clips/";

namespace {
void route(const std::string& url, const std::string& body, size_t pieceSize = 0)
{
    Route r;
    r.url = url;
    r.body = body;
    r.pieceSize = pieceSize;
    // The library takes the block padding off once the whole body is in.
    if (pieceSize)
        r.headers.push_back("Content-Length: " + std::to_string(body.size()));
    ScriptedPort::get().addRoute(r);
}

std::string serverName(bool secondary)
{
    return secondary ? "secondary/" : "primary/";
}
} // namespace

std::string ScriptedClipChannel::variantUrl(int clip, bool secondary) const
{
    return kServer + serverName(secondary) + clipGuid(clip) + "/variant.m3u8";
}

std::string ScriptedClipChannel::indexUrl(int clip, bool secondary, int stream) const
{
    return kServer + serverName(secondary) + clipGuid(clip) + "/s" + std::to_string(stream) + "/index.m3u8";
}

std::string ScriptedClipChannel::chunkUrl(int clip, bool secondary, int stream, int seq) const
{
    return kServer + serverName(secondary) + clipGuid(clip) + "/s" + std::to_string(stream) + "/" + clipGuid(clip) +
           "_" + rate + "_1_0_" + std::to_string(seq) + "_5.aac";
}

std::string ScriptedClipChannel::audio(int clip, int seq) const
{
    // 32-byte ADTS frames as the scripted stream's (AAC LC, 16 kHz, one
    // channel); the first byte after the header names the clip.
    static const char kHeader[] = "\xFF\xF1\x60\x40\x04\x1F\xFC";
    std::string out;
    for (int f = 0; f < framesPerChunk; ++f) {
        out.append(kHeader, 7);
        out += static_cast<char>(clip & 0x7F);
        for (int i = 1; i < 25; ++i)
            out += static_cast<char>((seq * 13 + f * 7 + i) & 0x7F);
    }
    return out;
}

std::string ScriptedClipChannel::clipAudio(int clip) const
{
    std::string out;
    for (int seq = 1; seq <= chunksPerClip; ++seq)
        out += audio(clip, seq);
    return out;
}

std::string ScriptedClipChannel::body(int clip, int seq) const
{
    std::string plain = std::string("ID3\x04\x00\x00\x00\x00\x00\x05PRIV0", 15) + audio(clip, seq);
    size_t pad = 16 - plain.size() % 16;
    plain.append(pad, static_cast<char>(pad));
    ScriptedPort::scriptedCipher(reinterpret_cast<unsigned char*>(&plain[0]), static_cast<int>(plain.size()), key1,
                                 seq, 0);
    return plain;
}

std::string ScriptedClipChannel::indexFile(int clip) const
{
    std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-KEY:METHOD=AES-128,URI=\"key1\"\n";
    for (int seq = 1; seq <= chunksPerClip; ++seq) {
        char when[64];
        int second = (seq - 1) * kChunkSeconds;
        snprintf(when, sizeof when, "2024-05-01T10:%02d:%02d.000+00:00", clip % 60, second % 60);
        out += "#EXT-X-PROGRAM-DATE-TIME:" + std::string(when) + "\n#EXTINF:10,\n" + clipGuid(clip) + "_" + rate +
               "_1_0_" + std::to_string(seq) + "_5.aac\n";
    }
    return out + "#EXT-X-ENDLIST\n";
}

std::string ScriptedClipChannel::reply(int first, int count) const
{
    std::string clips;
    for (int c = first; c < first + count; ++c) {
        std::string n = std::to_string(c);
        clips += std::string(clips.empty() ? "" : ",") + R"({"assetGuid":")" + clipGuid(c) +
                 R"(","assetType":"CLIP","consumptionInfo":"ci-)" + n + R"(","title":")" + title(c) +
                 R"(","artistName":"Artist )" + n + R"(","albumName":"Album )" + n +
                 R"(","clipImageUrl":"%Art%/clip)" + n + R"(.png","duration":)" + std::to_string(clipSeconds()) +
                 R"(,"crossfade":{"crossFade":1.5,"fadeDownPos":28000},"contentUrlList":{"contentUrls":[{"url":"%Live%/clips/primary/)" +
                 clipGuid(c) + R"(/variant.m3u8"},{"url":"%Live%/clips/secondary/)" + clipGuid(c) +
                 R"(/variant.m3u8"}]}})";
    }
    return serviceReply(R"({"moduleArea":"Discover","moduleType":"AddlChannels","updateFrequency":)" +
                        std::to_string(tokenSeconds) +
                        R"(,"moduleResponse":{"additionalChannelData":{"sequencerSessionId":"seq-session-1",)"
                        R"("channel":{"name":")" +
                        channelName + R"(","channelGuid":")" + channelGuid +
                        R"(","channelId":"mixtape","dmcaInfo":)" + dmca + R"(},"clipList":{"clips":[)" + clips +
                        "]}}}}");
}

std::string ScriptedClipChannel::tuneUrlPrefix() const
{
    return std::string(kServiceBase) + "/rest/v4/aic/tune";
}

std::string ScriptedClipChannel::refreshUrl() const
{
    return std::string(kServiceBase) + "/rest/v4/aic/refresh-tracks";
}

void ScriptedClipChannel::install() const
{
    Route tune;
    tune.url = tuneUrlPrefix();
    tune.prefix = true;
    tune.body = reply(0, clipsAtTune);
    ScriptedPort::get().addRoute(tune);
    for (int r = 0; r < refreshes; ++r) {
        Route refresh;
        refresh.url = refreshUrl();
        refresh.uses = 1;
        refresh.body = reply(clipsAtTune + r * clipsPerRefresh, clipsPerRefresh);
        ScriptedPort::get().addRoute(refresh);
    }
    route(std::string(kServiceBase) + "/rest/v2/experience/modules/get/noop",
          serviceReply(R"({"moduleArea":"","moduleType":"","updateFrequency":)" + std::to_string(noopSeconds) + "}"));
    std::string variant = "#EXTM3U\n#EXT-X-VERSION:3\n";
    for (int s = 0; s < kStreams; ++s)
        variant += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(32000 << s) + "\ns" + std::to_string(s) +
                   "/index.m3u8\n";
    for (int clip = 0; clip < clipCount(); ++clip) {
        for (bool secondary : {false, true}) {
            route(variantUrl(clip, secondary), variant);
            for (int s = 0; s < kStreams; ++s) {
                route(indexUrl(clip, secondary, s), indexFile(clip));
                route(kServer + serverName(secondary) + clipGuid(clip) + "/s" + std::to_string(s) + "/key1",
                      std::string(key1.begin(), key1.end()));
                for (int seq = 1; seq <= chunksPerClip; ++seq)
                    route(chunkUrl(clip, secondary, s, seq), body(clip, seq), pieceSize);
            }
        }
    }
}

} // namespace testport
