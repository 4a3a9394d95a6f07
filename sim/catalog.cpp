#include "catalog.h"

#include "hls.h"

#include <yajl/yajl_tree.h>

#include <cctype>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

namespace tqlsim {

namespace {

const size_t kMaxCatalogBytes = 4 * 1024 * 1024;
const char* const kBasePlaceholder = "{{BASE}}";

using TreePtr = std::unique_ptr<yajl_val_s, void (*)(yajl_val)>;

yajl_val member(yajl_val node, const char* name)
{
    const char* path[] = {name, nullptr};
    return node ? yajl_tree_get(node, path, yajl_t_any) : nullptr;
}

std::string text(yajl_val node, const char* name, const std::string& fallback = "")
{
    yajl_val v = member(node, name);
    return YAJL_IS_STRING(v) ? std::string(YAJL_GET_STRING(v)) : fallback;
}

int number(yajl_val node, const char* name, int fallback = 0)
{
    yajl_val v = member(node, name);
    return YAJL_IS_INTEGER(v) ? static_cast<int>(YAJL_GET_INTEGER(v)) : fallback;
}

bool flag(yajl_val node, const char* name, bool fallback)
{
    yajl_val v = member(node, name);
    if (YAJL_IS_TRUE(v))
        return true;
    if (YAJL_IS_FALSE(v))
        return false;
    return fallback;
}

// The elements of an array member; empty when absent or of another type.
std::vector<yajl_val> items(yajl_val node, const char* name)
{
    yajl_val v = member(node, name);
    if (!YAJL_IS_ARRAY(v))
        return {};
    return std::vector<yajl_val>(v->u.array.values, v->u.array.values + v->u.array.len);
}

std::vector<std::string> texts(yajl_val node, const char* name)
{
    std::vector<std::string> out;
    for (yajl_val v : items(node, name))
        out.push_back(YAJL_IS_STRING(v) ? YAJL_GET_STRING(v) : "");
    return out;
}

std::vector<Image> readImages(yajl_val node, const char* name, const char* defaultName)
{
    std::vector<Image> out;
    for (yajl_val v : items(node, name)) {
        Image img;
        img.name = text(v, "name", defaultName);
        img.url = text(v, "url");
        img.width = number(v, "width");
        img.height = number(v, "height", img.width);
        out.push_back(img);
    }
    return out;
}

Category readCategory(yajl_val v)
{
    Category c;
    c.guid = text(v, "guid");
    c.key = text(v, "key");
    c.name = text(v, "name");
    c.description = text(v, "description");
    c.sortOrder = number(v, "sortOrder");
    c.icons = readImages(v, "icons", "category icon web");
    return c;
}

SuperCategory readSuperCategory(yajl_val v)
{
    SuperCategory s;
    s.guid = text(v, "guid");
    s.key = text(v, "key");
    s.name = text(v, "name");
    s.description = text(v, "description");
    s.url = text(v, "url");
    s.sortOrder = number(v, "sortOrder");
    for (yajl_val c : items(v, "categories"))
        s.categories.push_back(readCategory(c));
    return s;
}

Channel readChannel(yajl_val v)
{
    Channel ch;
    ch.guid = text(v, "guid");
    ch.id = text(v, "id");
    ch.name = text(v, "name");
    ch.streamingName = text(v, "streamingName", ch.name);
    ch.description = text(v, "description");
    ch.tuneMethod = text(v, "tuneMethod", "live");
    ch.logo = text(v, "logo");
    ch.number = number(v, "number");
    ch.qlNumber = number(v, "qlNumber", ch.number);
    ch.sortOrder = number(v, "sortOrder", ch.number);
    ch.geoRestrictions = number(v, "geoRestrictions");
    ch.inactivityTimeout = number(v, "inactivityTimeout");
    ch.available = flag(v, "available", true);
    ch.mature = flag(v, "mature", false);
    ch.favorite = flag(v, "favorite", false);
    ch.bizMature = flag(v, "bizMature", false);
    ch.images = readImages(v, "images", "color channel logo (on dark)");
    for (yajl_val c : items(v, "categories"))
        ch.categories.push_back({text(c, "key"), number(c, "order")});
    return ch;
}

Account readAccount(yajl_val v)
{
    Account a;
    a.user = text(v, "user");
    a.password = text(v, "password");
    a.state = text(v, "state", "ok");
    a.favorites = texts(v, "favorites");
    a.recents = texts(v, "recents");
    for (yajl_val p : items(v, "pausePoints"))
        a.pausePoints.push_back({text(p, "episode"), number(p, "percent")});
    return a;
}

Show readShow(yajl_val v)
{
    Show s;
    s.guid = text(v, "guid");
    s.title = text(v, "title");
    s.channel = text(v, "channel");
    s.logo = text(v, "logo");
    s.episodes = number(v, "episodes");
    return s;
}

SkipRules readRules(yajl_val v, const SkipRules& defaults)
{
    SkipRules r;
    r.irNavClass = text(v, "irNavClass", defaults.irNavClass);
    r.playOnSelect = text(v, "playOnSelect", defaults.playOnSelect);
    r.maxFwdSkips = number(v, "maxFwdSkips", defaults.maxFwdSkips);
    r.maxBackSkips = number(v, "maxBackSkips", defaults.maxBackSkips);
    r.fwdSkipDur = number(v, "fwdSkipDur", defaults.fwdSkipDur);
    r.backSkipDur = number(v, "backSkipDur", defaults.backSkipDur);
    return r;
}

// Track files are named relative to the catalog's folder.
Track readTrack(yajl_val v, const std::string& folder)
{
    Track t;
    t.file = text(v, "file");
    if (!t.file.empty() && t.file[0] != '/')
        t.file = folder + t.file;
    t.guid = text(v, "guid");
    t.title = text(v, "title");
    t.artist = text(v, "artist");
    t.album = text(v, "album");
    t.art = text(v, "art");
    return t;
}

Episode readEpisode(yajl_val v)
{
    Episode e;
    e.caId = text(v, "caId");
    e.guid = text(v, "guid");
    e.title = text(v, "title");
    e.description = text(v, "description");
    e.show = text(v, "show");
    e.start = text(v, "start");
    e.rules = readRules(member(v, "rules"), SkipRules());
    return e;
}

// Ids that go into stream URLs and chunk names: no path, dot or underscore,
// which would change how the name reads.
bool urlSafe(const std::string& id)
{
    if (id.empty())
        return false;
    for (char c : id)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-')
            return false;
    return true;
}

bool checkPlayback(Catalog& cat, const std::string& fixedKeyHex, std::string& error)
{
    if (cat.tokenSeconds < 1 || cat.tokenSeconds > 86400) {
        error = "tokenSeconds must be 1 to 86400";
        return false;
    }
    if (!cat.tracks.empty() && !hexKey(fixedKeyHex, cat.fixedKey)) {
        error = "fixedKey must be 32 hex digits when there are tracks";
        return false;
    }
    std::set<std::string> caIds;
    for (Episode& e : cat.episodes) {
        if (!urlSafe(e.caId) || !caIds.insert(e.caId).second) {
            error = "episode '" + e.title + "' has a caId that is missing, taken, or not letters, digits and '-'";
            return false;
        }
        if (!cat.findShow(e.show)) {
            error = "episode '" + e.caId + "' names unknown show '" + e.show + "'";
            return false;
        }
        if (!parseProgramTime(e.start, e.startMs)) {
            error = "episode '" + e.caId + "' has no start time of the form 2024-03-01T09:00:00.000+00:00";
            return false;
        }
    }
    for (const Track& t : cat.tracks) {
        if (t.file.empty() || t.guid.empty()) {
            error = "track '" + t.title + "' has no file or guid";
            return false;
        }
    }
    return true;
}

// Every guid of a tile list must name a channel or a show; recents only
// channels, since the library keeps no show tile of that list.
bool checkTiles(const Catalog& cat, const std::vector<std::string>& guids, bool channelsOnly,
                const std::string& list, std::string& error)
{
    for (const std::string& guid : guids) {
        if (cat.findChannel(guid) || (!channelsOnly && cat.findShow(guid)))
            continue;
        error = list + " names '" + guid + "', which is no " + (channelsOnly ? "channel" : "channel or show");
        return false;
    }
    return true;
}

bool checkShows(const Catalog& cat, std::set<std::string>& guids, std::string& error)
{
    for (const Show& s : cat.shows) {
        if (s.guid.empty() || !guids.insert(s.guid).second) {
            error = "show '" + s.title + "' has no guid, or one that is already taken";
            return false;
        }
        if (!cat.findChannel(s.channel)) {
            error = "show '" + s.title + "' names unknown channel '" + s.channel + "'";
            return false;
        }
    }
    return true;
}

bool check(const Catalog& cat, std::string& error)
{
    std::set<std::string> guids;
    for (const Channel& ch : cat.channels) {
        if (ch.guid.empty() || ch.id.empty() || !guids.insert(ch.guid).second) {
            error = "channel '" + ch.name + "' has no guid or id, or a duplicate guid";
            return false;
        }
        for (const ChannelCategory& c : ch.categories) {
            if (!cat.findCategory(c.key)) {
                error = "channel '" + ch.name + "' names unknown category '" + c.key + "'";
                return false;
            }
        }
    }
    if (!checkShows(cat, guids, error))
        return false;
    for (const Account& a : cat.accounts) {
        if (a.user.empty()) {
            error = "an account has no user";
            return false;
        }
        if (!checkTiles(cat, a.favorites, false, "favorites of " + a.user, error) ||
            !checkTiles(cat, a.recents, true, "recents of " + a.user, error))
            return false;
        for (const auto& point : a.pausePoints) {
            if (!cat.findEpisode(point.first)) {
                error = "a pause point of " + a.user + " names no episode: " + point.first;
                return false;
            }
        }
    }
    return checkTiles(cat, cat.forYou.items, false, "forYou", error);
}

void rewrite(std::string& url, const std::string& base)
{
    size_t at = url.find(kBasePlaceholder);
    if (at != std::string::npos)
        url.replace(at, std::string(kBasePlaceholder).size(), base);
}

}  // namespace

const Account* Catalog::findAccount(const std::string& user) const
{
    for (const Account& a : accounts)
        if (a.user == user)
            return &a;
    return nullptr;
}

const Category* Catalog::findCategory(const std::string& key) const
{
    for (const SuperCategory& s : superCategories)
        for (const Category& c : s.categories)
            if (c.key == key)
                return &c;
    return nullptr;
}

const Channel* Catalog::findChannel(const std::string& guid) const
{
    for (const Channel& ch : channels)
        if (ch.guid == guid)
            return &ch;
    return nullptr;
}

const Channel* Catalog::findChannelById(const std::string& id) const
{
    for (const Channel& ch : channels)
        if (ch.id == id)
            return &ch;
    return findChannel(id);
}

const Episode* Catalog::findEpisode(const std::string& caId) const
{
    for (const Episode& e : episodes)
        if (e.caId == caId)
            return &e;
    return nullptr;
}

const Show* Catalog::findShow(const std::string& guid) const
{
    for (const Show& s : shows)
        if (s.guid == guid)
            return &s;
    return nullptr;
}

void Catalog::rewriteBase(const std::string& baseUrl)
{
    for (SuperCategory& s : superCategories) {
        rewrite(s.url, baseUrl);
        for (Category& c : s.categories)
            for (Image& img : c.icons)
                rewrite(img.url, baseUrl);
    }
    for (Channel& ch : channels) {
        rewrite(ch.logo, baseUrl);
        for (Image& img : ch.images)
            rewrite(img.url, baseUrl);
    }
    for (Show& s : shows)
        rewrite(s.logo, baseUrl);
    for (Track& t : tracks)
        rewrite(t.art, baseUrl);
}

bool loadCatalog(const std::string& path, Catalog& out, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open " + path;
        return false;
    }
    std::ostringstream buf;
    buf << in.rdbuf();
    std::string data = buf.str();
    if (data.size() > kMaxCatalogBytes) {
        error = path + " is too large";
        return false;
    }
    char parseError[256] = {0};
    TreePtr root(yajl_tree_parse(data.c_str(), parseError, sizeof parseError), yajl_tree_free);
    if (!root || !YAJL_IS_OBJECT(root.get())) {
        error = path + ": not a JSON object: " + parseError;
        return false;
    }
    Catalog cat;
    cat.lineupVersion = text(root.get(), "lineupVersion", "1");
    cat.updateFrequency = number(root.get(), "updateFrequency", 60);
    for (yajl_val v : items(root.get(), "accounts"))
        cat.accounts.push_back(readAccount(v));
    for (yajl_val v : items(root.get(), "superCategories"))
        cat.superCategories.push_back(readSuperCategory(v));
    for (yajl_val v : items(root.get(), "channels"))
        cat.channels.push_back(readChannel(v));
    for (yajl_val v : items(root.get(), "shows"))
        cat.shows.push_back(readShow(v));
    yajl_val forYou = member(root.get(), "forYou");
    cat.forYou.title = text(forYou, "title", "For you");
    cat.forYou.items = texts(forYou, "items");
    cat.tokenSeconds = number(root.get(), "tokenSeconds", 120);
    size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    for (yajl_val v : items(root.get(), "tracks"))
        cat.tracks.push_back(readTrack(v, folder));
    cat.liveRules = readRules(member(root.get(), "liveRules"), SkipRules());
    for (yajl_val v : items(root.get(), "episodes"))
        cat.episodes.push_back(readEpisode(v));
    if (!check(cat, error) || !checkPlayback(cat, text(root.get(), "fixedKey"), error)) {
        error = path + ": " + error;
        return false;
    }
    out = std::move(cat);
    return true;
}

}  // namespace tqlsim
