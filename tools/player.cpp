#include "player.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

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

void onSignal(int)
{
    g_interrupted = 1;
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

// The device: a file for the audio, a playback clock, and what the library
// told it.
struct Player {
    FILE* out = nullptr;
    FILE* info = stdout; // metadata and progress; stderr when the audio goes to stdout
    bool infoIsTty = false; // asked once: the answer does not change while playing
    bool fast = false;
    double writtenMs = 0;       // audio taken so far
    uint64_t firstAudioAt = 0;  // when playback began, monotonic
    unsigned reportedMs = ~0u;  // the position last told to the library
    unsigned long long dropped = 0; // bytes that were no audio
    int bitRate = 0;
    int errorCode = 0;
    bool stopped = false;       // the library ended the playback
    uint64_t lastAudioAt = 0;

    unsigned positionMs() const
    {
        if (fast || !firstAudioAt)
            return static_cast<unsigned>(writtenMs);
        double played = static_cast<double>(monotonicMs() - firstAudioAt);
        return static_cast<unsigned>(played < writtenMs ? played : writtenMs);
    }
    double bufferedMs() const { return writtenMs - positionMs(); }
};

Player* g_player = nullptr;

// Whole frames only, and only as far ahead of playback as a device's buffer
// reaches; what is left is offered again by the library.
int audioWrite(void*, const unsigned char* data, int length, int, unsigned int* bufferedMs)
{
    Player& p = *g_player;
    if (bufferedMs)
        *bufferedMs = static_cast<unsigned>(p.bufferedMs());
    if (!data || length <= 0)
        return 0;
    size_t at = 0, size = static_cast<size_t>(length);
    while (at < size && (p.fast || p.bufferedMs() < kBufferAheadMs)) {
        double ms = 0;
        size_t frame = adtsFrame(data + at, size - at, &ms);
        if (frame == 0) {
            // A byte that starts no frame: dropped, and told at the end.
            if (size - at >= 7 && !(data[at] == 0xFF && (data[at + 1] & 0xF0) == 0xF0)) {
                ++p.dropped;
                ++at;
                continue;
            }
            break; // a frame that has not arrived whole yet
        }
        fwrite(data + at, 1, frame, p.out);
        at += frame;
        p.writtenMs += ms;
        if (!p.firstAudioAt)
            p.firstAudioAt = monotonicMs();
        p.lastAudioAt = monotonicMs();
    }
    if (bufferedMs)
        *bufferedMs = static_cast<unsigned>(p.bufferedMs());
    return static_cast<int>(at);
}

std::string text(const char* t) { return t ? t : ""; }

void onMetadata(void*, tql_metadata* m)
{
    Player& p = *g_player;
    unsigned s = p.positionMs() / 1000;
    fprintf(p.info, "%s[%02u:%02u] Now playing: %s / %s / %s\n", p.infoIsTty ? "\r\033[K" : "", s / 60,
            s % 60, text(m->title).c_str(),
            text(m->artist).c_str(), text(m->album).c_str());
    fflush(p.info);
}

int onError(void*, tql_errorNotification* e)
{
    if (e->errorCode) {
        g_player->errorCode = e->errorCode;
        fprintf(stderr, "\ntqlplay: %s (error %d)\n", tql_get_error(e->errorCode), e->errorCode);
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
int onChannel(void*, tql_content*) { return 1; }
int onRefresh(void*, tql_moduleType) { return 1; }
void onTimebar(void*, tql_timebarData*) {}

// One line that updates in place; only for a person watching.
void progress(const Player& p)
{
    if (!p.infoIsTty)
        return;
    unsigned s = p.positionMs() / 1000;
    fprintf(p.info, "\r\033[K[%02u:%02u] %d kbit/s, %.1f s buffered", s / 60, s % 60, p.bitRate / 1000,
            p.bufferedMs() / 1000.0);
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

// Ticks the library and moves the playback clock until the asked length
// has played, the library stops, the user interrupts or audio dries up.
void run(Player& player, unsigned wantedMs, unsigned silenceLimitMs)
{
    uint64_t started = monotonicMs();
    unsigned quietTicks = 0;
    while (!g_interrupted && !player.stopped && player.positionMs() < wantedMs) {
        if (!player.fast || (quietTicks >= kFastIdleTicks && player.lastAudioAt))
            usleep(kTickMs * 1000);
        double writtenBefore = player.writtenMs;
        tql_externalTimerTick(kTickMs);
        unsigned position = player.positionMs();
        if (position != player.reportedMs) {
            tql_on_playTimeChanged(position);
            player.reportedMs = position;
        }
        if (player.fast || player.bufferedMs() < kBufferAheadMs)
            tql_sendAudioData();
        progress(player);
        uint64_t quietSince = player.lastAudioAt ? player.lastAudioAt : started;
        if (monotonicMs() - quietSince > silenceLimitMs) {
            fprintf(stderr, "\ntqlplay: no audio for %u s, giving up\n", silenceLimitMs / 1000);
            player.errorCode = -1;
            break;
        }
        quietTicks = player.writtenMs != writtenBefore ? 0 : quietTicks + 1;
        if (player.fast && !player.lastAudioAt)
            usleep(kTickMs * 1000); // nothing yet: wait as a device would
    }
    if (player.infoIsTty)
        fprintf(player.info, "\n");
}

} // namespace

int play(const PlayOptions& options)
{
    Player player;
    player.fast = options.fast;
    bool toStdout = options.out == "-";
    player.out = toStdout ? stdout : fopen(options.out.c_str(), "wb");
    if (!player.out) {
        fprintf(stderr, "tqlplay: cannot write %s: %s\n", options.out.c_str(), strerror(errno));
        return 1;
    }
    player.info = toStdout ? stderr : stdout;
    player.infoIsTty = isatty(fileno(player.info));
    g_player = &player;
    signal(SIGINT, onSignal);
    signal(SIGTERM, onSignal);

    tql_errorNotification error;
    memset(&error, 0, sizeof error);
    int result = 1;
    if (!startLibrary(player) || tql_configure_tamber(&error) != TQL_OK) {
        fprintf(stderr, "tqlplay: %s (error %d)\n", tql_get_error(error.errorCode), error.errorCode);
    } else {
        tql_channel_ctx ctx;
        memset(&ctx, 0, sizeof ctx);
        ctx.audioWrite = audioWrite;
        ctx.contentId = options.channel.c_str();
        ctx.contentType = options.episode.empty() ? 0 : 1;
        ctx.accessControlId = options.episode.empty() ? nullptr : options.episode.c_str();
        ctx.timestamp = options.start.empty() ? nullptr : options.start.c_str();
        ctx.assetGuid = options.asset.empty() ? nullptr : options.asset.c_str();
        if (tql_playChannel(&ctx) == TQL_OK) {
            run(player, static_cast<unsigned>(options.seconds) * 1000,
                static_cast<unsigned>(options.giveUpSeconds) * 1000);
            tql_stopChannel();
            bool enough = player.positionMs() >= static_cast<unsigned>(options.seconds) * 1000;
            result = enough && !player.errorCode && !player.dropped ? 0 : 1;
        } else if (!player.errorCode) {
            fprintf(stderr, "tqlplay: the channel would not play\n");
        }
    }
    tql_deinit();
    if (player.dropped)
        fprintf(stderr, "tqlplay: %llu bytes of the stream were not audio\n", player.dropped);
    fprintf(stderr, "tqlplay: %.1f s of audio written to %s\n", player.writtenMs / 1000.0,
            toStdout ? "stdout" : options.out.c_str());
    if (!toStdout)
        fclose(player.out);
    g_player = nullptr;
    if (g_interrupted)
        return 130;
    return result;
}

} // namespace tqlplay
