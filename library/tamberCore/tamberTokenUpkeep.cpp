// Keeping a playback's token and session alive: the no-op, the token
// renewal with its variant file, pause and resume.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kDefaultNoopTimeoutMs = 50000;
const int kRecoverableDataMs = 9999;  // more than this left: a bad variant file can wait
const int kTokenErrorLimit = 4;
const int kLiveLagMs = 160000;         // how far the playable live edge lies behind real time
const int64_t kLiveWindowMs = 17840000; // five hours of buffer less that lag

int64_t nowMs()
{
    return static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
}
} // namespace

int CMTamberNodeResponder::tokenRequiresUpdate()
{
    int64_t validUntil = m_tokenData.tokenTimestampMs + m_tokenData.tokenTimeoutMs;
    TQL_LOG(4, "token timeout   %d: sec", m_tokenData.tokenTimeoutMs / 1000);
    TQL_LOG(4, "token valid for %d: sec", static_cast<int>((validUntil - nowMs()) / 1000));
    if (validUntil <= nowMs()) {
        TQL_LOG(3, "Token requires update");
        return 1;
    }
    TQL_LOG(4, "Token still up to date");
    return 0;
}

void CMTamberNodeResponder::triggerTokenUpdate()
{
    m_tokenData.tokenTimestampMs = 0;
    TQL_LOG(3, "Force Token update");
}

void CMTamberNodeResponder::triggerNoopUpdate()
{
    m_tokenData.lastNoopMs = 0;
    m_tokenData.noopTimeoutMs = 0;
}

int CMTamberNodeResponder::dataLeftToPLay()
{
    // Every listed chunk counts as ten seconds, whatever its length.
    int left = static_cast<int>(m_bufferedMs) + 10000 * static_cast<int>(m_nextChunks.size());
    TQL_LOG(4, "data Left to play: %d", left);
    return left;
}

int CMTamberNodeResponder::reauthenticate()
{
    TQL_LOG(3, "reauthenticate called");
    return m_core->reauthenticate();
}

int CMTamberNodeResponder::callNOOP(int resumeOnFailure, int force)
{
    int64_t dueAt = m_tokenData.lastNoopMs + m_tokenData.noopTimeoutMs;
    TQL_LOG(4, "NOOP timeout   %d: sec", static_cast<int>(m_tokenData.noopTimeoutMs / 1000));
    TQL_LOG(4, "NOOP valid for %d: sec", static_cast<int>((dueAt - nowMs()) / 1000));
    if (!force && dueAt >= nowMs())
        return 0;
    m_tokenData.lastNoopMs = nowMs();
    if (m_tamberRequest->tamberNorvaleNoOP() != -1) {
        int seconds = m_tamberRequest->m_norvalenoop ? m_tamberRequest->m_norvalenoop->m_updateFrequency : 0;
        m_tokenData.noopTimeoutMs = seconds < 1 ? kDefaultNoopTimeoutMs : static_cast<int64_t>(seconds) * 1000;
        TQL_LOG(3, "Noop called...");
        return 0;
    }
    if (resumeOnFailure || m_tamberRequest->m_sessionInvalid) {
        TQL_LOG(3, "Session Update is required -> call Resume");
        if (m_core->norvaleResumeCall() != -1)
            return resumeOnFailure != 0;
        TQL_LOG(1, "Error by resume call");
    }
    TQL_LOG(2, "NOOP Failed - call tune and reauthintication if required");
    return 1;
}

int CMTamberNodeResponder::tuneChannel(int update)
{
    if (callNOOP(!update, 0) == 0 && tokenRequiresUpdate() == 0)
        return respondOk;
    m_cutLayerIndex = m_episodeLayerIndex = m_segmentLayerIndex = -1;
    // A recovery that finds its place again by time asks for the longest
    // index: a live playback may lie further behind the edge than a live
    // tune's index reaches, and what it does not list would be lost.
    int tuneType = m_tokenRequest.tuneType;
    if (m_resyncByTime && m_tokenRequest.mode == 0)
        m_tokenRequest.tuneType = tuneTypeTimeShifted;
    int token = m_tamberRequest->tamberStationToken(m_tokenRequest, m_tokenData, 1, !update);
    TQLResponse* tune = m_tamberRequest->m_norvaletune;
    if (token == 1 && tune && tune->m_status == 1) {
        int taken = takeTuneResponse(update);
        m_tokenRequest.tuneType = tuneType;
        return taken;
    }
    m_tokenRequest.tuneType = tuneType;
    if (update) {
        if (m_tamberRequest->m_simultaneousLogin) {
            TQL_LOG(1, "User logged elsewhere");
            m_tamberRequest->setLibraryErrorResponse(tamberErrorLoggedElsewhere, 0);
            return respondError;
        }
        if (!m_tamberRequest->m_sessionInvalid)
            return tokenFailure();
    }

    // A first tune, or a session that has to come back first.
    tql_errorNotification last{};
    m_tamberRequest->getErrorResponse(&last);
    if (last.errorCode == tamberErrorChannelUnavailable) {
        TQL_LOG(1, "playback ended - Content not available");
        return respondError;
    }
    TQL_LOG(3, "Session Update is required -> call Resume");
    if (m_core->norvaleResumeCall() == -1) {
        TQL_LOG(1, "Error by resume call");
        m_tamberRequest->setLibraryErrorResponse(tamberErrorTokenUpdate, 0);
        return respondError;
    }
    if (!update && m_chunkFileList.empty())
        downloadFirstChunk();
    triggerChunkListUpdate();
    return respondOk;
}

// A renewal during play that failed: the session is fine, so the token is
// tried again a token period later, a few times.
int CMTamberNodeResponder::tokenFailure()
{
    tql_errorNotification last{};
    m_tamberRequest->getErrorResponse(&last);
    if (last.errorCode == tamberErrorChannelUnavailable) {
        TQL_LOG(1, "playback ended - Content not available");
        return respondError;
    }
    TQL_LOG(2, "Token error");
    int before = m_tokenErrorCount++;
    if (before < kTokenErrorLimit && last.errorCode != tamberErrorUnreachable) {
        m_tokenData.tokenTimestampMs = nowMs();
        return respondOk;
    }
    TQL_LOG(1, "Token error - stop playback");
    m_tamberRequest->setLibraryErrorResponse(tamberErrorTokenUpdate, 0);
    return respondError;
}

int CMTamberNodeResponder::takeTuneResponse(int update)
{
    if (!update && m_chunkFileList.empty() && m_channelCtx.liveStart == 0 && downloadFirstChunk() == 1)
        return respondOk;
    int server = m_tokenData.useAlternateServer;
    m_tokenData.tokenTimestampMs = nowMs();
    int dataLeft = dataLeftToPLay();
    int variants = m_playlistParser->tamberDownloadVariantFile(m_tokenData, m_tokenRequest, m_variantFileList, dataLeft);
    TQLResponse* tune = m_tamberRequest->m_norvaletune;
    if (tune && tune->m_updateFrequency > 0) {
        m_tokenData.tokenTimeoutMs = tune->m_updateFrequency * 1000;
        TQL_LOG(3, "Token timeout for HLSv2 = %d", m_tokenData.tokenTimeoutMs);
    }
    if (server != m_tokenData.useAlternateServer) {
        m_syncAltServer = 1;
        TQL_LOG(2, "Problem on current system index file update failed -> switch systems: useAlternateServer = %d",
                m_tokenData.useAlternateServer);
        setStreamIndexes(m_defaultStreamIndex);
        triggerChunkListUpdate();
    }
    if (variants == -1) {
        if (dataLeft > kRecoverableDataMs) {
            TQL_LOG(2, "Skipping variant file processing due to recoverable error");
            return respondRecoverable;
        }
        TQL_LOG(1, "Problem By parsing Index Variant file");
        m_tamberRequest->setLibraryErrorResponse(tamberErrorTokenUpdate, 0);
        return respondError;
    }
    // Chunks not yet fetched carry the old token in their URLs.
    m_nextChunks.clear();
    m_chunkFileList.clear();
    m_indexFileRequired = 1;
    m_lastListedSeqNum = m_currentSeqNum > 0 ? m_currentSeqNum - 1 : 0;
    m_tokenErrorCount = 0;
    if (tune && !tune->m_modules.empty())
        scanMarkerLayers();
    return respondOk;
}

// Where the cut, episode and segment layers stand in the tune's marker lists.
void CMTamberNodeResponder::scanMarkerLayers()
{
    auto* playing = firstModule<TQLModuleResponseNowPlaying>(m_tamberRequest->m_norvaletune);
    bool cutFound = false;
    if (playing) {
        for (size_t i = 0; i < playing->markerLists.size(); ++i) {
            const TQLMarkerList& list = playing->markerLists[i];
            if (list.layer == "cut") {
                m_cutLayerIndex = static_cast<int32_t>(i);
                cutFound = true;
            } else if (list.layer == "episode" && !list.markers.empty()) {
                const TQLMarker& first = list.markers.front();
                if (m_tokenRequest.mode == 1 && !first.creativeArts.empty())
                    m_defaultIcon = first.creativeArts.front().url;
                m_episodeLayerIndex = static_cast<int32_t>(i);
            } else if (list.layer == "segment") {
                m_segmentLayerIndex = static_cast<int32_t>(i);
            }
        }
    }
    if (!cutFound) {
        TQL_LOG(2, "No cut metadata layer in tune channel response");
        m_cutLayerIndex = m_episodeLayerIndex;
    }
}

int CMTamberNodeResponder::restorePlayback()
{
    if (m_tokenRequest.mode == 0) {
        m_playlistParser->tamberDownloadVariantFile(m_tokenData, m_tokenRequest, m_variantFileList, 0);
        if (m_variantFileList.empty()) {
            TQL_LOG(1, "Problem By parsing Index Variant file");
            return 0;
        }
        m_indexFileRequired = 1;
        if (!m_tokenRequest.episodeGuid.isEmpty())
            m_core->getTamberCallback()->propagateTimebar(m_tokenRequest.episodeGuid);
    } else if (requestContentKeys() == 0) {
        TQL_LOG(2, "No Key to download");
    }
    m_tokenErrorCount = 0;
    return 1;
}

int CMTamberNodeResponder::userPause(int pause)
{
    if (pause) {
        if (m_state == StatePaused)
            return 1;
        m_state = StatePaused;
        if (m_tokenRequest.mode != 2)
            m_tokenRequest.tuneType = tuneTypeTimeShifted;
        m_tokenRequest.pausedAtMs = nowMs();
        uint64_t position = static_cast<uint64_t>(m_playTimeMs) + m_firstChunkTimestampMs;
        m_tokenRequest.pausedTimestamp = tamberTime().tamberTimeGetTimeAsHPDTString(0, position);
        if (m_tokenRequest.mode == 0)
            m_tokenRequest.timestamp = m_tokenRequest.pausedTimestamp;
        TQL_LOG(3, "Stopped at time %s", m_tokenRequest.pausedTimestamp.c_str());
        reportV2Consume(1, 3);
        reportV4Consume(1, 3);
        return 1;
    }
    if (m_state == StatePlaying)
        return 1;
    if (m_core->norvaleResumeCall() != 1 || m_tokenRequest.pausedTimestamp.isEmpty())
        return -1;
    // A pause uses up neither the token nor the chunk list.
    int64_t elapsed = nowMs() - m_tokenRequest.pausedAtMs;
    m_tokenData.tokenTimestampMs += elapsed;
    m_lastChunkListUpdateMs += static_cast<uint64_t>(elapsed);
    int64_t pausePosition = static_cast<int64_t>(tamberTime().tamberTimeGetTimeAsMSec(m_tokenRequest.pausedTimestamp));
    int64_t edge = static_cast<int64_t>(m_core->getCurrentTimestampMs(kLiveLagMs));
    m_pausedDurationMs = static_cast<uint64_t>(elapsed);
    reportV2Consume(1, 4);
    reportV4Consume(1, 4);
    if (m_tokenRequest.mode == 0 && edge - pausePosition > kLiveWindowMs)
        return respondPauseTooLong;
    restorePlayback();
    m_state = StatePlaying;
    return 1;
}
