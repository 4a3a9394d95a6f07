#ifndef TQLPLAY_SHOW_COMMANDS_H
#define TQLPLAY_SHOW_COMMANDS_H

// tqlplay's commands for on-demand shows and episodes, and `watch`, which
// follows program data (what is on the air) on the library's tick.
#include <string>
#include <vector>

namespace tqlplay {

struct ShowOptions {
    std::string genre;   // shows of this genre (category key)
    std::string channel; // or of this channel (its id)
};

// Each gives 0 on success, 1 on a failure told on stderr.
int shows(const ShowOptions& options);
int episodes(const std::string& show);
// Prints each change of what the channels play (all channels with none
// named) until Ctrl-C (130) or an error (1). fast ticks the library ten
// times faster than the clock.
int watch(const std::vector<std::string>& channels, bool fast);

} // namespace tqlplay

#endif
