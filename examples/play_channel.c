/*
 * play_channel.c - a whole host of libtqllib in C99, in the order a device
 * calls it: set up the reference port, log in for the first time with an
 * account, read the line-up, play a channel for a few seconds into a file,
 * stop cleanly.
 *
 *   play_channel SERVICE_URL USER PASSWORD CHANNEL [SECONDS [OUT_FILE]]
 *
 * SECONDS defaults to 5 and OUT_FILE to play_channel.aac (raw ADTS AAC).
 * The account is kept in play_channel.account in the current folder. The
 * device's fixed key comes from $TQL_FIXED_KEY (hexadecimal); without it
 * the simulator's key is used. A device reads its key from its own secure
 * storage instead.
 *
 * Build against an installed libtqllib:
 *   cc -std=c99 play_channel.c $(pkg-config --cflags --libs tqlhost)
 * or with CMake: find_package(tqllib) and link tqllib::host.
 */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "tqlhost.h"
#include "tqllib.h"

#define TICK_MS 100
#define AHEAD_MS 10000   /* how much audio the sink holds before refusing more */
#define GIVE_UP_MS 30000 /* no audio for this long: the playback failed */
#define SIMULATOR_KEY "00112233445566778899aabbccddeeff"

/* What the host keeps between callbacks; handed to each as its context. */
typedef struct App {
    FILE* out;
    double writtenMs;       /* length of the audio taken */
    unsigned long long bytes;
    double firstAudioAt;    /* monotonic ms of the first audio; 0 = none yet */
    double lastAudioAt;
    int channels;
    int errorCode;
    int stopped;            /* the library ended the playback */
} App;

static double nowMs(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec * 1000.0 + (double)ts.tv_nsec / 1e6;
}

static void sleep_ms(unsigned ms)
{
    struct timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = (long)(ms % 1000) * 1000000L;
    nanosleep(&ts, NULL);
}

/* The device plays at real time from the first audio on, never past what
 * it has been given. */
static unsigned renderedMsOf(const App* app)
{
    double played = app->firstAudioAt > 0 ? nowMs() - app->firstAudioAt : 0;
    return (unsigned)(played < app->writtenMs ? played : app->writtenMs);
}

static int bufferedMsOf(const App* app)
{
    return (int)(app->writtenMs - renderedMsOf(app));
}

/* ---- callbacks: every text they receive is only lent for the call ---- */

static int onError(void* host, tql_errorNotification* e)
{
    App* app = host;
    if (e->errorCode) {
        app->errorCode = e->errorCode;
        fprintf(stderr, "error %d: %s\n", e->errorCode, tql_get_error(e->errorCode));
    }
    if (e->playbackStopped)
        app->stopped = 1;
    return 1;
}

static void onMetadata(void* host, tql_metadata* m)
{
    (void)host;
    printf("now playing: %s / %s\n", m->title ? m->title : "", m->artist ? m->artist : "");
}

static int onBitrate(void* host, int bitrate)
{
    (void)host;
    (void)bitrate;
    return 1;
}

static int onBusy(void* host, int busy)
{
    (void)host;
    (void)busy;
    return 1;
}

static int onChannel(void* host, tql_content* c)
{
    App* app = host;
    if (app->channels++ < 5)
        printf("  %4d  %s\n", c->tamberChannelNumber, c->name ? c->name : "");
    return 1;
}

static void onPdtUpdate(void* host, tql_pdtChannel* channels, int count)
{
    (void)host;
    (void)channels;
    (void)count;
}

static int onRefresh(void* host, tql_moduleType expired)
{
    (void)host;
    (void)expired;
    return 1;
}

/* Length of the whole ADTS frame at data and its duration in ms; 0 when no
 * frame starts there or it has not arrived whole yet. */
static size_t adtsFrame(const unsigned char* data, size_t length, double* ms)
{
    static const int rates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
    size_t frame;
    unsigned rate;
    if (length < 7 || data[0] != 0xFF || (data[1] & 0xF0) != 0xF0)
        return 0;
    frame = ((size_t)(data[3] & 0x03) << 11) | ((size_t)data[4] << 3) | (size_t)(data[5] >> 5);
    rate = (data[2] >> 2) & 0x0F;
    if (frame < 7 || frame > length || rate >= 13)
        return 0;
    *ms = 1024.0 * 1000.0 / rates[rate];
    return frame;
}

/* The audio sink: a decoder takes whole frames, as many as fit into the
 * device's buffer, and says how much is still to play; the library offers
 * the rest again. A call without data is the loop's heartbeat. */
static int myAudioSink(void* context, const unsigned char* data, int length, int bitRate,
                       unsigned int* bufferedMs)
{
    App* app = context;
    size_t taken = 0, frame;
    double ms = 0;
    (void)bitRate;
    while (data && (int)taken < length && bufferedMsOf(app) < AHEAD_MS &&
           (frame = adtsFrame(data + taken, (size_t)length - taken, &ms)) > 0) {
        fwrite(data + taken, 1, frame, app->out);
        taken += frame;
        app->bytes += frame;
        app->writtenMs += ms;
        app->lastAudioAt = nowMs();
        if (app->firstAudioAt == 0)
            app->firstAudioAt = app->lastAudioAt;
    }
    if (bufferedMs)
        *bufferedMs = (unsigned)bufferedMsOf(app);
    return (int)taken;
}

/* ---- the reference port: set before tql_init ---- */

static void setUpPort(const char* serviceUrl)
{
    const char* key = getenv("TQL_FIXED_KEY");
    tqlhost_set_config_url(serviceUrl);
    tqlhost_set_account_file("play_channel.account");
    tqlhost_set_device("example", "linux", "play-channel-example");
    tqlhost_set_fixed_key(key ? key : SIMULATOR_KEY);
    tqlhost_set_log_level(0); /* failures reach the host through onError */
}

int main(int argc, char** argv)
{
    if (argc < 5) {
        fprintf(stderr, "usage: %s SERVICE_URL USER PASSWORD CHANNEL [SECONDS [OUT_FILE]]\n", argv[0]);
        return 2;
    }
    unsigned seconds = argc > 5 ? (unsigned)atoi(argv[5]) : 5;
    const char* outName = argc > 6 ? argv[6] : "play_channel.aac";
    App app;
    memset(&app, 0, sizeof app);
    app.out = fopen(outName, "wb");
    if (!app.out) {
        perror(outName);
        return 1;
    }
    setUpPort(argv[1]);

    tql_errorNotification err;
    tql_CallbackStruct cb = {0};
    cb.hostContext = &app;
    cb.onError = onError;
    cb.onMetadata = onMetadata;
    cb.onBitrate = onBitrate;
    cb.onBusy = onBusy;
    cb.onChannel = onChannel;
    cb.onPdtUpdate = onPdtUpdate;
    cb.onRefresh = onRefresh;

    if (tql_init() != TQL_OK || tql_checkVersion(TQL_HEADER_VERSION) != TQL_OK)
        return 1;
    tql_registerCallbacks(cb);

    tql_TamberAccount account = {0};
    account.username = argv[2];
    account.password = argv[3];
    if (tql_verify_account(account, &err) != TQL_OK) {  /* later starts: tql_configure_tamber() */
        fprintf(stderr, "login: %s\n", tql_get_error(err.errorCode));
        tql_deinit();
        return 1;
    }
    if (tql_channel_list(&err) != TQL_OK) {             /* channels arrive via onChannel */
        fprintf(stderr, "line-up: %s\n", tql_get_error(err.errorCode));
        tql_deinit();
        return 1;
    }
    printf("line-up: %d channels\n", app.channels);

    tql_channel_ctx ctx = {0};
    ctx.contentId = argv[4];
    ctx.audioWrite = myAudioSink;                       /* receives ADTS AAC */
    ctx.audioContext = &app;
    if (tql_playChannel(&ctx) != TQL_OK) {
        tql_deinit();
        return 1;
    }

    double started = nowMs();
    while (!app.stopped && renderedMsOf(&app) < seconds * 1000u) {  /* the host's own loop */
        sleep_ms(TICK_MS);
        tql_externalTimerTick(TICK_MS);                 /* runs the streaming loop */
        tql_on_playTimeChanged(renderedMsOf(&app));
        if (bufferedMsOf(&app) < AHEAD_MS)
            tql_sendAudioData();                        /* when the sink can take more */
        if (nowMs() - (app.lastAudioAt > 0 ? app.lastAudioAt : started) > GIVE_UP_MS)
            break;                                      /* audio dried up */
    }

    tql_stopChannel();
    tql_deinit();
    fclose(app.out);
    printf("played %u ms, %llu bytes into %s\n", renderedMsOf(&app), app.bytes, outName);
    return renderedMsOf(&app) >= seconds * 1000u && app.errorCode == 0 ? 0 : 1;
}
