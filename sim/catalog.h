// The simulator's content: accounts with their favorites and recents, the
// category tree, the channels, the shows, the for-you list, and what is
// played: the audio tracks, the on-demand episodes and the device key.
// Loaded once at start and read-only afterwards, so it needs no lock.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tqlsim {

struct Account {
    std::string user, password;
    std::string state;  // "ok", "nosubscription", "pastdue", "closed", "incompatible", "locked"
    // Guids of channels and shows, in the order the tiles are served.
    std::vector<std::string> favorites, recents;
    // Where the account stopped in episodes: (caId of the episode, percent played).
    std::vector<std::pair<std::string, int>> pausePoints;
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

// What a listener may skip in an episode, as the service sends it.
struct SkipRules {
    std::string irNavClass = "UNRESTRICTED";
    std::string playOnSelect = "Newest";
    int maxFwdSkips = 0, maxBackSkips = 0;
    int fwdSkipDur = 0, backSkipDur = 0;  // windows, in units of five minutes
};

// One track of the audio loop, and what its "cut" markers say of it.
struct Track {
    std::string file;  // path of the ADTS file, resolved against the catalog's folder
    std::string guid, title, artist, album;
    std::string art;   // album art URL
};

// An on-demand episode: the audio loop played once from its start.
struct Episode {
    std::string caId;  // access control id, also the asset name of its chunks
    std::string guid, title, description;
    std::string show;  // guid of a show
    std::string start; // program time of its first chunk
    int64_t startMs = 0;
    SkipRules rules;
};

struct Catalog {
    std::string lineupVersion;
    int updateFrequency = 60;  // seconds, for the no-op and login replies
    int tokenSeconds = 120;    // how long the streaming URLs of a tune stay good
    // Key 1 of every stream. The library sets key 1 to the device's fixed key
    // at each token renewal, so the two have to be the same.
    std::string fixedKey;  // 16 bytes
    std::vector<Track> tracks;
    SkipRules liveRules;
    std::vector<Episode> episodes;
    std::vector<Account> accounts;
    std::vector<SuperCategory> superCategories;
    std::vector<Channel> channels;
    std::vector<Show> shows;
    TileCarousel forYou;

    const Account* findAccount(const std::string& user) const;
    const Category* findCategory(const std::string& key) const;
    const Channel* findChannel(const std::string& guid) const;
    // By channel id, or else by guid.
    const Channel* findChannelById(const std::string& id) const;
    const Episode* findEpisode(const std::string& caId) const;
    const Show* findShow(const std::string& guid) const;
    // Replaces the "{{BASE}}" placeholder in every URL and image link by the
    // given address.
    void rewriteBase(const std::string& baseUrl);
};

// Reads and checks a catalog file. On failure returns false and says why.
bool loadCatalog(const std::string& path, Catalog& out, std::string& error);

}  // namespace tqlsim
