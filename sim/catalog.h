// The simulator's content: accounts, the category tree and the channels.
// Loaded once at start and read-only afterwards, so it needs no lock.
#pragma once

#include <string>
#include <vector>

namespace tqlsim {

struct Account {
    std::string user, password;
    std::string state;  // "ok", "nosubscription", "pastdue", "closed", "incompatible", "locked"
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
    int number = 0, qlNumber = 0, sortOrder = 0, geoRestrictions = 0, inactivityTimeout = 0;
    bool available = true, mature = false, favorite = false, bizMature = false;
    std::vector<Image> images;
    std::vector<ChannelCategory> categories;
};

struct Catalog {
    std::string lineupVersion;
    int updateFrequency = 60;  // seconds, for the no-op and login replies
    std::vector<Account> accounts;
    std::vector<SuperCategory> superCategories;
    std::vector<Channel> channels;

    const Account* findAccount(const std::string& user) const;
    const Category* findCategory(const std::string& key) const;
    // Replaces the "{{BASE}}" placeholder in every URL by the given address.
    void rewriteBase(const std::string& baseUrl);
};

// Reads and checks a catalog file. On failure returns false and says why.
bool loadCatalog(const std::string& path, Catalog& out, std::string& error);

}  // namespace tqlsim
