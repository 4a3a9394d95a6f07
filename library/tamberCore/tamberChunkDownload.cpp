// One chunk per loop turn from the front of the list, streamed through
// decryption into the audio output; the stream keys; and the short "AF"
// chunks of a tune reply, which give sound before any index was read.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kAfBitRate = 32000;
// Seconds, as an index entry counts them: ten thousand, kept so that the cut
// arithmetic of an AF entry is that of a real one.
const int kAfDuration = 10000;
const int kKeyFour = 3;

} // namespace

int CMTamberNodeResponder::requestChunkDownload(int single)
{
    if (m_currentSeqNum == 0 && !m_nextChunks.empty()) {
        m_currentSeqNum = nameOf(m_nextChunks.front()).seqNum;
        TQL_LOG(4, "Initialize Sequence number to: %d", m_currentSeqNum);
    }
    while (!m_nextChunks.empty()) {
        TQL_LOG(4, "m_nextChunks size = %d", static_cast<int>(m_nextChunks.size()));
        const tql_roles& entry = m_nextChunks.front();
        tamberChunkName parsed = nameOf(entry);
        if (m_tokenRequest.mode == 2 && !bufferingClipOwns(parsed))
            return respondError;
        TQL_LOG(4, "Primary seq num = %d curr seqNum = %d", parsed.seqNum, m_currentSeqNum);
        if (m_currentSeqNum > parsed.seqNum) {
            TQL_LOG(4, "Skip chunk, because we are already ahead! %d %d", m_currentSeqNum, parsed.seqNum);
            m_nextChunks.erase(m_nextChunks.begin());
            continue;
        }
        TQL_LOG(4, "Seq#:%d", parsed.seqNum);
        if (m_currentSeqNum < parsed.seqNum) {
            // A gap is accepted and never filled.
            TQL_LOG(3, "Chunk list is ahead of stream m_currentSeqNum  = %d new chunk SeqNum = %d", m_currentSeqNum,
                    parsed.seqNum);
            m_currentSeqNum = parsed.seqNum;
        }
        tamberChunk chunk;
        chunk.url[0] = tql_url(entry.uri);
        chunk.useAlternateServer = m_tokenRequest.useAlternateServer;
        chunk.keys = entry.keys;
        chunk.cutBytes = entry.cutBytes;
        chunk.timestamp = tamberTime::textToMs(entry.programDateTime) + static_cast<uint64_t>(entry.cutOffsetMs);
        chunk.duration = entry.duration - entry.cutOffsetMs / 1000;
        if (heardInFull(chunk, entry.duration)) {
            TQL_LOG(3, "Chunk #%d was heard before the recovery - passed over", parsed.seqNum);
            m_currentSeqNum = parsed.seqNum + 1;
            m_nextChunks.erase(m_nextChunks.begin());
            continue;
        }
        int result = doDownloadChunk(chunk, single);
        if (result < 0)
            return single ? respondOk : switchStreamAfterFailure(chunk);
        ++m_currentSeqNum;
        m_nextChunks.erase(m_nextChunks.begin());
        m_lastDownloadedSeqNum = parsed.seqNum;
        m_tokenErrorCount = 0;
        m_resyncByTime = 0;
        break;
    }
    if (m_tokenRequest.mode == 2)
        clipChunksFetched();
    m_steadyState = 1;
    return respondOk;
}

// A chunk that could not be had: the list is read afresh from the next
// stream, and past the last stream from the other server.
int CMTamberNodeResponder::switchStreamAfterFailure(const tamberChunk& chunk)
{
    m_currentChunk.clear();
    m_nextChunks.clear();
    TQL_LOG(2, "Error downloadning chunk #%d on bitrate %d -> switching stream", chunk.seqNum, chunk.bitRate);
    m_chunkFileList.clear();
    m_lastListedSeqNum = m_currentSeqNum > 0 ? m_currentSeqNum - 1 : 0;
    int index = stepStreamIndexes();
    m_indexFileRequired = 1;
    m_resyncByTime = 1; // the stream read afresh may list what the host has heard
    TQL_LOG(3, "index = %d variantFileList length = %d", index, static_cast<int>(m_variantFileList.size()));
    if (index + 1 >= static_cast<int>(m_variantFileList.size())) {
        triggerTokenUpdate();
        m_syncAltServer = 1;
        m_tokenData.useAlternateServer = !m_tokenData.useAlternateServer;
        m_tokenRequest.useAlternateServer = m_tokenData.useAlternateServer;
        TQL_LOG(2, "Problem by token update -> switch system: useAlternateServer = %d", m_tokenData.useAlternateServer);
    }
    armLoop(0);
    triggerChunkListUpdate();
    return respondRestartLoop;
}

int CMTamberNodeResponder::doDownloadChunk(tamberChunk& chunk, int single)
{
    chunk.state = tamberChunk::kStateNone;
    if (chunk.url[0].isEmpty()) {
        TQL_LOG(1, "No chunk name");
        return -1;
    }
    TQL_LOG(4, "doDownloadChunk using url: %s", chunk.url[0].toString().c_str());
    tamberChunkName parsed = m_tamberRequest->parseChunkName(chunk.url[0]);
    chunk.seqNum = parsed.seqNum;
    chunk.keyIndex = parsed.keyIndex;
    m_tamberRequest->m_partialMode = 1;
    m_tamberRequest->m_jsonParser = nullptr;
    m_decryptedChunkLength = 0;
    m_tamberRequest->clearBufferData();
    m_tamberRequest->prepareFileChunkforDecrypt(chunk);
    m_currentChunk = chunk;
    m_currentChunk.readPtr = nullptr;
    m_chunkDurationMs = static_cast<uint32_t>(chunk.duration) * 1000;
    if (static_cast<uint32_t>(chunk.bitRate) != m_streamBitRate) {
        m_streamBitRate = static_cast<uint32_t>(chunk.bitRate);
        m_core->getTamberCallback()->notifyBitrateChanged(static_cast<int>(m_streamBitRate));
    }
    tql_url url = chunk.url[0];
    int result = m_tamberRequest->tamberDownloadFile(url, nullptr, nullptr, single ? 1 : 5, single ? 0 : 5);
    m_tamberRequest->m_partialMode = 0;
    if (result == 1) {
        transferEnded();
        TQL_LOG(4, "Decrypted Chunk Length = %d", static_cast<int>(m_decryptedChunkLength));
        TQL_LOG(4, "Reminding chunk length = %d ", static_cast<int>(m_currentChunk.remaining));
        // All written: the chunk is done. Otherwise the rest waits for the
        // next turn or for the host's sendAudioData.
        if (m_currentChunk.remaining == 0) {
            if (m_tokenRequest.mode == 2)
                handleClipMetadata();
            else
                handleMetadata(m_currentChunk);
            m_currentChunk.clear();
        }
        m_lastChunkTimestampMs = chunk.timestamp;
    } else {
        m_currentChunk.clear();
    }
    if (chunk.keyIndex != 0)
        m_tamberRequest->finishPartialEncData();
    return result;
}

// A key file, buffered whole into key.
int CMTamberNodeResponder::fetchKey(const tql_url& location, tql_bytearray& key)
{
    m_tamberRequest->m_partialMode = 0;
    m_tamberRequest->m_jsonParser = nullptr;
    tql_url url = location;
    unsigned char* data = nullptr;
    unsigned int length = 0;
    int result = m_tamberRequest->tamberDownloadFile(url, &data, &length, 1, 1);
    if (result == 1 && data)
        key = tql_bytearray(reinterpret_cast<const char*>(data), static_cast<int>(length));
    return result;
}

int CMTamberNodeResponder::requestContentKeys()
{
    if (m_chunkFileList.empty()) {
        TQL_LOG(3, "Empty File list - exit");
        return -1;
    }
    tql_bytearray* keys = m_tokenData.keys;
    // Live play holds keys 2 and 3 for the whole tune.
    if (!keys[1].isEmpty() && !keys[2].isEmpty()) {
        TQL_LOG(4, "Skip key download");
        return 1;
    }
    const TQL_HlsInfo& carrier = m_chunkFileList.back().hlsInfo;
    if (carrier.keyUri.isEmpty() && carrier.keyData.isEmpty()) {
        TQL_LOG(3, "No Key available - unecrypted content");
        return 1;
    }
    tql_string base = carrier.keyUri;
    TQL_LOG(4, "STREAM BASE KEY URL = %s", base.c_str());
    int mode = m_tokenRequest.mode;
    if (mode == 1 || mode == 2) {
        // A fourth key that could not be had ends the key round here: 1
        // when the service has none (204), -1 otherwise.
        int fourth = takeFourthKey(carrier, base);
        if (fourth != 0)
            return fourth;
    }
    int first = fetchKey(tql_url(base), keys[0]);
    TQL_LOG(4, "STREAM1 KEY = %s", keys[0].toHex().str().c_str());
    if (first == 1 && (mode == 1 || mode == 2))
        return first;
    base = base.left(base.length() - 1) + "2";
    fetchKey(tql_url(base), keys[1]);
    TQL_LOG(4, "STREAM2 KEY = %s", keys[1].toHex().str().c_str());
    base = base.left(base.length() - 1) + "3";
    fetchKey(tql_url(base), keys[2]);
    TQL_LOG(4, "STREAM3 KEY = %s", keys[2].toHex().str().c_str());
    return 1;
}

// The fourth key of on-demand and clip play: inline in the index, carried by
// the AF list, or fetched. 0 when it is in hand and the other keys follow;
// otherwise the result of the key round: a key the service does not have is
// no failure.
int CMTamberNodeResponder::takeFourthKey(const TQL_HlsInfo& carrier, const tql_string& base)
{
    tql_bytearray& key = m_tokenData.keys[kKeyFour];
    if (!carrier.keyData.isEmpty()) {
        key = carrier.keyData.decode64Based();
    } else if (!m_nextChunks.empty() && !m_nextChunks.back().hlsInfo.keyData.isEmpty()) {
        key = m_nextChunks.back().hlsInfo.keyData;
    } else {
        int got = fetchKey(tql_url(base), key);
        if (got != 1)
            return m_tamberRequest->m_httpHeader.http11Status == 204 ? 1 : -1;
        m_tokenErrorCount = 0;
    }
    TQL_LOG(4, "STREAM4 KEY = %s", key.toHex().str().c_str());
    return 0;
}

int CMTamberNodeResponder::bitRateSwitchCheck(const tamberChunk& chunk)
{
    if (!m_steadyState) {
        TQL_LOG(4, "No not in steady state - skipping bit rate switch check");
        m_bitRateDecision = 0;
        return m_bitRateDecision;
    }
    int time = static_cast<int>(chunk.downloadEndSec - chunk.downloadStartSec + m_chunkListUpdateSeconds);
    TQL_LOG(4, "bitRateSwitchCheck duration = %d download time = %d", chunk.duration, time);
    int decision = 3;
    if (time > chunk.duration * 0.7) {
        TQL_LOG(3, "bitRateSwitchCheck -> switch to lower bitrate. Downloading time = %d", time);
        decision = 2;
    } else if (time < chunk.duration * 0.2) {
        if (m_bitRateCurrent < m_bitRateMaximum) {
            TQL_LOG(3, "bitRateSwitchCheck -> switch to higher bitrate. Average chunk downloading time = %d", time);
            decision = 1;
        } else {
            TQL_LOG(4, "bitRateSwitchCheck -> keep current bitrate.");
        }
    }
    m_bitRateDecision = decision;
    return decision;
}

int CMTamberNodeResponder::downloadFirstChunk()
{
    TQL_LOG(4, "Enter downloadFirstChunk");
    if (m_tokenRequest.mode == 1 && m_tokenRequest.tuneType == tuneTypeTimeShifted) {
        TQL_LOG(3, "Skip FA chunk handling for AOD TC");
        return -1;
    }
    scanMarkerLayers();
    const tql_list<TQLCustomAudioInfos>& custom = m_tokenData.customAudioInfos;
    if (custom.empty() || custom.front().chunks.empty())
        return -1;
    const TQLCustomAudioInfos& block = custom.front();
    tql_list<TQLRelativeUrlsItem> relative;
    m_tamberRequest->getRelativeUrls(relative);
    tql_string lastUrl;
    for (size_t i = 0; i < block.chunks.size(); ++i) {
        const TQLChunk& af = block.chunks[i];
        tql_string url = m_tamberRequest->replaceBaseUrl(relative, af.url);
        TQL_LOG(3, "Found AF chunk url %s #%d", url.c_str(), static_cast<int>(i));
        tql_roles entry;
        entry.uri = url;
        entry.bitRate = kAfBitRate;
        entry.duration = kAfDuration;
        entry.programDateTime = af.timestamp;
        if (i == 0 && m_tokenRequest.timestamp.isEmpty())
            m_tokenRequest.timestamp = entry.programDateTime;
        if (m_currentTrackTimestampMs == 0)
            m_currentTrackTimestampMs = tamberTime::textToMs(block.positionTimestamp) + static_cast<uint64_t>(af.offset);
        takeAfKey(af, relative);
        entry = withCurrentKeys(entry);
        entry.cutBytes = chunkCutBytes(kAfBitRate, static_cast<unsigned>(af.offset));
        entry.cutOffsetMs = af.offset;
        m_nextChunks.push_back(entry);
        lastUrl = url;
    }
    tamberChunkName parsed = m_tamberRequest->parseChunkName(tql_url(lastUrl));
    m_lastListedSeqNum = m_lastListedSeqNumCopy = parsed.seqNum;
    // The list gets the shape of a parsed one: a carrier of the key at its end.
    tql_roles carrier;
    carrier.hlsInfo.keyData = m_tokenData.keys[kKeyFour];
    m_nextChunks.push_back(carrier);
    m_currentSeqNum = 0;
    int result = -1;
    for (size_t i = 0; i < block.chunks.size(); ++i)
        result = requestChunkDownload(1);
    m_lastListedSeqNum = m_currentSeqNum;
    if (result == 1)
        m_tokenRequest.firstChunkDone = 1;
    m_nextChunks.clear();
    return result;
}

// The key of an AF chunk: given inline, or fetched from its own location,
// which the service spells without the rate folder of the short chunks.
void CMTamberNodeResponder::takeAfKey(const TQLChunk& af, const tql_list<TQLRelativeUrlsItem>& relative)
{
    tql_bytearray& key = m_tokenData.keys[kKeyFour];
    if (!af.key.isEmpty()) {
        TQL_LOG(4, "STREAM4 KEY test1= %s", af.key.str().c_str());
        key = af.key.decode64Based();
        m_tokenErrorCount = 0;
        TQL_LOG(4, "STREAM4 KEY test= %s", key.toHex().str().c_str());
        return;
    }
    if (af.keyUrl.isEmpty())
        return;
    TQL_LOG(4, "Key url orig: %s", af.keyUrl.c_str());
    tql_string location = af.keyUrl;
    tql_list<tql_string> parts = af.keyUrl.split('/');
    if (parts.size() == 7) {
        location = "";
        for (size_t p = 0; p < parts.size(); ++p) {
            location += (p ? "/" : "") + parts[p];
            if (p == 4)
                location += "/" + parts[p] + "_32k_v3";
        }
        TQL_LOG(4, "Hacked url for AF CHunk %s", location.c_str());
    }
    location = m_tamberRequest->replaceBaseUrl(relative, location);
    TQL_LOG(4, "Key url replaced: %s", location.c_str());
    if (fetchKey(tql_url(location), key) == 1) {
        m_tokenErrorCount = 0;
        TQL_LOG(4, "STREAM4 KEY = %s", key.toHex().str().c_str());
    }
}
