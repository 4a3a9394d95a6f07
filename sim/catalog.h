// The simulator's content: accounts with their favorites and recents, the
// category tree, the channels, the shows and the for-you list.
// Loaded once at start and read-only afterwards, so it needs no lock.
#pragma once

#include <string>
#include <vector>

namespace tqlsim {

struct Account {
    std::string user, password;
    std::string state;  // "ok", "nosubscription", "pastdue", "closed", "incompatible", "locked"
    // Guids of channels and shows, in the order the tiles are served.
    std::vector<std::string> favorites, recents;
};

struct Image {
    std::string name, url;
    int width = 0, height = 0;
};

struct Category {
    std::string guid, key, name, description;
    int sortOrder = 0;
    std::vector<Image> icons;
};

struct SuperCategory {
    std::string guid, key, name, description, url;
    int sortOrder = 0;
    std::vector<Category> categories;
};

struct ChannelCategory {
    std::string key;
    int order = 0;  // the channel's place within the category
};

struct Channel {
    std::string guid, id, name, streamingName, description;
    std::string tuneMethod;  // "live" or "sequencer"
    std::string logo;        // image link of its tiles, as sent
    int number = 0, qlNumber = 0, sortOrder = 0, geoRestrictions = 0, inactivityTimeout = 0;
    bool available = true, mature = false, favorite = false, bizMature = false;
    std::vector<Image> images;
    std::vector<ChannelCategory> categories;
};

struct Show {
    std::string guid, title;
    std::string channel;  // guid of the channel that airs it
    std::string logo;     // image link of its tiles, as sent
    int episodes = 0;
};

// A list of tiles under a heading, as the for-you carousel is served.
struct TileCarousel {
    std::string title;
    std::vector<std::string> items;  // guids of channels and shows
};

struct Catalog {
    std::string lineupVersion;
    int updateFrequency = 60;  // seconds, for the no-op and login replies
    std::vector<Account> accounts;
    std::vector<SuperCategory> superCategories;
    std::vector<Channel> channels;
    std::vector<Show> shows;
    TileCarousel forYou;

    const Account* findAccount(const std::string& user) const;
    const Category* findCategory(const std::string& key) const;
    const Channel* findChannel(const std::string& guid) const;
    const Show* findShow(const std::string& guid) const;
    // Replaces the "{{BASE}}" placeholder in every URL and image link by the
    // given address.
    void rewriteBase(const std::string& baseUrl);
};

// Reads and checks a catalog file. On failure returns false and says why.
bool loadCatalog(const std::string& path, Catalog& out, std::string& error);

}  // namespace tqlsim
