// The engine's audio output: decrypted pieces of a chunk, cleaned at their
// head, pushed to the host's write function by pointer. A host that takes
// less leaves the rest in m_currentChunk for the next try.
#include "tamberCore.h"
#include "tamberNodeResponder.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kWriteClosed = -7;
} // namespace

int CMTamberNodeResponder::handleAudioStream(unsigned char* buffer, unsigned char* data, unsigned int length)
{
    (void)data; // the pieces lie back to back from the buffer's start
    if (m_busy) {
        m_busy = 0;
        if (m_core)
            m_core->getTamberCallback()->notifyBusyChanged(0);
    }
    if (!m_currentChunk.readPtr)
        m_currentChunk.readPtr = buffer;
    m_currentChunk.remaining += length;
    m_decryptedChunkLength += length;
    int sent = sendData();
    if (sent >= 0)
        return static_cast<int>(length);
    TQL_LOG(1, "sendData Error ret = %d", sent);
    return -1;
}

int CMTamberNodeResponder::sendData()
{
    tamberChunk& chunk = m_currentChunk;
    // Tag, cut and resync come before the first frame; once frames are
    // checked the head lies on or inside one of them.
    if (chunk.adts.checked == 0 && chunk.adts.intoFrame == 0) {
        unsigned char* head = chunk.readPtr;
        skipID3tag(&chunk.readPtr, &chunk.remaining);
        bool resync = chunk.adtsResyncPending != 0;
        chunk.cutBytes =
            skipData(&resync, static_cast<unsigned long>(chunk.cutBytes), &chunk.readPtr, &chunk.remaining);
        chunk.adtsResyncPending = resync ? 1 : 0;
        if (chunk.readPtr != head)
            chunk.adts.inStep = 0;
        if (chunk.cutBytes)
            return 1;
        if (chunk.adtsResyncPending) {
            chunk.adtsResyncPending = static_cast<uint8_t>(adtsSync(&chunk.readPtr, &chunk.remaining));
            if (chunk.adtsResyncPending)
                return 1;
        }
    }
    checkFrames();
    if (!m_channelCtx.audioWrite)
        return 1;
    // Whole checked frames only; with none, the write is made all the same
    // with nothing in it, and the host tells what it holds.
    uint32_t offered = chunk.adts.checked;
    int written = m_channelCtx.audioWrite(m_channelCtx.audioContext, chunk.readPtr, static_cast<int>(offered),
                                          chunk.bitRate, &m_bufferedMs);
    if (written == kWriteClosed) {
        TQL_LOG(2, "Writting closed on remote end - stop sending data");
        m_terminate = 1;
        return kWriteClosed;
    }
    if (written < 1 || static_cast<unsigned int>(written) > offered)
        return 1;
    handedOver(static_cast<uint32_t>(written));
    // Kept as the host contract has it: whole bit-rate units of the rest only.
    if (chunk.bitRate > 0)
        m_bufferedMs += chunk.remaining / static_cast<uint32_t>(chunk.bitRate) * 8000;
    return 1;
}

void CMTamberNodeResponder::skipID3tag(unsigned char** data, unsigned int* length)
{
    // A tag is known by its three letters; fewer bytes in hand wait for more.
    if (*length < 3 || (*data)[0] != 'I' || (*data)[1] != 'D' || (*data)[2] != '3')
        return;
    TQL_LOG(4, "ID3 tag at the beginning of the chunk was found");
    *data += 3;
    *length -= 3;
    // The audio starts at the first ADTS header of MPEG-4 AAC without CRC.
    while (*length > 1) {
        if ((*data)[0] == 0xFF && (*data)[1] == 0xF1) {
            TQL_LOG(4, "ID3 tag from the beginning of the chunk was removed");
            return;
        }
        ++*data;
        --*length;
    }
    TQL_LOG(2, "ID3 tag found, but 'FFF1' was not found -> posssible data lose");
}

unsigned long CMTamberNodeResponder::skipData(bool* resync, unsigned long toSkip, unsigned char** data,
                                              unsigned int* length)
{
    if (toSkip == 0)
        return 0;
    TQL_LOG(4, "Bytes to skip %d data len to send %u", static_cast<int>(toSkip), *length);
    if (toSkip <= *length) {
        *length -= static_cast<unsigned int>(toSkip);
        *data += toSkip;
        *resync = true; // the cut ends inside a frame
        return 0;
    }
    unsigned long left = toSkip - *length;
    *data += *length;
    *length = 0;
    return left;
}

int CMTamberNodeResponder::adtsSync(unsigned char** data, unsigned int* length)
{
    while (*length > 1) {
        if ((*data)[0] == 0xFF && ((*data)[1] & 0xF0) == 0xF0)
            return 0;
        ++*data;
        --*length;
    }
    // Not here: the search goes on in the next piece, past this last byte.
    if (*length > 0) {
        ++*data;
        --*length;
    }
    return 1;
}

unsigned CMTamberNodeResponder::chunkCutBytes(unsigned bitRate, unsigned ms)
{
    return ms * bitRate / 8000; // wraps in 32 bits
}
