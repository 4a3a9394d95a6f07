#include "tamberResponse/tamberNowPlaying.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_moduleType = "/moduleList/modules/moduleType";
const char* const scPath_updateFrequency = "/moduleList/modules/updateFrequency";
const char* const scPath_wallClockRenderTime = "/moduleList/modules/wallClockRenderTime";
const char* const scPath_root = "/moduleList/modules/moduleResponse/liveChannelData";
const char* const scPathAOD_root = "/moduleList/modules/moduleResponse/aodData";
const char* const scModuleType_live = "Live";
const char* const scModuleType_aod = "AOD";
const char* const scLayer_episode = "episode";

// Both variants have the same shape, so the paths below are relative to the
// variant's root; the few that belong to one variant say so in their name.
const char* const scPath_hlsAudioInfos = "/hlsAudioInfos";
const char* const scPath_hlsName = "/hlsAudioInfos/name";
const char* const scPath_hlsUrl = "/hlsAudioInfos/url";
const char* const scPath_hlsSize = "/hlsAudioInfos/size";
const char* const scPath_customAudioInfos = "/customAudioInfos";
const char* const scPath_customName = "/customAudioInfos/name";
const char* const scPath_customUrl = "/customAudioInfos/url";
const char* const scPath_customSize = "/customAudioInfos/size";
const char* const scPath_positionTimestamp = "/customAudioInfos/position/timestamp";
const char* const scPath_position = "/customAudioInfos/position/position";
#define CHUNKS "/customAudioInfos/chunks/chunks"
const char* const scPath_chunks = CHUNKS;
const char* const scPath_chunkUrl = CHUNKS "/url";
const char* const scPath_chunkTimestamp = CHUNKS "/timestamp";
const char* const scPath_chunkOffset = CHUNKS "/offset";
const char* const scPath_chunkKey = CHUNKS "/key";
const char* const scPath_chunkKeyUrl = CHUNKS "/keyUrl";
#define CUE "/cuePointList/cuePoints"
const char* const scPath_cuePoints = CUE;
const char* const scPath_cueAssetGUID = CUE "/assetGUID";
const char* const scPath_cueActive = CUE "/active";
const char* const scPath_cueLayer = CUE "/layer";
const char* const scPath_cueTime = CUE "/time";
const char* const scPath_cueTimestamp = CUE "/timestamp/absolute";
const char* const scPath_cueEvent = CUE "/event";
const char* const scPath_cueMarkerGuid = CUE "/markerGuid";
const char* const scPath_hlsConsumptionInfo = "/hlsConsumptionInfo";
const char* const scPath_channelId = "/channelId";
const char* const scPath_aodEpisodeCount = "/aodEpisodeCount";
const char* const scPathAOD_pausePointOffset = "/pausePointOffset";
const char* const scPath_markerLists = "/markerLists";
const char* const scPath_markerListLayer = "/markerLists/layer";
#define MARKERS "/markerLists/markers"
const char* const scPath_markers = MARKERS;
const char* const scPath_assetGUID = MARKERS "/assetGUID";
const char* const scPath_consumptionInfo = MARKERS "/consumptionInfo";
const char* const scPath_layer = MARKERS "/layer";
const char* const scPath_time = MARKERS "/time";
const char* const scPath_timestamp = MARKERS "/timestamp/absolute";
const char* const scPath_containerGUID = MARKERS "/containerGUID";
const char* const scPath_duration = MARKERS "/duration";
const char* const scPath_cutTitle = MARKERS "/cut/title";
const char* const scPath_clipGUID = MARKERS "/cut/clipGUID";
const char* const scPath_artistName = MARKERS "/cut/artists/name";
const char* const scPath_artistPersonGuid = MARKERS "/cut/artists/personGuid";
const char* const scPath_albumTitle = MARKERS "/cut/album/title";
#define ALBUM_ART MARKERS "/cut/album/creativeArts"
const char* const scPath_albumArts = ALBUM_ART;
const char* const scPath_albumArtName = ALBUM_ART "/name";
const char* const scPath_albumArtUrl = ALBUM_ART "/url";
const char* const scPath_albumArtHeight = ALBUM_ART "/height";
const char* const scPath_albumArtWidth = ALBUM_ART "/width";
const char* const scPath_albumArtEncrypted = ALBUM_ART "/encrypted";
const char* const scPath_episodeLongTitle = MARKERS "/episode/longTitle";
const char* const scPath_longDescription = MARKERS "/episode/longDescription";
#define SHOW_ART MARKERS "/episode/show/creativeArts"
const char* const scPath_showArts = SHOW_ART;
const char* const scPath_showArtName = SHOW_ART "/name";
const char* const scPath_showArtUrl = SHOW_ART "/url";
const char* const scPath_showArtHeight = SHOW_ART "/height";
const char* const scPath_showArtWidth = SHOW_ART "/width";
const char* const scPath_showArtEncrypted = SHOW_ART "/encrypted";
const char* const scPath_showLongTitle = MARKERS "/episode/show/longTitle";
const char* const scPath_showGUID = MARKERS "/episode/show/showGUID";
#define DMCA MARKERS "/episode/dmcaInfo"
const char* const scPath_irNavClass = DMCA "/irNavClass";
const char* const scPath_playOnSelect = DMCA "/playOnSelect";
const char* const scPath_maxFwdSkips = DMCA "/maxFwdSkips";
const char* const scPath_maxBackSkips = DMCA "/maxBackSkips";
const char* const scPath_fwdSkipDur = DMCA "/fwdSkipDur";
const char* const scPath_backSkipDur = DMCA "/backSkipDur";
const char* const scPath_maxTotalSkips = DMCA "/maxTotalSkips";
const char* const scPath_maxSkipDur = DMCA "/maxSkipDur";
const char* const scPath_segmentType = MARKERS "/segment/segmentType";
const char* const scPath_legacyShortId = MARKERS "/segment/legacyIds/shortId";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

// The part of path below root, or null when the path lies elsewhere.
const char* below(const char* path, const char* root)
{
    size_t length = strlen(root);
    return strncmp(path, root, length) == 0 ? path + length : nullptr;
}

// A pause point may lie beyond int; any double the reply sends must still
// land in range, since converting an out-of-range double is undefined.
int64_t truncToInt64(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 9223372036854775808.0)
        return std::numeric_limits<int64_t>::max();
    if (value <= -9223372036854775808.0)
        return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}

// The record keeps a cue point's time as one character: the low byte of the
// number converted to unsigned. Beyond the range of unsigned the conversion
// would be undefined, so it saturates there (and NaN gives 0).
tql_string lowByteText(double value)
{
    unsigned int n = 0;
    if (value >= 4294967295.0)
        n = std::numeric_limits<unsigned int>::max();
    else if (value > 0)
        n = static_cast<unsigned int>(value);
    return tql_string(static_cast<char>(n & 0xffu), 1);
}
} // namespace

TQLModuleResponseNowPlayingHandler::TQLModuleResponseNowPlayingHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseNowPlaying();
}

int TQLModuleResponseNowPlayingHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value)) {
        // Any other type (a consume module's, say) keeps the variant as it was.
        if (is(path, scPath_moduleType) && value == scModuleType_live)
            m_isAod = 0;
        else if (is(path, scPath_moduleType) && value == scModuleType_aod)
            m_isAod = 1;
        return 1;
    }
    if (is(path, scPath_wallClockRenderTime)) {
        record()->wallClockRenderTime = value;
        m_response->m_wallClockRenderTime = value;
        return 1;
    }
    return m_isAod ? handleStringAOD(path, value) : handleStringLive(path, value);
}

int TQLModuleResponseNowPlayingHandler::handleNumber(const char* path, double value)
{
    if (is(path, scPath_updateFrequency)) {
        record()->updateFrequency = truncToInt(value);
        return 1;
    }
    return m_isAod ? handleNumberAOD(path, value) : handleNumberLive(path, value);
}

int TQLModuleResponseNowPlayingHandler::handleBoolean(const char* path, int value)
{
    return m_isAod ? handleBooleanAOD(path, value) : handleBooleanLive(path, value);
}

int TQLModuleResponseNowPlayingHandler::handleEndMap(const char* path)
{
    return m_isAod ? handleEndMapAOD(path) : handleEndMapLive(path);
}

int TQLModuleResponseNowPlayingHandler::handleStringLive(const char* path, const tql_string& value)
{
    if (const char* at = below(path, scPath_root))
        takeString(at, value, true);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleStringAOD(const char* path, const tql_string& value)
{
    if (const char* at = below(path, scPathAOD_root))
        takeString(at, value, false);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleNumberLive(const char* path, double value)
{
    if (const char* at = below(path, scPath_root))
        takeNumber(at, value, true);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleNumberAOD(const char* path, double value)
{
    if (const char* at = below(path, scPathAOD_root))
        takeNumber(at, value, false);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleBooleanLive(const char* path, int value)
{
    if (const char* at = below(path, scPath_root))
        takeBoolean(at, value);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleBooleanAOD(const char* path, int value)
{
    if (const char* at = below(path, scPathAOD_root))
        takeBoolean(at, value);
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleEndMapLive(const char* path)
{
    if (is(path, scPath_modules)) {
        storeModule();
        // The show of one module must not label the markers of the next.
        m_showLongTitle.clear();
        m_showGuid.clear();
    } else if (const char* at = below(path, scPath_root)) {
        endMapBelowRoot(at, true);
    }
    return 1;
}

int TQLModuleResponseNowPlayingHandler::handleEndMapAOD(const char* path)
{
    if (is(path, scPath_modules)) {
        storeModule();
        m_showLongTitle.clear();
    } else if (const char* at = below(path, scPathAOD_root)) {
        endMapBelowRoot(at, false);
    }
    return 1;
}

void TQLModuleResponseNowPlayingHandler::takeString(const char* at, const tql_string& value, bool live)
{
    if (is(at, scPath_hlsName))
        m_hlsAudio.name = value;
    else if (is(at, scPath_hlsUrl))
        m_hlsAudio.url = value;
    else if (is(at, scPath_hlsSize))
        m_hlsAudio.size = value;
    else if (is(at, scPath_customName))
        m_customAudio.name = value;
    else if (is(at, scPath_customUrl))
        m_customAudio.url = value;
    else if (is(at, scPath_customSize))
        m_customAudio.size = value;
    else if (is(at, scPath_positionTimestamp))
        m_customAudio.positionTimestamp = value;
    else if (is(at, scPath_position))
        m_customAudio.position = value;
    else if (is(at, scPath_chunkUrl))
        m_chunk.url = value;
    else if (is(at, scPath_chunkTimestamp))
        m_chunk.timestamp = value;
    else if (is(at, scPath_chunkKey))
        m_chunk.key = value;
    else if (is(at, scPath_chunkKeyUrl))
        m_chunk.keyUrl = value;
    else if (is(at, scPath_cueAssetGUID))
        m_cuePoint.assetGUID = value;
    else if (is(at, scPath_cueLayer))
        m_cuePoint.layer = value;
    else if (is(at, scPath_cueTimestamp))
        m_cuePoint.timestamp = value;
    else if (is(at, scPath_cueEvent))
        m_cuePoint.event = value;
    else if (is(at, scPath_cueMarkerGuid))
        m_cuePoint.markerGuid = value;
    else if (is(at, scPath_hlsConsumptionInfo))
        record()->hlsConsumptionInfo = value;
    else if (is(at, scPath_channelId))
        record()->channelId = value;
    else if (is(at, scPath_markerListLayer))
        m_markerListLayer = value;
    else
        takeMarkerString(at, value, live);
}

void TQLModuleResponseNowPlayingHandler::takeMarkerString(const char* at, const tql_string& value, bool live)
{
    // A live show is taken from the episode layer only, so that a show named
    // in another layer cannot relabel the timeline; on demand any layer counts.
    bool showOfEpisode = live && m_markerListLayer == scLayer_episode;
    if (is(at, scPath_assetGUID))
        m_marker.assetGUID = value;
    else if (is(at, scPath_consumptionInfo))
        m_marker.consumptionInfo = value;
    else if (is(at, scPath_layer))
        m_marker.layer = value;
    else if (is(at, scPath_timestamp))
        m_marker.timestamp = value;
    else if (is(at, scPath_containerGUID))
        m_marker.containerGUID = value;
    else if (is(at, scPath_cutTitle) || is(at, scPath_episodeLongTitle))
        m_marker.title = value;
    else if (is(at, scPath_clipGUID))
        m_marker.clipGUID = value;
    else if (is(at, scPath_artistName))
        m_marker.artistName = value;
    else if (is(at, scPath_artistPersonGuid))
        m_marker.artistPersonGuid = value;
    else if (is(at, scPath_albumTitle))
        m_marker.albumTitle = value;
    else if (is(at, scPath_albumArtName) || is(at, scPath_showArtName))
        m_image.name = value;
    else if (is(at, scPath_albumArtUrl) || is(at, scPath_showArtUrl))
        m_image.url = value;
    else if (is(at, scPath_longDescription))
        m_marker.longDescription = value;
    else if (is(at, scPath_showLongTitle)) {
        if (!live || showOfEpisode)
            m_showLongTitle = value;
    } else if (is(at, scPath_showGUID)) {
        if (showOfEpisode)
            m_showGuid = value;
    } else if (is(at, scPath_irNavClass))
        m_marker.dmcaInfo.irNavClass = value;
    else if (is(at, scPath_playOnSelect))
        m_marker.dmcaInfo.playOnSelect = value;
    else if (live && is(at, scPath_segmentType))
        m_marker.segmentType = value;
    else if (live && is(at, scPath_legacyShortId))
        m_marker.legacyShortId = value;
}

void TQLModuleResponseNowPlayingHandler::takeNumber(const char* at, double value, bool live)
{
    int n = truncToInt(value);
    if (is(at, scPath_chunkOffset))
        m_chunk.offset = n;
    else if (is(at, scPath_cueTime))
        m_cuePoint.time = lowByteText(value);
    else if (is(at, scPath_aodEpisodeCount))
        record()->aodEpisodeCount = n;
    else if (!live && is(at, scPathAOD_pausePointOffset))
        record()->pausePointOffset = truncToInt64(value);
    else if (is(at, scPath_time))
        m_marker.time = n;
    else if (is(at, scPath_duration))
        m_marker.duration = n;
    else if (is(at, scPath_albumArtHeight) || is(at, scPath_showArtHeight))
        m_image.height = n;
    else if (is(at, scPath_albumArtWidth) || is(at, scPath_showArtWidth))
        m_image.width = n;
    else if (is(at, scPath_maxFwdSkips))
        m_marker.dmcaInfo.maxFwdSkips = n;
    else if (is(at, scPath_maxBackSkips))
        m_marker.dmcaInfo.maxBackSkips = n;
    else if (is(at, scPath_fwdSkipDur))
        m_marker.dmcaInfo.fwdSkipDur = n;
    else if (is(at, scPath_backSkipDur))
        m_marker.dmcaInfo.backSkipDur = n;
    else if (is(at, scPath_maxTotalSkips))
        m_marker.dmcaInfo.maxTotalSkips = n;
    else if (is(at, scPath_maxSkipDur))
        m_marker.dmcaInfo.maxSkipDur = n;
}

void TQLModuleResponseNowPlayingHandler::takeBoolean(const char* at, int value)
{
    if (is(at, scPath_cueActive))
        m_cuePoint.active = value;
    else if (is(at, scPath_albumArtEncrypted) || is(at, scPath_showArtEncrypted))
        m_image.encrypted = value;
}

void TQLModuleResponseNowPlayingHandler::endMapBelowRoot(const char* at, bool live)
{
    TQLModuleResponseNowPlaying* playing = record();
    if (is(at, scPath_hlsAudioInfos)) {
        playing->hlsAudioInfos.push_back(m_hlsAudio);
        m_hlsAudio = TQLHlsAudioInfos();
    } else if (is(at, scPath_customAudioInfos)) {
        m_customAudio.chunks = m_chunks;
        playing->customAudioInfos.push_back(m_customAudio);
        m_customAudio = TQLCustomAudioInfos();
        m_chunks.clear();
    } else if (is(at, scPath_chunks)) {
        m_chunks.push_back(m_chunk);
        m_chunk = TQLChunk();
    } else if (is(at, scPath_cuePoints)) {
        playing->cuePointLists.push_back(m_cuePoint);
        m_cuePoint = TQLCuePointList();
    } else if (is(at, scPath_markers)) {
        finishMarker(live);
    } else if (is(at, scPath_albumArts) || is(at, scPath_showArts)) {
        m_marker.creativeArts.push_back(m_image);
        m_image = TQLImage();
    } else if (is(at, scPath_markerLists)) {
        // The markers are handed over, not copied a second time.
        playing->markerLists.emplace_back();
        playing->markerLists.back().layer = m_markerList.layer;
        playing->markerLists.back().markers.swap(m_markerList.markers);
        m_markerList = TQLMarkerList();
    }
}

void TQLModuleResponseNowPlayingHandler::finishMarker(bool live)
{
    // The show is not blanked with the marker: every later marker, in any
    // layer, carries the last show seen until the module ends.
    m_marker.showLongTitle = m_showLongTitle;
    if (live)
        m_marker.showGUID = m_showGuid;
    m_markerList.markers.push_back(m_marker);
    m_markerList.layer = m_markerListLayer;
    m_marker = TQLMarker();
}
