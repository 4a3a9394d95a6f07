// The metadata timeline: markers of the tune reply are matched against the
// chunks as they are delivered, queued with the play time at which they
// will be heard, and released to the host as its play position passes that
// time. The timebar is rebuilt from the same markers.
#include <cstring>

#include "tamberCore.h"
#include "tamberDmcaRules.h"
#include "tamberNodeResponder.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const uint64_t kLiveWindowMs = 18000000; // five hours of buffer
const int kLiveDurationSeconds = 17840;
const uint64_t kLiveLagMs = 160000;

uint64_t nowMs()
{
    return tql_datetime::currentMSecsSinceEpoch();
}
} // namespace

// The now-playing record of the held tune reply, or null with the reason
// logged in the caller's words.
const TQLModuleResponseNowPlaying* CMTamberNodeResponder::tunedRecord(const char* badResponse, const char* noModule,
                                                                     const char* castFail) const
{
    TQLResponse* tune = m_tamberRequest->m_norvaletune;
    if (!tune || tune->m_status != 1) {
        TQL_LOG(2, "%s", badResponse);
        return nullptr;
    }
    if (tune->m_modules.empty()) {
        TQL_LOG(2, "%s", noModule);
        return nullptr;
    }
    auto* record = dynamic_cast<const TQLModuleResponseNowPlaying*>(tune->m_modules.front().m_moduleResponse);
    if (!record)
        TQL_LOG(2, "%s", castFail);
    return record;
}

void CMTamberNodeResponder::handleMetadata(tamberChunk& chunk)
{
    if (m_cutLayerIndex == -1 && m_episodeLayerIndex == -1) {
        TQL_LOG(3, "No marker index for handling historical metadata");
        return;
    }
    tamberTime clock;
    TQL_LOG(4, "handleMetadata chunk TS = %s", clock.tamberTimeGetTimeAsString(chunk.timestamp).c_str());
    uint64_t ts = chunk.timestamp;
    int64_t measured;
    if (m_firstChunkTimestampMs == 0) {
        m_firstChunkTimestampMs = ts;
        measured = chunk.duration;
    } else {
        measured = static_cast<int64_t>(ts - m_prevChunkTimestampMs);
    }
    TQL_LOG(4, "chunk duration = %d ms\n prev TS = %s ms\n curr TS = %s ms", static_cast<int>(measured),
            clock.tamberTimeGetTimeAsString(m_prevChunkTimestampMs).c_str(),
            clock.tamberTimeGetTimeAsString(ts).c_str());
    m_prevChunkTimestampMs = ts;
    if (m_tokenRequest.mode == 1) {
        // An episode's markers are queued once, at its first chunk.
        if (m_lastMarkerTimestampMs != 0) {
            TQL_LOG(4, "AOD metadata already processed");
            return;
        }
        chunk.duration = static_cast<int32_t>(measured);
    }
    const TQLModuleResponseNowPlaying* record =
        tunedRecord("No metadata response", "No metadata response", "No metadata in tune channel response");
    if (!record)
        return;
    if (m_cutLayerIndex < 0 || static_cast<size_t>(m_cutLayerIndex) >= record->markerLists.size()) {
        TQL_LOG(2, "No metadata in tune channel response");
        return;
    }
    TQL_LOG(4, "Current Chunk TS = %s", clock.tamberTimeGetTimeAsString(ts).c_str());
    queueNewMarkers(record->markerLists[static_cast<size_t>(m_cutLayerIndex)].markers, chunk);
}

// Newest first, every marker not queued yet, down to the one that was
// already playing when the stream started.
void CMTamberNodeResponder::queueNewMarkers(const tql_list<TQLMarker>& markers, const tamberChunk& chunk)
{
    uint64_t newest = 0;
    for (size_t i = markers.size(); i > 0; --i) {
        const TQLMarker& marker = markers[i - 1];
        uint64_t t = tamberTime::textToMs(marker.timestamp);
        if (m_lastMarkerTimestampMs >= t)
            break;
        TamberMetadata md = buildMetadata(marker);
        uint64_t offset = m_firstChunkTimestampMs < t ? t - m_firstChunkTimestampMs : 0;
        md.m_presentationTimeMs = offset;
        md.m_consumeTime = tamberTime().tamberTimeGetTimeAsConsumeString(chunk.timestamp + offset);
        if (newest == 0)
            newest = t;
        on_streamMetadataResponder(md);
        if (offset == 0)
            break;
    }
    if (newest != 0)
        m_lastMarkerTimestampMs = newest;
}

void CMTamberNodeResponder::on_streamMetadataResponder(const TamberMetadata& metadata)
{
    m_metadataQueue.push_back(metadata);
}

TamberMetadata CMTamberNodeResponder::buildMetadata(const TQLMarker& marker)
{
    TamberMetadata md;
    md.add(TamberMetadataRec::Album, marker.albumTitle);
    md.add(TamberMetadataRec::Artist, marker.artistName);
    md.add(TamberMetadataRec::Title, marker.title);
    md.add(TamberMetadataRec::ShowTitle, marker.showLongTitle);
    md.add(TamberMetadataRec::ShowGuid, marker.showGUID);
    md.m_timestampMs = tamberTime::textToMs(marker.timestamp);
    md.m_consumptionInfo = findConsumptionInfo(marker);
    tql_string art = findAlbumArt(marker);
    TQLMarker episode;
    checkDmcaAndTimebar(marker, episode);
    md.add(TamberMetadataRec::ArtworkUrl, art);
    return md;
}

tql_string CMTamberNodeResponder::findAlbumArt(const TQLMarker& marker)
{
    for (size_t i = marker.creativeArts.size(); i > 0; --i) {
        const TQLImage& image = marker.creativeArts[i - 1];
        if (!image.url.isEmpty() && !image.encrypted)
            return image.url;
    }
    return tql_string();
}

// The consumption token of a marker. The episode fallback tests the
// reverse of what its message says and so never yields a value; it stays
// as the service's reports expect.
tql_string CMTamberNodeResponder::findConsumptionInfo(const TQLMarker& marker)
{
    tql_string result = marker.consumptionInfo;
    if (!result.isEmpty())
        return result;
    TQLResponse* tune = m_tamberRequest->m_norvaletune;
    if (!tune) {
        TQL_LOG(2, "m_tamberRequest.m_norvaletune is NULL -> probably invalid data");
        return result;
    }
    if (tune->m_modules.empty()) {
        TQL_LOG(2, "m_tamberRequest.m_norvaletune modules.size() == 0 -> probably invalid data");
        return result;
    }
    if (m_tokenRequest.mode == 2)
        return currentClipConsumptionInfo();
    if (m_episodeLayerIndex == -1) {
        TQL_LOG(3, "No episodes found in now playing data");
        return result;
    }
    TQLMarker episode = findMarkerItemByTimestamp(static_cast<unsigned long>(tamberTime::textToMs(marker.timestamp)),
                                                  m_episodeLayerIndex, 0);
    if (!episode.consumptionInfo.isEmpty())
        TQL_LOG(3, "No episode consumptionInfo");
    return result;
}

// On a clip channel the token is the clip's, whatever the marker.
tql_string CMTamberNodeResponder::currentClipConsumptionInfo()
{
    if (m_clipSequencer.getClipListSize() == 0) {
        TQL_LOG(2, "Episode list is empty, cannot set consumption info");
        return tql_string();
    }
    return m_clipSequencer.getCurrentClip().consumptionInfo;
}

void CMTamberNodeResponder::checkDmcaAndTimebar(const TQLMarker& marker, TQLMarker& episode)
{
    int mode = m_tokenRequest.mode;
    if (m_firstMetadataDone && (mode == 1 || mode == 2))
        return;
    if (episode.assetGUID.isEmpty() && episode.timestamp.isEmpty())
        episode = findMarkerItemByTimestamp(static_cast<unsigned long>(tamberTime::textToMs(marker.timestamp)), m_episodeLayerIndex,
                                            0);
    if (!episode.assetGUID.isEmpty() && !m_dmcaRules->check(episode.assetGUID)) {
        tql_dmcaInfo rule;
        rule.maxFwdSkips = episode.dmcaInfo.maxFwdSkips;
        rule.maxBackSkips = episode.dmcaInfo.maxBackSkips;
        rule.fwdSkipDur = episode.dmcaInfo.fwdSkipDur;
        rule.backSkipDur = episode.dmcaInfo.backSkipDur;
        rule.irClassNav = episode.dmcaInfo.irNavClass;
        rule.playOnSelect = episode.dmcaInfo.playOnSelect;
        rule.accessControlId = episode.assetGUID;
        m_dmcaRules->addDmca(rule);
    }
    m_firstMetadataDone = 1;
}

// The markers of one layer of the held tune reply, or null with the reason
// logged in the caller's words.
const tql_list<TQLMarker>* CMTamberNodeResponder::markersOf(int layer, const char* noModule,
                                                            const char* beyondLists) const
{
    const TQLModuleResponseNowPlaying* record =
        tunedRecord("Bad tune response for setting DMCA", noModule, "No tune channel response. cast fail");
    if (!record)
        return nullptr;
    if (layer < 0) {
        TQL_LOG(3, "No marker metadata in tune channel response");
        return nullptr;
    }
    if (static_cast<size_t>(layer) >= record->markerLists.size()) {
        TQL_LOG(3, "%s", beyondLists);
        return nullptr;
    }
    return &record->markerLists[static_cast<size_t>(layer)].markers;
}

TQLMarker CMTamberNodeResponder::findMarkerItemByTimestamp(unsigned long ms, int layer, int move)
{
    const tql_list<TQLMarker>* layerMarkers =
        markersOf(layer, "Bad tune response for setting DMCA - no module", "No markerlist available for current index");
    if (!layerMarkers)
        return TQLMarker();
    const tql_list<TQLMarker>& markers = *layerMarkers;
    for (size_t i = markers.size(); i > 0; --i) {
        if (tamberTime::textToMs(markers[i - 1].timestamp) > ms)
            continue;
        // i - 1 is the newest marker at or before ms; move steps from there.
        long target = static_cast<long>(i - 1) + move;
        if (target >= static_cast<long>(markers.size())) {
            TQL_LOG(3, "No next segment/episode found");
            return TQLMarker();
        }
        if (target < 0) {
            TQL_LOG(3, "No previous segment/episode found");
            return TQLMarker();
        }
        return markers[static_cast<size_t>(target)];
    }
    TQL_LOG(3, "No marker found in now playing data");
    return TQLMarker();
}

TQLMarker CMTamberNodeResponder::findMarkerItemByAssetGUID(int layer, const tql_string& guid)
{
    const char* bad = "Bad tune response for setting DMCA";
    const tql_list<TQLMarker>* layerMarkers = markersOf(layer, bad, bad);
    if (!layerMarkers)
        return TQLMarker();
    const tql_list<TQLMarker>& markers = *layerMarkers;
    // An empty GUID stands for the last marker.
    for (size_t i = markers.size(); i > 0; --i)
        if (guid.isEmpty() || markers[i - 1].assetGUID == guid)
            return markers[i - 1];
    TQL_LOG(3, "No marker found in now playing data with assetGUID %s", guid.c_str());
    return TQLMarker();
}

void CMTamberNodeResponder::updateMetadata()
{
    TamberMetadata merged;
    // Only the due entry nearest the front reaches the host; every due
    // entry leaves the queue.
    for (size_t i = m_metadataQueue.size(); i > 0; --i) {
        const TamberMetadata& entry = m_metadataQueue[i - 1];
        bool due = entry.m_presentationTimeMs <= m_playTimeMs || (m_playTimeMs == 0 && m_tokenRequest.mode == 2);
        if (!due)
            continue;
        TQL_LOG(4, "updateMetadata(): playTime = %f seconds, metadata time = %f seconds", m_playTimeMs / 1000.0,
                static_cast<double>(entry.m_presentationTimeMs) / 1000.0);
        merged = entry;
        m_metadataQueue.erase(m_metadataQueue.begin() + static_cast<long>(i - 1));
    }
    propagateStreamMetadataResponder(merged);
}

void CMTamberNodeResponder::propagateStreamMetadataResponder(const TamberMetadata& metadata)
{
    if (metadata.isEmpty())
        return;
    m_currentTrackTimestampMs = metadata.m_timestampMs;
    if (m_core->getTamberCallback()->handleAndSendMetadataCallback(metadata) == -1)
        return;
    int mode = m_tokenRequest.mode;
    setConsumeMode(metadata);
    if (m_tuneInPending) {
        reportV2Consume(1, 1);
        reportV4Consume(1, 1);
        m_tuneInPending = 0;
    } else if (mode != 2) {
        reportV2Consume(0, 0);
        reportV4Consume(0, 0);
    }
    // The live timebar goes out at the first metadata and again when a show
    // has ended; an episode's only once.
    if (!m_tokenRequest.episodeGuid.isEmpty()) {
        if (mode != 0)
            return;
        if (m_playTimeMs + m_firstChunkTimestampMs <= m_showEndTimestampMs)
            return;
    }
    m_core->getTamberCallback()->propagateTimebar(metadata.m_assetGuid);
}

int CMTamberNodeResponder::on_playTimeChangedResponder(unsigned ms)
{
    TQL_LOG(4, "Curr play time: %d", static_cast<int>(ms));
    // The host restarted its clock for the next clip.
    if (ms <= 999 && m_tokenRequest.mode == 2 && m_playTimeMs > ms)
        m_clipSequencer.resetSkipTime();
    m_playTimeMs = ms;
    updateMetadata();
    return 0;
}

void CMTamberNodeResponder::createTimebarInfo(tql_timebarData* data, const tql_string& guid)
{
    memset(data, 0, sizeof *data);
    int mode = m_tokenRequest.mode;
    if (mode == 2) {
        data->startSeconds = nowMs() / 1000;
        data->duration = truncToInt(m_clipSequencer.getCurrentClip().duration * 1000.0);
        return;
    }
    TQLMarker episode = findMarkerItemByAssetGUID(m_episodeLayerIndex, guid);
    if (episode.assetGUID.isEmpty()) {
        TQL_LOG(3, "NO episode to create timebar, leaving");
        return;
    }
    m_tokenRequest.episodeGuid = episode.assetGUID;
    if (mode == 1) {
        data->startSeconds = tamberTime::textToMs(episode.timestamp) / 1000;
        // The service's duration in seconds, kept within the record's int.
        int64_t durationMs = static_cast<int64_t>(episode.duration) * 1000;
        data->duration = durationMs > 2147483647 ? 2147483647 : durationMs < 0 ? 0 : static_cast<int>(durationMs);
        m_tokenRequest.episodeDurationMs = data->duration;
        // A resume point in the last three seconds starts the episode over.
        if (data->duration - m_tokenRequest.pausePointOffset < 3001)
            m_tokenRequest.pausePointOffset = 0;
    }
    data->skipClass = m_dmcaRules->isAllowed(episode.assetGUID);
    if (data->skipClass == irClassNavUnknown) {
        TQL_LOG(3, "no dmca found. Using default timebar");
        data->skipClass = irClassNavUnrestricted;
    }
    bool positioned = false;
    if (mode == 0) {
        uint64_t now = nowMs();
        data->startSeconds = (now - kLiveWindowMs) / 1000;
        data->duration = kLiveDurationSeconds;
        data->liveFlag = 1;
        tql_string start, end;
        findShowStartEndTimestamp(start, end);
        data->showStartMs = start.isEmpty() ? 0 : tamberTime::textToMs(start);
        data->showEndMs = end.isEmpty() ? 0 : tamberTime::textToMs(end);
        m_showEndTimestampMs = data->showEndMs;
        if (m_tokenRequest.tuneType != tuneTypeTimeShifted) {
            data->liveEdgeSeconds = now / 1000;
            data->positionSeconds = (now - kLiveLagMs) / 1000;
            positioned = true;
        }
    }
    if (!positioned) {
        if (!m_tokenRequest.timestamp.isEmpty())
            data->positionSeconds = tamberTime::textToMs(m_tokenRequest.timestamp) / 1000;
        else if (mode == 1)
            data->positionSeconds = data->startSeconds;
        else
            TQL_LOG(2, "Undefined type of playback for handling timebar");
    }
    if (data->skipClass == irClassNavUnrestricted)
        fillTimebarSegments(data);
}

// Segment starts of an unrestricted asset, newest first.
void CMTamberNodeResponder::fillTimebarSegments(tql_timebarData* data)
{
    const TQLModuleResponseNowPlaying* record = tunedRecord(
        "Bad tune response for setting DMCA", "Bad tune response for setting DMCA",
        "No tune channel response. cast fail");
    if (!record)
        return;
    scanMarkerLayers();
    if (m_segmentLayerIndex < 0) {
        TQL_LOG(3, "No marker metadata in tune channel response");
        return;
    }
    if (static_cast<size_t>(m_segmentLayerIndex) >= record->markerLists.size()) {
        TQL_LOG(2, "No markerList size to small %d it shall be %d", static_cast<int>(record->markerLists.size()),
                m_segmentLayerIndex + 1);
        return;
    }
    const tql_list<TQLMarker>& markers = record->markerLists[static_cast<size_t>(m_segmentLayerIndex)].markers;
    if (markers.empty())
        return;
    auto* segments = static_cast<uint64_t*>(tql_malloc(sizeof(uint64_t) * markers.size()));
    if (!segments) {
        TQL_LOG(1, "Unable to allocate timebar segment");
        return;
    }
    for (size_t i = 0; i < markers.size(); ++i)
        segments[i] = tamberTime::textToMs(markers[markers.size() - 1 - i].timestamp) / 1000;
    data->segments = segments;
    data->segmentCount = static_cast<int>(markers.size());
}
