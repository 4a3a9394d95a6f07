// Each account's profile as the service keeps it: presets, favorites,
// recent plays, pause points and global settings. Seeded from the catalog
// the first time an account is asked for and changed by the profile writes,
// in memory for the simulator's life. httplib serves on a thread pool, so
// every access takes the one lock, and every list has a size limit.
#pragma once

#include "catalog.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tqlsim {

struct Preset {
    std::string guid, channelId;
    std::string contentType;  // "live", "aic" or "aod", as the device wrote it
    int slot = 0;             // tabSortOrder
};

struct Favorite {
    std::string guid;
    std::string type;  // "channel", "show" or "episode"
    std::string channelId, contentType;
};

struct PausePoint {
    std::string episodeGuid, showGuid;
    int percent = 0;
};

struct Profile {
    std::vector<Preset> presets;        // by slot
    std::vector<Favorite> favorites;    // in the order they were added
    std::vector<std::string> recents;   // guids of channels, the latest first
    std::vector<PausePoint> pausePoints;
    std::vector<std::pair<std::string, std::string>> settings;  // name, value
};

// Bounds that keep a profile small whatever a device writes.
const size_t kMaxPresets = 100;
const size_t kMaxFavorites = 500;
const size_t kMaxSettings = 100;
const size_t kMaxProfileText = 256;

class Profiles {
public:
    explicit Profiles(const Catalog& catalog) : catalog_(catalog) {}

    // A copy of the user's profile.
    Profile get(const std::string& user);
    // Runs `change` on the user's profile under the lock.
    void change(const std::string& user, const std::function<void(Profile&)>& change);

private:
    Profile& profileLocked(const std::string& user);

    const Catalog& catalog_;
    std::mutex mu_;
    std::map<std::string, Profile> profiles_;  // only the catalog's accounts get one
};

// The changes a profile write asks for, applied in order.
void applyPreset(Profile& p, const std::string& change, const Preset& preset);
void applyFavorite(Profile& p, const std::string& change, const Favorite& favorite);
void applySetting(Profile& p, const std::string& name, const std::string& value);

}  // namespace tqlsim
