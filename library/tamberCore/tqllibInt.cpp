#include "tqllibInt.h"

#include <cstring>

#include "tamberCore.h"
#include "tamberErrorText.h"
#include "tamberTypes/tamberDebug.h"
#include "tamberTypes/tamberTimer.h"

static tql_core* g_core = nullptr;

tql_core* tql_int_get_core()
{
    return g_core;
}

int tql_int_init()
{
    if (g_core)
        return 1;
    g_core = new tql_core();
    int result = g_core->init();
    if (result != 1) {
        delete g_core;
        g_core = nullptr;
        return -2;
    }
    return 1;
}

int tql_int_deinit()
{
    if (!g_core)
        return -1;
    g_core->deinit();
    delete g_core;
    g_core = nullptr;
    return 1;
}

// The lazy kind: a host that forgot tql_init still gets a working core.
static tql_core* lazyCore()
{
    return tql_int_init() == 1 ? g_core : nullptr;
}

// The library's lists are freed node by node; the texts inside are borrowed
// from the last response of that kind and stay.
template <class Node>
static int freeChain(Node* head)
{
    while (head) {
        Node* next = head->next;
        tql_free(head);
        head = next;
    }
    return 1;
}

extern "C" {

int tql_init(void)
{
    return tql_int_init();
}

int tql_deinit(void)
{
    return tql_int_deinit();
}

int tql_registerCallbacks(tql_CallbackStruct callbacks)
{
    tql_core* core = lazyCore();
    return core ? core->getTamberCallback()->registerCallbacks(callbacks) : -1;
}

void tql_set_debug_level(int level)
{
    tql_int_set_debug_level(level);
}

int tql_getVersion(int* major, int* minor, int* patch)
{
    tql_core* core = lazyCore();
    return core ? core->getVersion(major, minor, patch) : -1;
}

int tql_checkVersion(const char* version)
{
    tql_core* core = lazyCore();
    return core ? core->checkVersion(version) : -1;
}

int tql_setExternalVersion(const char* version)
{
    tql_core* core = lazyCore();
    return core ? core->setExternalVersion(version) : -1;
}

int tql_get_status(void)
{
    tql_core* core = lazyCore();
    return core ? core->getState() : -1;
}

int tql_get_bypassStatus(void)
{
    tql_core* core = lazyCore();
    return core ? core->getBypassState() : -1;
}

const char* tql_get_error(int code)
{
    return tql_int_get_error(code);
}

int tql_getFaultResponseMessage(char* buffer, unsigned int* length)
{
    tql_core* core = lazyCore();
    return core ? core->getFaultResponseMessage(buffer, length) : -1;
}

int tql_getMaxInactivityTime(void)
{
    tql_core* core = lazyCore();
    return core ? core->getMaxInactivityTime() : -1;
}

int tql_getMaxIdleTimeout(void)
{
    tql_core* core = lazyCore();
    return core ? core->getMaxInactivityTime() : -1;
}

int tql_reset_cUrl(void)
{
    tql_core* core = lazyCore();
    return core ? core->triggerResetCurl() : 0;
}

int tql_error_notifier(tql_errorNotification* notification)
{
    (void)notification; // a hook for whoever wants to watch every error report
    return 1;
}

int tql_configure_tamber(tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    if (!core || !error)
        return -1;
    return core->norvaleConfigureTamber(error, nullptr);
}

int tql_verify_account(tql_TamberAccount account, tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    if (!core || !error)
        return -1;
    return core->verifyAccount(account, error);
}

int tql_channel_list(tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    if (!core || !error)
        return -1;
    return core->norvaleChannelList(error);
}

// Content calls.

int tql_get_recents(tql_errorNotification* error, int carousel)
{
    tql_core* core = lazyCore();
    return core ? core->norvaleGetRecents(error, carousel) : -1;
}

int tql_get_favorites(tql_errorNotification* error, int carousel)
{
    tql_core* core = lazyCore();
    return core ? core->norvaleGetFavorites(error, carousel) : -1;
}

int tql_get_forYou(tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    return core ? core->norvaleGetForYou(error) : -1;
}

int tql_get_forYouCarousel(tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    return core ? core->getForYouCarousel(error) : -1;
}

// Shows and episodes answer 0 when no module came back, -1 only with no core.
// A NULL text asks for nothing in particular.
static tql_string textOrEmpty(const char* text)
{
    return tql_string(text ? text : "");
}

int tql_getShows(const char* genreKey, const char* channelId)
{
    tql_core* core = lazyCore();
    return core ? core->getShows(textOrEmpty(genreKey), textOrEmpty(channelId)) : -1;
}

int tql_getShowsByGenre(const char* genreKey)
{
    return tql_getShows(genreKey, "");
}

int tql_getShowsByChannelId(const char* channelId)
{
    return tql_getShows("", channelId);
}

int tql_getEpisodes(const char* showKey)
{
    tql_core* core = lazyCore();
    return core ? core->getEpisodes(textOrEmpty(showKey)) : -1;
}

int tql_search(const char* text)
{
    tql_core* core = lazyCore();
    return core && text ? core->search(text) : -1;
}

int tql_checkGeoRestricted(const char* text)
{
    tql_core* core = lazyCore();
    return core ? core->checkGeoRestricted(text) : -1;
}

int tql_clearRecents(void)
{
    tql_core* core = lazyCore();
    return core ? core->norvaleClearRecentsCall() : -1;
}

tql_chainedPresets* tql_get_preset_list(int* count, tql_ePresetsState state)
{
    tql_core* core = lazyCore();
    return core ? core->getPresetList(count, state) : nullptr;
}

tql_chainedPresets* tql_update_server_preset(tql_chainedPresets* presets, char* buffer, unsigned int* length,
                                             int* count)
{
    tql_core* core = lazyCore();
    return core ? core->updateServerPresets(presets, buffer, length, count) : nullptr;
}

int tql_update_server_favorites(tql_chainedFavorites* favorites, tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    return core && core->norvaleFavoritesSetCall(favorites, error) > 0 ? 1 : -1;
}

int tql_update_global_settings(tql_globalSetting* settings, int count, tql_errorNotification* error)
{
    tql_core* core = lazyCore();
    return core && core->norvaleGlobalSettingsSetCall(settings, count, error) > 0 ? 1 : -1;
}

tql_chainedPausePoints* tql_getPausePoints(int* status)
{
    tql_core* core = lazyCore();
    return core ? core->getPausePoints(status) : nullptr;
}

int tql_startPtdNotification(void)
{
    return tql_startPtdNotificationForGenre("all");
}

int tql_startPtdNotificationForGenre(const char* genre)
{
    tql_core* core = lazyCore();
    return core ? core->startPDT(genre, nullptr) : -1;
}

int tql_startPtdNotificationForChannelIds(tql_chainedPDTChannels* channels)
{
    tql_core* core = lazyCore();
    return core ? core->startPDT(nullptr, channels) : -1;
}

int tql_stop_pdt_notification(void)
{
    tql_core* core = lazyCore();
    return core ? core->stopPDT() : 0;
}

int tql_freePresets(tql_chainedPresets* head)
{
    return freeChain(head);
}

int tql_freePausePointList(tql_chainedPausePoints* head)
{
    return freeChain(head);
}

int tql_freeContentList(tql_chainedTQLContent* head)
{
    return freeChain(head);
}

int tql_freeFavoriteList(tql_chainedFavorites* head)
{
    return freeChain(head);
}

int tql_freeStringList(tql_chainedStrings* head)
{
    return freeChain(head);
}

// Playback. The strict calls need a core made by tql_init.
int tql_playChannel(tql_channel_ctx* ctx)
{
    tql_core* core = tql_int_get_core();
    return core && ctx ? core->playChannel(ctx) : -1;
}

int tql_stopChannel(void)
{
    tql_core* core = tql_int_get_core();
    return core ? core->stopChannel() : -1;
}

int tql_userPause(int pause)
{
    tql_core* core = tql_int_get_core();
    return core ? core->userPause(pause) : -1;
}

int tql_selectStreamIndex(int index)
{
    tql_core* core = tql_int_get_core();
    return core ? core->selectStreamIndex(index) : 0;
}

int tql_triggerGoLive(void)
{
    tql_core* core = lazyCore();
    return core ? core->triggerGoLive() : 0;
}

void tql_triggerChannelRefetch(void)
{
    tql_core* core = lazyCore();
    if (core)
        core->triggerChannelRefetch();
}

int tql_getNextSegmentTime(char* buffer, int length)
{
    tql_core* core = lazyCore();
    return core ? core->getNextSegmentTime(buffer, length) : -1;
}

int tql_getPrevSegmentTime(char* buffer, int length)
{
    tql_core* core = lazyCore();
    return core ? core->getPrevSegmentTime(buffer, length) : -1;
}

int tql_getShowStartGuid(char* buffer, int length)
{
    tql_core* core = lazyCore();
    return core ? core->getShowStartGuid(buffer, length) : -1;
}

int tql_getStreamBitrate(void)
{
    tql_core* core = lazyCore();
    return core ? core->getStreamBitrate() : 0;
}

int tql_outputLatency(int latencyMs)
{
    tql_core* core = lazyCore();
    return core ? core->setAudioOutpuLatency(latencyMs) : -1;
}

int tql_externalTimerTick(unsigned int elapsedMs)
{
    if (!tql_int_get_core())
        return -1;
    if (elapsedMs == 0) {
        TQL_LOG(1, "Invalid argument, timer tick has to be defined");
        return -1;
    }
    return tql_timerTick::instance()->on_timerTick(elapsedMs);
}

int tql_sendAudioData(void)
{
    tql_core* core = tql_int_get_core();
    return core ? core->sendAudioData() : -1;
}

int tql_on_playTimeChanged(unsigned int positionMs)
{
    tql_core* core = tql_int_get_core();
    return core ? core->on_playTimeChanged(positionMs) : -1;
}

} // extern "C"
