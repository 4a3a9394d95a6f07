/*
 * tqllib.h - public interface of libtqllib.
 *
 * A host links libtqllib, defines every function of the platform port at the
 * end of this file, registers its callbacks and drives the library with
 * tql_externalTimerTick(). The library has no thread of its own: every call
 * runs to its end on the caller's thread, HTTP transfers included.
 *
 * Records cross the boundary as plain C structs of pointers and 32-bit ints
 * in natural alignment. Their field order is binding; fields named reserved*
 * are never read or written by the library and only keep the others in place.
 *
 * Text handed to the host is borrowed for the length of the callback (or,
 * for chained lists, until the next request of the same kind): copy what you
 * keep.
 */
#ifndef TQLLIB_H
#define TQLLIB_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__) || defined(__clang__)
#define TQL_API __attribute__((visibility("default")))
#else
#define TQL_API
#endif

/* The version this header describes; pass TQL_HEADER_VERSION to tql_checkVersion(). */
#define TQL_VERSION_MAJOR 3
#define TQL_VERSION_MINOR 0
#define TQL_VERSION_PATCH 0
#define TQL_HEADER_VERSION "3.0.0"

/* Results shared by most calls. */
#define TQL_OK 1
#define TQL_FAIL (-1)
#define TQL_INIT_FAILED (-2)
#define TQL_PIPE_CLOSED (-7)
#define TQL_BUFFER_TOO_SMALL (-8)

/* ------------------------------------------------------------------------ */
/* Records                                                                  */
/* ------------------------------------------------------------------------ */

/* Service bypass flags: six current flags, their six per-request masks and
 * the pending-reauthentication flag. */
typedef struct tql_bypassStatus {
    int bypass704;
    int bypass702; /* also raised by message 313 */
    int bypass705;
    int bypass314;
    int bypass708;
    int bypass701;
    int mask704;
    int mask702;
    int mask705;
    int mask314;
    int mask708;
    int mask701;
    int authBypass704;
} tql_bypassStatus;

/* Filled by the library; always sixteen 32-bit words. */
typedef struct tql_errorNotification {
    int errorCode;       /* public error code, 0 = none; text via tql_get_error() */
    int responseCode;    /* numeric response code of the service, or 0 */
    int playbackStopped; /* 1 when the report ends the playback */
    tql_bypassStatus bypass;
} tql_errorNotification;

typedef struct tql_TamberAccount {
    const char* username;
    const char* password;
    const char* accountField2;
    const char* accountField3;
    const char* accountField4;
    const char* accountField5;
    const char* accountField6;
    const char* accountField7;
} tql_TamberAccount;

/* Audio sink: raw ADTS AAC frames with ID3 tags removed. Called with data
 * NULL and length 0 once per worker loop turn as a heartbeat that carries the
 * current bit rate; *bufferedMs is where the host writes the milliseconds of
 * audio it still holds. Returns the bytes taken (1..length), 0 or another
 * value below 1 for none taken yet, or TQL_PIPE_CLOSED to end the playback. */
typedef int (*tql_audioWriteFn)(void* audioContext, const unsigned char* data, int length,
                                int bitRate, unsigned int* bufferedMs);

typedef struct tql_channel_ctx {
    void* audioContext;          /* first argument of audioWrite */
    const char* contentId;       /* channel id or episode id; NULL only with contentType 2 */
    const char* accessControlId; /* on-demand access control id; required with contentType 1 */
    const char* timestamp;       /* start of a start-now playback; NULL or "" = none */
    const char* assetGuid;       /* start-now asset or the additional channel id */
    void* reserved;
    const char* defaultIcon; /* artwork URL shown when a track has none */
    int contentType;         /* 0 live, 1 on demand, 2 additional channel */
    int reserved2;
    tql_audioWriteFn audioWrite;
    void* audioWriteData; /* copied, never used */
    int liveStart;        /* in and out */
} tql_channel_ctx;

typedef struct tql_contentImage {
    const char* name; /* never filled */
    const char* url;
    int width;
    int height;
} tql_contentImage;

#define TQL_CONTENT_IMAGES 4

/* One channel, show, episode, category or search hit. Every text is borrowed. */
typedef struct tql_content {
    int type; /* 0 channel, 1 show, 2 episode, 3 additional channel, 4 category */
    const char* id;
    const char* secondaryId;
    const char* tertiaryId;
    intptr_t superCategoryOrder; /* an int in a pointer-sized slot */
    const char* categoryName;
    const char* categoryKey;
    const char* extraText;
    int extraValue;
    const char* name;
    const char* description;
    tql_contentImage images[TQL_CONTENT_IMAGES];
    const char* channelGuid;
    const char* channelId;
    const char* channelExtra;
    int tamberChannelNumber;
    int qlChannelNumber;
    int genreId;
    int sortOrder;
    int inactivityTimeout;
    int isAvailable;
    int isBizMature;
    int isFavorite;
    int isAdditional;
    const char* showGuid;
    int showValue1;
    int showValue2;
    const char* episodeId;
    const char* episodeExtra;
    const char* episodeStart;
    int tileValue1;
    int tileValue2;
} tql_content;

typedef struct tql_metadata {
    const char* title;
    const char* album;
    const char* artist;
    const char* showTitle;
    const char* showGuid;
    const char* reserved;
    const char* tag6Text;
    const char* reserved2;
    const char* artworkUrl;
    const char* reserved3;
} tql_metadata;

/* Times in seconds since the epoch unless the name says ms. */
typedef struct tql_timebarData {
    uint64_t startSeconds;
    uint64_t positionSeconds;
    uint64_t liveEdgeSeconds;
    int duration;
    int skipClass;
    uint64_t* segments; /* owned by the library, valid during the callback */
    int segmentCount;
    int liveFlag;
    uint64_t showStartMs;
    uint64_t showEndMs;
} tql_timebarData;

typedef enum tql_moduleType {
    TQL_MODULE_FOR_YOU = 0,
    TQL_MODULE_FAVORITES = 1,
    TQL_MODULE_RECENTS = 2
} tql_moduleType;

typedef enum tql_ePresetsState {
    TQL_PRESETS_HELD = 0, /* use the presets already held if they are good */
    TQL_PRESETS_FETCH = 1
} tql_ePresetsState;

typedef struct tql_globalSetting {
    const char* key;
    const char* value;
} tql_globalSetting;

typedef struct tql_pdtChannel {
    int64_t time;
    intptr_t duration;
    const char* channelId;
    const char* title;
    const char* artist;
    const char* album;
} tql_pdtChannel;

/* ------------------------------------------------------------------------ */
/* Chained lists. Nodes the library returns are freed with the matching     */
/* tql_free* function; the texts inside stay borrowed. A list the host      */
/* builds for the library ends with a terminator node that is not used.     */
/* ------------------------------------------------------------------------ */

typedef struct tql_chainedPresets {
    const char* assetGuid;
    int contentType; /* 0 live, 2 on demand, 3 additional channel */
    const char* channelId;
    int action; /* 0 add, 1 delete, 2 update */
    int sortOrder;
    struct tql_chainedPresets* next;
} tql_chainedPresets;

typedef struct tql_chainedPausePoints {
    int assetType; /* 2 for an on-demand episode */
    const char* assetGuid;
    const char* showGuid;
    int percentConsumed;
    struct tql_chainedPausePoints* next;
} tql_chainedPausePoints;

typedef struct tql_chainedFavorites {
    const char* assetGuid;
    int assetType; /* 0 live, 1 show, 2 on demand, 3 additional channel */
    void* reserved;
    const char* channelId;
    const char* assetTypeText; /* overrides assetType when not empty */
    int reserved2;
    int action; /* 0 add, 1 delete, other update */
    struct tql_chainedFavorites* next;
} tql_chainedFavorites;

typedef struct tql_chainedTQLContent {
    tql_content content;
    struct tql_chainedTQLContent* next;
} tql_chainedTQLContent;

typedef struct tql_chainedStrings {
    const char* text;
    struct tql_chainedStrings* next;
} tql_chainedStrings;

typedef struct tql_chainedPDTChannels {
    const char* channelId;
    struct tql_chainedPDTChannels* next;
} tql_chainedPDTChannels;

/* ------------------------------------------------------------------------ */
/* Callbacks. hostContext is the first argument of each.                    */
/* ------------------------------------------------------------------------ */

typedef int (*tql_onErrorFn)(void* host, tql_errorNotification* error);
typedef void (*tql_onMetadataFn)(void* host, tql_metadata* metadata);
typedef int (*tql_onBitrateFn)(void* host, int bitrate);
typedef int (*tql_onBusyFn)(void* host, int busy);
typedef int (*tql_onChannelFn)(void* host, tql_content* channel);
typedef int (*tql_onDemandFn)(void* host, tql_content* show, int one, int isLast);
typedef void (*tql_onPdtUpdateFn)(void* host, tql_pdtChannel* channels, int count);
typedef void (*tql_onTimebarFn)(void* host, tql_timebarData* timebar);
typedef void (*tql_onEpisodesFn)(void* host, const char* showKey, tql_content* episodes, int count);
typedef int (*tql_onTileFn)(void* host, tql_content* tile, int isLast);
typedef void (*tql_onGlobalSettingsFn)(void* host, tql_globalSetting* settings, int count);
typedef int (*tql_onRefreshFn)(void* host, tql_moduleType expired);

/* Eighteen pointer-sized slots, passed by value. The mandatory ones are
 * hostContext, onError, onMetadata, onBitrate, onBusy, onChannel,
 * onPdtUpdate and onRefresh. */
typedef struct tql_CallbackStruct {
    void* hostContext;
    void* reserved;
    tql_onErrorFn onError;
    tql_onMetadataFn onMetadata;
    tql_onBitrateFn onBitrate;
    tql_onBusyFn onBusy;
    tql_onChannelFn onChannel;
    tql_onDemandFn onDemand;
    void* reserved2;
    tql_onPdtUpdateFn onPdtUpdate;
    tql_onTimebarFn onTimebar;
    tql_onEpisodesFn onEpisodes;
    tql_onTileFn onRecents;
    tql_onTileFn onFavorites;
    tql_onGlobalSettingsFn onGlobalSettings;
    tql_onTileFn onForYou;
    tql_onTileFn onSearch;
    tql_onRefreshFn onRefresh;
} tql_CallbackStruct;

/* ------------------------------------------------------------------------ */
/* Exported functions                                                       */
/* ------------------------------------------------------------------------ */

/* Lifecycle and identity */
TQL_API int tql_init(void);
TQL_API int tql_deinit(void);
TQL_API int tql_registerCallbacks(tql_CallbackStruct callbacks);
TQL_API void tql_set_debug_level(int level);
TQL_API int tql_getVersion(int* major, int* minor, int* patch);
TQL_API int tql_checkVersion(const char* version);
TQL_API int tql_setExternalVersion(const char* version);
TQL_API int tql_get_status(void);
TQL_API int tql_get_bypassStatus(void);
TQL_API const char* tql_get_error(int code);
TQL_API int tql_getFaultResponseMessage(char* buffer, unsigned int* length);
TQL_API int tql_getMaxInactivityTime(void);
TQL_API int tql_getMaxIdleTimeout(void);
TQL_API int tql_reset_cUrl(void);
TQL_API int tql_error_notifier(tql_errorNotification* notification);

/* Session and line-up; error is cleared first and filled on failure */
TQL_API int tql_configure_tamber(tql_errorNotification* error);
TQL_API int tql_verify_account(tql_TamberAccount account, tql_errorNotification* error);
TQL_API int tql_channel_list(tql_errorNotification* error);

/* Content; results arrive through the named callback before the call returns */
TQL_API int tql_get_recents(tql_errorNotification* error, int carousel);
TQL_API int tql_get_favorites(tql_errorNotification* error, int carousel);
TQL_API int tql_get_forYou(tql_errorNotification* error);
TQL_API int tql_get_forYouCarousel(tql_errorNotification* error);
TQL_API int tql_getShows(const char* genreKey, const char* channelId);
TQL_API int tql_getShowsByGenre(const char* genreKey);
TQL_API int tql_getShowsByChannelId(const char* channelId);
TQL_API int tql_getEpisodes(const char* showKey);
TQL_API int tql_search(const char* text);
TQL_API int tql_checkGeoRestricted(const char* text);
TQL_API int tql_clearRecents(void);
TQL_API tql_chainedPresets* tql_get_preset_list(int* count, tql_ePresetsState state);
TQL_API tql_chainedPresets* tql_update_server_preset(tql_chainedPresets* presets, char* buffer,
                                                     unsigned int* length, int* count);
TQL_API int tql_update_server_favorites(tql_chainedFavorites* favorites, tql_errorNotification* error);
TQL_API int tql_update_global_settings(tql_globalSetting* settings, int count,
                                       tql_errorNotification* error);
TQL_API tql_chainedPausePoints* tql_getPausePoints(int* status);
TQL_API int tql_startPtdNotification(void);
TQL_API int tql_startPtdNotificationForGenre(const char* genre);
TQL_API int tql_startPtdNotificationForChannelIds(tql_chainedPDTChannels* channels);
TQL_API int tql_stop_pdt_notification(void);
TQL_API int tql_freePresets(tql_chainedPresets* head);
TQL_API int tql_freePausePointList(tql_chainedPausePoints* head);
TQL_API int tql_freeContentList(tql_chainedTQLContent* head);
TQL_API int tql_freeFavoriteList(tql_chainedFavorites* head);
TQL_API int tql_freeStringList(tql_chainedStrings* head);

/* Playback */
TQL_API int tql_playChannel(tql_channel_ctx* ctx);
TQL_API int tql_stopChannel(void);
TQL_API int tql_userPause(int pause);
TQL_API int tql_selectStreamIndex(int index);
TQL_API int tql_triggerGoLive(void);
TQL_API void tql_triggerChannelRefetch(void);
TQL_API int tql_getNextSegmentTime(char* buffer, int length);
TQL_API int tql_getPrevSegmentTime(char* buffer, int length);
TQL_API int tql_getShowStartGuid(char* buffer, int length);
TQL_API int tql_getStreamBitrate(void);
TQL_API int tql_outputLatency(int latencyMs);

/* Driven by the host */
TQL_API int tql_externalTimerTick(unsigned int elapsedMs);
TQL_API int tql_sendAudioData(void);
TQL_API int tql_on_playTimeChanged(unsigned int positionMs);

/* ------------------------------------------------------------------------ */
/* Platform port: the host defines every function below.                    */
/* ------------------------------------------------------------------------ */

/* Memory and waiting */
void* tql_malloc(size_t size); /* not cleared */
void* tql_realloc(void* block, size_t size);
void tql_free(void* block);
void tql_sleep(int seconds);

/* Mutex, made in place in six machine words */
typedef struct tql_mtx_t {
    uintptr_t storage[6];
} tql_mtx_t;
void tql_mtx_init(tql_mtx_t* mutex, int attributes); /* non-recursive; attributes is 0 */
void tql_mtx_destroy(tql_mtx_t* mutex);
void tql_mtx_lock(tql_mtx_t* mutex);
int tql_mtx_trylock(tql_mtx_t* mutex); /* 1 when taken */
void tql_mtx_unlock(tql_mtx_t* mutex);

/* Clock and logging */
uint64_t tql_platform_ms_since_epoch(void); /* UTC; read often, must be cheap */
int tql_init_platform_logger(void);         /* non-zero handle; 0 = no logging */
int tql_platform_log_level(void);           /* initial filter: 1 error .. 4 debug, 6 trace */
void tql_platform_print(int severity, const char* line); /* one finished line, no newline added */

/* Stored account and device identity. The getters fill at most size bytes
 * (size is 254) and return the count, 0 or less for none. */
int tql_getAccount(tql_TamberAccount* account); /* non-zero when held; slots valid until tql_freeAccount */
void tql_freeAccount(tql_TamberAccount* account);
int tql_setAccount(const tql_TamberAccount* account); /* copies all eight slots; non-zero on success */
int tql_getConfigUrl(char* buffer, int size);
int tql_getDeviceMake(char* buffer, int size);
int tql_getDeviceModel(char* buffer, int size);
int tql_GetMAC(char* buffer, int size);
int tql_getFixedKey(char* buffer, int size);

/* Decryption: one run per chunk, the state lives in the port. 64 bytes. */
typedef struct tql_decryptParams {
    unsigned char* input; /* process: first cipher byte */
    int inputLength;
    int padding0;
    unsigned char* output; /* process: same as input, decryption runs in place */
    int outputLength;
    int padding1;
    const unsigned char* key; /* start */
    int keyLength;
    int padding2;
    const unsigned char* nonce; /* start; all zero: the IV comes from sequenceNumber */
    int nonceLength;
    int sequenceNumber; /* start */
} tql_decryptParams;

int tql_cr_init(void); /* 1 on success */
int tql_cipher_get_algo_keylen(void);
int tql_decrypt_start(tql_decryptParams params);
int tql_decrypt_process(tql_decryptParams params); /* plain bytes produced, negative on error */
void tql_decrypt_done(void);

/* HTTP transport, a curl-style easy handle. The callbacks take size * count
 * bytes and return the number taken; any other number aborts the transfer. */
typedef size_t (*tamberHTCallback)(void* data, size_t size, size_t count, void* context);

typedef struct tamberHTCookie {
    const char* text;
    struct tamberHTCookie* next;
} tamberHTCookie;

typedef struct tamberHTRequestCtx {
    const char* url;      /* in: encoded URL */
    const char* postData; /* in: body, "" for a GET */
    int isPost;           /* in */
    int reserved;
    void* writeData;  /* in: context of writeCallback */
    void* headerData; /* in: context of headerCallback */
    char* errorBuffer; /* in: 256 zeroed bytes for the transport's error text */
    int errorFlag;     /* out: non-zero when errorBuffer holds a text */
    int padding0;
    void* handle; /* in: from tamber_HT_init */
    tamberHTCallback writeCallback;
    tamberHTCallback headerCallback;
    int requestResult; /* out: 0 when the request as such succeeded */
    int padding1;
    int64_t httpCode;   /* out: last HTTP status */
    int totalTimeout;   /* in: seconds */
    int connectTimeout; /* in: seconds */
    tamberHTCookie* cookies; /* out: released by tamber_HT_clearCtxData */
} tamberHTRequestCtx;

#define TAMBER_HT_ERROR_BUFFER_SIZE 256

void* tamber_HT_init(void); /* a handle or NULL */
int tamber_HT_Request(tamberHTRequestCtx* ctx); /* 0 ok, positive transport error, negative failure */
void tamber_HT_reset(void* handle);
void tamber_HT_clearCtxData(tamberHTRequestCtx* ctx);
void tamber_HT_cleanup(void* handle);

/* ------------------------------------------------------------------------ */
/* Fixed layouts of the two port records (64-bit targets).                  */
/* ------------------------------------------------------------------------ */

#if defined(__cplusplus)
#define TQL_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TQL_STATIC_ASSERT(cond, name) _Static_assert(cond, #name)
#else
#define TQL_STATIC_ASSERT(cond, name) typedef char tql_static_assert_##name[(cond) ? 1 : -1]
#endif

#if UINTPTR_MAX == 0xffffffffffffffffu
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, url) == 0, ctx_url);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, postData) == 8, ctx_postData);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, isPost) == 16, ctx_isPost);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, writeData) == 24, ctx_writeData);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, headerData) == 32, ctx_headerData);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, errorBuffer) == 40, ctx_errorBuffer);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, errorFlag) == 48, ctx_errorFlag);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, handle) == 56, ctx_handle);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, writeCallback) == 64, ctx_writeCallback);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, headerCallback) == 72, ctx_headerCallback);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, requestResult) == 80, ctx_requestResult);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, httpCode) == 88, ctx_httpCode);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, totalTimeout) == 96, ctx_totalTimeout);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, connectTimeout) == 100, ctx_connectTimeout);
TQL_STATIC_ASSERT(offsetof(tamberHTRequestCtx, cookies) == 104, ctx_cookies);
TQL_STATIC_ASSERT(sizeof(tamberHTRequestCtx) == 112, ctx_size);

TQL_STATIC_ASSERT(offsetof(tql_decryptParams, input) == 0, dp_input);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, inputLength) == 8, dp_inputLength);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, output) == 16, dp_output);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, outputLength) == 24, dp_outputLength);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, key) == 32, dp_key);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, keyLength) == 40, dp_keyLength);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, nonce) == 48, dp_nonce);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, nonceLength) == 56, dp_nonceLength);
TQL_STATIC_ASSERT(offsetof(tql_decryptParams, sequenceNumber) == 60, dp_sequenceNumber);
TQL_STATIC_ASSERT(sizeof(tql_decryptParams) == 64, dp_size);

TQL_STATIC_ASSERT(sizeof(tql_errorNotification) == 16 * 4, error_notification_size);
TQL_STATIC_ASSERT(sizeof(tql_CallbackStruct) == 18 * sizeof(void*), callback_struct_size);
TQL_STATIC_ASSERT(sizeof(tql_mtx_t) == 6 * sizeof(void*), mutex_storage_size);
#endif

#ifdef __cplusplus
}
#endif

#endif /* TQLLIB_H */
