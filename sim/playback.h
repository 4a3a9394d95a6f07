// Playback as the service serves it: the now-playing module of a tune reply,
// and the stream files under /hls/ (variant, index, key and chunk files).
//
// Live, every playable channel plays the audio loop on the wall clock:
// chunk `seq` is the 8 seconds from seq * 8000 ms since the epoch, holds loop
// frames from (seq * frames a chunk) modulo the loop's length on, and the
// live edge is the chunk that now falls in. On demand, an episode is the
// loop played once, chunks numbered from 1, from the episode's start time.
#pragma once

#include "audio_loop.h"
#include "catalog.h"
#include "json_writer.h"
#include "reply.h"
#include "sim_state.h"

#include <httplib.h>

#include <cstdint>
#include <string>

namespace tqlsim {

class Playback {
public:
    Playback(const Catalog& catalog, const AudioLoop& audio, SimState& state, const std::string& baseUrl);

    // A live channel plays when there is audio, it is available and tuned
    // live; an episode whenever there is audio.
    bool playable(const Channel& channel) const;
    bool playable() const { return !audio_.empty(); }
    const AudioLoop& audio() const { return audio_; }

    // The tune reply's module of a live channel, with the timeline around
    // the live edge at `nowMs`.
    void liveModule(JsonWriter& w, const Channel& channel, int64_t nowMs) const;
    void onDemandModule(JsonWriter& w, const Episode& episode, int64_t nowMs) const;

    // GET /hls/..., at `nowMs`.
    Reply file(const httplib::Request& req, int64_t nowMs);

private:
    struct FilePath;
    struct Stream;

    bool parsePath(const std::string& path, FilePath& out) const;
    bool findStream(const FilePath& path, int64_t nowMs, Stream& out) const;
    std::string variantFile() const;
    std::string indexFile(const Stream& stream, const std::string& size) const;
    Reply keyFile(const std::string& name);
    Reply chunkFile(const Stream& stream, const std::string& name);

    const Catalog& catalog_;
    const AudioLoop& audio_;
    SimState& state_;
    std::string imageRoot_;
};

}  // namespace tqlsim
