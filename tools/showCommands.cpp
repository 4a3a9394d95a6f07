#include "showCommands.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>

#include "tqllib.h"

namespace tqlplay {

namespace {

const unsigned kTickMs = 100;
const unsigned kFastFactor = 10;
// Without updates for this long (library time) the service is asked whether
// the session still stands: a poll that failed, or found the account logged
// in elsewhere while nothing plays, reaches the host as silence alone.
const uint64_t kQuietFloorMs = 35000;
const uint64_t kQuietBeforePeriodMs = 120000;

volatile sig_atomic_t g_interrupted = 0;

void onSignal(int)
{
    g_interrupted = 1;
}

std::string text(const char* t)
{
    return t ? t : "";
}

struct Row {
    std::vector<std::string> cells;
};

struct Cut {
    long long time = 0;
    std::string title;
};

struct Host {
    // shows and episodes
    std::vector<Row> rows;
    int calls = 0;
    bool ended = false;
    // watch
    uint64_t clockMs = 0;       // library time: the sum of the ticks
    uint64_t lastUpdateMs = 0;
    uint64_t periodMs = 0;      // gap between the last two updates
    int updates = 0;
    int errorCode = 0;
    std::map<std::string, Cut> playing;
};

int onError(void* context, tql_errorNotification* e)
{
    if (e->errorCode) {
        static_cast<Host*>(context)->errorCode = e->errorCode;
        fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(e->errorCode), e->errorCode);
    }
    return 1;
}
void onMetadata(void*, tql_metadata*) {}
int onInt(void*, int) { return 1; }
int onChannel(void*, tql_content*) { return 1; }
int onRefresh(void*, tql_moduleType) { return 1; }

std::string imageOf(const tql_content* c)
{
    return c->images[0].url ? c->images[0].url : "";
}

int onDemand(void* context, tql_content* show, int, int isLast)
{
    auto* host = static_cast<Host*>(context);
    ++host->calls;
    host->ended = isLast != 0;
    if (show)
        host->rows.push_back({{text(show->id), text(show->name), text(show->channelId),
                               std::to_string(show->showValue1), imageOf(show)}});
    return 1;
}

void onEpisodes(void* context, const char*, tql_content* episodes, int count)
{
    auto* host = static_cast<Host*>(context);
    ++host->calls;
    host->ended = true;
    for (int i = 0; i < count; ++i) {
        const tql_content& e = episodes[i];
        host->rows.push_back({{text(e.id), text(e.name), text(e.description), text(e.episodeStart),
                               std::to_string(e.tileValue1) + " s"}});
    }
}

std::string clockText(long long ms)
{
    time_t seconds = static_cast<time_t>(ms / 1000);
    tm utc{};
    gmtime_r(&seconds, &utc);
    char out[16];
    strftime(out, sizeof out, "%H:%M:%S", &utc);
    return out;
}

// One line per channel whose cut changed since the last update.
void onPdtUpdate(void* context, tql_pdtChannel* channels, int count)
{
    auto* host = static_cast<Host*>(context);
    if (host->updates++)
        host->periodMs = host->clockMs - host->lastUpdateMs;
    host->lastUpdateMs = host->clockMs;
    for (int i = 0; i < count; ++i) {
        const tql_pdtChannel& c = channels[i];
        Cut cut{static_cast<long long>(c.time), text(c.title)};
        Cut& known = host->playing[text(c.channelId)];
        if (known.time == cut.time && known.title == cut.title)
            continue;
        known = cut;
        printf("%s  %-12s  %s / %s / %s\n", clockText(cut.time).c_str(), text(c.channelId).c_str(),
               cut.title.c_str(), text(c.artist).c_str(), text(c.album).c_str());
    }
    fflush(stdout);
}

bool start(Host& host)
{
    if (tql_init() != TQL_OK)
        return false;
    tql_CallbackStruct cb;
    memset(&cb, 0, sizeof cb);
    cb.hostContext = &host;
    cb.onError = onError;
    cb.onMetadata = onMetadata;
    cb.onBitrate = onInt;
    cb.onBusy = onInt;
    cb.onChannel = onChannel;
    cb.onRefresh = onRefresh;
    cb.onPdtUpdate = onPdtUpdate;
    cb.onDemand = onDemand;
    cb.onEpisodes = onEpisodes;
    return tql_registerCallbacks(cb) == TQL_OK;
}

// Starts the library and logs in with the kept account.
bool logIn(Host& host)
{
    tql_errorNotification error;
    memset(&error, 0, sizeof error);
    if (!start(host)) {
        fprintf(stderr, "tqlplay: the library would not start\n");
        return false;
    }
    if (tql_configure_tamber(&error) != TQL_OK) {
        fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(error.errorCode), error.errorCode);
        return false;
    }
    return true;
}

size_t columns(const std::string& t)
{
    size_t n = 0;
    for (unsigned char c : t)
        n += (c & 0xC0) != 0x80;
    return n;
}

void printTable(const std::vector<std::string>& head, const std::vector<Row>& rows, const char* one,
                const char* many)
{
    if (rows.empty()) {
        printf("(none)\n");
        return;
    }
    std::vector<Row> all = {{head}};
    all.insert(all.end(), rows.begin(), rows.end());
    std::vector<size_t> width(head.size(), 0);
    for (Row& row : all)
        for (size_t i = 0; i < row.cells.size() && i < width.size(); ++i) {
            if (row.cells[i].empty())
                row.cells[i] = "-";
            width[i] = std::max(width[i], columns(row.cells[i]));
        }
    for (const Row& row : all) {
        std::string line;
        for (size_t i = 0; i < row.cells.size(); ++i) {
            line += row.cells[i];
            if (i + 1 < row.cells.size())
                line += std::string(width[i] - columns(row.cells[i]) + 2, ' ');
        }
        printf("%s\n", line.c_str());
    }
    printf("%zu %s\n", rows.size(), rows.size() == 1 ? one : many);
}

// The tql_chainedPDTChannels the library takes: one node per id and a last
// node that only ends the list.
std::vector<tql_chainedPDTChannels> channelList(const std::vector<std::string>& ids)
{
    std::vector<tql_chainedPDTChannels> nodes(ids.size() + 1);
    for (size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].channelId = i < ids.size() ? ids[i].c_str() : nullptr;
        nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
    }
    return nodes;
}

// The service's own words for why the session ended, without the
// separators the library puts after each message.
std::string faultText()
{
    char buffer[512];
    unsigned length = sizeof buffer;
    int got = tql_getFaultResponseMessage(buffer, &length);
    if (got <= 0)
        return "";
    std::string message(buffer, static_cast<size_t>(got));
    while (message.size() >= 3 && message.compare(message.size() - 3, 3, " : ") == 0)
        message.resize(message.size() - 3);
    return message;
}

// Ticks until Ctrl-C, an error report, or a silence after which the
// service no longer takes the session.
int follow(Host& host, bool fast)
{
    const unsigned tick = fast ? kTickMs * kFastFactor : kTickMs;
    uint64_t quietSince = 0;
    while (!g_interrupted && !host.errorCode) {
        usleep(kTickMs * 1000);
        tql_externalTimerTick(tick);
        host.clockMs += tick;
        uint64_t limit = host.periodMs ? std::max(kQuietFloorMs, 2 * host.periodMs) : kQuietBeforePeriodMs;
        uint64_t since = std::max(host.lastUpdateMs, quietSince);
        if (host.clockMs - since < limit)
            continue;
        if (tql_get_bypassStatus() != TQL_OK) {
            std::string why = faultText();
            fprintf(stderr, "tqlplay: program data stopped: %s\n",
                    why.empty() ? "the service no longer takes the session" : why.c_str());
            return 1;
        }
        quietSince = host.clockMs; // the session stands: wait another while
    }
    return host.errorCode ? 1 : 130;
}

} // namespace

int shows(const ShowOptions& options)
{
    Host host;
    int result = logIn(host) ? tql_getShows(options.genre.c_str(), options.channel.c_str()) : 0;
    tql_deinit();
    // An empty list is delivered as one call without a show, and the
    // library then answers -1; no reply with shows at all gives 0.
    if (result == 0 || (result != TQL_OK && !host.ended)) {
        fprintf(stderr, "tqlplay: no shows came back\n");
        return 1;
    }
    if (host.calls > 0 && !host.ended) {
        fprintf(stderr, "tqlplay: the list ended without its last show (%d calls)\n", host.calls);
        return 1;
    }
    printTable({"ID", "NAME", "CHANNEL", "EPISODES", "IMAGE"}, host.rows, "show", "shows");
    return 0;
}

int episodes(const std::string& show)
{
    Host host;
    int result = logIn(host) ? tql_getEpisodes(show.c_str()) : 0;
    tql_deinit();
    if (result != TQL_OK || !host.ended) {
        fprintf(stderr, "tqlplay: the episodes of %s could not be read\n", show.c_str());
        return 1;
    }
    printTable({"ID", "NAME", "DESCRIPTION", "AIRED", "LENGTH"}, host.rows, "episode", "episodes");
    return 0;
}

int watch(const std::vector<std::string>& channels, bool fast)
{
    Host host;
    signal(SIGINT, onSignal);
    signal(SIGTERM, onSignal);
    int result = 1;
    if (logIn(host)) {
        std::vector<tql_chainedPDTChannels> list = channelList(channels);
        // The first poll runs at once, inside the start.
        if (channels.empty())
            tql_startPtdNotification();
        else
            tql_startPtdNotificationForChannelIds(list.data());
        result = follow(host, fast);
        tql_stop_pdt_notification();
    }
    tql_deinit();
    return result;
}

} // namespace tqlplay
