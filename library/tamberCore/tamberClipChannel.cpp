// The engine's side of a clip channel: tuning and refreshing the clip list,
// leaving a clip as it ends, buffering the next one while the current one
// plays, the metadata of each clip, and the listener's clip skips within
// the channel's skip rule.
#include <cstring>
#include <limits>

#include "tamberCore.h"
#include "tamberDmcaRules.h"
#include "tamberNodeResponder.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kDravAttempts = 5;
// A clip is left this long before its end, so that the next one's metadata
// is in place when its sound starts.
const double kClipEndMarginSeconds = 1.5;
const int kRecoverableDataMs = 9999;

int64_t nowMs()
{
    return static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
}

// Clip lengths come from the service: a sum of them must not reach an
// unsigned field out of its range (negative, NaN or too large).
uint64_t wholeUnsigned(double value)
{
    if (!(value > 0))
        return 0;
    if (value >= 18446744073709549568.0)
        return std::numeric_limits<uint64_t>::max();
    return static_cast<uint64_t>(value);
}
} // namespace

int CMTamberNodeResponder::tuneDravChannel(int update)
{
    if (callNOOP(!update, 0) == 0 && tokenRequiresUpdate() == 0)
        return respondOk;
    bool previousFailed = false;
    for (int attempt = kDravAttempts; attempt > 0; --attempt) {
        int result = dravTuneAttempt(update, previousFailed);
        TQLResponse* tune = m_tamberRequest->m_norvaletune;
        if (result == 1 && tune && tune->m_status == 1)
            return takeDravVariants();
        previousFailed = true;
        bool last = attempt == 1;
        if (update && m_tamberRequest->m_simultaneousLogin) {
            TQL_LOG(1, "User logged elsewhere");
            m_tamberRequest->setLibraryErrorResponse(tamberErrorLoggedElsewhere, 0);
            return respondError;
        }
        if (update && !m_tamberRequest->m_sessionInvalid) {
            if (last)
                return respondOk; // play on with what is there
            continue;
        }
        TQL_LOG(2, "Invalid session, session update required -> call Resume");
        if (m_core->norvaleResumeCall() == -1) {
            TQL_LOG(1, "Error by resume call");
            m_tamberRequest->setLibraryErrorResponse(tamberErrorTokenUpdate, 0);
            return respondError;
        }
        if (last)
            return respondOk;
    }
    return respondOk;
}

// One try: nothing while enough clips are left, a refresh of the list while
// it holds clips, a tune when it is empty. 1 good, anything else failed.
int CMTamberNodeResponder::dravTuneAttempt(int update, bool previousFailed)
{
    TamberClipSequencer& clips = m_clipSequencer;
    if (clips.getClipListSize() > 0 && update && clips.remainingClipsSize() > 2)
        return previousFailed ? respondError : respondOk;
    if (clips.getClipListSize() > 0) {
        TQLResponse* refreshed = m_tamberRequest->tamberRefreshTracks(
            clips.clips(), clips.currentClipIndex(), clips.channel().channelGuid, clips.getSequencerSessionId());
        if (refreshed)
            return respondOk;
        clips.removeAllClips(); // the next try tunes afresh
        return respondError;
    }
    return m_tamberRequest->tamberStationToken(m_tokenRequest, m_tokenData, 1, !update);
}

// The index files of the clip being buffered. Unlike a stream's tune, the
// listed chunks stay: they are of the clip that is still being fetched.
int CMTamberNodeResponder::takeDravVariants()
{
    m_tokenData.tokenTimestampMs = nowMs();
    int server = m_tokenData.useAlternateServer;
    int dataLeft = dataLeftToPLay();
    int variants = m_playlistParser->tamberDownloadVariantFile(m_tokenData, m_tokenRequest, m_variantFileList, dataLeft);
    handleClipMetadata();
    TQLResponse* tune = m_tamberRequest->m_norvaletune;
    if (tune && tune->m_updateFrequency > 0) {
        m_tokenData.tokenTimeoutMs = tune->m_updateFrequency * 1000;
        TQL_LOG(3, "Token timeout for HLSv2 = %d", m_tokenData.tokenTimeoutMs);
    }
    if (server != m_tokenData.useAlternateServer) {
        m_syncAltServer = 1;
        TQL_LOG(2, "Problem on current system index file update failed -> switch systems: useAlternateServer = %d",
                m_tokenData.useAlternateServer);
        m_streamMutex.lock();
        m_streamIndex = m_requestedStreamIndex = m_defaultStreamIndex;
        m_streamMutex.unlock();
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
    m_chunkFileList.clear();
    m_lastListedSeqNum = 0;
    m_indexFileRequired = 1;
    m_tokenErrorCount = 0;
    return respondOk;
}

TamberMetadata CMTamberNodeResponder::buildClipMetadata(const TQLClip& clip, const tql_string& channelName)
{
    TQL_LOG(4, "Enter buildClipMetadata");
    tql_list<TQLRelativeUrlsItem> relative;
    m_tamberRequest->getRelativeUrls(relative);
    TamberMetadata md;
    md.add(TamberMetadataRec::Album, clip.albumName);
    md.add(TamberMetadataRec::ShowTitle, channelName);
    md.add(TamberMetadataRec::Artist, clip.artistName);
    md.add(TamberMetadataRec::Title, clip.title);
    md.add(TamberMetadataRec::ArtworkUrl, m_tamberRequest->replaceBaseUrl(relative, clip.clipImageUrl));
    return md;
}

// Queues the current clip's metadata for the moment its sound starts, in
// the play time that the clip lengths add up to.
int CMTamberNodeResponder::handleClipMetadata()
{
    TQLClip clip = m_clipSequencer.getCurrentClip();
    if (clip.assetGuid.isEmpty())
        return -1;
    TamberMetadata md = buildClipMetadata(clip, m_clipSequencer.channel().channelName);
    md.m_consumptionInfo = clip.consumptionInfo;
    md.m_timestampMs = 0;
    md.m_lengthSeconds = wholeUnsigned(clip.duration / 1000.0);
    md.m_assetGuid = clip.assetGuid;
    md.m_presentationTimeMs = wholeUnsigned((m_clipSequencer.getSkipTime() - clip.duration) * 1000.0);
    on_streamMetadataResponder(md);
    return 1;
}

// Loop step: the heard clip is left shortly before its accumulated end.
void CMTamberNodeResponder::clipEndReached()
{
    TQL_LOG(4, "Skip time %f / playTime %d", m_clipSequencer.getSkipTime(), static_cast<int>(m_playTimeMs));
    if (m_playTimeMs == 0 || m_playTimeMs / 1000.0 < m_clipSequencer.getSkipTime() - kClipEndMarginSeconds)
        return;
    TQL_LOG(3, "Skip to next clip on the end of the playback");
    if (m_clipSequencer.skipNext(true) != 1) {
        TQL_LOG(2, "Failed to skip to next clip");
        return;
    }
    m_clipSequencer.removeConsumedClips();
    handleClipMetadata();
    // The clip's metadata reaches the host only when its sound starts, but
    // the report that closes the clip just left opens the next one: it
    // carries the next clip's token, not the one heard until now.
    tql_string info = findConsumptionInfo(TQLMarker());
    if (!info.isEmpty())
        m_curConsume.consumptionInfo = info;
    reportV2Consume(0, 0);
    reportV4Consume(0, 0);
}

// The front of the list must be of the clip being buffered; a list of
// another clip is dropped and read again. A new clip numbers its chunks
// from the start, so the sequence number follows it back.
bool CMTamberNodeResponder::bufferingClipOwns(const tamberChunkName& parsed)
{
    if (m_clipSequencer.getBufferingClip().assetGuid != parsed.name) {
        m_nextChunks.clear();
        triggerChunkListUpdate();
        return false;
    }
    if (m_currentSeqNum > parsed.seqNum)
        m_currentSeqNum = parsed.seqNum;
    return true;
}

// After a download turn. An index read again within a clip lists the
// chunks still to come a second time; those already fetched go now, so that
// the end of the clip is seen in the turn of its last chunk, before the
// clip's natural end moves the buffering position on.
void CMTamberNodeResponder::clipChunksFetched()
{
    tql_string clip = m_clipSequencer.getBufferingClip().assetGuid;
    while (!m_nextChunks.empty()) {
        tamberChunkName front = nameOf(m_nextChunks.front());
        if (front.name != clip || front.seqNum >= m_currentSeqNum)
            break;
        m_nextChunks.erase(m_nextChunks.begin());
    }
    if (m_nextChunks.empty() && !m_clipSequencer.isPreBuffered())
        bufferNextClip();
}

// The current clip is all fetched: the next turn tunes for the one after
// it, while this one still plays.
void CMTamberNodeResponder::bufferNextClip()
{
    m_clipSequencer.setClipForPrebuffer();
    TQLClip next = m_clipSequencer.getBufferingClip();
    TQL_LOG(3, "Buffer next clip. Title: %s; assetGuid: %s", next.title.c_str(), next.assetGuid.c_str());
    triggerTokenUpdate();
    triggerNoopUpdate();
    triggerChunkListUpdate();
}

void CMTamberNodeResponder::createClipDmcaInfo(const tql_string& id)
{
    const TQLDmcaInfo& rule = m_clipSequencer.channel().dmcaInfo;
    tql_dmcaInfo info;
    info.maxFwdSkips = rule.maxFwdSkips;
    info.maxBackSkips = rule.maxBackSkips;
    info.fwdSkipDur = rule.fwdSkipDur;
    info.backSkipDur = rule.backSkipDur;
    info.maxTotalSkips = rule.maxTotalSkips;
    info.irClassNav = rule.irNavClass;
    info.accessControlId = id;
    m_dmcaRules->addDmca(info);
}

int CMTamberNodeResponder::getNextClip(char* buffer, int length)
{
    if (!buffer) {
        TQL_LOG(1, "Data pointer is NULL");
        return skipNoBuffer;
    }
    return clipSkipAnswer(buffer, length, true);
}

int CMTamberNodeResponder::getPreviousClip(char* buffer, int length)
{
    if (!buffer) {
        TQL_LOG(1, "Data pointer is NULL");
        return skipNoBuffer;
    }
    return clipSkipAnswer(buffer, length, false);
}

// Only a limited channel moves the sequencer here; an unrestricted one is
// answered without a skip. The answer tells the host to tune the channel
// again, which then starts at the clip the sequencer now points to.
int CMTamberNodeResponder::clipSkipAnswer(char* buffer, int length, bool forward)
{
    if (length > 0)
        memset(buffer, 0, static_cast<size_t>(length));
    tql_string id = m_tokenRequest.assetGuid;
    if (!m_dmcaRules->check(id))
        createClipDmcaInfo(id);
    int left = 0;
    if (m_dmcaRules->isAllowed(id) != irClassNavUnrestricted) {
        left = forward ? m_dmcaRules->decreaseFwd(id) : m_dmcaRules->decreaseBack(id);
        if (left >= 0) {
            if ((forward ? m_clipSequencer.skipNext(false) : m_clipSequencer.skipPrevious()) != 1)
                return 0;
            m_clipSequencer.removeConsumedClips();
            m_clipSequencer.resetSkipTime();
        }
    }
    tql_string answer = tql_string("drav;") + id;
    reportV2Consume(1, forward ? 5 : 6);
    reportV4Consume(1, forward ? 5 : 6);
    // The host is to pass room for the answer; a shorter buffer gets what
    // fits rather than a write beyond its end.
    if (length > 0) {
        size_t room = static_cast<size_t>(length) - 1;
        size_t size = static_cast<size_t>(answer.length());
        memcpy(buffer, answer.c_str(), size < room ? size : room);
    }
    return left + 1;
}
