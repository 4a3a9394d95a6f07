#include "audio_loop.h"

#include "hls.h"

#include <fstream>
#include <sstream>

namespace tqlsim {

namespace {

const int kSamplesPerFrame = 1024;
const int kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                            22050, 16000, 12000, 11025, 8000,  7350};
const size_t kAdtsHeader = 7;
const size_t kMaxTrackBytes = 16 * 1024 * 1024;

bool readFile(const std::string& path, std::string& data, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open audio file " + path;
        return false;
    }
    std::ostringstream buf;
    buf << in.rdbuf();
    data = buf.str();
    if (data.size() > kMaxTrackBytes) {
        error = path + " is too large";
        return false;
    }
    return true;
}

// Splits one file into frames; gives the sample rate of its frames.
bool splitFrames(const std::string& path, const std::string& data, std::vector<std::string>& out,
                 int& rate, std::string& error)
{
    size_t pos = 0;
    rate = 0;
    while (pos < data.size()) {
        auto byte = [&](size_t i) { return static_cast<unsigned char>(data[pos + i]); };
        // The library finds the first frame behind the ID3 tag by FF F1.
        if (data.size() - pos < kAdtsHeader || byte(0) != 0xff || byte(1) != 0xf1) {
            error = path + ": no ADTS frame with sync FF F1 at byte " + std::to_string(pos);
            return false;
        }
        size_t length = (static_cast<size_t>(byte(3) & 0x03) << 11) | (static_cast<size_t>(byte(4)) << 3) |
                        (byte(5) >> 5);
        unsigned index = (byte(2) >> 2) & 0x0f;
        if (length <= kAdtsHeader || length > data.size() - pos || index >= sizeof kSampleRates / sizeof(int) ||
            (rate && rate != kSampleRates[index])) {
            error = path + ": bad ADTS frame at byte " + std::to_string(pos);
            return false;
        }
        rate = kSampleRates[index];
        out.push_back(data.substr(pos, length));
        pos += length;
    }
    if (out.empty()) {
        error = path + " holds no audio";
        return false;
    }
    return true;
}

}  // namespace

bool AudioLoop::load(const std::vector<std::string>& files, std::string& error)
{
    AudioLoop loop;
    int rate = 0;
    for (const std::string& path : files) {
        std::string data;
        std::vector<std::string> frames;
        int fileRate = 0;
        if (!readFile(path, data, error) || !splitFrames(path, data, frames, fileRate, error))
            return false;
        if (rate && fileRate != rate) {
            error = path + " has another sample rate than the tracks before it";
            return false;
        }
        rate = fileRate;
        loop.trackStarts_.push_back(loop.frameCount());
        loop.frames_.insert(loop.frames_.end(), frames.begin(), frames.end());
    }
    if (loop.empty()) {
        error = "no audio tracks";
        return false;
    }
    // Chunk times are whole milliseconds and a chunk holds whole frames.
    const int64_t frameMicros = static_cast<int64_t>(kSamplesPerFrame) * 1000000;
    if (frameMicros % (static_cast<int64_t>(rate) * 1000) != 0 ||
        kChunkMs % (frameMicros / (rate * 1000)) != 0) {
        error = "a frame at " + std::to_string(rate) + " Hz does not last whole milliseconds that fill a chunk";
        return false;
    }
    loop.frameMs_ = frameMicros / (static_cast<int64_t>(rate) * 1000);
    loop.framesPerChunk_ = kChunkMs / loop.frameMs_;
    *this = std::move(loop);
    return true;
}

int64_t AudioLoop::trackFrames(size_t track) const
{
    int64_t end = track + 1 < trackStarts_.size() ? trackStarts_[track + 1] : frameCount();
    return end - trackStarts_[track];
}

std::string AudioLoop::frames(int64_t first, int64_t count, bool wrap) const
{
    std::string out;
    const int64_t n = frameCount();
    for (int64_t i = 0; i < count && n > 0; ++i) {
        int64_t at = first + i;
        if (at >= n && !wrap)
            break;
        out += frames_[static_cast<size_t>(at % n)];
    }
    return out;
}

}  // namespace tqlsim
