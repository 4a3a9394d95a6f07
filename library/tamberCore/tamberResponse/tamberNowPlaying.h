#ifndef TAMBER_NOW_PLAYING_H
#define TAMBER_NOW_PLAYING_H

// The record of a tune reply: variants, chunk keys, the marker timeline and
// the consumption token.

#include "tamberResponse/tamberResponse.h"
#include "tamberTypes/tamberByteArray.h"

class TQLHlsAudioInfos {
public:
    virtual ~TQLHlsAudioInfos() {}

    tql_string name;
    tql_string url;
    tql_string size;
};

class TQLChunk {
public:
    virtual ~TQLChunk() {}

    tql_string url;
    tql_string timestamp;
    int offset = 0;
    tql_bytearray key; // the bytes of the text as sent
    tql_string keyUrl;
};

class TQLCustomAudioInfos {
public:
    virtual ~TQLCustomAudioInfos() {}

    tql_string name;
    tql_string url;
    tql_string size;
    tql_string positionTimestamp;
    tql_string position;
    tql_list<TQLChunk> chunks;
};

class TQLModuleResponseNowPlaying : public TQLModuleResponseBase {
public:
    void clear() override { *this = TQLModuleResponseNowPlaying(); }

    int updateFrequency = 0;
    tql_string wallClockRenderTime;
    tql_list<TQLHlsAudioInfos> hlsAudioInfos;
    tql_list<TQLCustomAudioInfos> customAudioInfos;
    tql_string hlsConsumptionInfo;
    tql_string channelId;
    int64_t pausePointOffset = 0;
    int aodEpisodeCount = 0;
};

class TQLModuleResponseNowPlayingHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseNowPlayingHandler(TQLResponse* response);
};

#endif
