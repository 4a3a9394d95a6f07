#ifndef TAMBER_ADTS_H
#define TAMBER_ADTS_H

#include <cstdint>

// How far the audio of the chunk in hand has been checked and handed over,
// frame by frame. Only bytes that make whole ADTS frames of one stream reach
// the host; what the network sends besides (a cipher tail, padding left in,
// bytes under a wrong key) is dropped, so that a chunk always comes to an end.
struct tamberAdtsState {
    uint32_t checked = 0;   // bytes from readPtr on that are whole, checked frames
    uint32_t intoFrame = 0; // bytes of the frame under readPtr that the host already took
    uint32_t stream = 0;    // fixed header of the last checked frame; 0 before the first
    uint8_t inStep = 0;     // the next unchecked byte follows a checked frame directly
    uint8_t complete = 0;   // the transfer has ended: no further bytes come
    uint32_t dropped = 0;   // bytes that were no frames, told once the chunk is through
    uint64_t cutUs = 0;     // stream time to drop from the head, by whole frames
    uint64_t clockUs = 0;   // stream time handed over or cut since the chunk's start

    void clear() { *this = tamberAdtsState(); }
};

namespace tamberAdts {
const unsigned kHeaderBytes = 7;

// Length of the frame whose header starts at data (kHeaderBytes readable),
// or 0 when no frame header starts there.
unsigned frameLength(const unsigned char* data);
// The header fields that stay the same for every frame of one stream.
uint32_t fixedHeader(const unsigned char* data);
// Playing time of the frame whose header starts at data, in microseconds.
uint32_t frameMicros(const unsigned char* data);
} // namespace tamberAdts

#endif
