#ifndef TAMBER_CORE_H
#define TAMBER_CORE_H

#include "requestDocuments/requestDocuments.h"
#include "tamberCallback.h"
#include "tamberNodeResponder.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberMutex.h"
#include "tamberTypes/tamberSettings.h"
#include "tamberTypes/tamberString.h"
#include "tamberTypes/tamberTimer.h"
#include "tqllib.h"

// Session states; a failed rung stays on its rung so the next call retries it.
enum tql_coreState {
    CoreStateIdle = 0,
    CoreStateRouted = 1,
    CoreStateConfigured = 2,
    CoreStateAuthenticated = 4, // logged in, line-up still to be read
    CoreStateChannelsRead = 5
};

// The object behind the flat interface: owns the service client and the
// callback hub, keeps the session state.
class TQLModuleResponseRouting;

class tql_core {
public:
    static const int kVersionMajor = 3;
    static const int kVersionMinor = 0;
    static const int kVersionPatch = 0;

    tql_core();
    virtual ~tql_core();
    tql_core(const tql_core&) = delete;
    tql_core& operator=(const tql_core&) = delete;

    int init();
    int deinit();

    int getVersion(int* major, int* minor, int* patch);
    int checkVersion(const char* version);
    int setExternalVersion(const char* version);
    int getState();
    void setState(int state);
    int getBypassState();
    int getMaxInactivityTime() const { return m_maxInactivityTime; }
    int setAudioOutpuLatency(int latency);
    int getFaultResponseMessage(char* buffer, unsigned int* length);
    tql_string getFaultResponse(const tql_string& fallback);

    int norvaleConfigureTamber(tql_errorNotification* error, const TamberAccount* account);
    int verifyAccount(tql_TamberAccount account, tql_errorNotification* error);
    int norvaleChannelList(tql_errorNotification* error);
    void triggerChannelRefetch();

    // Playback control: the host's calls turned into engine requests.
    int playChannel(tql_channel_ctx* ctx);
    int stopChannel();
    int userPause(int pause);
    int selectStreamIndex(int index);
    int triggerGoLive();
    int getNextSegmentTime(char* buffer, int length);
    int getPrevSegmentTime(char* buffer, int length);
    int getShowStartGuid(char* buffer, int length);
    int on_playTimeChanged(unsigned positionMs);
    int sendAudioData();
    int getStreamBitrate();
    int checkGeoRestricted(const char* text);
    // Now less delay ms; the live edge lies that far behind the wall clock.
    uint64_t getCurrentTimestampMs(int delay);
    tql_string getCurrentTimestamp();
    tql_string getCurrentHPDTTimestamp(int hours);

    // A content call that cannot reach the service: no routing is held.
    int failNoRouting(tql_errorNotification* error);

    // Tile lists. The carousel calls deliver to the host; the plain recents
    // and favorites calls only refresh the profile collation.
    int norvaleGetRecents(tql_errorNotification* error, int carousel);
    int norvaleGetFavorites(tql_errorNotification* error, int carousel);
    int norvaleGetForYou(tql_errorNotification* error);
    int getForYouCarousel(tql_errorNotification* error);
    int norvaleRecentsCall();
    int norvaleFavoritesCall();
    int norvaleRecentsCarouselCall();
    int norvaleFavoritesCarouselCall();
    int norvaleForYouCall();
    int norvaleForYouCarouselCall();
    int search(const char* text);

    // The profile: presets, favorites, recents, pause points and settings.
    tql_chainedPresets* getPresetList(int* count, int state);
    tql_chainedPresets* updateServerPresets(tql_chainedPresets* list, char* buffer, unsigned int* length,
                                            int* count);
    int norvaleFavoritesSetCall(tql_chainedFavorites* list, tql_errorNotification* error);
    int norvaleClearRecentsCall();
    int norvaleGlobalSettingsSetCall(tql_globalSetting* settings, int count, tql_errorNotification* error);
    tql_chainedPausePoints* getPausePoints(int* status);

    // On-demand shows to onDemand, episodes of a show to onEpisodes.
    int getOnDemandShows(int page, int count, const tql_string& genre, const tql_string& channel);
    int getShows(const tql_string& genre, const tql_string& channel);
    int getEpisodes(const tql_string& show);

    // The program data loop on the tick (tamberPdtLoop.cpp). A caller gives
    // a genre or a channel list and leaves the other NULL.
    int startPDT(const char* genre, const tql_chainedPDTChannels* channels);
    int stopPDT();
    void updatePdtLoop(const tql_string& genre, const tql_string& channels);
    static void on_PDTLoopTimeout(void* context, int id);

    // The service asked for the line-up to be read again.
    void forceLineupReload() { setState(CoreStateAuthenticated); }
    int norvaleResumeCall();
    // The one way a stream error reaches the host: hook, log, onError, and
    // the sticky message flags cleared so it is told once.
    void reportTamberError(int code, int playbackStopped, int responseCode);
    void printErrorCode(int code);
    // After a content request: true when the session was dead and was resumed,
    // so that the caller repeats its request once.
    bool sessionCheckAndUpdate();
    void on_tamberBypassModeChanged();
    void localBypassStatus(tql_bypassStatus* status);
    int triggerResetCurl() { return m_tamberRequest.resetCurl(); }

    TQLDeviceInfo& getDeviceInfo() { return m_deviceInfo; }
    TQLModuleResponseRouting* getRouting() const { return m_routing; }
    void setRouting(TQLModuleResponseRouting* routing) { m_routing = routing; }
    void setSession(const tql_string& sessionId, const tql_string& cookie)
    {
        m_sessionId = sessionId;
        m_sessionCookie = cookie;
    }
    const tql_string& getSessionId() const { return m_sessionId; }
    const tql_string& getSessionCookie() const { return m_sessionCookie; }
    int reauthenticate();
    // What the program data loop asked for, for its next turn.
    void rememberPdtRequest(const tql_string& genre, const tql_string& channels)
    {
        m_pdtGenre = genre;
        m_pdtChannels = channels;
    }

    TamberRequest& getTamberRequest() { return m_tamberRequest; }
    TamberCallback* getTamberCallback() { return m_callback; }
    CMTamberNodeResponder* getCurrentStreamer() { return m_streamer; }

private:
    // Calls the service; when its reply showed the session dead and the
    // session was resumed, asks once more and takes that answer.
    template <class Call>
    TQLResponse* withSessionRepeat(Call call)
    {
        TQLResponse* response = call();
        if (sessionCheckAndUpdate())
            response = call();
        return response;
    }
    int deliveredOrError(int result, tql_errorNotification* error);
    bool sessionFlagged() const;
    tql_chainedPresets* presetsFromCollation(TQLResponse* response, int* count, int failure, bool logAllocation);
    tql_chainedPausePoints* pausePointsFrom(TQLResponse* response, int* status);

    int norvaleRoutingCall();
    int norvaleConfigurationCall();
    int norvaleAuthenticationCall(const TamberAccount& account);
    int climbToAuthenticated(tql_errorNotification* error, const TamberAccount& account);
    int norvaleChannelListingCall();

    TQLDeviceInfo m_deviceInfo;
    TQLModuleResponseRouting* m_routing; // inside the routing response of the service client
    TamberRequest m_tamberRequest;
    TamberCallback* m_callback;
    CMTamberNodeResponder* m_streamer;
    int m_state;
    int m_maxInactivityTime;
    int m_audioOutputLatency;
    tql_mutex m_mutex;
    tql_string m_version;
    tql_string m_pdtGenre;
    tql_string m_pdtChannels;
    tql_timer* m_pdtTimer = nullptr;
    int m_pdtActive = 0;
    uint64_t m_pdtLastRun = 0; // ms since the epoch
    int64_t m_pdtInterval = 100000; // ms; the service's update frequency once it named one
    tql_string m_sessionId;
    tql_string m_sessionCookie;
};

#endif
