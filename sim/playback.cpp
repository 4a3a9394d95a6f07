#include "playback.h"

#include "hls.h"

#include <algorithm>
#include <vector>

namespace tqlsim {

namespace {

// Index files of three lengths, as the service offers them: the library
// takes the small one for a live start, the middle one for a first live
// tune, the large one after that and for time-shifted and on-demand play.
struct IndexSize {
    const char* name;
    int64_t chunks;
};
// LARGE lists the backlog fault's count, 30 unless changed.
const IndexSize kSizes[] = {{"SMALL", 3}, {"MEDIUM", 10}, {"LARGE", 30}};

// The variant file's streams. All carry the same audio, the fixture's; the
// library starts on the third, so there are at least three.
struct StreamRate {
    const char* dir;
    int bandwidth;
};
const StreamRate kRates[] = {{"16k", 16000}, {"24k", 24000}, {"32k", 32000}};

// Live chunks stay fetchable this long behind the edge: five hours.
const int64_t kLiveWindowChunks = 5 * 3600 * 1000 / kChunkMs;
const int64_t kHourMs = 3600 * 1000;
const int kKeyFiles = 3;

const char* const kPlaylistType = "application/vnd.apple.mpegurl";
const char* const kImagePlaceholder = "%Root%";

// What the "episode" layer says of a show: on demand the catalog's episode,
// live the clock hour.
struct EpisodeInfo {
    std::string guid, title, description, showTitle, showGuid, art;
    int64_t startMs = 0, durationMs = 0;
    SkipRules rules;
};

struct TrackStart {
    int64_t ms;
    size_t track;
};

// Starts of the loop's tracks, for a loop whose frame 0 plays at `originMs`
// and repeats (`once` unset) or not: those between `from` and `to`, and the
// last one before `from`, which is still playing at `from`.
std::vector<TrackStart> trackStarts(const AudioLoop& audio, int64_t originMs, int64_t from, int64_t to, bool once)
{
    std::vector<TrackStart> all;
    int64_t firstLoop = once || from <= originMs ? 0 : (from - originMs) / audio.loopMs();
    int64_t lastLoop = once ? 0 : (to - originMs) / audio.loopMs();
    for (int64_t loop = firstLoop; loop <= lastLoop; ++loop) {
        for (size_t k = 0; k < audio.trackStarts().size(); ++k) {
            int64_t ms = originMs + loop * audio.loopMs() + audio.trackStarts()[k] * audio.frameMs();
            if (ms > to)
                break;
            if (ms <= from && !all.empty() && all.back().ms <= from)
                all.pop_back();
            all.push_back({ms, k});
        }
    }
    return all;
}

std::string resolveImage(const std::string& link, const std::string& imageRoot)
{
    const std::string placeholder = std::string(kImagePlaceholder) + "/";
    if (link.compare(0, placeholder.size(), placeholder) != 0)
        return link;
    return imageRoot + link.substr(placeholder.size() - 1);
}

void timestamp(JsonWriter& w, int64_t ms)
{
    w.key("timestamp").beginObject().field("absolute", programTime(ms)).endObject();
}

void creativeArts(JsonWriter& w, const std::string& url)
{
    w.key("creativeArts").beginArray();
    if (!url.empty()) {
        w.beginObject().field("name", "art").field("url", url).field("height", 300).field("width", 300);
        w.field("encrypted", false).endObject();
    }
    w.endArray();
}

void dmcaInfo(JsonWriter& w, const SkipRules& r)
{
    w.key("dmcaInfo").beginObject().field("irNavClass", r.irNavClass).field("playOnSelect", r.playOnSelect);
    w.field("maxFwdSkips", r.maxFwdSkips).field("maxBackSkips", r.maxBackSkips);
    w.field("fwdSkipDur", r.fwdSkipDur).field("backSkipDur", r.backSkipDur).endObject();
}

void episodeMarker(JsonWriter& w, const EpisodeInfo& e)
{
    w.beginObject().field("assetGUID", e.guid).field("layer", "episode");
    w.field("consumptionInfo", "episode:" + e.guid);
    timestamp(w, e.startMs);
    w.field("duration", static_cast<long long>(e.durationMs / 1000));
    w.key("episode").beginObject().field("longTitle", e.title).field("longDescription", e.description);
    w.key("show").beginObject().field("longTitle", e.showTitle).field("showGUID", e.showGuid);
    creativeArts(w, e.art);
    w.endObject();
    dmcaInfo(w, e.rules);
    w.endObject().endObject();
}

void cutMarker(JsonWriter& w, const Track& track, int64_t ms, int64_t seconds)
{
    w.beginObject().field("assetGUID", track.guid).field("layer", "cut");
    w.field("consumptionInfo", "cut:" + track.guid + "@" + std::to_string(ms));
    timestamp(w, ms);
    w.field("duration", static_cast<long long>(seconds));
    w.key("cut").beginObject().field("title", track.title).field("clipGUID", track.guid);
    w.key("artists").beginArray().beginObject().field("name", track.artist).endObject().endArray();
    w.key("album").beginObject().field("title", track.album);
    creativeArts(w, track.art);
    w.endObject().endObject().endObject();
}

void segmentMarker(JsonWriter& w, const std::string& asset, int64_t ms, int64_t seconds)
{
    const std::string guid = asset + "-segment-" + std::to_string(ms);
    w.beginObject().field("assetGUID", guid).field("layer", "segment");
    timestamp(w, ms);
    w.field("duration", static_cast<long long>(seconds));
    w.key("segment").beginObject().field("segmentType", "music");
    w.key("legacyIds").beginObject().field("shortId", guid).endObject();
    w.endObject().endObject();
}

// The lists in the order the library reads them best: the episode first,
// so that the show it names is known to the markers after it.
void markerLists(JsonWriter& w, const std::vector<EpisodeInfo>& episodes, const std::vector<TrackStart>& starts,
                 const Catalog& catalog, const AudioLoop& audio, const std::string& asset)
{
    auto seconds = [&](size_t track) { return audio.trackFrames(track) * audio.frameMs() / 1000; };
    w.key("markerLists").beginArray();
    w.beginObject().field("layer", "episode").key("markers").beginArray();
    for (const EpisodeInfo& e : episodes)
        episodeMarker(w, e);
    w.endArray().endObject();
    w.beginObject().field("layer", "cut").key("markers").beginArray();
    for (const TrackStart& s : starts)
        cutMarker(w, catalog.tracks[s.track], s.ms, seconds(s.track));
    w.endArray().endObject();
    w.beginObject().field("layer", "segment").key("markers").beginArray();
    for (const TrackStart& s : starts)
        segmentMarker(w, asset, s.ms, seconds(s.track));
    w.endArray().endObject();
    w.endArray();
}

void cuePoint(JsonWriter& w, const EpisodeInfo& e, const char* event, int64_t ms)
{
    w.beginObject().field("assetGUID", e.guid).field("active", true).field("layer", "show");
    timestamp(w, ms);
    w.field("event", event).field("markerGuid", e.guid).endObject();
}

void cuePoints(JsonWriter& w, const std::vector<EpisodeInfo>& episodes)
{
    w.key("cuePointList").beginObject().key("cuePoints").beginArray();
    for (const EpisodeInfo& e : episodes) {
        cuePoint(w, e, "START", e.startMs);
        cuePoint(w, e, "END", e.startMs + e.durationMs);
    }
    w.endArray().endObject();
}

// The variant files of both servers in all sizes; the URLs start with the
// configuration's placeholders, which the library replaces.
void audioInfos(JsonWriter& w, const char* primary, const char* secondary, const std::string& asset)
{
    w.key("hlsAudioInfos").beginArray();
    for (const char* name : {"primary", "secondary"}) {
        const std::string root = std::string("%") + (name[0] == 'p' ? primary : secondary) + "%/" + asset + "/";
        for (const IndexSize& size : kSizes) {
            w.beginObject().field("name", name).field("size", size.name);
            w.field("url", root + size.name + "/variant.m3u8").endObject();
        }
    }
    w.endArray();
}

void moduleHead(JsonWriter& w, const char* type, int tokenSeconds, int64_t nowMs)
{
    w.beginObject().field("moduleArea", "NowPlayingTimelineFeed").field("moduleType", type);
    w.field("updateFrequency", tokenSeconds).field("wallClockRenderTime", programTime(nowMs));
}

const Show* showOf(const Catalog& catalog, const Channel& channel)
{
    for (const Show& s : catalog.shows)
        if (s.channel == channel.guid)
            return &s;
    return nullptr;
}

// "2024-03-01T09:..." gives "2024030109".
std::string compactHour(int64_t ms)
{
    const std::string t = programTime(ms);
    return t.substr(0, 4) + t.substr(5, 2) + t.substr(8, 2) + t.substr(11, 2);
}

// Live, the show is the clock hour: one episode for each hour from the one
// that holds `from` to the one that holds `to`.
std::vector<EpisodeInfo> liveEpisodes(const Catalog& catalog, const Channel& channel, int64_t from, int64_t to,
                                      const std::string& imageRoot)
{
    const Show* show = showOf(catalog, channel);
    std::vector<EpisodeInfo> out;
    for (int64_t hour = from / kHourMs * kHourMs; hour <= to; hour += kHourMs) {
        EpisodeInfo e;
        e.guid = channel.id + "-" + compactHour(hour);
        e.showTitle = show ? show->title : channel.name;
        e.showGuid = show ? show->guid : channel.guid;
        e.art = resolveImage(show && !show->logo.empty() ? show->logo : channel.logo, imageRoot);
        e.title = e.showTitle + ", " + programTime(hour).substr(11, 5) + " UTC";
        e.description = channel.description;
        e.startMs = hour;
        e.durationMs = kHourMs;
        e.rules = catalog.liveRules;
        out.push_back(e);
    }
    return out;
}

std::string keyBytes(const std::string& fixedKey, int index, bool wrong)
{
    std::string key = fixedKey;
    // Keys 2 and 3 differ from key 1; no chunk uses them.
    for (char& c : key)
        c = static_cast<char>(c ^ ((index - 1) * 0x5a) ^ (wrong ? 0xff : 0));
    return key;
}

Reply textReply(const std::string& body, const char* type)
{
    Reply r;
    r.body = body;
    r.contentType = type;
    return r;
}

std::string extinf(int64_t ms)
{
    std::string seconds = std::to_string(ms / 1000);
    if (ms % 1000) {
        std::string fraction = std::to_string(1000 + ms % 1000).substr(1);
        seconds += "." + fraction;
    }
    return "#EXTINF:" + seconds + ",\n";
}

}  // namespace

// A path under /hls/: [aod/]SERVER/ASSET/SIZE/variant.m3u8, or
// [aod/]SERVER/ASSET/SIZE/RATE/FILE for an index, key or chunk file.
struct Playback::FilePath {
    bool onDemand = false;
    std::string server, asset, size, rate, file;
};

// A stream's chunks: which may be fetched, where they sit in time and in
// the loop.
struct Playback::Stream {
    bool onDemand = false;
    std::string asset;
    int64_t firstSeq = 0, lastSeq = 0;
    int64_t originMs = 0;  // program time of chunk 0
};

Playback::Playback(const Catalog& catalog, const AudioLoop& audio, SimState& state, const std::string& baseUrl)
    : catalog_(catalog), audio_(audio), state_(state), imageRoot_(baseUrl + "/images")
{
}

bool Playback::playable(const Channel& channel) const
{
    return !audio_.empty() && channel.available && channel.tuneMethod == "live";
}

void Playback::liveModule(JsonWriter& w, const Channel& channel, int64_t nowMs) const
{
    const int64_t edge = nowMs / kChunkMs;
    const int64_t from = (edge - state_.backlog() + 1) * kChunkMs;
    // Far enough ahead that the markers last until the next tune.
    const int64_t to = (edge + 1) * kChunkMs + catalog_.tokenSeconds * 1000LL + audio_.loopMs();
    std::vector<TrackStart> starts = trackStarts(audio_, 0, from, to, false);
    const int64_t first = starts.empty() ? from : starts.front().ms;
    std::vector<EpisodeInfo> episodes = liveEpisodes(catalog_, channel, first, to, imageRoot_);

    moduleHead(w, "Live", catalog_.tokenSeconds, nowMs);
    w.key("moduleResponse").beginObject().key("liveChannelData").beginObject();
    w.field("channelId", channel.id).field("hlsConsumptionInfo", "live:" + channel.id);
    audioInfos(w, "Live_Primary_HLS", "Live_Secondary_HLS", channel.id);
    markerLists(w, episodes, starts, catalog_, audio_, channel.id);
    cuePoints(w, episodes);
    w.endObject().endObject().endObject();
}

void Playback::onDemandModule(JsonWriter& w, const Episode& episode, int64_t nowMs) const
{
    const Show* show = catalog_.findShow(episode.show);
    const Channel* channel = show ? catalog_.findChannel(show->channel) : nullptr;
    EpisodeInfo e;
    e.guid = episode.guid;
    e.title = episode.title;
    e.description = episode.description;
    e.showTitle = show ? show->title : "";
    e.showGuid = episode.show;
    e.art = resolveImage(show ? show->logo : "", imageRoot_);
    e.startMs = episode.startMs;
    e.durationMs = audio_.loopMs();
    e.rules = episode.rules;
    std::vector<TrackStart> starts = trackStarts(audio_, e.startMs, e.startMs, e.startMs + e.durationMs, true);

    moduleHead(w, "AOD", catalog_.tokenSeconds, nowMs);
    w.key("moduleResponse").beginObject().key("aodData").beginObject();
    w.field("channelId", channel ? channel->id : "").field("hlsConsumptionInfo", "aod:" + episode.caId);
    audioInfos(w, "AOD_Primary_HLS", "AOD_Secondary_HLS", episode.caId);
    markerLists(w, {e}, starts, catalog_, audio_, episode.caId);
    cuePoints(w, {e});
    w.endObject().endObject().endObject();
}

bool Playback::parsePath(const std::string& path, FilePath& out) const
{
    std::vector<std::string> parts;
    for (size_t pos = 1; pos <= path.size();) {
        size_t end = path.find('/', pos);
        if (end == std::string::npos)
            end = path.size();
        parts.push_back(path.substr(pos, end - pos));
        pos = end + 1;
    }
    size_t i = 1;
    if (parts.empty() || parts[0] != "hls")
        return false;
    out.onDemand = parts.size() > 1 && parts[1] == "aod";
    if (out.onDemand)
        ++i;
    if (parts.size() != i + 4 && parts.size() != i + 5)
        return false;
    out.server = parts[i];
    out.asset = parts[i + 1];
    out.size = parts[i + 2];
    out.rate = parts.size() == i + 5 ? parts[i + 3] : "";
    out.file = parts.back();
    bool knownSize = false, knownRate = out.rate.empty() && out.file == "variant.m3u8";
    for (const IndexSize& s : kSizes)
        knownSize = knownSize || out.size == s.name;
    for (const StreamRate& r : kRates)
        knownRate = knownRate || out.rate == r.dir;
    return (out.server == "primary" || out.server == "secondary") && knownSize && knownRate &&
           !out.asset.empty() && !out.file.empty();
}

bool Playback::findStream(const FilePath& path, int64_t nowMs, Stream& out) const
{
    out.onDemand = path.onDemand;
    out.asset = path.asset;
    if (path.onDemand) {
        const Episode* episode = catalog_.findEpisode(path.asset);
        if (!episode || !playable())
            return false;
        out.firstSeq = 1;
        out.lastSeq = (audio_.frameCount() + audio_.framesPerChunk() - 1) / audio_.framesPerChunk();
        out.originMs = episode->startMs - kChunkMs;
        return true;
    }
    const Channel* channel = catalog_.findChannelById(path.asset);
    if (!channel || channel->id != path.asset || !playable(*channel))
        return false;
    out.lastSeq = nowMs / kChunkMs;
    out.firstSeq = out.lastSeq - kLiveWindowChunks + 1;
    out.originMs = 0;
    return true;
}

std::string Playback::variantFile() const
{
    std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n";
    for (const StreamRate& r : kRates) {
        out += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(r.bandwidth) + ",CODECS=\"mp4a.40.2\"\n";
        out += std::string(r.dir) + "/index.m3u8\n";
    }
    return out;
}

// Live: the newest chunks up to the edge, as many as the size says. On
// demand: the whole episode, whatever the size.
std::string Playback::indexFile(const Stream& stream, const std::string& size) const
{
    int64_t first = stream.firstSeq;
    for (const IndexSize& s : kSizes)
        if (!stream.onDemand && size == s.name)
            first = stream.lastSeq - (size == "LARGE" ? state_.backlog() : s.chunks) + 1;
    std::string out = "#EXTM3U\n#EXT-X-VERSION:3\n";
    out += "#EXT-X-TARGETDURATION:" + std::to_string(kChunkMs / 1000) + "\n";
    out += "#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n";
    out += "#EXT-X-KEY:METHOD=AES-128,URI=\"key1\"\n";
    for (int64_t seq = first; seq <= stream.lastSeq; ++seq) {
        int64_t frames = stream.onDemand ? std::min(audio_.framesPerChunk(),
                                                    audio_.frameCount() - (seq - 1) * audio_.framesPerChunk())
                                         : audio_.framesPerChunk();
        out += "#EXT-X-PROGRAM-DATE-TIME:" + programTime(stream.originMs + seq * kChunkMs) + "\n";
        out += extinf(frames * audio_.frameMs());
        out += chunkName(stream.asset, seq) + "\n";
    }
    if (stream.onDemand)
        out += "#EXT-X-ENDLIST\n";
    return out;
}

Reply Playback::keyFile(const std::string& name)
{
    for (int k = 1; k <= kKeyFiles; ++k) {
        if (name == "key" + std::to_string(k))
            return textReply(keyBytes(catalog_.fixedKey, k, state_.wrongKey()), "application/octet-stream");
    }
    return plainError(404, "no such key");
}

// The chunk's ID3 tag and its frames, encrypted with key 1 whatever the key
// files say.
Reply Playback::chunkFile(const Stream& stream, const std::string& name)
{
    if (state_.takeChunk404())
        return plainError(404, "chunk not found (fault chunk404)");
    int64_t seq = 0;
    if (!parseChunkName(name, stream.asset, seq) || seq < stream.firstSeq || seq > stream.lastSeq)
        return plainError(404, "no such chunk");
    const int64_t perChunk = audio_.framesPerChunk();
    const int64_t first = stream.onDemand ? (seq - 1) * perChunk : seq * perChunk % audio_.frameCount();
    std::string plain =
        id3Tag(stream.originMs + seq * kChunkMs) + audio_.frames(first, perChunk, !stream.onDemand);
    if (state_.takeBadTail())
        plain.append("\xFF\xF1\x50", 3); // a frame header that never comes whole
    Reply r;
    r.contentType = "audio/aac";
    if (!encryptChunk(plain, catalog_.fixedKey, seq, r.body))
        return plainError(500, "encryption failed");
    return r;
}

Reply Playback::file(const httplib::Request& req, int64_t nowMs)
{
    FilePath path;
    Stream stream;
    if (!parsePath(req.path, path) || !findStream(path, nowMs, stream))
        return plainError(404, "no such stream file");
    if (path.rate.empty()) {
        state_.countHls(path.server, HlsFile::Variant);
        return textReply(variantFile(), kPlaylistType);
    }
    if (path.file == "index.m3u8") {
        state_.countHls(path.server, HlsFile::Index);
        if (state_.indexFails(path.server))
            return plainError(500, "index file unavailable (fault indexfail)");
        return textReply(indexFile(stream, path.size), kPlaylistType);
    }
    if (path.file.compare(0, 3, "key") == 0) {
        state_.countHls(path.server, HlsFile::Key);
        return keyFile(path.file);
    }
    state_.countHls(path.server, HlsFile::Chunk);
    return chunkFile(stream, path.file);
}

}  // namespace tqlsim
