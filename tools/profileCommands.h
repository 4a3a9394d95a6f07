#ifndef TQLPLAY_PROFILE_COMMANDS_H
#define TQLPLAY_PROFILE_COMMANDS_H

// tqlplay's profile commands: presets, favorites, the recents list, pause
// points and global settings. Each logs in with the kept account, makes its
// change and prints what the service then holds; 0 on success, 1 on a
// failure told on stderr, 2 on bad arguments.
#include <string>
#include <vector>

namespace tqlplay {

int presets();
int setPreset(const std::string& slot, const std::string& channel);
// The write alone; the caller prints the list as the service then holds it.
int changeFavorite(const std::string& action, const std::string& id);
int clearRecents();
int pausePoints();
int settings(const std::vector<std::string>& assignments);

} // namespace tqlplay

#endif
