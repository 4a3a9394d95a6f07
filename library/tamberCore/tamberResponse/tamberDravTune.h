#ifndef TAMBER_DRAV_TUNE_H
#define TAMBER_DRAV_TUNE_H

// The tune reply of a clip channel: the channel with its skip rules, the
// clips to play in sequence, and the session id that a later refresh of the
// clip list hands back.

#include "tamberResponse/tamberNowPlaying.h"
#include "tamberResponse/tamberRecords.h"
#include "tamberResponse/tamberResponse.h"

class TQLDravChannel {
public:
    virtual ~TQLDravChannel() {}

    tql_string channelName;
    tql_string channelGuid;
    tql_string channelId;
    tql_string channelImageUrl;
    tql_string channelLastUpdated;
    TQLDmcaInfo dmcaInfo;
    tql_list<TQLClip> clips;
    tql_string playlistSource;
};

class TQLModuleResponseTuneToDrav : public TQLModuleResponseBase {
public:
    void clear() override { *this = TQLModuleResponseTuneToDrav(); }

    int updateFrequency = 0;
    tql_string sequencerSessionId;
    TQLDravChannel m_channel;
    tql_list<TQLCustomAudioInfos> customAudioInfos;
};

// Reads the clip channel's reply. Crossfade data of the service is named by
// the path table but dropped on purpose.
class TQLModuleResponseTuneToDravHandler : public TQLModuleHandlerBase {
public:
    static const char* const scPath_crossfade;
    static const char* const scPath_customAudioPosition;

    explicit TQLModuleResponseTuneToDravHandler(TQLResponse* response);

    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

private:
    TQLModuleResponseTuneToDrav* record() { return static_cast<TQLModuleResponseTuneToDrav*>(m_moduleResponse); }
    bool takeChannelString(const char* at, const tql_string& value);
    bool takeClipString(const char* at, const tql_string& value);
    bool takeCustomAudioString(const char* at, const tql_string& value);

    tql_string m_sequencerSessionId;
    TQLDravChannel m_channel;
    TQLClip m_clip;
    TQLCustomAudioInfos m_customAudio;
    TQLChunk m_chunk;
    tql_list<TQLChunk> m_chunks;
    tql_list<TQLCustomAudioInfos> m_customAudioInfos;
};

#endif
