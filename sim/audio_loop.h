// The fixture's audio as one loop of ADTS frames: the tracks one after the
// other, and after the last the first again. Loaded once at start and
// read-only afterwards.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tqlsim {

class AudioLoop {
public:
    // Reads the tracks, in loop order. Every file must hold whole ADTS
    // frames (sync FF F1: MPEG-4, no CRC), all of one sample rate whose
    // frames fill a chunk exactly, in whole milliseconds.
    bool load(const std::vector<std::string>& files, std::string& error);

    bool empty() const { return frames_.empty(); }
    int64_t frameCount() const { return static_cast<int64_t>(frames_.size()); }
    int64_t frameMs() const { return frameMs_; }
    int64_t framesPerChunk() const { return framesPerChunk_; }
    int64_t loopMs() const { return frameCount() * frameMs_; }
    // Index of each track's first frame in the loop.
    const std::vector<int64_t>& trackStarts() const { return trackStarts_; }
    int64_t trackFrames(size_t track) const;

    // The bytes of `count` frames from loop frame `first` on, wrapping from
    // the end of the loop to its start when `wrap` is set, else stopping
    // at the end.
    std::string frames(int64_t first, int64_t count, bool wrap) const;

private:
    std::vector<std::string> frames_;
    std::vector<int64_t> trackStarts_;
    int64_t frameMs_ = 0, framesPerChunk_ = 0;
};

}  // namespace tqlsim
