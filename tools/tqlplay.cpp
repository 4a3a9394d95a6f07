// tqlplay: a command-line host of libtqllib. Logs in, lists the line-up and
// the tile lists (favorites, recents, recommendations, search results), and
// plays a channel or an episode to a file as a device would.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli.h"
#include "errors.h"
#include "lineup.h"
#include "player.h"
#include "profileCommands.h"
#include "showCommands.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tqlhost.h"
#include "tqllib.h"

using namespace tqlplay;

namespace {

using Args = std::vector<std::string>;

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
        reportError(e->errorCode);
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
    static_cast<Host*>(context)->channels.push_back(channelOf(*c));
    return 1;
}

int fail(const tql_errorNotification& error)
{
    reportError(error.errorCode);
    return kExitFailure;
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

// The account file is written beside itself and renamed into place, so
// its folder must take a new file. Checked before the service is asked.
bool accountWritable(const std::string& path)
{
    std::string folder = path.find('/') == std::string::npos ? "." : path.substr(0, path.rfind('/'));
    struct stat st;
    const char* why = nullptr;
    if (folder.empty())
        folder = "/";
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        why = strerror(EISDIR);
    else if (access(folder.c_str(), W_OK | X_OK) != 0)
        why = strerror(errno);
    if (why)
        fprintf(stderr, "tqlplay: cannot keep the account in %s: %s\n", path.c_str(), why);
    return !why;
}

// The library stores the account through the port and does not say
// whether that worked: read it back.
bool accountKept(const char* user, const char* password)
{
    tql_TamberAccount held;
    memset(&held, 0, sizeof held);
    bool same = tql_getAccount(&held) && held.username && held.password && strcmp(held.username, user) == 0 &&
                strcmp(held.password, password) == 0;
    tql_freeAccount(&held);
    return same;
}

int login(const char* user, const char* password, const std::string& accountFile)
{
    if (!accountWritable(accountFile))
        return kExitFailure;
    Host host;
    if (!start(host))
        return kExitFailure;
    tql_TamberAccount account;
    memset(&account, 0, sizeof account);
    account.username = user;
    account.password = password;
    tql_errorNotification error;
    int ok = tql_verify_account(account, &error);
    tql_deinit();
    if (ok != TQL_OK)
        return fail(error);
    if (!accountKept(user, password)) {
        fprintf(stderr, "tqlplay: logged in as %s, but the account could not be kept in %s\n", user,
                accountFile.c_str());
        return kExitFailure;
    }
    printf("Logged in as %s\n", user);
    return kExitOk;
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
    // The id is what play takes; it stands last so that the columns before keep their place.
    printf("%6s  %-28s  %-20s  %-9s  %s\n", "NUMBER", "NAME", "CATEGORY", "AVAILABLE", "ID");
    for (const Channel& c : host.channels)
        printf("%6d  %-28s  %-20s  %-9s  %s\n", c.number, c.name.c_str(), c.category.c_str(),
               c.available ? "yes" : "no", c.id.c_str());
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

// Output to stdout that could not be written is a failure like any other.
int finish(int status)
{
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "tqlplay: cannot write stdout: %s\n", strerror(errno));
        return status == kExitOk ? kExitFailure : status;
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    tqlplay::ShowOptions showOptions;
    const char* env = getenv("TQLPLAY_SERVICE");
    std::string service = env && *env ? env : "http://127.0.0.1:8080";
    const char* home = getenv("HOME");
    std::string account = std::string(home ? home : ".") + "/.tqlplay-account";
    long logLevel = 0;
    tqlplay::PlayOptions play;
    std::string fixedKey = tqlplay::kDefaultFixedKey;
    using tqlplay::cli::number;
    auto text = [](std::string& to) { return [&to](const char* value) { to = value; return true; }; };

    const char* const general = "options";
    const char* const playing = "play options";
    std::vector<cli::Option> options = {
        {"service", "URL", general, "the service's base URL (default $TQLPLAY_SERVICE or http://127.0.0.1:8080)",
         text(service)},
        {"account", "FILE", general, "the account file (default $HOME/.tqlplay-account)", text(account)},
        {"log", "LEVEL", general, "library log level on stderr, 1 errors .. 4 debug (default 0: none)",
         [&](const char* v) { return number("log", v, 0, 4, logLevel); }},
        {"seconds", "N", playing, "stop once the output holds N seconds of audio (default 20)",
         [&](const char* v) { return number("seconds", v, 1, tqlplay::kMaxSeconds, play.seconds); }},
        {"out", "FILE|-", playing, "where the ADTS AAC stream goes (default tqlplay.aac; - for stdout)",
         text(play.out)},
        {"fast", nullptr, playing, "take audio as fast as it comes instead of at playing speed",
         [&](const char*) { return play.fast = true; }},
        {"episode", "CAID", playing, "play the on-demand episode with this access control id instead",
         text(play.episode)},
        {"start", "TIME", playing, "start at this stream time (YYYY-MM-DDTHH:MM:SS.mmm+00:00), with --asset",
         text(play.start)},
        {"asset", "GUID", playing, "the asset that holds the start time", text(play.asset)},
        {"fixed-key", "HEX", playing, "the device's fixed key (default the simulator's)", text(fixedKey)},
        {"clips", nullptr, playing, "CHANNEL is the guid of a clip channel",
         [&](const char*) { return play.clips = true; }},
        {"skip-after", "N", playing, "after N seconds of play skip forward once, and tune to the answer",
         [&](const char* v) { return number("skip-after", v, 1, 86400, play.skipAfterSeconds); }},
        {"skip-back", nullptr, playing, "... skip back instead", [&](const char*) { return play.skipBack = true; }},
        // Test hooks: no help text keeps them out of --help.
        {"pause-at", "S", playing, nullptr,
         [&](const char* v) { return number("pause-at", v, 0, 86400, play.pauseAtSeconds); }},
        {"pause-ms", "MS", playing, nullptr,
         [&](const char* v) { return number("pause-ms", v, 0, 3600000, play.pauseMs); }},
        {"skip-back-at", "S", playing, nullptr,
         [&](const char* v) { return number("skip-back-at", v, 0, 86400, play.skipBackAtSeconds); }},
        {"skip-fwd-at", "S", playing, nullptr,
         [&](const char* v) { return number("skip-fwd-at", v, 0, 86400, play.skipForwardAtSeconds); }},
        {"genre", "G", "shows options", "the shows of this genre (a category key)", text(showOptions.genre)},
        {"channel", "C", "shows options", "the shows of this channel (its id)", text(showOptions.channel)},
        {"give-up", "N", playing, "end the playback after N seconds without audio (default 60)",
         [&](const char* v) { return number("give-up", v, 1, 86400, play.giveUpSeconds); }},
    };
    std::vector<cli::Command> commands = {
        {"login", "USER PASSWORD", 2, 2, "log in and keep the account in the account file",
         [&](const Args& a) { return login(a[0].c_str(), a[1].c_str(), account); }},
        {"channels", "", 0, 0, "log in with the kept account and print the line-up",
         [&](const Args&) { return channels(); }},
        {"favorites", "", 0, 0, "... and print the account's favorites",
         [&](const Args&) { return tileList(TileList::Favorites); }},
        {"recents", "[clear]", 0, 1, "... and print what the account played lately (after emptying it)",
         [&](const Args& a) {
             if (a.empty())
                 return tileList(TileList::Recents);
             if (a[0] != "clear")
                 return cli::usageError("recents takes only \"clear\"");
             int rc = tqlplay::clearRecents();
             return rc ? rc : tileList(TileList::Recents);
         }},
        {"foryou", "", 0, 0, "... and print the recommendations", [&](const Args&) { return tileList(TileList::ForYou); }},
        {"search", "TEXT", 1, 1, "... and print the channels and shows matching TEXT",
         [&](const Args& a) { return search(a[0]); }},
        {"play", "[CHANNEL]", 0, 1, "... and play a live channel (its id, number or name) to a file",
         [&](const Args& a) {
             // An episode's own id names it well enough.
             if (a.empty() && play.episode.empty())
                 return cli::usageError("play needs a CHANNEL, or --episode CAID");
             play.channel = a.empty() ? "" : a[0];
             return tqlplay::play(play);
         }},
        {"shows", "", 0, 0, "... and print the on-demand shows (--genre G or --channel C narrow them)",
         [&](const Args&) { return tqlplay::shows(showOptions); }},
        {"episodes", "SHOW", 1, 1, "... and print the episodes of a show (ids for play --episode)",
         [&](const Args& a) { return tqlplay::episodes(a[0]); }},
        {"watch", "[CHANNEL...]", 0, 64, "... and print what the channels play as it changes, until Ctrl-C",
         [&](const Args& a) { return tqlplay::watch(a, play.fast); }},
        {"presets", "", 0, 0, "... and print the presets", [&](const Args&) { return tqlplay::presets(); }},
        {"preset", "set SLOT CHANNEL", 3, 3, "... put a channel (its id) in a preset slot",
         [&](const Args& a) {
             if (a[0] != "set")
                 return cli::usageError("preset takes \"set SLOT CHANNEL\"");
             return tqlplay::setPreset(a[1], a[2]);
         }},
        {"favorite", "add|remove ID", 2, 2, "... change the favorites (a channel id, or a show guid)",
         [&](const Args& a) {
             int rc = tqlplay::changeFavorite(a[0], a[1]);
             return rc ? rc : tileList(TileList::Favorites);
         }},
        {"pausepoints", "", 0, 0, "... and print where episodes were left off",
         [&](const Args&) { return tqlplay::pausePoints(); }},
        {"settings", "[NAME=VALUE]...", 0, 64, "... change global settings and print them all",
         [&](const Args& a) { return tqlplay::settings(a); }},
    };

    std::vector<std::string> operands;
    int status = cli::parse(argc, argv, options, commands, operands);
    if (status >= 0)
        return finish(status);
    const cli::Command* command = cli::find(commands, operands);
    if (!command)
        return kExitUsage;
    if (fcntl(STDOUT_FILENO, F_GETFL) < 0) {
        // Closed, so that the first file opened would take its place.
        fprintf(stderr, "tqlplay: cannot write stdout: %s\n", strerror(errno));
        return kExitFailure;
    }
    tqlplay::setServiceUrl(service);
    tqlhost_set_log_level(static_cast<int>(logLevel));
    tqlhost_set_config_url(service.c_str());
    tqlhost_set_account_file(account.c_str());
    tqlhost_set_device("tqlplay", "linux", "tqlplay-device");
    tqlhost_set_fixed_key(fixedKey.c_str());
    return finish(command->run(Args(operands.begin() + 1, operands.end())));
}
