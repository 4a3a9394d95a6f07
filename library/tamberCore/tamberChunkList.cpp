// The engine's chunk list: when to fetch the index file, from which
// stream, and which of its entries pass on to be downloaded, by sequence
// number in normal play, by start time after a seek and by timestamp after
// a change of server.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const size_t kMaxNextChunks = 16;
const uint64_t kIndexRefreshMs = 30000;
const int kIndexTries = 3;
const int kIndexSleepSeconds = 5;

uint64_t nowMs()
{
    return tql_datetime::currentMSecsSinceEpoch();
}
} // namespace

tamberChunkName CMTamberNodeResponder::nameOf(const tql_roles& entry)
{
    return m_tamberRequest->parseChunkName(tql_url(entry.uri));
}

// An entry with the stream keys in force when it was taken.
tql_roles CMTamberNodeResponder::withCurrentKeys(const tql_roles& entry) const
{
    tql_roles copy = entry;
    copy.keys.clear();
    for (const tql_bytearray& key : m_tokenData.keys)
        copy.keys.push_back(key);
    return copy;
}

int CMTamberNodeResponder::updateChunkList()
{
    TQL_LOG(4, "updateChunkList CALLED from loop");
    m_streamMutex.lock();
    if (m_streamIndex != m_requestedStreamIndex) {
        TQL_LOG(3, "SWITCHING BITRATE");
        m_streamIndex = m_requestedStreamIndex;
        m_nextChunks.clear();
        m_chunkFileList.clear();
        m_lastListedSeqNum = m_currentSeqNum > 0 ? m_currentSeqNum - 1 : 0;
        triggerChunkListUpdate();
        m_indexFileRequired = 1;
    }
    m_streamMutex.unlock();

    uint64_t now = nowMs();
    if (m_lastChunkListUpdateMs != 0 && now - m_lastChunkListUpdateMs < kIndexRefreshMs) {
        TQL_LOG(4, "updateChunkList %d sec ago -> chunks in list %d",
                static_cast<int>((now - m_lastChunkListUpdateMs) / 1000), static_cast<int>(m_nextChunks.size()));
        refillFromHeldIndex();
        return respondOk;
    }
    if (m_variantFileList.empty()) {
        TQL_LOG(2, "Variant file is empty - skip index file processing");
        return respondOk;
    }
    m_lastChunkListUpdateMs = now;
    int mode = m_tokenRequest.mode;
    // A live index moves and is read every time; an on-demand one is whole
    // and read once.
    bool fetch = mode == 0 || (m_indexFileRequired && (mode == 1 || mode == 2 || m_tokenRequest.tuneType == 2));
    if (fetch) {
        m_indexFileRequired = 0;
        int got = getIndexFile();
        if (got == respondRestartLoop) {
            TQL_LOG(2, "Received 403 http error - update token");
            return respondRestartLoop;
        }
        if (got != 1)
            return indexFileFailed();
        int keys = requestContentKeys();
        if (keys == respondRestartLoop)
            return respondRestartLoop;
        if (keys != 1)
            TQL_LOG(2, "No Key to download");
    }
    if (updateChunkFileList() != 0)
        return respondOk;
    TQL_LOG(4, "No File Chunk to add to download list");
    return respondNothing;
}

// A host that takes audio faster than it plays (a catch-up behind the live
// edge, a player told to go fast) can empty the list long before the next
// index refresh is due, while the index in hand still lists later chunks:
// those pass on at once, by sequence number as in a refresh, and nothing is
// fetched. At playing speed the list never runs dry within a refresh
// interval (16 chunks outlast it), so this changes nothing there.
bool CMTamberNodeResponder::refillFromHeldIndex()
{
    if (!m_nextChunks.empty() || m_tokenRequest.mode == 2 || m_syncAltServer || m_lastListedSeqNum <= 0 ||
        m_chunkFileList.size() < 2)
        return false;
    if (nameOf(m_chunkFileList[m_chunkFileList.size() - 2]).seqNum <= m_lastListedSeqNum)
        return false; // all of it is taken: only a refresh can bring more
    TQL_LOG(4, "Chunk list empty, %d entries in the index file in hand",
            static_cast<int>(m_chunkFileList.size() - 1));
    appendNewChunks();
    return true;
}

// No stream of this server gave an index: the other server is tried next.
int CMTamberNodeResponder::indexFileFailed()
{
    if (m_terminate) {
        TQL_LOG(3, "Update Chunk List -> quit");
        return respondError;
    }
    if (m_tokenRequest.mode != 2) {
        m_syncAltServer = 1;
        m_resyncByTime = 1;
    }
    m_tokenData.useAlternateServer = !m_tokenData.useAlternateServer;
    m_tokenRequest.useAlternateServer = m_tokenData.useAlternateServer;
    TQL_LOG(2, "Problem on current system index file update failed -> switch systems: useAlternateServer = %d",
            m_tokenData.useAlternateServer);
    setStreamIndexes(m_defaultStreamIndex);
    // Both servers failed in a row: the listed chunks play on, and the
    // next server is asked at the loop's own pace, not every 100 ms.
    if (++m_indexFailures > 1) {
        triggerTokenUpdate();
        triggerNoopUpdate();
        triggerChunkListUpdate();
        TQL_LOG(2, "Index files failed on both systems %d times in a row", m_indexFailures);
        return respondOk;
    }
    return respondRestartLoop;
}

int CMTamberNodeResponder::getIndexFile()
{
    int top = static_cast<int>(m_variantFileList.size()) - 1; // the key carrier
    // Read once per step: the host may select another index meanwhile, and
    // only an index checked against the list may pick its entry.
    int index = streamIndex();
    if (index == top) {
        index = m_defaultStreamIndex;
        setStreamIndexes(index);
    }
    if (top <= index || index < 0)
        return -1;
    do {
        TQL_LOG(4, "Size of streams: %d ", top);
        tql_url url(m_variantFileList[static_cast<size_t>(index)].uri);
        if (url.isEmpty())
            return -1;
        TQL_LOG(3, "Downloading index file: %s ", url.toString().c_str());
        // Once audio has played, the other server is the better second try
        // than this one again after a pause the host's thread would wait
        // through.
        bool playing = m_heardUntilMs != 0 || m_lastDownloadedSeqNum != 0;
        int parsed = m_playlistParser->doParse(url, m_chunkFileList, playing ? 1 : kIndexTries,
                                               playing ? 0 : kIndexSleepSeconds);
        if (m_terminate) {
            TQL_LOG(3, "Update Chunk List -> quit");
            return -1;
        }
        // A file that could not be had leaves the last list in place; that
        // list is no answer of this stream.
        if (parsed != 1)
            m_chunkFileList.clear();
        if (!m_chunkFileList.empty()) {
            m_indexFailures = 0;
            return 1;
        }
        index = stepStreamIndexes();
    } while (index >= 0 && index < top);
    return -1;
}

int CMTamberNodeResponder::updateChunkFileList()
{
    if (m_tokenRequest.mode == 2)
        return appendNewChunks();
    if (m_syncAltServer) {
        m_currentSeqNum = 0;
        return synchronizeChunkForAltServer();
    }
    if (!m_tokenRequest.firstChunkDone && m_tokenRequest.tuneType == tuneTypeTimeShifted && !m_firstMetadataDone &&
        !m_tokenRequest.timestamp.isEmpty()) {
        tamberTime start(m_tokenRequest.timestamp);
        TQL_LOG(3, "Start now enabled track starts at time:%d", static_cast<int>(start.seconds()));
        appendNewChunksAccordingStartTime(start, static_cast<int>(kMaxNextChunks), 0);
        return -1; // counts as added
    }
    return appendNewChunks();
}

int CMTamberNodeResponder::appendNewChunks()
{
    if (m_chunkFileList.empty()) {
        TQL_LOG(2, "Empty Index file");
        return -1;
    }
    tamberChunkName last;
    size_t limit = kMaxNextChunks;
    int mode = m_tokenRequest.mode;
    if (!m_nextChunks.empty()) {
        last = nameOf(m_nextChunks.back());
        last.seqNum = m_lastListedSeqNum; // the stored number wins over the name
    } else if (mode != 2) {
        last.seqNum = m_lastListedSeqNum;
        last.keyIndex = 1;
    } else {
        limit = m_chunkFileList.size();
    }
    // The last element carries the file's key and is no entry.
    for (size_t i = 0; i + 1 < m_chunkFileList.size(); ++i) {
        tamberChunkName parsed = nameOf(m_chunkFileList[i]);
        if (mode == 2) {
            // A new clip numbers its chunks afresh; the same clip goes on
            // after the chunk last downloaded.
            if (i == 0)
                last.seqNum = m_lastClipChunkName == parsed.name ? m_lastDownloadedSeqNum : 0;
            m_lastClipChunkName = parsed.name;
        }
        if (last.seqNum == 0 || last.seqNum < parsed.seqNum) {
            TQL_LOG(4, "Added new prim item into chunk file list last seq = %d current seq = %d", last.seqNum,
                    parsed.seqNum);
            m_nextChunks.push_back(withCurrentKeys(m_chunkFileList[i]));
            last.seqNum = parsed.seqNum;
            if (m_nextChunks.size() >= limit)
                break;
        }
    }
    if (mode == 2)
        m_chunkFileList.clear(); // a clip's entries are taken once
    m_lastListedSeqNum = m_lastListedSeqNumCopy = last.seqNum;
    return 1;
}

void CMTamberNodeResponder::appendNewChunksAccordingStartTime(tamberTime start, int limit, int replace)
{
    TQL_LOG(3, "Append new chunks according defined StartTime %s", start.tamberTimeGetTimeAsString().c_str());
    uint64_t startMs = start.msecsSinceEpoch();
    tamberChunkName last;
    last.keyIndex = 1;
    last.seqNum = m_lastListedSeqNumCopy;
    tql_list<tql_roles> taken;
    m_nextChunks.clear();
    size_t wanted = limit > 0 ? static_cast<size_t>(limit) : 0;
    // The carrier at the end has no time and never passes the test.
    for (size_t i = 0; i < m_chunkFileList.size(); ++i) {
        const tql_roles& entry = m_chunkFileList[i];
        tamberChunkName parsed = nameOf(entry);
        uint64_t t = tamberTime::textToMs(entry.programDateTime);
        if (t + static_cast<uint64_t>(static_cast<int64_t>(entry.duration) * 1000) < startMs)
            continue; // ends before the start
        TQL_LOG(4, "Add item to chunk file list: start time = %s current chunk ts = %s, seqNr:%d, buffer size:%d/%d @i:%d",
                start.tamberTimeGetTimeAsString().c_str(), entry.programDateTime.c_str(), parsed.seqNum,
                static_cast<int>(taken.size()), limit, static_cast<int>(i));
        tql_roles copy = withCurrentKeys(entry);
        if (taken.empty()) {
            // This chunk holds the start: its head up to there is cut.
            m_currentSeqNum = parsed.seqNum;
            uint32_t into = static_cast<uint32_t>(startMs - t);
            copy.cutBytes = chunkCutBytes(static_cast<unsigned>(parsed.bitRate), into);
            copy.cutOffsetMs = static_cast<int32_t>(into);
        }
        taken.push_back(copy);
        last.seqNum = parsed.seqNum;
        if ((!replace && taken.size() + m_nextChunks.size() >= wanted) || taken.size() >= wanted)
            break;
    }
    if (replace)
        m_nextChunks.clear();
    for (const tql_roles& entry : taken) {
        tql_roles keyed = withCurrentKeys(entry);
        keyed.cutBytes = entry.cutBytes;
        keyed.cutOffsetMs = entry.cutOffsetMs;
        m_nextChunks.push_back(keyed);
    }
    m_lastListedSeqNum = m_lastListedSeqNumCopy = last.seqNum;
}

// The two servers number their chunks differently; only the chunks' wall
// clock times tell where playback was.
int CMTamberNodeResponder::synchronizeChunkForAltServer()
{
    m_syncAltServer = 0;
    if (m_chunkFileList.empty()) {
        TQL_LOG(2, "Empty lile list");
        return -1;
    }
    TQL_LOG(3, "Starting chunk synchronisation");
    m_resyncByTime = 1;
    bool first = true;
    // Pairs of an entry and the next; the last real entry's next is the carrier.
    for (size_t i = 0; i + 1 < m_chunkFileList.size(); ++i) {
        const tql_roles& entry = m_chunkFileList[i];
        uint64_t t = tamberTime::textToMs(entry.programDateTime);
        uint64_t next = tamberTime::textToMs(m_chunkFileList[i + 1].programDateTime);
        tamberChunkName parsed = nameOf(entry);
        if (m_chunkDurationMs == 0 && next > t)
            m_chunkDurationMs = static_cast<uint32_t>(next - t);
        if (m_lastChunkTimestampMs > t)
            continue; // already played
        // What the host has heard is known to the frame: entries it holds
        // in full are passed over, the head of the next one is cut by time
        // when it is downloaded.
        uint64_t end = t + static_cast<uint64_t>(entry.duration > 0 ? entry.duration : 0) * 1000;
        if (m_heardUntilMs && end <= m_heardUntilMs)
            continue;
        uint64_t cut = 0;
        uint64_t playedTo = m_lastChunkTimestampMs + m_chunkDurationMs;
        if (first && playedTo > t && !m_heardUntilMs)
            cut = chunkCutBytes(static_cast<unsigned>(parsed.bitRate), static_cast<unsigned>(playedTo - t));
        TQL_LOG(4, "adding item to chunk file list TS = %llu seq num %u", static_cast<unsigned long long>(t),
                static_cast<unsigned>(parsed.seqNum));
        tql_roles copy = withCurrentKeys(entry);
        copy.cutBytes = cut;
        m_nextChunks.push_back(copy);
        m_lastListedSeqNum = parsed.seqNum;
        if (m_nextChunks.size() > 15)
            break;
        first = false;
    }
    m_lastChunkTimestampMs = 0;
    return 1;
}
