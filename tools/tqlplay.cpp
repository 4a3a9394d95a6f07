// tqlplay: a command-line host of libtqllib. Logs in, lists the line-up and
// the tile lists (favorites, recents, recommendations, search results), and
// plays a channel or an episode to a file as a device would.
#include <sys/stat.h>

#include "player.h"
#include "profileCommands.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tqlhost.h"
#include "tqllib.h"

namespace {

struct Channel {
    int number;
    std::string name;
    std::string category;
    bool available;
};

// One tile as the library handed it over; its texts are only lent.
struct Tile {
    std::string type, id, name, description, image;
};

struct Host {
    std::vector<Channel> channels;
    std::vector<Tile> tiles;
    int tileCalls = 0;
    bool tileListEnded = false;
};

int onError(void*, tql_errorNotification* e)
{
    if (e->errorCode)
        fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(e->errorCode), e->errorCode);
    return 1;
}
void onMetadata(void*, tql_metadata*) {}
int onBitrate(void*, int) { return 1; }
int onBusy(void*, int) { return 1; }
void onPdt(void*, tql_pdtChannel*, int) {}
int onRefresh(void*, tql_moduleType) { return 1; }
int onDemand(void*, tql_content*, int, int) { return 1; }
void onTimebar(void*, tql_timebarData*) {}
void onEpisodes(void*, const char*, tql_content*, int) {}
const char* tileType(int type)
{
    switch (type) {
    case 0: return "channel";
    case 1: return "show";
    case 2: return "episode";
    case 3: return "additional";
    case 4: return "category";
    default: return "?";
    }
}

std::string textOf(const char* text) { return text ? text : ""; }

// Every list arrives through here: one call per tile, the last flagged, or
// a single call without a tile for an empty list. 0 takes both kinds; an
// empty list answered with anything else counts as refused.
int onTile(void* context, tql_content* c, int isLast)
{
    auto* host = static_cast<Host*>(context);
    ++host->tileCalls;
    host->tileListEnded = isLast != 0;
    if (c)
        host->tiles.push_back({tileType(c->type), textOf(c->id), textOf(c->name), textOf(c->description),
                               textOf(c->images[0].url)});
    return 0;
}
void onGlobalSettings(void*, tql_globalSetting*, int) {}

int onChannel(void* context, tql_content* c)
{
    auto* host = static_cast<Host*>(context);
    host->channels.push_back({c->tamberChannelNumber, c->name ? c->name : "",
                              c->categoryName ? c->categoryName : "", c->isAvailable != 0});
    return 1;
}

void usage(FILE* out)
{
    fprintf(out,
            "usage: tqlplay [--service URL] [--account FILE] [--log LEVEL] COMMAND\n"
            "\n"
            "commands:\n"
            "  login USER PASSWORD   log in and keep the account in the account file\n"
            "  channels              log in with the kept account and print the line-up\n"
            "  favorites             ... and print the account's favorites\n"
            "  recents               ... and print what the account played lately\n"
            "  foryou                ... and print the recommendations\n"
            "  search TEXT           ... and print the channels and shows matching TEXT\n"
            "  play CHANNEL          ... and play a live channel (its id) to a file\n"
            "  presets               ... and print the presets\n"
            "  preset set SLOT CHANNEL  ... put a channel (its id) in a preset slot\n"
            "  favorite add|remove ID   ... change the favorites (a channel id, or a show guid)\n"
            "  recents clear         ... and empty the recently played list\n"
            "  pausepoints           ... and print where episodes were left off\n"
            "  settings [NAME=VALUE]...  ... change global settings and print them all\n"
            "\n"
            "play options:\n"
            "  --seconds N     stop after N seconds of audio (default 20)\n"
            "  --out FILE|-    where the ADTS AAC stream goes (default tqlplay.aac; - for stdout)\n"
            "  --fast          take audio as fast as it comes instead of at playing speed\n"
            "  --episode CAID  play the on-demand episode with this access control id instead\n"
            "  --start TIME    start at this stream time (\"YYYY-MM-DDTHH:MM:SS.mmm+00:00\"), with --asset\n"
            "  --asset GUID    the asset that holds the start time\n"
            "  --fixed-key HEX the device's fixed key (default the simulator's)\n"
            "  --give-up N     end the playback after N seconds without audio (default 60)\n"
            "\n"
            "Tile lists print one row per tile (type, id, name, description, first image\n"
            "URL) or \"(none)\" for an empty list.\n"
            "\n"
            "options:\n"
            "  --service URL   the service's base URL (default $TQLPLAY_SERVICE or http://127.0.0.1:8080)\n"
            "  --account FILE  the account file (default $HOME/.tqlplay-account)\n"
            "  --log LEVEL     library log level on stderr, 1 errors .. 4 debug (default 0: none)\n"
            "  --help          this text\n");
}

int fail(const tql_errorNotification& error)
{
    fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(error.errorCode), error.errorCode);
    return 1;
}

int start(Host& host)
{
    if (tql_init() != TQL_OK || tql_checkVersion(TQL_HEADER_VERSION) != TQL_OK) {
        fprintf(stderr, "tqlplay: the library would not start\n");
        return 0;
    }
    tql_CallbackStruct cb;
    memset(&cb, 0, sizeof cb);
    cb.hostContext = &host;
    cb.onError = onError;
    cb.onMetadata = onMetadata;
    cb.onBitrate = onBitrate;
    cb.onBusy = onBusy;
    cb.onChannel = onChannel;
    cb.onPdtUpdate = onPdt;
    cb.onRefresh = onRefresh;
    cb.onDemand = onDemand;
    cb.onTimebar = onTimebar;
    cb.onEpisodes = onEpisodes;
    cb.onRecents = onTile;
    cb.onFavorites = onTile;
    cb.onGlobalSettings = onGlobalSettings;
    cb.onForYou = onTile;
    cb.onSearch = onTile;
    return tql_registerCallbacks(cb) == TQL_OK;
}

int login(const char* user, const char* password)
{
    Host host;
    if (!start(host))
        return 1;
    tql_TamberAccount account;
    memset(&account, 0, sizeof account);
    account.username = user;
    account.password = password;
    tql_errorNotification error;
    int ok = tql_verify_account(account, &error);
    tql_deinit();
    if (ok != TQL_OK)
        return fail(error);
    printf("Logged in as %s\n", user);
    return 0;
}

int channels()
{
    Host host;
    if (!start(host))
        return 1;
    tql_errorNotification error;
    int ok = tql_configure_tamber(&error) == TQL_OK && tql_channel_list(&error) == TQL_OK;
    tql_deinit();
    if (!ok)
        return fail(error);
    std::stable_sort(host.channels.begin(), host.channels.end(),
                     [](const Channel& a, const Channel& b) { return a.number < b.number; });
    printf("%6s  %-28s  %-20s  %s\n", "NUMBER", "NAME", "CATEGORY", "AVAILABLE");
    for (const Channel& c : host.channels)
        printf("%6d  %-28s  %-20s  %s\n", c.number, c.name.c_str(), c.category.c_str(), c.available ? "yes" : "no");
    printf("%zu listings\n", host.channels.size());
    return 0;
}

// Characters on screen of a UTF-8 text: continuation bytes take no column.
size_t columns(const std::string& text)
{
    size_t n = 0;
    for (unsigned char c : text)
        n += (c & 0xC0) != 0x80;
    return n;
}

void printTiles(const std::vector<Tile>& tiles)
{
    if (tiles.empty()) {
        printf("(none)\n");
        return;
    }
    // An empty cell shows as "-", so that every row has five cells.
    std::vector<std::vector<std::string>> rows = {{"TYPE", "ID", "NAME", "DESCRIPTION", "IMAGE"}};
    for (const Tile& t : tiles)
        rows.push_back({t.type, t.id, t.name, t.description, t.image});
    std::vector<size_t> width(5, 0);
    for (auto& row : rows)
        for (size_t i = 0; i < row.size(); ++i) {
            if (row[i].empty())
                row[i] = "-";
            width[i] = std::max(width[i], columns(row[i]));
        }
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size())
                line += std::string(width[i] - columns(row[i]) + 2, ' ');
        }
        printf("%s\n", line.c_str());
    }
    printf("%zu %s\n", tiles.size(), tiles.size() == 1 ? "tile" : "tiles");
}

// A list that reached the host without its last tile is a broken delivery.
// No call at all is an empty list too: the library may find nothing to
// deliver in a good reply.
int report(const Host& host)
{
    if (host.tileCalls > 0 && !host.tileListEnded) {
        fprintf(stderr, "tqlplay: the list ended without its last tile (%d calls)\n", host.tileCalls);
        return 1;
    }
    printTiles(host.tiles);
    return 0;
}

// The tile calls that fill an error record.
enum class TileList { Favorites, Recents, ForYou };

int tileList(TileList list)
{
    Host host;
    if (!start(host))
        return 1;
    tql_errorNotification error;
    int ok = tql_configure_tamber(&error) == TQL_OK;
    if (ok) {
        int result = list == TileList::Favorites ? tql_get_favorites(&error, 1)
                     : list == TileList::Recents ? tql_get_recents(&error, 1)
                                                 : tql_get_forYouCarousel(&error);
        ok = result == TQL_OK;
    }
    tql_deinit();
    if (!ok)
        return fail(error);
    return report(host);
}

int search(const std::string& text)
{
    Host host;
    if (!start(host))
        return 1;
    tql_errorNotification error;
    if (tql_configure_tamber(&error) != TQL_OK) {
        tql_deinit();
        return fail(error);
    }
    // The library encodes the term for the URL. The search gives no error
    // record: only its result tells.
    int result = tql_search(text.c_str());
    tql_deinit();
    if (result != TQL_OK) {
        fprintf(stderr, "tqlplay: the search for \"%s\" failed\n", text.c_str());
        return 1;
    }
    return report(host);
}

} // namespace

int main(int argc, char** argv)
{
    const char* env = getenv("TQLPLAY_SERVICE");
    std::string service = env && *env ? env : "http://127.0.0.1:8080";
    const char* home = getenv("HOME");
    std::string account = std::string(home ? home : ".") + "/.tqlplay-account";
    int logLevel = 0;
    tqlplay::PlayOptions options;
    std::string fixedKey = tqlplay::kDefaultFixedKey;
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            usage(stdout);
            return 0;
        }
        if ((a == "--service" || a == "--account" || a == "--log") && i + 1 < argc) {
            std::string value = argv[++i];
            if (a == "--service")
                service = value;
            else if (a == "--account")
                account = value;
            else
                logLevel = atoi(value.c_str());
        } else if (a == "--fast") {
            options.fast = true;
        } else if ((a == "--seconds" || a == "--out" || a == "--episode" || a == "--start" || a == "--asset" ||
                    a == "--fixed-key" || a == "--give-up" || a == "--pause-at" || a == "--pause-ms" ||
                    a == "--skip-back-at" || a == "--skip-fwd-at") &&
                   i + 1 < argc) {
            std::string value = argv[++i];
            if (a == "--seconds")
                options.seconds = atoi(value.c_str());
            else if (a == "--out")
                options.out = value;
            else if (a == "--episode")
                options.episode = value;
            else if (a == "--start")
                options.start = value;
            else if (a == "--asset")
                options.asset = value;
            else if (a == "--give-up")
                options.giveUpSeconds = atoi(value.c_str());
            else if (a == "--pause-at" || a == "--pause-ms" || a == "--skip-back-at" || a == "--skip-fwd-at")
                (a == "--pause-at"       ? options.pauseAtSeconds
                 : a == "--pause-ms"     ? options.pauseMs
                 : a == "--skip-back-at" ? options.skipBackAtSeconds
                                         : options.skipForwardAtSeconds) = atoi(value.c_str());
            else
                fixedKey = value;
        } else if (a.rfind("--", 0) == 0) {
            fprintf(stderr, "tqlplay: unknown option %s\n", a.c_str());
            usage(stderr);
            return 2;
        } else {
            args.push_back(a);
        }
    }
    tqlhost_set_log_level(logLevel);
    tqlhost_set_config_url(service.c_str());
    tqlhost_set_account_file(account.c_str());
    tqlhost_set_device("tqlplay", "linux", "tqlplay-device");
    tqlhost_set_fixed_key(fixedKey.c_str());

    if (args.size() == 3 && args[0] == "login")
        return login(args[1].c_str(), args[2].c_str());
    if (args.size() == 1 && args[0] == "channels")
        return channels();
    if (args.size() == 1 && args[0] == "favorites")
        return tileList(TileList::Favorites);
    if (args.size() == 1 && args[0] == "recents")
        return tileList(TileList::Recents);
    if (args.size() == 1 && args[0] == "foryou")
        return tileList(TileList::ForYou);
    if (args.size() == 2 && args[0] == "search")
        return search(args[1]);
    if (args.size() == 1 && args[0] == "presets")
        return tqlplay::presets();
    if (args.size() == 4 && args[0] == "preset" && args[1] == "set")
        return tqlplay::setPreset(args[2], args[3]);
    if (args.size() == 3 && args[0] == "favorite") {
        int rc = tqlplay::changeFavorite(args[1], args[2]);
        return rc ? rc : tileList(TileList::Favorites);
    }
    if (args.size() == 2 && args[0] == "recents" && args[1] == "clear") {
        int rc = tqlplay::clearRecents();
        return rc ? rc : tileList(TileList::Recents);
    }
    if (args.size() == 1 && args[0] == "pausepoints")
        return tqlplay::pausePoints();
    if (!args.empty() && args[0] == "settings")
        return tqlplay::settings(std::vector<std::string>(args.begin() + 1, args.end()));
    if (args.size() == 2 && args[0] == "play") {
        options.channel = args[1];
        if (options.seconds <= 0) {
            fprintf(stderr, "tqlplay: --seconds needs a positive number\n");
            return 2;
        }
        return tqlplay::play(options);
    }
    usage(stderr);
    return 2;
}
