#ifndef TQLPLAY_PLAYER_H
#define TQLPLAY_PLAYER_H

// tqlplay's player: drives the library as a device does, with a tick every
// 100 ms and an audio sink that takes whole ADTS frames at playing speed.
// On a terminal it shows a progress line and takes keys.
#include <string>

namespace tqlplay {

// The simulator's device key; a real device has its own.
extern const char* const kDefaultFixedKey;

// The longest --seconds: the played position reaches the library in
// milliseconds as a 32-bit number.
const long kMaxSeconds = 2147483;

struct PlayOptions {
    std::string channel;    // an id, a number or a name of the line-up
    long seconds = 20;      // of audio in the output
    std::string out = "tqlplay.aac";
    bool fast = false;      // take audio as it comes, not at playing speed
    std::string episode;    // an access control id: play on demand
    std::string start;      // a stream time to start at
    std::string asset;      // the asset that holds it
    long giveUpSeconds = 60; // no audio for this long ends the playback
    bool clips = false;      // the channel is a clip channel, named by its guid
    long skipAfterSeconds = 0; // after this much play, skip once and tune to the answer
    bool skipBack = false;   // that skip goes back instead of forward
    // Test hooks, not in the usage: pause at a position for a while, and
    // skip once at a position, tuning to the answer even at the live edge.
    long pauseAtSeconds = -1;
    long pauseMs = 0;
    long skipBackAtSeconds = -1;
    long skipForwardAtSeconds = -1;
};

// 0 when the asked length was played or q ended it; 1 on a failure, told
// on stderr; 2 for audio refused on a terminal; 130 after Ctrl-C.
int play(const PlayOptions& options);

} // namespace tqlplay

#endif
