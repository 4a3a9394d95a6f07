#ifndef TAMBER_CHUNK_H
#define TAMBER_CHUNK_H

#include <cstdint>

#include "tamberAdts.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberUrl.h"

// One chunk in work: where it comes from, the keys it needs, and how far its
// plain audio has gone to the host.
struct tamberChunk {
    static constexpr int kStateNone = 0;
    static constexpr int kStateUnsupported = 7; // a key index the library cannot use
    static constexpr int kStateAudio = 8;       // set up for audio

    uint64_t data = 0; // reserved
    uint32_t remaining = 0; // plain bytes received and not yet written to the host
    unsigned char* readPtr = nullptr; // next byte to write, inside the request layer's buffer
    uint32_t downloadStartSec = 0;
    uint32_t downloadEndSec = 0;
    int32_t seqNum = 0;
    int32_t duration = 0;
    int32_t bitRate = 0;
    uint64_t timestamp = 0;
    int useAlternateServer = 0;
    int state = kStateNone;
    tql_list<tql_bytearray> keys; // the four stream keys, key index 1 first
    tql_url url[4];               // the first is the chunk's
    uint64_t cutBytes = 0;        // audio bytes to drop from the head
    uint8_t adtsResyncPending = 0;
    int32_t keyIndex = 0;
    tamberAdtsState adts; // the frames checked and handed over

    // Everything back to zero; the key list keeps its allocation.
    void clear()
    {
        data = 0, remaining = 0, readPtr = nullptr, downloadStartSec = downloadEndSec = 0;
        seqNum = duration = bitRate = 0, timestamp = 0, useAlternateServer = 0, state = kStateNone;
        keys.clear();
        for (tql_url& u : url)
            u.clear();
        cutBytes = 0, adtsResyncPending = 0, keyIndex = 0;
        adts.clear();
    }
};

#endif
