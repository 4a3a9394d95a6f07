#include "profile.h"

#include <algorithm>

namespace tqlsim {

namespace {

// What every account starts with; the login reply hands them out.
const std::pair<const char*, const char*> kDefaultSettings[] = {{"TimeZone", "UTC"}, {"AutoPlayNext", "true"}};

Profile seed(const Catalog& catalog, const std::string& user)
{
    Profile p;
    for (const auto& setting : kDefaultSettings)
        p.settings.emplace_back(setting.first, setting.second);
    const Account* account = catalog.findAccount(user);
    if (!account)
        return p;
    p.recents = account->recents;
    for (const std::string& guid : account->favorites) {
        if (const Channel* ch = catalog.findChannel(guid))
            p.favorites.push_back({guid, "channel", ch->id, "live"});
        else
            p.favorites.push_back({guid, "show", "", "show"});
    }
    for (const auto& point : account->pausePoints) {
        if (const Episode* e = catalog.findEpisode(point.first))
            p.pausePoints.push_back({e->guid, e->show, point.second});
    }
    return p;
}

}  // namespace

Profile Profiles::get(const std::string& user)
{
    std::lock_guard<std::mutex> lock(mu_);
    return profileLocked(user);
}

void Profiles::change(const std::string& user, const std::function<void(Profile&)>& change)
{
    std::lock_guard<std::mutex> lock(mu_);
    change(profileLocked(user));
}

Profile& Profiles::profileLocked(const std::string& user)
{
    auto it = profiles_.find(user);
    if (it != profiles_.end())
        return it->second;
    // Sessions exist only for the catalog's accounts, so the map stays as
    // small as the catalog.
    return profiles_.emplace(user, seed(catalog_, user)).first->second;
}

// A preset fills a slot: adding or updating replaces what the slot held;
// deleting removes the asset wherever it sits.
void applyPreset(Profile& p, const std::string& change, const Preset& preset)
{
    if (preset.guid.empty())
        return;  // names nothing
    auto& list = p.presets;
    if (change == "delete") {
        list.erase(std::remove_if(list.begin(), list.end(), [&](const Preset& x) { return x.guid == preset.guid; }),
                   list.end());
        return;
    }
    list.erase(std::remove_if(list.begin(), list.end(), [&](const Preset& x) { return x.slot == preset.slot; }),
               list.end());
    if (list.size() >= kMaxPresets)
        return;
    auto at = std::find_if(list.begin(), list.end(), [&](const Preset& x) { return x.slot > preset.slot; });
    list.insert(at, preset);
}

void applyFavorite(Profile& p, const std::string& change, const Favorite& favorite)
{
    if (favorite.guid.empty())
        return;
    auto& list = p.favorites;
    auto it = std::find_if(list.begin(), list.end(), [&](const Favorite& x) { return x.guid == favorite.guid; });
    if (change == "delete") {
        if (it != list.end())
            list.erase(it);
    } else if (it != list.end()) {
        if (change != "add")
            *it = favorite;  // an update; adding what is there changes nothing
    } else if (list.size() < kMaxFavorites) {
        list.push_back(favorite);
    }
}

void applySetting(Profile& p, const std::string& name, const std::string& value)
{
    auto& list = p.settings;
    auto it = std::find_if(list.begin(), list.end(), [&](const auto& x) { return x.first == name; });
    if (it != list.end())
        it->second = value;
    else if (list.size() < kMaxSettings)
        list.emplace_back(name, value);
}

}  // namespace tqlsim
