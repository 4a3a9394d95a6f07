#ifndef TAMBER_NODE_RESPONDER_H
#define TAMBER_NODE_RESPONDER_H

#include "requestDocuments/requestDocuments.h"
#include "tamberChunk.h"
#include "tamberClipSequencer.h"
#include "tamberMetadata.h"
#include "tamberPlaylistParser.h"
#include "tamberTokens.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberMutex.h"
#include "tamberTypes/tamberTimer.h"
#include "tqllib.h"

class tql_core;
class TamberRequest;
class TQLChunk;
class TQLMarker;
class TQLModuleResponseNowPlaying;
class tql_dmcaRules;
struct TQLRelativeUrlsItem;
struct tamberChunkName;

// Results of the engine's operations (TamberErrorCodes are another set).
enum tql_respondResult {
    respondOk = 1,
    respondNothing = 0,        // no chunk to add: the turn ends quietly
    respondError = -1,         // the caller finalizes
    respondWriteClosed = -7,   // the host closed its pipe
    respondRestartLoop = -9,   // recoverable: next turn in 100 ms
    respondStreamFinished = -18,
    respondRecoverable = -19,  // variant file unusable while audio is buffered
    respondPauseTooLong = -21, // the paused position left the live buffer
    clipNoMore = -30
};

// Results of the skip calls, into the host through the segment functions.
enum tql_skipResult {
    skipNoBuffer = -1,
    skipNoTrack = -3,
    skipDisallowed = -4,
    skipBufferTooSmall = -8,
    skipAlreadyLive = -17,
    skipLimitReached = -118,
    skipNoSegment = -119
};

enum tql_tuneType { tuneTypeLive = 0, tuneTypeStart = 1, tuneTypeTimeShifted = 2, tuneTypeClip = 3 };

// The streaming engine: turns a tune request into a timed run of index
// fetches, chunk downloads and audio writes, one loop turn per timer tick.
// It lives as long as the core; respondWorkerInit arms it for one channel
// or episode and respondWorkerFinalize disarms it.
class CMTamberNodeResponder {
public:
    static const int kWorkerTimerId = 3;
    static const int kRefreshTimerId = 6;
    static const int kConsumeTimerId = 7;
    static const int kRefreshPeriodMs = 60000;
    static const int kLoopPeriodMs = 3000;
    static const int kRestartPeriodMs = 100;
    static const int kConsumePeriodMs = 240000;
    static const int kFirstNoopTimeoutMs = 20000;

    enum State { StateNew = 0, StateStopped = 1, StatePlaying = 2, StatePaused = 3 };

    explicit CMTamberNodeResponder(tql_core* core);
    virtual ~CMTamberNodeResponder();
    CMTamberNodeResponder(const CMTamberNodeResponder&) = delete;
    CMTamberNodeResponder& operator=(const CMTamberNodeResponder&) = delete;

    tql_core* getCore() const { return m_core; }

    // Lifecycle and the loop.
    int respondWorkerInit(tql_channel_ctx* ctx, const tokenRequestStrT& request);
    int respondWorkerLoop();
    static void on_workerLoopTimeout(void* self, int id);
    void respondWorkerFinalize(int code, int detail);
    int getMode() const { return m_tokenRequest.mode; }
    unsigned getStreamBitRate() const { return m_streamBitRate; }
    int getState() const { return m_state; }

    // Token and session upkeep.
    int tuneChannel(int update);
    int callNOOP(int resumeOnFailure, int force);
    int tokenRequiresUpdate();
    void triggerTokenUpdate();
    void triggerNoopUpdate();
    void triggerChunkListUpdate() { m_lastChunkListUpdateMs = 0; }
    int dataLeftToPLay();
    int reauthenticate();
    int restorePlayback();
    int userPause(int pause);
    tamberTime getStartTimeOfCurrentTrack_fromHPDT() { return tamberTime(static_cast<uint64_t>(-1)); }
    void requestNextClip() {}
    int sendAudioData();

    // The chunk list: index fetches and the entries that go on to download.
    int updateChunkList();
    int getIndexFile();
    int updateChunkFileList();
    int appendNewChunks();
    void appendNewChunksAccordingStartTime(tamberTime start, int limit, int replace);
    int synchronizeChunkForAltServer();

    // Chunk download and keys.
    int requestChunkDownload(int single);
    int doDownloadChunk(tamberChunk& chunk, int single);
    int downloadFirstChunk();
    int requestContentKeys();
    int bitRateSwitchCheck(const tamberChunk& chunk);

    // The metadata timeline and the timebar.
    void handleMetadata(tamberChunk& chunk);
    void updateMetadata();
    TamberMetadata buildMetadata(const TQLMarker& marker);
    TQLMarker findMarkerItemByTimestamp(unsigned long ms, int layer, int move);
    TQLMarker findMarkerItemByAssetGUID(int layer, const tql_string& guid);
    tql_string findAlbumArt(const TQLMarker& marker);
    tql_string findConsumptionInfo(const TQLMarker& marker);
    tql_string currentClipConsumptionInfo();
    void checkDmcaAndTimebar(const TQLMarker& marker, TQLMarker& episode);
    void createTimebarInfo(tql_timebarData* data, const tql_string& guid);
    int on_playTimeChangedResponder(unsigned ms);
    void propagateStreamMetadataResponder(const TamberMetadata& metadata);
    void on_streamMetadataResponder(const TamberMetadata& metadata);

    // Skipping: answers in the host's buffer, within the asset's rules.
    int getNextSegment(char* buffer, int length);
    int getPreviousSegment(char* buffer, int length);
    tql_string findSkipMarkerLayerData(int forward, tql_string& time, int navClass, int markerType);
    void triggerGoLive();
    tql_string findShowLayerData();
    int getShowStartGuid(char* buffer, int length);
    void findShowStartEndTimestamp(tql_string& start, tql_string& end);

    // Stages of a turn that the consumption and clip parts of the engine
    // carry out.
    void reportV2Consume(int userAction, int transition);
    void reportV4Consume(int userAction, int transition);
    static void on_consumeUpdateTimeout(void* self, int id);
    void setConsumeMode(const TamberMetadata& metadata);

    // Clip channels: the clip sequencer's list played clip after clip.
    int tuneDravChannel(int update);
    int handleClipMetadata();
    TamberMetadata buildClipMetadata(const TQLClip& clip, const tql_string& channelName);
    int getNextClip(char* buffer, int length);
    int getPreviousClip(char* buffer, int length);
    void createClipDmcaInfo(const tql_string& id);

    // When the tiles of a list go stale; the notification repeats every
    // minute from then until a new list sets a new time.
    void setExpireTimestamp(tql_moduleType module, const tamberTime& expiry);
    static void on_refreshNotificationTimerTimeout(void* self, int id);

    // Audio output: the decrypted pieces of the current chunk go to the
    // host's write function with the ID3 tag and any cut bytes removed.
    // What the host does not take waits here, by pointer.
    int handleAudioStream(unsigned char* buffer, unsigned char* data, unsigned int length);
    int sendData();
    void skipID3tag(unsigned char** data, unsigned int* length);
    int adtsSync(unsigned char** data, unsigned int* length);
    unsigned long skipData(bool* resync, unsigned long toSkip, unsigned char** data, unsigned int* length);
    static unsigned chunkCutBytes(unsigned bitRate, unsigned ms);

    tql_core* m_core;
    uint64_t m_lastChunkTimestampMs = 0;
    uint32_t m_chunkDurationMs = 0;
    tokenDataT m_tokenData;
    tql_list<tql_roles> m_nextChunks;
    tokenRequestStrT m_tokenRequest;
    int32_t m_lastListedSeqNum = 0;
    int32_t m_lastDownloadedSeqNum = 0;
    tql_string m_lastClipChunkName;
    int32_t m_lastListedSeqNumCopy = 0;
    int m_bitRateDecision = 0;
    int m_bitRateCurrent = 256000;
    int m_bitRateMaximum = 256000;
    int m_steadyState = 0;
    tql_list<tql_roles> m_variantFileList;
    TamberRequest* m_tamberRequest;
    TamberPlaylistParser* m_playlistParser;
    uint32_t m_chunkListUpdateSeconds = 0;
    int m_terminate = 0;
    int m_streamIndex = 0;
    int m_syncAltServer = 0;
    tql_timer* m_workerLoopTimer;
    tql_timer* m_consumeTimer;
    tql_timer* m_refreshTimer;
    tamberChunk m_currentChunk;
    uint32_t m_decryptedChunkLength = 0;
    uint64_t m_prevChunkTimestampMs = 0;
    uint64_t m_firstChunkTimestampMs = 0;
    uint64_t m_lastMarkerTimestampMs = 0;
    int32_t m_currentSeqNum = 0;
    tql_channel_ctx m_channelCtx{};
    uint32_t m_streamBitRate = 0;
    int m_busy = 0;
    uint64_t m_pausedDurationMs = 0;
    int m_firstMetadataDone = 0;
    int m_tuneInPending = 0;
    tql_list<TamberMetadata> m_metadataQueue;
    tql_list<tql_roles> m_chunkFileList;
    tql_list<tamberTimePair_t> m_segmentTimestamps;
    uint64_t m_currentTrackTimestampMs = 0;
    uint64_t m_showEndTimestampMs = 0;
    tamberTime m_expireTimestamp[3];
    TamberClipSequencer m_clipSequencer; // survives a stop: the same channel resumes at its clip
    int m_defaultStreamIndex = 2;
    int m_requestedStreamIndex = 0;
    tql_mutex m_streamMutex;
    int m_indexFileRequired = 0;
    tql_dmcaRules* m_dmcaRules; // lives as long as the engine: allowances survive a retune
    uint64_t m_lastChunkListUpdateMs = 0;
    // Consumption reports: the record that closes the last period and the
    // one that opens the next, each with its kind of channel.
    TQLConsumeRequests m_prevConsume;
    tql_string m_prevConsumeMode;
    TQLConsumeRequests m_curConsume;
    tql_string m_curConsumeMode;
    tql_string m_skipDirection;
    tql_string m_defaultIcon;
    int32_t m_cutLayerIndex = 0;
    int32_t m_episodeLayerIndex = -1;
    int32_t m_segmentLayerIndex = -1;
    int m_state = StateNew;
    int m_tokenErrorCount = 0;
    uint32_t m_playTimeMs = 0;
    uint32_t m_bufferedMs = 0;
    uint64_t m_heardUntilMs = 0; // stream time up to which whole frames reached the host
    int m_resyncByTime = 0;      // a recovery is under way: listed audio the host has is passed over
    int m_indexFailures = 0;     // index refreshes in a row that gave no list

    // The stream index pair is the one state that another thread writes
    // (tql_selectStreamIndex), so every access takes the stream mutex.
    int streamIndex();
    void setStreamIndexes(int index); // both to the same value
    int stepStreamIndexes();          // both one up; gives the new stream index

private:
    void reportConsume(int userAction, int type, bool v4);
    void setConsumeWords(int userAction, int type, bool v4);
    void setConsumeTimes(int type);
    void resetForPlayback(const tokenRequestStrT& request);
    void clearPlayback();
    void armLoop(int periodMs);
    void finalizeWithLastError();
    int takeTuneResponse(int update);
    void scanMarkerLayers();
    const TQLModuleResponseNowPlaying* tunedRecord(const char* badResponse, const char* noModule,
                                                   const char* castFail) const;
    const tql_list<TQLMarker>* markersOf(int layer, const char* noModule, const char* beyondLists) const;
    void queueNewMarkers(const tql_list<TQLMarker>& markers, const tamberChunk& chunk);
    void fillTimebarSegments(tql_timebarData* data);
    int layerOf(int markerType) const;
    int limitReached(char* buffer, int length, const tql_string& guid, bool forward);
    int skipAllowance(char* buffer, int length, bool forward, int& navClass, int& left);
    int tokenFailure();
    tamberChunkName nameOf(const tql_roles& entry);
    tql_roles withCurrentKeys(const tql_roles& entry) const;
    int indexFileFailed();
    bool refillFromHeldIndex();
    int switchStreamAfterFailure(const tamberChunk& chunk);
    int fetchKey(const tql_url& location, tql_bytearray& key);
    int takeFourthKey(const TQL_HlsInfo& carrier, const tql_string& base);
    void takeAfKey(const TQLChunk& af, const tql_list<TQLRelativeUrlsItem>& relative);
    int dravTuneAttempt(int update, bool previousFailed);
    int takeDravVariants();
    void clipEndReached();
    int clipSkipAnswer(char* buffer, int length, bool forward);
    bool bufferingClipOwns(const tamberChunkName& parsed);
    void bufferNextClip();
    void clipChunksFetched();
    // The frame gate of the audio output.
    void checkFrames();
    void dropHead(uint32_t bytes);
    bool cutHeardFrame();
    void handedOver(uint32_t written);
    void noteHeard();
    void transferEnded();
    bool heardInFull(tamberChunk& chunk, int durationSeconds);
};

#endif
