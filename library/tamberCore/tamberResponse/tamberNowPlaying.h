#ifndef TAMBER_NOW_PLAYING_H
#define TAMBER_NOW_PLAYING_H

// The record of a tune reply: variants, chunk keys, the marker timeline and
// the consumption token.

#include <cstdint>

#include "tamberResponse/tamberRecords.h"
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

// The skip rules of an episode.
class TQLDmcaInfo {
public:
    virtual ~TQLDmcaInfo() {}

    tql_string irNavClass;
    tql_string playOnSelect;
    int maxFwdSkips = 0;
    int maxBackSkips = 0;
    int fwdSkipDur = 0;
    int backSkipDur = 0;
    int maxTotalSkips = 0;
    int maxSkipDur = 0;
};

// One item of the timeline: a cut, an episode or a segment.
class TQLMarker {
public:
    virtual ~TQLMarker() {}

    tql_string assetGUID;
    tql_string consumptionInfo;
    tql_string layer;
    int time = 0;
    tql_string timestamp;
    tql_string containerGUID;
    int duration = 0;
    tql_string title; // the cut's title or the episode's long title, whichever came last
    tql_string artistName;
    tql_string artistPersonGuid;
    tql_string albumTitle;
    tql_string showLongTitle; // the last show seen in this module, not necessarily this marker's
    tql_string showGUID;      // live only
    tql_list<TQLImage> creativeArts;
    tql_string clipGUID;
    tql_string longDescription;
    tql_string legacyShortId; // live only
    tql_string segmentType;   // live only
    TQLDmcaInfo dmcaInfo;
};

// The markers of one layer.
class TQLMarkerList {
public:
    virtual ~TQLMarkerList() {}

    tql_string layer;
    tql_list<TQLMarker> markers;
};

class TQLCuePointList {
public:
    virtual ~TQLCuePointList() {}

    tql_string assetGUID;
    int active = 0;
    tql_string layer;
    tql_string time; // one character only: the low byte of the number sent
    tql_string timestamp;
    tql_string event;
    tql_string markerGuid;
};

class TQLModuleResponseNowPlaying : public TQLModuleResponseBase {
public:
    void clear() override { *this = TQLModuleResponseNowPlaying(); }

    int updateFrequency = 0;
    tql_string wallClockRenderTime;
    tql_list<TQLHlsAudioInfos> hlsAudioInfos;
    tql_list<TQLCustomAudioInfos> customAudioInfos;
    tql_list<TQLMarkerList> markerLists;     // one per layer
    tql_list<TQLCuePointList> cuePointLists; // one per cue point
    tql_string hlsConsumptionInfo;
    tql_string channelId;
    int64_t pausePointOffset = 0; // on demand only
    int aodEpisodeCount = 0;
};

// Reads the live and the on-demand variant of a tune reply. Both share one
// shape under different roots; moduleType says which one is coming, so it
// has to arrive before moduleResponse.
class TQLModuleResponseNowPlayingHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseNowPlayingHandler(TQLResponse* response);

    int handleBoolean(const char* path, int value) override;
    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

    int handleStringLive(const char* path, const tql_string& value);
    int handleStringAOD(const char* path, const tql_string& value);
    int handleNumberLive(const char* path, double value);
    int handleNumberAOD(const char* path, double value);
    int handleBooleanLive(const char* path, int value);
    int handleBooleanAOD(const char* path, int value);
    int handleEndMapLive(const char* path);
    int handleEndMapAOD(const char* path);

private:
    TQLModuleResponseNowPlaying* record() { return static_cast<TQLModuleResponseNowPlaying*>(m_moduleResponse); }

    // The shared tables: `at` is the path below the variant's root.
    void takeString(const char* at, const tql_string& value, bool live);
    void takeMarkerString(const char* at, const tql_string& value, bool live);
    void takeNumber(const char* at, double value, bool live);
    void takeBoolean(const char* at, int value);
    void endMapBelowRoot(const char* at, bool live);
    void finishMarker(bool live);

    TQLHlsAudioInfos m_hlsAudio;
    TQLCustomAudioInfos m_customAudio;
    TQLChunk m_chunk;
    TQLCuePointList m_cuePoint;
    TQLMarker m_marker;
    TQLImage m_image;
    tql_list<TQLChunk> m_chunks;
    TQLMarkerList m_markerList;
    tql_string m_markerListLayer; // the last layer key seen
    tql_string m_showLongTitle;   // kept from marker to marker until the module ends
    tql_string m_showGuid;
    int m_isAod = 0;
};

#endif
