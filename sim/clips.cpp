#include "clips.h"

#include "hls.h"
#include "json_tree.h"
#include "json_writer.h"

#include <yajl/yajl_tree.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace tqlsim {

namespace {

// Clips of a tune reply, and clips that each refresh adds.
const int64_t kTuneClips = 4;
const int64_t kRefreshClips = 3;
// Refresh requests name the clips held; a list longer than this is refused.
const size_t kMaxTracks = 1000;
// Clip n plays from this program time on, one clip after the other.
const int64_t kClipsOriginMs = 1704067200000LL;  // 2024-01-01T00:00:00Z
const char* const kClipPrefix = "clip-";
const char* const kPlaylistType = "application/vnd.apple.mpegurl";

struct StreamRate {
    const char* dir;
    int bandwidth;
};
const StreamRate kRates[] = {{"16k", 16000}, {"24k", 24000}, {"32k", 32000}};

std::string param(const httplib::Request& req, const char* name)
{
    return req.has_param(name) ? req.get_param_value(name) : "";
}

Reply text(const std::string& body, const char* type)
{
    Reply r;
    r.body = body;
    r.contentType = type;
    return r;
}

Reply failure(int code)
{
    JsonWriter w;
    w.beginObject().key("TamberQLMessage").beginObject().field("status", 0);
    w.key("messages").beginArray().beginObject().field("code", code);
    w.field("message", code == 309 ? "Content not available" : "Bad request").endObject().endArray();
    w.key("moduleList").beginObject().key("modules").beginArray().endArray().endObject();
    w.endObject().endObject();
    return text(w.str(), "application/json");
}

// "/hls/aic/SERVER/GUID/variant.m3u8" or "/hls/aic/SERVER/GUID/RATE/FILE".
std::vector<std::string> pathParts(const std::string& path)
{
    std::vector<std::string> parts;
    size_t start = strlen("/hls/aic/");
    while (start <= path.size()) {
        size_t slash = path.find('/', start);
        if (slash == std::string::npos)
            slash = path.size();
        parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}
}  // namespace

ClipChannels::ClipChannels(const Catalog& catalog, const AudioLoop& audio, SimState& state)
    : catalog_(catalog), audio_(audio), state_(state)
{
}

const Channel* ClipChannels::clipChannel(const std::string& guid) const
{
    const Channel* channel = catalog_.findChannel(guid);
    bool plays = channel && channel->available && channel->tuneMethod == "sequencer" && !audio_.empty();
    return plays ? channel : nullptr;
}

std::string ClipChannels::clipGuid(const Channel& channel, int64_t n) const
{
    std::string id = channel.id;
    // The library reads a chunk's asset up to the first "_" of its name.
    std::replace(id.begin(), id.end(), '_', '-');
    return kClipPrefix + id + "-" + std::to_string(n);
}

bool ClipChannels::parseClipGuid(const std::string& guid, const Channel*& channel, int64_t& n) const
{
    size_t dash = guid.rfind('-');
    if (guid.compare(0, strlen(kClipPrefix), kClipPrefix) != 0 || dash == std::string::npos ||
        dash + 1 >= guid.size() || guid.size() - dash > 10)
        return false;
    const std::string digits = guid.substr(dash + 1);
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    n = std::stoll(digits);
    for (const Channel& c : catalog_.channels) {
        if (clipChannel(c.guid) && clipGuid(c, n) == guid) {
            channel = &c;
            return true;
        }
    }
    return false;
}

size_t ClipChannels::trackOf(int64_t n) const
{
    return static_cast<size_t>(n % static_cast<int64_t>(audio_.trackStarts().size()));
}

int64_t ClipChannels::chunkCount(int64_t n) const
{
    int64_t frames = audio_.trackFrames(trackOf(n));
    return (frames + audio_.framesPerChunk() - 1) / audio_.framesPerChunk();
}

std::string ClipChannels::clipReply(const Channel& channel, int64_t first, int64_t count) const
{
    JsonWriter w;
    w.beginObject().key("TamberQLMessage").beginObject().field("status", 1);
    w.key("messages").beginArray().beginObject().field("code", 100).field("message", "Successful request");
    w.endObject().endArray();
    w.key("moduleList").beginObject().key("modules").beginArray();
    w.beginObject().field("moduleArea", "Discover").field("moduleType", "AddlChannels");
    w.field("updateFrequency", catalog_.tokenSeconds);
    w.key("moduleResponse").beginObject().key("additionalChannelData").beginObject();
    w.field("sequencerSessionId", "seq-" + channel.id);
    const SkipRules& rules = catalog_.liveRules;
    w.key("channel").beginObject().field("name", channel.name).field("channelGuid", channel.guid);
    w.field("channelId", channel.id).field("playlistSource", "sequencer");
    w.key("dmcaInfo").beginObject().field("irNavClass", rules.irNavClass);
    w.field("maxFwdSkips", rules.maxFwdSkips).field("maxBackSkips", rules.maxBackSkips);
    w.field("fwdSkipDur", rules.fwdSkipDur).field("backSkipDur", rules.backSkipDur).endObject();
    w.endObject();
    w.key("clipList").beginObject().key("clips").beginArray();
    for (int64_t n = first; n < first + count; ++n) {
        const Track& track = catalog_.tracks[trackOf(n)];
        const std::string guid = clipGuid(channel, n);
        long long ms = audio_.trackFrames(trackOf(n)) * audio_.frameMs();
        w.beginObject().field("assetGuid", guid).field("assetType", "CLIP");
        w.field("consumptionInfo", "clip=" + guid).field("title", track.title);
        w.field("artistName", track.artist).field("albumName", track.album).field("clipImageUrl", track.art);
        // Whole seconds: the fixture's tracks are 24 s.
        w.field("duration", ms / 1000);
        w.key("contentUrlList").beginObject().key("contentUrls").beginArray();
        w.beginObject().field("url", "%AIC_Primary_HLS%/" + guid + "/variant.m3u8").endObject();
        w.beginObject().field("url", "%AIC_Secondary_HLS%/" + guid + "/variant.m3u8").endObject();
        w.endArray().endObject();
        w.endObject();
    }
    w.endArray().endObject();
    w.endObject().endObject().endObject();
    w.endArray().endObject();
    w.endObject().endObject();
    return w.str();
}

// A channel tuned by "sequencer" starts at its first clip.
Reply ClipChannels::tune(const httplib::Request& req) const
{
    const Channel* channel = clipChannel(param(req, "channelGuid"));
    if (!channel)
        return failure(309);
    return text(clipReply(*channel, 0, kTuneClips), "application/json");
}

// The clips after the last one the library names.
Reply ClipChannels::refresh(const httplib::Request& req) const
{
    Tree root = parseObject(req.body);
    if (!root)
        return failure(600);
    yajl_val modules = find(root.get(), {"moduleList", "modules"});
    if (!YAJL_IS_ARRAY(modules) || modules->u.array.len == 0)
        return failure(600);
    yajl_val request = find(modules->u.array.values[0], {"moduleRequest"});
    yajl_val guid = find(request, {"channelGuid"});
    yajl_val tracks = find(request, {"tracks"});
    if (!YAJL_IS_STRING(guid) || !YAJL_IS_ARRAY(tracks) || tracks->u.array.len > kMaxTracks)
        return failure(600);
    const Channel* channel = clipChannel(YAJL_GET_STRING(guid));
    if (!channel)
        return failure(309);
    int64_t next = 0;
    for (size_t i = 0; i < tracks->u.array.len; ++i) {
        yajl_val asset = find(tracks->u.array.values[i], {"assetGuid"});
        const Channel* owner = nullptr;
        int64_t n = 0;
        if (YAJL_IS_STRING(asset) && parseClipGuid(YAJL_GET_STRING(asset), owner, n) && owner == channel)
            next = std::max(next, n + 1);
    }
    return text(clipReply(*channel, next, kRefreshClips), "application/json");
}

std::string ClipChannels::indexFile(const std::string& guid, int64_t n) const
{
    std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n";
    out += "#EXT-X-TARGETDURATION:" + std::to_string(kChunkMs / 1000) + "\n#EXT-X-MEDIA-SEQUENCE:1\n";
    out += "#EXT-X-KEY:METHOD=AES-128,URI=\"key1\"\n";
    int64_t frames = audio_.trackFrames(trackOf(n));
    int64_t clipStart = kClipsOriginMs + n * frames * audio_.frameMs();
    for (int64_t seq = 1; seq <= chunkCount(n); ++seq) {
        int64_t inChunk = std::min(audio_.framesPerChunk(), frames - (seq - 1) * audio_.framesPerChunk());
        out += "#EXT-X-PROGRAM-DATE-TIME:" + programTime(clipStart + (seq - 1) * kChunkMs) + "\n";
        out += "#EXTINF:" + std::to_string(inChunk * audio_.frameMs() / 1000) + ",\n";
        out += chunkName(guid, seq) + "\n";
    }
    return out + "#EXT-X-ENDLIST\n";
}

Reply ClipChannels::chunkFile(const std::string& guid, int64_t n, const std::string& name)
{
    if (state_.takeChunk404())
        return plainError(404, "chunk not found (fault chunk404)");
    int64_t seq = 0;
    if (!parseChunkName(name, guid, seq) || seq < 1 || seq > chunkCount(n))
        return plainError(404, "no such chunk");
    size_t track = trackOf(n);
    int64_t first = audio_.trackStarts()[track] + (seq - 1) * audio_.framesPerChunk();
    int64_t count = std::min(audio_.framesPerChunk(), audio_.trackFrames(track) - (seq - 1) * audio_.framesPerChunk());
    int64_t programMs = kClipsOriginMs + n * audio_.trackFrames(track) * audio_.frameMs() + (seq - 1) * kChunkMs;
    Reply r;
    r.contentType = "audio/aac";
    if (!encryptChunk(id3Tag(programMs) + audio_.frames(first, count, false), catalog_.fixedKey, seq, r.body))
        return plainError(500, "encryption failed");
    return r;
}

Reply ClipChannels::file(const httplib::Request& req)
{
    std::vector<std::string> parts = pathParts(req.path);
    const Channel* channel = nullptr;
    int64_t n = 0;
    if (parts.size() < 3 || (parts[0] != "primary" && parts[0] != "secondary") ||
        !parseClipGuid(parts[1], channel, n))
        return plainError(404, "no such clip file");
    const std::string& server = parts[0];
    const std::string& guid = parts[1];
    if (parts.size() == 3 && parts[2] == "variant.m3u8") {
        state_.countHls(server, HlsFile::Variant);
        std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n";
        for (const StreamRate& r : kRates)
            out += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(r.bandwidth) + ",CODECS=\"mp4a.40.2\"\n" +
                   r.dir + "/index.m3u8\n";
        return text(out, kPlaylistType);
    }
    bool rate = parts.size() == 4 && std::any_of(std::begin(kRates), std::end(kRates),
                                                 [&](const StreamRate& r) { return parts[2] == r.dir; });
    if (!rate)
        return plainError(404, "no such clip file");
    const std::string& file = parts[3];
    if (file == "index.m3u8") {
        state_.countHls(server, HlsFile::Index);
        if (state_.indexFails(server))
            return plainError(500, "index file unavailable (fault indexfail)");
        return text(indexFile(guid, n), kPlaylistType);
    }
    if (file == "key1") {
        state_.countHls(server, HlsFile::Key);
        std::string key = catalog_.fixedKey;
        if (state_.wrongKey())
            for (char& c : key)
                c = static_cast<char>(c ^ 0xff);
        return text(key, "application/octet-stream");
    }
    state_.countHls(server, HlsFile::Chunk);
    return chunkFile(guid, n, file);
}

}  // namespace tqlsim
