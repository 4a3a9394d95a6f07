#include "player.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "audio_out.h"
#include "cli.h"
#include "errors.h"
#include "keys.h"
#include "lineup.h"
#include "tqllib.h"

namespace tqlplay {

const char* const kDefaultFixedKey = "00112233445566778899aabbccddeeff";

namespace {

const unsigned kTickMs = 100;
// The engine runs a worker turn, one chunk, every 3000 ms of ticks. With
// --fast the ticks run unpaced for as long as a turn may still bring audio;
// past that the stream has nothing new (a live edge) and the loop waits as
// a device would instead of spinning.
const unsigned kFastIdleTicks = 3000 / kTickMs + 1;
const unsigned kBufferAheadMs = 10000; // how far the sink runs ahead of playback
const int kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};

volatile sig_atomic_t g_interrupted = 0;

// The first Ctrl-C stops the playback in order; a second one, for a
// service that keeps the first waiting, ends the process at once.
void onSignal(int)
{
    if (g_interrupted) {
        restoreTerminal();
        removeUnwrittenOutput();
        _exit(kExitInterrupted);
    }
    g_interrupted = 1;
    static const char note[] = "\r\ntqlplay: stopping (Ctrl-C again to quit at once)\r\n";
    ssize_t ignored = write(STDERR_FILENO, note, sizeof note - 1);
    (void)ignored;
}

uint64_t monotonicMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

// Length and duration of the ADTS frame at data, 0 when none starts there
// or it is not whole.
size_t adtsFrame(const unsigned char* data, size_t length, double* ms)
{
    if (length < 7 || data[0] != 0xFF || (data[1] & 0xF0) != 0xF0)
        return 0;
    size_t frame = ((data[3] & 0x03u) << 11) | (static_cast<size_t>(data[4]) << 3) | (data[5] >> 5);
    unsigned rateIndex = (data[2] >> 2) & 0x0F;
    if (frame < 7 || frame > length || rateIndex >= sizeof kSampleRates / sizeof kSampleRates[0])
        return 0;
    *ms = 1024.0 * 1000.0 / kSampleRates[rateIndex];
    return frame;
}

std::string clockText(double ms)
{
    unsigned s = static_cast<unsigned>(ms / 1000);
    char text[32];
    snprintf(text, sizeof text, "%02u:%02u", s / 60, s % 60);
    return text;
}

// The device: the audio output, a playback clock that a pause stops, and
// what the library told it.
struct Player {
    const PlayOptions* options = nullptr;
    AudioOut out;
    FILE* info = stdout;        // metadata and progress; stderr when the audio goes to stdout
    bool interactive = false;   // info is a terminal: asked once, at the start
    unsigned columns = 80;
    std::string channelName;
    bool fast = false;
    double targetMs = 0;
    double writtenMs = 0;       // audio in the output
    double playedMs = 0;        // how much of it has played
    uint64_t clockAt = 0;       // when playedMs was last moved; 0 before audio
    double streamStartMs = 0;   // writtenMs when the current tune began
    unsigned reportedMs = ~0u;  // the position last told to the library
    unsigned long long dropped = 0; // bytes that were no audio
    int bitRate = 0;
    int errorCode = 0;
    bool stopped = false;       // the library ended the playback
    bool paused = false;
    bool quit = false;          // q was typed
    bool timeShifted = false;   // playing behind the live edge
    uint64_t lastAudioAt = 0;
    std::string track;          // title and artist of the track now playing

    // A device's clock stands still while paused and while its buffer is
    // empty; fast playback counts what was taken as played.
    void moveClock()
    {
        uint64_t now = monotonicMs();
        if (fast)
            playedMs = writtenMs;
        else if (clockAt && !paused)
            playedMs = std::min(playedMs + static_cast<double>(now - clockAt), writtenMs);
        if (clockAt)
            clockAt = now;
    }
    double bufferedMs() const { return writtenMs - playedMs; }
    unsigned streamPositionMs() const
    {
        return playedMs > streamStartMs ? static_cast<unsigned>(playedMs - streamStartMs) : 0;
    }
    bool wantsAudio() const
    {
        return !paused && writtenMs < targetMs && (fast || bufferedMs() < kBufferAheadMs);
    }
};

Player* g_player = nullptr;

// A line of its own above the progress line.
void say(const Player& p, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    if (p.interactive)
        fputs("\r\033[K", p.info);
    vfprintf(p.info, format, args);
    fputc('\n', p.info);
    fflush(p.info);
    va_end(args);
}

// Whole frames only, only as far ahead of playback as a device's buffer
// reaches and only up to the asked length; what is left is offered again
// by the library.
int audioWrite(void*, const unsigned char* data, int length, int, unsigned int* bufferedMs)
{
    Player& p = *g_player;
    p.moveClock();
    if (bufferedMs)
        *bufferedMs = static_cast<unsigned>(p.bufferedMs());
    if (!data || length <= 0 || p.out.failed())
        return 0;
    size_t at = 0, size = static_cast<size_t>(length), runStart = 0;
    while (at < size && p.wantsAudio()) {
        double ms = 0;
        size_t frame = adtsFrame(data + at, size - at, &ms);
        if (frame == 0) {
            // A byte that starts no frame: dropped, and told at the end.
            if (size - at >= 7 && !(data[at] == 0xFF && (data[at + 1] & 0xF0) == 0xF0)) {
                if (at > runStart && !p.out.write(data + runStart, at - runStart))
                    return static_cast<int>(runStart);
                ++p.dropped;
                runStart = ++at;
                continue;
            }
            break; // a frame that has not arrived whole yet
        }
        at += frame;
        p.writtenMs += ms;
        if (!p.clockAt)
            p.clockAt = monotonicMs();
        p.lastAudioAt = monotonicMs();
    }
    if (at > runStart && !p.out.write(data + runStart, at - runStart))
        return static_cast<int>(runStart);
    if (bufferedMs)
        *bufferedMs = static_cast<unsigned>(p.bufferedMs());
    return static_cast<int>(at);
}

std::string text(const char* t) { return t ? t : ""; }

void onMetadata(void*, tql_metadata* m)
{
    Player& p = *g_player;
    p.track = text(m->title) + (m->artist && *m->artist ? " - " + text(m->artist) : "");
    say(p, "[%s] Now playing: %s / %s / %s", clockText(p.playedMs).c_str(), text(m->title).c_str(),
        text(m->artist).c_str(), text(m->album).c_str());
}

int onError(void*, tql_errorNotification* e)
{
    if (e->errorCode) {
        g_player->errorCode = e->errorCode;
        if (g_player->interactive)
            fputs("\r\033[K", g_player->info);
        reportError(e->errorCode);
    }
    if (e->playbackStopped)
        g_player->stopped = true;
    return 1;
}

int onBitrate(void*, int bitRate)
{
    g_player->bitRate = bitRate;
    return 1;
}

int onAny(void*, int) { return 1; }
void onPdt(void*, tql_pdtChannel*, int) {}
int onRefresh(void*, tql_moduleType) { return 1; }
void onTimebar(void*, tql_timebarData*) {}

std::vector<Channel>* g_lineup = nullptr;

int onChannel(void*, tql_content* c)
{
    if (g_lineup && c)
        g_lineup->push_back(channelOf(*c));
    return 1;
}

// Cut to the terminal's width, on a character boundary.
std::string fitted(std::string line, unsigned columns)
{
    size_t shown = 0, at = 0;
    for (; at < line.size(); ++at) {
        if ((static_cast<unsigned char>(line[at]) & 0xC0) == 0x80)
            continue;
        if (++shown > columns)
            break;
    }
    line.resize(at);
    return line;
}

// One line that updates in place; only for a person watching.
void progress(const Player& p)
{
    if (!p.interactive)
        return;
    char figures[96];
    snprintf(figures, sizeof figures, "%d kbit/s, %.1f s buffered", p.bitRate / 1000, p.bufferedMs() / 1000.0);
    std::string line = "[" + clockText(p.playedMs) + "/" + clockText(p.targetMs) + "] " +
                       (p.paused ? "(paused) " : "") + p.channelName;
    if (!p.track.empty())
        line += " | " + p.track;
    line += std::string(" | ") + figures;
    fprintf(p.info, "\r\033[K%s", fitted(line, p.columns - 1).c_str());
    fflush(p.info);
}

bool startLibrary(Player& player)
{
    if (tql_init() != TQL_OK)
        return false;
    tql_CallbackStruct cb;
    memset(&cb, 0, sizeof cb);
    cb.hostContext = &player;
    cb.onError = onError;
    cb.onMetadata = onMetadata;
    cb.onBitrate = onBitrate;
    cb.onBusy = onAny;
    cb.onPdtUpdate = onPdt;
    cb.onChannel = onChannel;
    cb.onRefresh = onRefresh;
    cb.onTimebar = onTimebar;
    return tql_registerCallbacks(cb) == TQL_OK;
}

// Tunes the channel or episode: live, or from a stream time. The audio of
// the new tune follows what the output holds already.
bool tune(Player& p, const std::string& timestamp, const std::string& asset, const std::string& channelId)
{
    const PlayOptions& o = *p.options;
    tql_channel_ctx ctx;
    memset(&ctx, 0, sizeof ctx);
    ctx.audioWrite = audioWrite;
    // A clip channel is named by its guid alone.
    ctx.contentId = o.clips ? nullptr : channelId.c_str();
    ctx.contentType = o.clips ? 2 : o.episode.empty() ? 0 : 1;
    ctx.accessControlId = o.episode.empty() ? nullptr : o.episode.c_str();
    ctx.timestamp = timestamp.empty() ? nullptr : timestamp.c_str();
    ctx.assetGuid = o.clips ? channelId.c_str() : asset.empty() && timestamp.empty() ? nullptr : asset.c_str();
    p.streamStartMs = p.writtenMs;
    p.reportedMs = ~0u;
    if (p.paused && p.clockAt)
        p.clockAt = monotonicMs(); // a tune ends a pause: the paused time did not play
    p.paused = false;
    p.timeShifted = !timestamp.empty();
    return tql_playChannel(&ctx) == TQL_OK;
}

std::string g_channelId; // what the current playback tunes by

// Stops the playback first, as a device does, so that the service hears
// the old one end (with the skip that ended it) before the new one starts.
void retune(Player& p, const std::string& timestamp, const std::string& asset)
{
    p.lastAudioAt = monotonicMs(); // the give-up time counts from the new tune
    tql_stopChannel();
    p.stopped = false; // that stop was ours
    if (!tune(p, timestamp, asset, g_channelId) && !p.errorCode) {
        say(p, "tqlplay: the new position would not play");
        p.stopped = true;
        p.errorCode = -1;
    }
}

// The engine answers a skip with where to tune, or why not. A listener at
// the live edge has nowhere to go; atEdgeToo tunes live again all the same.
void skip(Player& p, bool forward, bool atEdgeToo = false)
{
    char answer[512] = "";
    int result = forward ? tql_getNextSegmentTime(answer, sizeof answer - 1)
                         : tql_getPrevSegmentTime(answer, sizeof answer - 1);
    std::string where = result >= 0 || result == -118 ? answer : "";
    if (result == -118 && where.compare(0, 6, "error/") == 0) {
        say(p, "%s", where.c_str() + 6);
    } else if (result < 0) {
        const char* why = result == -17  ? "already at the live edge"
                          : result == -3   ? "no track has started yet"
                          : result == -4   ? "skipping is not allowed here"
                          : result == -119 ? (forward ? "no later track" : "no earlier track")
                                           : "the skip failed";
        say(p, "%s: %s (%d)", forward ? "next" : "previous", why, result);
    } else if (where == "goLive") {
        if (!p.timeShifted && !atEdgeToo) {
            say(p, "next: already at the live edge");
        } else {
            say(p, "next: back to the live edge");
            retune(p, "", "");
        }
    } else if (where.compare(0, 5, "drav;") == 0) {
        // A clip channel moved to another clip: tune it again at once, with
        // the playback clock starting over.
        say(p, "Skip %s: %s (%d)", forward ? "forward" : "back", where.c_str(), result);
        retune(p, "", "");
    } else {
        size_t comma = where.find(',');
        std::string time = where.substr(0, comma);
        std::string asset = comma == std::string::npos ? "" : where.substr(comma + 1);
        say(p, "%s: from %s", forward ? "next" : "previous", time.c_str());
        retune(p, time, asset);
    }
}

void togglePause(Player& p)
{
    if (!p.paused) {
        p.moveClock();
        if (tql_userPause(1) == TQL_OK) {
            p.paused = true;
            say(p, "paused at %s", clockText(p.playedMs).c_str());
        }
        return;
    }
    int result = tql_userPause(0);
    if (result == TQL_OK) {
        p.paused = false;
        p.clockAt = p.clockAt ? monotonicMs() : 0;
        p.lastAudioAt = monotonicMs();
        say(p, "playing");
    } else if (!p.options->episode.empty()) {
        say(p, "tqlplay: the playback would not go on (%d)", result);
    } else {
        // The paused position has left what the service keeps: go on live.
        say(p, "the pause outlasted the live buffer; going live");
        retune(p, "", "");
    }
}

void goLive(Player& p)
{
    if (!p.options->episode.empty()) {
        say(p, "live: an episode has no live edge");
    } else if (!p.timeShifted) {
        say(p, "live: already at the live edge");
    } else {
        tql_triggerGoLive();
        say(p, "live: back to the live edge");
        retune(p, "", "");
    }
}

void handleKey(Player& p, Key key)
{
    switch (key) {
    case Key::Pause: togglePause(p); break;
    case Key::Next: skip(p, true); break;
    case Key::Previous: skip(p, false); break;
    case Key::Live: goLive(p); break;
    case Key::Quit: p.quit = true; break;
    case Key::None: break;
    }
}

// A pause and a skip at set positions, for tests of what the service is told.
struct TestHooks {
    double pauseAtMs, skipBackAtMs, skipForwardAtMs;
    long pauseMs;
    uint64_t resumeAt = 0;

    explicit TestHooks(const PlayOptions& o)
        : pauseAtMs(o.pauseAtSeconds * 1000.0), skipBackAtMs(o.skipBackAtSeconds * 1000.0),
          skipForwardAtMs(o.skipForwardAtSeconds * 1000.0), pauseMs(o.pauseMs)
    {
    }

    void act(Player& p)
    {
        if (pauseAtMs >= 0 && p.playedMs >= pauseAtMs && !p.paused) {
            pauseAtMs = -1;
            togglePause(p);
            resumeAt = monotonicMs() + static_cast<uint64_t>(pauseMs);
        } else if (resumeAt && p.paused && monotonicMs() >= resumeAt) {
            resumeAt = 0;
            togglePause(p);
        }
        if (skipBackAtMs >= 0 && p.playedMs >= skipBackAtMs) {
            skipBackAtMs = -1;
            skip(p, false, true);
        }
        if (skipForwardAtMs >= 0 && p.playedMs >= skipForwardAtMs) {
            skipForwardAtMs = -1;
            skip(p, true, true);
        }
    }
};

// Ticks the library and moves the playback clock until the asked length
// has played, the library stops, the user ends it or audio dries up.
void run(Player& player, Keyboard& keys, unsigned silenceLimitMs)
{
    uint64_t started = monotonicMs();
    double skipAtMs = player.options->skipAfterSeconds * 1000.0;
    TestHooks hooks(*player.options);
    unsigned quietTicks = 0;
    while (!g_interrupted && !player.stopped && !player.quit && player.playedMs < player.targetMs) {
        if (skipAtMs > 0 && player.playedMs >= skipAtMs) {
            skipAtMs = 0;
            skip(player, !player.options->skipBack);
        }
        hooks.act(player);
        // While paused nothing is to be had: wait as a device would, so the
        // library's clock keeps to the wall clock.
        if (!player.fast || player.paused || (quietTicks >= kFastIdleTicks && player.lastAudioAt))
            usleep(kTickMs * 1000);
        double writtenBefore = player.writtenMs;
        tql_externalTimerTick(kTickMs);
        for (Key key = keys.next(); key != Key::None && !player.quit; key = keys.next())
            handleKey(player, key);
        player.moveClock();
        unsigned position = player.streamPositionMs();
        if (position != player.reportedMs) {
            tql_on_playTimeChanged(position);
            player.reportedMs = position;
        }
        if (player.wantsAudio())
            tql_sendAudioData();
        if (player.out.failed())
            break;
        progress(player);
        if (player.paused) {
            started = monotonicMs(); // a pause is no silence
            player.lastAudioAt = player.lastAudioAt ? started : 0;
            continue;
        }
        uint64_t quietSince = player.lastAudioAt ? player.lastAudioAt : started;
        if (player.writtenMs < player.targetMs && monotonicMs() - quietSince > silenceLimitMs) {
            say(player, "tqlplay: no audio for %u s, giving up", silenceLimitMs / 1000);
            player.errorCode = -1;
            break;
        }
        quietTicks = player.writtenMs != writtenBefore ? 0 : quietTicks + 1;
        if (player.fast && !player.lastAudioAt)
            usleep(kTickMs * 1000); // nothing yet: wait as a device would
    }
    if (player.interactive)
        fprintf(player.info, "\r\033[K");
    if (player.out.failed())
        fprintf(stderr, "tqlplay: cannot write %s: %s\n", player.out.name().c_str(), strerror(player.out.error()));
}

// Logs in, reads the line-up and finds the channel asked for. True when
// found; otherwise false with the exit status in status.
bool findChannel(Player& player, const PlayOptions& options, Channel& channel, int& status)
{
    status = kExitFailure;
    tql_errorNotification error;
    memset(&error, 0, sizeof error);
    std::vector<Channel> lineup;
    g_lineup = &lineup;
    bool read = tql_configure_tamber(&error) == TQL_OK && !g_interrupted && tql_channel_list(&error) == TQL_OK;
    g_lineup = nullptr;
    if (g_interrupted) {
        status = kExitInterrupted;
        return false;
    }
    if (!read) {
        if (!player.errorCode)
            reportError(error.errorCode);
        return false;
    }
    if (options.channel.empty() || options.clips) { // an episode by its own id, a clip channel by its guid
        channel.id = channel.name = options.channel.empty() ? options.episode : options.channel;
        return true;
    }
    Pick pick = pickChannel(lineup, options.channel, channel);
    // An episode is found by its own id; its channel need not be playable live.
    if (pick == Pick::Found || (pick == Pick::Unavailable && !options.episode.empty()))
        return true;
    tellPick(pick, options.channel, channel);
    return false;
}

int playChannel(Player& player, const PlayOptions& options, Keyboard& keys)
{
    Channel channel;
    int status = kExitFailure;
    if (!findChannel(player, options, channel, status))
        return status;
    g_channelId = channel.id;
    player.channelName = options.episode.empty() || options.channel.empty() ? channel.name
                                                                            : channel.name + " / " + options.episode;
    if (!tune(player, options.start, options.asset, channel.id)) {
        if (!player.errorCode)
            fprintf(stderr, "tqlplay: the channel would not play\n");
        return g_interrupted ? kExitInterrupted : kExitFailure;
    }
    if (keys.active())
        say(player, "keys: space pause/resume, n or right next, p or left previous, l live, q quit");
    run(player, keys, static_cast<unsigned>(options.giveUpSeconds) * 1000);
    tql_stopChannel();
    if (g_interrupted)
        return kExitInterrupted;
    if (player.out.failed())
        return kExitFailure;
    bool ended = player.quit || player.playedMs >= player.targetMs;
    return ended && !player.errorCode && !player.dropped ? kExitOk : kExitFailure;
}

} // namespace

int play(const PlayOptions& options)
{
    Player player;
    player.options = &options;
    player.fast = options.fast;
    player.targetMs = static_cast<double>(options.seconds) * 1000;
    bool toStdout = options.out == "-";
    if (!player.out.open(options.out))
        return player.out.terminal() ? kExitUsage : kExitFailure;
    player.info = toStdout ? stderr : stdout;
    player.interactive = isatty(fileno(player.info));
    winsize size;
    if (player.interactive && ioctl(fileno(player.info), TIOCGWINSZ, &size) == 0 && size.ws_col > 20)
        player.columns = size.ws_col;
    g_player = &player;
    signal(SIGINT, onSignal);
    signal(SIGTERM, onSignal);
    signal(SIGPIPE, SIG_IGN); // a closed pipe is a write error, told as one

    Keyboard keys;
    int result = kExitFailure;
    if (!startLibrary(player))
        fprintf(stderr, "tqlplay: the library would not start\n");
    else
        result = playChannel(player, options, keys);
    tql_deinit();
    if (player.dropped)
        fprintf(stderr, "tqlplay: %llu bytes of the stream were not audio\n", player.dropped);
    bool wrote = player.out.wroteAny();
    if (!player.out.close() && result == kExitOk)
        result = kExitFailure;
    if (wrote && !player.out.failed())
        fprintf(stderr, "tqlplay: %.1f s of audio written to %s\n", player.writtenMs / 1000.0,
                player.out.name().c_str());
    g_player = nullptr;
    return result;
}

} // namespace tqlplay
