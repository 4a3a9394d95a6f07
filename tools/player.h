#ifndef TQLPLAY_PLAYER_H
#define TQLPLAY_PLAYER_H

// tqlplay's player: drives the library as a device does, with a tick every
// 100 ms and an audio sink that takes whole ADTS frames at playing speed.
#include <string>

namespace tqlplay {

// The simulator's device key; a real device has its own.
extern const char* const kDefaultFixedKey;

struct PlayOptions {
    std::string channel;
    int seconds = 20;
    std::string out = "tqlplay.aac";
    bool fast = false;     // take audio as it comes, not at playing speed
    std::string episode;   // an access control id: play on demand
    std::string start;     // a stream time to start at
    std::string asset;     // the asset that holds it
    int giveUpSeconds = 60; // no audio for this long ends the playback
    // Test hooks, not in the usage: pause at a position for a while, and
    // skip once at a position, tuning to the answer as a device does.
    int pauseAtSeconds = -1;
    int pauseMs = 0;
    int skipBackAtSeconds = -1;
    int skipForwardAtSeconds = -1;
};

// 0 when the asked length was played; 1 on a failure, told on stderr.
int play(const PlayOptions& options);

} // namespace tqlplay

#endif
