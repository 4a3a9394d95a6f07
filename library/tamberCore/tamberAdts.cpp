// Reading ADTS frame headers: MPEG-4 AAC as the streams carry it.
#include "tamberAdts.h"

namespace {
const uint32_t kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                 22050, 16000, 12000, 11025, 8000,  7350};
const unsigned kRateCount = sizeof kSampleRates / sizeof kSampleRates[0];
const uint32_t kSamplesPerFrame = 1024;

unsigned rateIndex(const unsigned char* data)
{
    return (data[2] >> 2) & 0x0Fu;
}
} // namespace

namespace tamberAdts {

unsigned frameLength(const unsigned char* data)
{
    // Twelve sync bits and layer 0.
    if (data[0] != 0xFF || (data[1] & 0xF6) != 0xF0 || rateIndex(data) >= kRateCount)
        return 0;
    unsigned length = ((data[3] & 0x03u) << 11) | (static_cast<unsigned>(data[4]) << 3) | (data[5] >> 5);
    unsigned header = (data[1] & 0x01) ? kHeaderBytes : kHeaderBytes + 2; // a CRC follows without protection_absent
    return length > header ? length : 0;
}

uint32_t fixedHeader(const unsigned char* data)
{
    return (static_cast<uint32_t>(data[1]) << 16) | (static_cast<uint32_t>(data[2]) << 8) | (data[3] & 0xF0u);
}

uint32_t frameMicros(const unsigned char* data)
{
    unsigned index = rateIndex(data);
    return index < kRateCount ? kSamplesPerFrame * 1000000u / kSampleRates[index] : 0;
}

} // namespace tamberAdts
