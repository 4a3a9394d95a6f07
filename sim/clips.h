// Clip channels as the service serves them: the tune reply of a channel
// tuned by "sequencer" with its first clips, the refresh call that adds the
// clips after those the library holds, and each clip's stream files under
// /hls/aic/.
//
// Clip n of a channel is track n (modulo the number of tracks) of the audio
// loop, whole: its chunks are numbered from 1 and hold the track's frames in
// order, so that clips played in sequence give the loop without gap or
// repeat. A clip's guid is "clip-CHANNELID-N".
#pragma once

#include "audio_loop.h"
#include "catalog.h"
#include "reply.h"
#include "sim_state.h"

#include <httplib.h>

#include <string>

namespace tqlsim {

class ClipChannels {
public:
    ClipChannels(const Catalog& catalog, const AudioLoop& audio, SimState& state);

    // GET /rest/v4/aic/tune, the session already checked.
    Reply tune(const httplib::Request& req) const;
    // POST /rest/v4/aic/refresh-tracks, the session already checked.
    Reply refresh(const httplib::Request& req) const;
    // GET /hls/aic/...
    Reply file(const httplib::Request& req);

private:
    const Channel* clipChannel(const std::string& guid) const;
    std::string clipReply(const Channel& channel, int64_t first, int64_t count) const;
    std::string clipGuid(const Channel& channel, int64_t n) const;
    bool parseClipGuid(const std::string& guid, const Channel*& channel, int64_t& n) const;
    size_t trackOf(int64_t n) const;
    int64_t chunkCount(int64_t n) const;
    std::string indexFile(const std::string& guid, int64_t n) const;
    Reply chunkFile(const std::string& guid, int64_t n, const std::string& name);

    const Catalog& catalog_;
    const AudioLoop& audio_;
    SimState& state_;
};

}  // namespace tqlsim
