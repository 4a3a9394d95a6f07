#ifndef TAMBER_TOKENS_H
#define TAMBER_TOKENS_H

#include <cstdint>

#include "tamberResponse/tamberNowPlaying.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"
#include "tamberTypes/tamberUrl.h"

// What a tune asks for. The core fills it; the engine keeps a copy.
struct tokenRequestStrT {
    tql_string channelName;
    tql_string channelId;
    tql_string caId;
    int useAlternateServer = 0;
    int64_t pausedAtMs = 0;
    tql_string sessionText;
    tql_string timestamp;
    tql_string assetGuid;
    int mode = 0; // 0 live, 1 on demand, 2 clip channel
    int tuneType = 1;
    tql_string episodeGuid;
    tql_string pausedTimestamp;
    int firstChunkDone = 0;
    int64_t episodeDurationMs = 0;
    int64_t pausePointOffset = 0;
    int liveStart = 0;
    int reserved = 0;
};

// What a token gave: keys, validity and the variants of the last tune.
class tokenDataT {
public:
    virtual ~tokenDataT() {}

    int tokenTimeoutMs = 0;
    tql_bytearray keys[4]; // by key index 1 to 4; key 1 starts as the fixed key
    int64_t tokenTimestampMs = 0;
    int64_t tuneStartMs = 0;
    int64_t lastNoopMs = 0;
    int64_t noopTimeoutMs = 0;
    int useAlternateServer = 0;
    tql_list<TQLHlsAudioInfos> hlsAudioInfos;
    tql_list<TQLCustomAudioInfos> customAudioInfos;
};

// The index files a playback reads, on the primary and the secondary server.
struct tamberVariantUrls {
    tql_url primary;
    tql_url secondary;
    tql_url reserved1; // never filled
    tql_url reserved2;
};

#endif
