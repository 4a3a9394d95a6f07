// The engine's lifecycle: arming it for one playback, one loop turn per
// timer firing, and the stop that every end of a playback goes through.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberTypes/tamberDebug.h"

namespace {
uint64_t nowMs()
{
    return tql_datetime::currentMSecsSinceEpoch();
}
} // namespace

void CMTamberNodeResponder::armLoop(int periodMs)
{
    // Stopping a timer clears its period, so it is written before each start.
    m_workerLoopTimer->m_interval = periodMs;
    m_workerLoopTimer->start();
}

void CMTamberNodeResponder::finalizeWithLastError()
{
    tql_errorNotification last{};
    m_tamberRequest->getErrorResponse(&last);
    respondWorkerFinalize(last.errorCode, last.responseCode);
}

// Everything of the last playback goes; what a start-time path and the
// track timeline still need (the listed sequence copy, the current track)
// stays.
void CMTamberNodeResponder::resetForPlayback(const tokenRequestStrT& request)
{
    m_syncAltServer = 0;
    m_tokenRequest = request;
    if (m_tokenRequest.mode == 2)
        m_tokenRequest.tuneType = tuneTypeClip;
    else if (!m_tokenRequest.timestamp.isEmpty() || !m_tokenRequest.assetGuid.isEmpty())
        m_tokenRequest.tuneType = tuneTypeTimeShifted;
    else if (m_tokenRequest.mode == 0)
        m_tokenRequest.tuneType = tuneTypeLive;

    m_tamberRequest->clearToken();
    m_tamberRequest->clearBufferData();
    m_tokenData.tokenTimestampMs = 0;
    m_state = StatePlaying;

    m_currentSeqNum = 0;
    m_nextChunks.clear();
    m_chunkFileList.clear();
    // Metadata queued for the last playback must not reach the host (nor
    // name the period of a consume report) in this one.
    m_metadataQueue.clear();
    m_currentChunk.clear();
    m_lastListedSeqNum = m_lastDownloadedSeqNum = 0;
    m_lastClipChunkName = "";
    m_prevChunkTimestampMs = m_firstChunkTimestampMs = m_lastChunkTimestampMs = 0;
    m_chunkDurationMs = 0;
    m_bitRateDecision = m_bitRateCurrent = m_bitRateMaximum = m_steadyState = 0;
    m_chunkListUpdateSeconds = 0;
    m_terminate = 0;

    setStreamIndexes(m_defaultStreamIndex);
    m_lastMarkerTimestampMs = 0;
    m_streamBitRate = 0;
    m_pausedDurationMs = 0;
    m_firstMetadataDone = 0;
    m_tuneInPending = 1;
    m_tokenErrorCount = 0;
    m_playTimeMs = 0;
    m_bufferedMs = 0;
    m_heardUntilMs = 0;
    m_resyncByTime = 0;
    m_indexFailures = 0;
}

int CMTamberNodeResponder::respondWorkerInit(tql_channel_ctx* ctx, const tokenRequestStrT& request)
{
    TQL_LOG(3, "== CMTamberNodeResponder::respond() start == ");
    m_channelCtx = *ctx;
    if (m_busy != 1) {
        m_busy = 1;
        m_core->getTamberCallback()->notifyBusyChanged(1);
    }
    if (ctx->defaultIcon) {
        m_defaultIcon = ctx->defaultIcon;
        TQL_LOG(3, "Default icon set %s", m_defaultIcon.c_str());
    }
    resetForPlayback(request);
    triggerChunkListUpdate();

    int mode = m_tokenRequest.mode;
    int result = 1;
    if (mode == 2)
        result = tuneDravChannel(0);
    else if (mode == 0 || mode == 1)
        result = tuneChannel(0);

    if (mode == 0) {
        // The host learns whether it got the live edge or a replay.
        const tql_list<TQLCustomAudioInfos>& custom = m_tokenData.customAudioInfos;
        bool replay = m_tokenRequest.firstChunkDone && !custom.empty() && custom.front().position != "LIVE";
        ctx->liveStart = m_channelCtx.liveStart = replay ? 0 : 1;
        m_tokenRequest.tuneType = replay ? tuneTypeTimeShifted : tuneTypeLive;
    }
    if (result < 0) {
        TQL_LOG(1, "Token update error");
        finalizeWithLastError();
        return -1;
    }
    m_tokenData.tuneStartMs = m_tokenData.tokenTimestampMs;
    updateMetadata();
    TQL_LOG(3, "Playing mode: %d", mode);
    armLoop(kRestartPeriodMs);
    TQL_LOG(3, "== CMTamberNodeResponder::respond() start == DONE");
    return result;
}

void CMTamberNodeResponder::on_workerLoopTimeout(void* self, int)
{
    auto* engine = static_cast<CMTamberNodeResponder*>(self);
    engine->m_workerLoopTimer->stop();
    if (engine->m_state == StatePaused) {
        TQL_LOG(4, "Stream paused");
        engine->armLoop(kLoopPeriodMs); // a pause costs nothing but this
        return;
    }
    uint64_t start = nowMs();
    if (engine->m_terminate) {
        TQL_LOG(3, "Responder will be terminated channel ID = %s", engine->m_tokenRequest.channelId.c_str());
        engine->finalizeWithLastError();
        return;
    }
    int result = engine->respondWorkerLoop();
    if (result == respondStreamFinished) {
        TQL_LOG(3, "Stream finished");
        engine->respondWorkerFinalize(tamberErrorStreamerStopped, 0);
        return;
    }
    if (result == respondRestartLoop) {
        TQL_LOG(3, "Stream recovery - restart loop");
        engine->armLoop(kRestartPeriodMs);
        return;
    }
    if (result != respondOk) {
        engine->finalizeWithLastError(); // does nothing after a stop inside the turn
        TQL_LOG(1, "QUIT the processing loop");
        return;
    }
    if (engine->m_terminate) {
        TQL_LOG(3, "Responder will be terminated channel ID = %s", engine->m_tokenRequest.channelId.c_str());
        engine->finalizeWithLastError();
        return;
    }
    uint64_t end = nowMs();
    int duration = static_cast<int>(static_cast<int32_t>(end - start));
    // A slow turn eats into the wait, but a turn never follows back to back.
    int period = duration > 2999 ? kLoopPeriodMs : kLoopPeriodMs - duration;
    TQL_LOG(4, "LOOP start = %s", tamberTime(start).tamberTimeGetTimeAsString().c_str());
    TQL_LOG(4, "LOOP finished = %s", tamberTime(end).tamberTimeGetTimeAsString().c_str());
    TQL_LOG(4, "LOOP TIMEOUT = %u last loop duration = %d", static_cast<unsigned>(period), duration);
    engine->armLoop(period);
}

int CMTamberNodeResponder::respondWorkerLoop()
{
    // The probe refreshes how much audio the host holds.
    if (m_channelCtx.audioWrite)
        m_channelCtx.audioWrite(m_channelCtx.audioContext, nullptr, 0, static_cast<int>(m_streamBitRate),
                                &m_bufferedMs);
    if (m_currentChunk.state == tamberChunk::kStateAudio) {
        if (sendData() == respondWriteClosed) {
            respondWorkerFinalize(0, 0);
            TQL_LOG(1, "sendData Error: Write pipe Closed on remote end");
            return respondError;
        }
        TQL_LOG(4, "Finishing chunk #%d left to write = %d", m_currentChunk.seqNum,
                static_cast<int>(m_currentChunk.remaining));
        // Back-pressure: the turn is spent on the write until the chunk is out.
        if (m_currentChunk.remaining)
            return respondOk;
        handleMetadata(m_currentChunk);
        m_currentChunk.clear();
    }
    int mode = m_tokenRequest.mode;
    if (mode == 1) {
        TQL_LOG(4, "Episode Duration: %d", static_cast<int>(m_tokenRequest.episodeDurationMs));
        int64_t played = static_cast<int64_t>(nowMs()) -
                         (m_tokenData.tuneStartMs + static_cast<int64_t>(m_pausedDurationMs));
        if (m_tokenRequest.episodeDurationMs != 0 &&
            m_tokenRequest.episodeDurationMs - m_tokenRequest.pausePointOffset <= played) {
            TQL_LOG(3, "Streamer loop finish at the stream end");
            return respondStreamFinished;
        }
    }
    if (mode == 2)
        clipEndReached();
    if (mode >= 0 && mode <= 2) {
        int tuned = mode == 2 ? tuneDravChannel(1) : tuneChannel(1);
        if (tuned < 0 && tuned != respondRecoverable) {
            TQL_LOG(1, "tune channel error");
            finalizeWithLastError();
            return respondError;
        }
        if (tuned == respondRecoverable)
            TQL_LOG(2, "Skipping variant file processing due to recoverable error");
    }
    uint64_t listStart = nowMs() / 1000;
    int listed = updateChunkList();
    if (listed == respondRestartLoop) {
        triggerTokenUpdate();
        triggerNoopUpdate();
        triggerChunkListUpdate();
        TQL_LOG(2, "Recovery - restart loop");
        return respondRestartLoop;
    }
    if (listed == respondNothing)
        return respondOk;
    if (listed < 0) {
        TQL_LOG(1, "EXIT responder process - updateChunkList error");
        respondWorkerFinalize(tamberErrorChunkDownload, 0);
        return respondError;
    }
    uint64_t listEnd = nowMs() / 1000;
    if (listEnd >= listStart)
        m_chunkListUpdateSeconds = static_cast<uint32_t>(listEnd - listStart);
    int downloaded = requestChunkDownload(0);
    if (downloaded == respondRestartLoop) {
        TQL_LOG(2, "Chunk download failed - restart loop");
        return respondRestartLoop;
    }
    if (downloaded == respondError) {
        TQL_LOG(1, "EXIT responder process - blocked on player");
        respondWorkerFinalize(tamberErrorChunkDownload, 0);
        return respondError;
    }
    TQL_LOG(4, "Responder: Run Loop DONE3");
    return respondOk;
}

void CMTamberNodeResponder::clearPlayback()
{
    tql_string empty;
    m_tokenRequest = tokenRequestStrT();
    m_currentChunk.clear();
    m_nextChunks.clear();
    m_chunkFileList.clear();
    m_variantFileList.clear();
    m_metadataQueue.clear();
    m_segmentTimestamps.clear();

    // The noop pair is written crosswise on purpose: either way the next
    // no-op is due at once.
    m_tokenData.tokenTimeoutMs = 0;
    for (int key = 0; key < 3; ++key)
        m_tokenData.keys[key].clear();
    m_tokenData.tokenTimestampMs = 0;
    m_tokenData.tuneStartMs = 0;
    m_tokenData.lastNoopMs = kFirstNoopTimeoutMs;
    m_tokenData.noopTimeoutMs = 0;
    m_tokenData.useAlternateServer = 0;
    m_tokenData.hlsAudioInfos.clear();
    m_tokenData.customAudioInfos.clear();

    m_defaultIcon = empty;
    m_currentTrackTimestampMs = m_showEndTimestampMs = 0;
    m_indexFileRequired = 0;
    m_cutLayerIndex = 0;
    m_playTimeMs = 0;
}

void CMTamberNodeResponder::respondWorkerFinalize(int code, int detail)
{
    if (m_state == StateStopped)
        return;
    int transition = code == tamberErrorStreamerStopped ? 2 : code != 0 ? 9 : 2;
    int current = code == 0 ? 1 : 0;
    reportV2Consume(current, transition);
    reportV4Consume(current, transition);
    m_core->getTamberCallback()->clearTimebar();
    m_terminate = 1;
    m_workerLoopTimer->stop();
    clearPlayback();
    if (code != 0)
        m_core->reportTamberError(code, 1, detail);
    m_state = StateStopped;
    m_tamberRequest->clearToken();
    TQL_LOG(3, "respondWorker ABOUT TO END DONE");
}

int CMTamberNodeResponder::sendAudioData()
{
    if (m_currentChunk.state != tamberChunk::kStateAudio || m_currentChunk.remaining == 0)
        return 1;
    if (sendData() == respondWriteClosed) {
        respondWorkerFinalize(0, 0);
        TQL_LOG(1, "sendData Error: Write pipe Closed on remote end");
        return -1;
    }
    TQL_LOG(4, "Finishing chunk #%d left to write = %d", m_currentChunk.seqNum,
            static_cast<int>(m_currentChunk.remaining));
    if (m_currentChunk.remaining)
        return 1;
    handleMetadata(m_currentChunk);
    m_currentChunk.clear();
    return 1;
}
