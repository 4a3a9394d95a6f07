#include "ScriptedStream.h"

#include "ScriptedPort.h"
#include "ServiceReplies.h"

namespace testport {

const char* const ScriptedStream::kServer = "https://live.test/";

namespace {
void route(const std::string& url, const std::string& body, size_t pieceSize = 0, bool withLength = false)
{
    Route r;
    r.url = url;
    r.body = body;
    r.pieceSize = pieceSize;
    if (withLength)
        r.headers.push_back("Content-Length: " + std::to_string(body.size()));
    ScriptedPort::get().addRoute(r);
}

std::string id3Tag(int seq)
{
    return std::string("ID3\x04\x00\x00\x00\x00\x00\x14PRIV", 14) + "timestamp-" + std::to_string(seq);
}
} // namespace

std::string ScriptedStream::indexUrl(bool secondary, int stream) const
{
    return server(secondary) + "s" + std::to_string(stream) + "/index.m3u8";
}

std::string ScriptedStream::chunkName(int seq) const
{
    return "asset_" + rate + "_1_0_" + std::to_string(seq) + "_5.aac";
}

std::string ScriptedStream::chunkUrl(bool secondary, int stream, int seq) const
{
    return server(secondary) + "s" + std::to_string(stream) + "/" + chunkName(seq);
}

std::string ScriptedStream::audio(int seq) const
{
    // 32-byte ADTS frames, AAC LC at 16 kHz, one channel: 64 ms each.
    static const char kHeader[] = "\xFF\xF1\x60\x40\x04\x1F\xFC";
    std::string out;
    for (int f = 0; f < framesPerChunk; ++f) {
        out.append(kHeader, 7);
        for (int i = 0; i < 25; ++i)
            out += static_cast<char>((seq * 13 + f * 7 + i) & 0x7F);
    }
    return out;
}

std::string ScriptedStream::body(int seq) const
{
    std::string plain = id3Tag(seq) + audio(seq);
    size_t pad = 16 - plain.size() % 16;
    plain.append(pad, static_cast<char>(pad));
    ScriptedPort::scriptedCipher(reinterpret_cast<unsigned char*>(&plain[0]), static_cast<int>(plain.size()), key1,
                                 seq, 0);
    return plain;
}

std::string ScriptedStream::indexFile() const
{
    std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-KEY:METHOD=AES-128,URI=\"key1\"\n";
    // Ten seconds a chunk from the first program time on.
    int hour = std::stoi(firstProgramTime.substr(11, 2)), minute = std::stoi(firstProgramTime.substr(14, 2));
    int second = std::stoi(firstProgramTime.substr(17, 2));
    for (int i = 0; i < chunks; ++i) {
        int total = hour * 3600 + minute * 60 + second + i * kChunkSeconds;
        char when[64];
        snprintf(when, sizeof when, "%sT%02d:%02d:%02d.000+00:00", firstProgramTime.substr(0, 10).c_str(),
                 total / 3600 % 24, total / 60 % 60, total % 60);
        out += "#EXT-X-PROGRAM-DATE-TIME:" + std::string(when) + "\n#EXTINF:10,\n" + chunkName(firstSeq + i) + "\n";
    }
    return out;
}

std::string ScriptedStream::tuneReply() const
{
    std::string infos;
    for (const char* name : {"primary", "secondary"})
        for (const char* size : {"SMALL", "MEDIUM", "LARGE"})
            infos += std::string(infos.empty() ? "" : ",") + R"({"name":")" + name + R"(","size":")" + size +
                     R"(","url":"%Live%/)" + name + R"(/variant.m3u8"})";
    const char* type = onDemand ? "AOD" : "Live";
    const char* root = onDemand ? "aodData" : "liveChannelData";
    return serviceReply(std::string(R"({"moduleArea":"NowPlayingTimelineFeed","moduleType":")") + type +
                        R"(","updateFrequency":)" + std::to_string(tokenSeconds) + R"(,"moduleResponse":{")" + root + R"(":{"hlsAudioInfos":[)" + infos + "]" +
                        (timeline.empty() ? "" : "," + timeline) + "}}}");
}

void ScriptedStream::install() const
{
    const std::string base = kServiceBase;
    Route tune;
    tune.url = base + (onDemand ? "/rest/v2/experience/modules/tune/now-playing-aod"
                                : "/rest/v4/experience/modules/tune/now-playing-live");
    tune.prefix = true;
    tune.body = tuneReply();
    ScriptedPort::get().addRoute(tune);
    route(base + "/rest/v2/experience/modules/get/noop",
          serviceReply(R"({"moduleArea":"","moduleType":"","updateFrequency":)" + std::to_string(noopSeconds) + "}"));
    std::string variant = "#EXTM3U\n#EXT-X-VERSION:3\n";
    for (int s = 0; s < kStreams; ++s)
        variant += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(32000 << s) + "\ns" + std::to_string(s) +
                   "/index.m3u8\n";
    for (bool secondary : {false, true}) {
        route(server(secondary) + "variant.m3u8", variant);
        for (int s = 0; s < kStreams; ++s) {
            route(indexUrl(secondary, s), indexFile());
            for (int k = 1; k <= 3; ++k)
                route(server(secondary) + "s" + std::to_string(s) + "/key" + std::to_string(k),
                      std::string(key1.begin(), key1.end()));
            for (int i = 0; i < chunks; ++i)
                route(chunkUrl(secondary, s, firstSeq + i), body(firstSeq + i), pieceSize, true);
        }
    }
}

} // namespace testport
