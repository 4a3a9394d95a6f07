// The gate between a chunk's plain bytes and the host: only whole ADTS
// frames of one stream are offered, bytes that make no frame are dropped
// where they stand at the head, and the stream time that reached the host
// is kept, so that a recovery continues where the host's audio stopped.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberTypes/tamberDebug.h"

namespace {
enum class Verdict { Frame, NoFrame, Wait };

// Whether a frame starts at data. A frame that follows a checked one needs
// only a good header of the same stream; elsewhere the header behind it must
// agree too, as a lone sync word turns up in any noise.
Verdict judge(const unsigned char* data, uint32_t available, const tamberAdtsState& adts)
{
    if (available < tamberAdts::kHeaderBytes)
        return adts.complete ? Verdict::NoFrame : Verdict::Wait;
    unsigned length = tamberAdts::frameLength(data);
    uint32_t stream = tamberAdts::fixedHeader(data);
    if (!length || (adts.inStep && stream != adts.stream))
        return Verdict::NoFrame;
    if (length > available)
        return adts.complete ? Verdict::NoFrame : Verdict::Wait;
    if (adts.inStep)
        return Verdict::Frame;
    uint32_t behind = available - length;
    if (behind >= tamberAdts::kHeaderBytes) {
        const unsigned char* next = data + length;
        return tamberAdts::frameLength(next) && tamberAdts::fixedHeader(next) == stream ? Verdict::Frame
                                                                                        : Verdict::NoFrame;
    }
    if (!adts.complete)
        return Verdict::Wait;
    // The last frame of a chunk has nothing behind it to agree.
    return stream == adts.stream || (behind == 0 && adts.stream == 0) ? Verdict::Frame : Verdict::NoFrame;
}

// Bytes from data on up to the next place where a frame header could start.
uint32_t toNextSync(const unsigned char* data, uint32_t length, bool complete)
{
    for (uint32_t at = 1; at + 1 < length; ++at)
        if (data[at] == 0xFF && (data[at + 1] & 0xF6) == 0xF0)
            return at;
    // A last 0xFF may begin a header whose rest is still on its way.
    if (!complete && length > 1 && data[length - 1] == 0xFF)
        return length - 1;
    return length;
}
} // namespace

void CMTamberNodeResponder::checkFrames()
{
    tamberChunk& chunk = m_currentChunk;
    tamberAdtsState& adts = chunk.adts;
    while (chunk.readPtr && adts.checked < chunk.remaining) {
        const unsigned char* data = chunk.readPtr + adts.checked;
        Verdict verdict = judge(data, chunk.remaining - adts.checked, adts);
        if (verdict == Verdict::Wait)
            break;
        if (verdict == Verdict::Frame) {
            adts.stream = tamberAdts::fixedHeader(data);
            adts.inStep = 1;
            if (adts.checked == 0 && adts.intoFrame == 0 && cutHeardFrame())
                continue;
            adts.checked += tamberAdts::frameLength(data);
            continue;
        }
        // Behind checked frames the bytes wait until the host has those.
        if (adts.checked)
            break;
        dropHead(toNextSync(data, chunk.remaining, adts.complete));
    }
    if (adts.complete && chunk.remaining == 0 && adts.dropped) {
        TQL_LOG(2, "Chunk #%d: %u bytes were no ADTS frames and were dropped", chunk.seqNum, adts.dropped);
        adts.dropped = 0;
    }
}

void CMTamberNodeResponder::dropHead(uint32_t bytes)
{
    tamberChunk& chunk = m_currentChunk;
    TQL_LOG(4, "Dropping %u bytes that start no ADTS frame", bytes);
    chunk.readPtr += bytes;
    chunk.remaining -= bytes;
    chunk.adts.dropped += bytes;
    chunk.adts.inStep = 0;
}

// A frame at the head that the host heard before a recovery: dropped when
// most of it lies before the point the host's audio reached.
bool CMTamberNodeResponder::cutHeardFrame()
{
    tamberChunk& chunk = m_currentChunk;
    tamberAdtsState& adts = chunk.adts;
    if (!adts.cutUs)
        return false;
    uint32_t micros = tamberAdts::frameMicros(chunk.readPtr);
    if (adts.cutUs * 2 < micros) {
        adts.cutUs = 0;
        return false;
    }
    unsigned length = tamberAdts::frameLength(chunk.readPtr);
    chunk.readPtr += length;
    chunk.remaining -= length;
    adts.cutUs = adts.cutUs > micros ? adts.cutUs - micros : 0;
    adts.clockUs += micros;
    noteHeard();
    return true;
}

void CMTamberNodeResponder::handedOver(uint32_t written)
{
    tamberChunk& chunk = m_currentChunk;
    tamberAdtsState& adts = chunk.adts;
    const unsigned char* at = chunk.readPtr;
    for (uint32_t left = written; left;) {
        // The header of the frame under at lies intoFrame bytes back.
        const unsigned char* head = at - adts.intoFrame;
        unsigned length = tamberAdts::frameLength(head);
        if (length <= adts.intoFrame)
            break;
        uint32_t rest = length - adts.intoFrame;
        if (left < rest) {
            adts.intoFrame += left;
            break;
        }
        left -= rest;
        at += rest;
        adts.intoFrame = 0;
        adts.clockUs += tamberAdts::frameMicros(head);
    }
    adts.checked -= written;
    chunk.remaining -= written;
    chunk.readPtr += written;
    noteHeard();
}

void CMTamberNodeResponder::noteHeard()
{
    const tamberChunk& chunk = m_currentChunk;
    uint64_t until = chunk.timestamp + chunk.adts.clockUs / 1000;
    if (chunk.timestamp && until > m_heardUntilMs)
        m_heardUntilMs = until;
}

void CMTamberNodeResponder::transferEnded()
{
    m_currentChunk.adts.complete = 1;
    if (m_currentChunk.state == tamberChunk::kStateAudio)
        checkFrames(); // a tail that makes no frame goes now
}

// After a recovery the list may begin with audio that the host already
// has: a chunk heard in full is passed over, and one heard in part loses
// its head by whole frames rather than by bytes of the nominal bit rate.
bool CMTamberNodeResponder::heardInFull(tamberChunk& chunk, int durationSeconds)
{
    if (!m_resyncByTime || !m_heardUntilMs || !chunk.timestamp || m_tokenRequest.mode == 2)
        return false;
    uint64_t end = chunk.timestamp + static_cast<uint64_t>(durationSeconds > 0 ? durationSeconds : 0) * 1000;
    if (end <= m_heardUntilMs)
        return true;
    chunk.cutBytes = 0;
    if (chunk.timestamp < m_heardUntilMs)
        chunk.adts.cutUs = (m_heardUntilMs - chunk.timestamp) * 1000;
    return false;
}
