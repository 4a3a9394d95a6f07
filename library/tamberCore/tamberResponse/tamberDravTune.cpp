#include "tamberResponse/tamberDravTune.h"

#include <cmath>
#include <cstring>

#include "tamberTypes/tamberDebug.h"

namespace {
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_updateFrequency = "/moduleList/modules/updateFrequency";
#define DRAV "/moduleList/modules/moduleResponse/additionalChannelData"
const char* const scPath_root = DRAV;
#undef DRAV

// Below the root.
const char* const scPath_sequencerSessionId = "/sequencerSessionId";
const char* const scPath_channelName = "/channel/name";
const char* const scPath_channelGuid = "/channel/channelGuid";
const char* const scPath_channelId = "/channel/channelId";
const char* const scPath_channelImageUrl = "/channel/channelImageUrl";
const char* const scPath_channelLastUpdated = "/channel/channelLastUpdated";
const char* const scPath_playlistSource = "/channel/playlistSource";
#define DMCA "/channel/dmcaInfo"
const char* const scPath_irNavClass = DMCA "/irNavClass";
const char* const scPath_maxFwdSkips = DMCA "/maxFwdSkips";
const char* const scPath_maxBackSkips = DMCA "/maxBackSkips";
const char* const scPath_fwdSkipDur = DMCA "/fwdSkipDur";
const char* const scPath_backSkipDur = DMCA "/backSkipDur";
const char* const scPath_maxTotalSkips = DMCA "/maxTotalSkips";
const char* const scPath_maxSkipDur = DMCA "/maxSkipDur";
#define CLIPS "/clipList/clips"
const char* const scPath_clips = CLIPS;
const char* const scPath_clipAssetGuid = CLIPS "/assetGuid";
const char* const scPath_clipAssetType = CLIPS "/assetType";
const char* const scPath_clipConsumptionInfo = CLIPS "/consumptionInfo";
const char* const scPath_clipCategory = CLIPS "/category";
const char* const scPath_clipTitle = CLIPS "/title";
const char* const scPath_clipArtistName = CLIPS "/artistName";
const char* const scPath_clipAlbumName = CLIPS "/albumName";
const char* const scPath_clipImageUrl = CLIPS "/clipImageUrl";
const char* const scPath_clipContentUrl = CLIPS "/contentUrlList/contentUrls/url";
const char* const scPath_clipDuration = CLIPS "/duration";
#define CUSTOM "/customAudioInfos"
const char* const scPath_customAudioInfos = CUSTOM;
const char* const scPath_customName = CUSTOM "/name";
const char* const scPath_customUrl = CUSTOM "/url";
const char* const scPath_customSize = CUSTOM "/size";
const char* const scPath_chunks = CUSTOM "/chunks/chunks";
const char* const scPath_chunkUrl = CUSTOM "/chunks/chunks/url";
const char* const scPath_chunkKey = CUSTOM "/chunks/chunks/key";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

const char* below(const char* path, const char* root)
{
    size_t length = strlen(root);
    return strncmp(path, root, length) == 0 ? path + length : nullptr;
}
} // namespace

const char* const TQLModuleResponseTuneToDravHandler::scPath_crossfade =
    "/moduleList/modules/moduleResponse/additionalChannelData" CLIPS "/crossfade";
const char* const TQLModuleResponseTuneToDravHandler::scPath_customAudioPosition =
    "/moduleList/modules/moduleResponse/additionalChannelData" CUSTOM "/position";

TQLModuleResponseTuneToDravHandler::TQLModuleResponseTuneToDravHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseTuneToDrav();
}

int TQLModuleResponseTuneToDravHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    const char* at = below(path, scPath_root);
    if (!at)
        return 1;
    if (is(at, scPath_sequencerSessionId))
        m_sequencerSessionId = value;
    else if (!takeChannelString(at, value) && !takeClipString(at, value))
        takeCustomAudioString(at, value);
    return 1;
}

bool TQLModuleResponseTuneToDravHandler::takeChannelString(const char* at, const tql_string& value)
{
    tql_string* field = nullptr;
    if (is(at, scPath_channelName))
        field = &m_channel.channelName;
    else if (is(at, scPath_channelGuid))
        field = &m_channel.channelGuid;
    else if (is(at, scPath_channelId))
        field = &m_channel.channelId;
    else if (is(at, scPath_channelImageUrl))
        field = &m_channel.channelImageUrl;
    else if (is(at, scPath_channelLastUpdated))
        field = &m_channel.channelLastUpdated;
    else if (is(at, scPath_playlistSource))
        field = &m_channel.playlistSource;
    else if (is(at, scPath_irNavClass))
        field = &m_channel.dmcaInfo.irNavClass;
    if (field)
        *field = value;
    return field != nullptr;
}

bool TQLModuleResponseTuneToDravHandler::takeClipString(const char* at, const tql_string& value)
{
    if (is(at, scPath_clipContentUrl)) {
        m_clip.contentUrls.push_back(value);
        return true;
    }
    tql_string* field = nullptr;
    if (is(at, scPath_clipAssetGuid))
        field = &m_clip.assetGuid;
    else if (is(at, scPath_clipAssetType))
        field = &m_clip.assetType;
    else if (is(at, scPath_clipConsumptionInfo))
        field = &m_clip.consumptionInfo;
    else if (is(at, scPath_clipCategory))
        field = &m_clip.category;
    else if (is(at, scPath_clipTitle))
        field = &m_clip.title;
    else if (is(at, scPath_clipArtistName))
        field = &m_clip.artistName;
    else if (is(at, scPath_clipAlbumName))
        field = &m_clip.albumName;
    else if (is(at, scPath_clipImageUrl))
        field = &m_clip.clipImageUrl;
    if (field)
        *field = value;
    return field != nullptr;
}

bool TQLModuleResponseTuneToDravHandler::takeCustomAudioString(const char* at, const tql_string& value)
{
    if (is(at, scPath_customName))
        m_customAudio.name = value;
    else if (is(at, scPath_customUrl))
        m_customAudio.url = value;
    else if (is(at, scPath_customSize))
        m_customAudio.size = value;
    else if (is(at, scPath_chunkUrl))
        m_chunk.url = value;
    else if (is(at, scPath_chunkKey))
        m_chunk.key = value;
    else
        return false;
    return true;
}

int TQLModuleResponseTuneToDravHandler::handleNumber(const char* path, double value)
{
    if (is(path, scPath_updateFrequency)) {
        record()->updateFrequency = truncToInt(value);
        return 1;
    }
    const char* at = below(path, scPath_root);
    if (!at)
        return 1;
    TQLDmcaInfo& dmca = m_channel.dmcaInfo;
    if (is(at, scPath_clipDuration)) {
        // The clock of a clip channel adds these up; a length that is no
        // time at all would stop it or make it run backwards.
        bool usable = std::isfinite(value) && value >= 0;
        if (!usable)
            TQL_LOG(2, "Clip duration out of range, taken as 0");
        m_clip.duration = usable ? value : 0;
    } else if (is(at, scPath_maxFwdSkips)) {
        dmca.maxFwdSkips = truncToInt(value);
    } else if (is(at, scPath_maxBackSkips)) {
        dmca.maxBackSkips = truncToInt(value);
    } else if (is(at, scPath_fwdSkipDur)) {
        dmca.fwdSkipDur = truncToInt(value);
    } else if (is(at, scPath_backSkipDur)) {
        dmca.backSkipDur = truncToInt(value);
    } else if (is(at, scPath_maxTotalSkips)) {
        dmca.maxTotalSkips = truncToInt(value);
    } else if (is(at, scPath_maxSkipDur)) {
        dmca.maxSkipDur = truncToInt(value);
    }
    return 1;
}

int TQLModuleResponseTuneToDravHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_modules)) {
        storeModule();
        return 1;
    }
    const char* at = below(path, scPath_root);
    if (!at)
        return 1;
    if (is(at, scPath_chunks)) {
        m_chunks.push_back(m_chunk);
        m_chunk = TQLChunk();
    } else if (is(at, scPath_customAudioInfos)) {
        m_customAudio.chunks = m_chunks;
        m_customAudioInfos.push_back(m_customAudio);
        m_customAudio = TQLCustomAudioInfos();
        m_chunks.clear();
    } else if (is(at, scPath_clips)) {
        m_channel.clips.push_back(m_clip);
        m_clip = TQLClip();
    } else if (*at == '\0') {
        TQLModuleResponseTuneToDrav* out = record();
        out->sequencerSessionId = m_sequencerSessionId;
        out->m_channel = m_channel;
        for (const TQLCustomAudioInfos& info : m_customAudioInfos)
            out->customAudioInfos.push_back(info);
        m_customAudioInfos.clear();
        m_channel = TQLDravChannel();
    }
    return 1;
}
