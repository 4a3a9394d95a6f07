#ifndef TAMBER_REQUEST_H
#define TAMBER_REQUEST_H

#include <cstdint>

#include "tamberResponse/tamberResponse.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"
#include "tamberTypes/tamberUrl.h"
#include "tqllib.h"

class tql_core;
class tql_json;
struct tokenRequestStrT;
struct tamberVariantUrls;
struct tamberChunk;
class TQLModuleResponseNowPlaying;
class TQLHlsAudioInfos;
class tokenDataT;
class TQLGUPCollationItem;
class TQLGlobalSettings;
class TamberClipSequencer;
class TQLModuleResponseTuneToDrav;
class TQLClip;
class TQLConsumeRequests;

// The request types: key of the error table and of message classification.
enum eRequestType {
    eRequestRouting = 0,
    eRequestAuth = 1,
    eRequestConfiguration = 2,
    eRequestChannelListing = 3,
    eRequestTuneLive = 4,
    eRequestTuneAod = 5,
    eRequestReserved = 6,
    eRequestTuneDrav = 7,
    eRequestNoop = 8,
    eRequestFavorites = 9,
    eRequestRecents = 10,
    eRequestCollation = 11,
    eRequestConsume = 12,
    eRequestOnDemand = 13,
    eRequestGeoLocation = 14,
    eRequestRefreshTracks = 15,
    eRequestSearch = 16,
    eRequestPdt = 17,
    eRequestEpisodes = 18,
    eRequestModify = 19,
    eRequestResume = 20,
    eRequestForYou = 21,
    eRequestForYouCarousel = 22
};

// The library's error numbers; the host's texts are in the public table.
enum TamberErrorCodes {
    tamberErrorNone = 0,
    tamberErrorGeneral = 1,
    tamberErrorConfiguration = 3,
    tamberErrorNotConfigured = 4,
    tamberErrorLineupArguments = 13,
    tamberErrorNoRouting = 14,
    tamberErrorTokenUpdate = 15,
    tamberErrorTokenUrlEmpty = 16,
    tamberErrorChannelUnavailable = 17,
    tamberErrorInvalidSession = 18,
    tamberErrorRecents = 20,
    tamberErrorFavorites = 21,
    tamberErrorCollation = 22,
    tamberErrorRecommendations = 23,
    tamberErrorPresets = 24,
    tamberErrorSearch = 25,
    tamberErrorPassword = 26,
    tamberErrorNoMemory = 30,
    tamberErrorChunkDownload = 32,
    tamberErrorLoggedElsewhere = 33,
    tamberErrorContentUnavailable = 34,
    tamberErrorStreamer = 35,
    tamberErrorStreamerStopped = 37,
    tamberErrorConnect = 45,
    tamberErrorAuthFailed = 49,
    tamberErrorCredentials = 50,
    tamberErrorRouting = 51,
    tamberErrorTooManyLogins = 52,
    tamberErrorSession = 53,
    tamberErrorLibraryVersion = 54,
    tamberErrorUnreachable = 55,
    tamberErrorPastDue = 56,
    tamberErrorNoSubscription = 57,
    tamberErrorAccountClosed = 58,
    tamberErrorEpisodeExpired = 59,
    tamberErrorResumeFailed = 405,
    tamberErrorSaveFavorites = 406,
    tamberErrorServerUnreachable = 500,
    tamberErrorIncompatibleAccount = 5260
};

// The flags of one error table line have the layout of the bypass record.
typedef tql_bypassStatus tql_errorLine;

// Headers of the current transfer. Texts keep what stood after the
// separator, a leading blank included.
struct tql_httpHeader {
    tql_string location;
    tql_string lastModified;
    tql_string errorMessage;
    tql_string version;
    int contentLength = 0;
    int errorCode = 0;
    int http10Status = 0;
    int http11Status = 0;
    tql_string cookie;
    tql_list<tql_string> notifications;

    void clear() { *this = tql_httpHeader(); }
};

// A relative URL of the configuration: placeholder name and what it stands for.
struct TQLRelativeUrlsItem {
    tql_string name;
    tql_string url;
};

// What the service packs into the file name of an audio chunk.
struct tamberChunkName {
    tql_string name;     // asset part
    int bitRate = 0;     // bits per second
    uint8_t keyIndex = 0; // 0 plain, 1 to 4 the stream key
    int seqNum = 0;
    tql_string seqText;
};

// The one object through which the library talks HTTP. A reply travels one
// of three ways: a service call's JSON is parsed while it arrives, an index
// or key file is buffered, an audio chunk is streamed through the decryptor.
class TamberRequest {
public:
    static const unsigned int kBufferSize = 409600;

    explicit TamberRequest(tql_core* core);
    virtual ~TamberRequest();
    TamberRequest(const TamberRequest&) = delete;
    TamberRequest& operator=(const TamberRequest&) = delete;

    // 1 when the transfer ran (also when it failed on the transport: see
    // m_networkError and the reply), 0 when it was not made.
    int tamberRequest(const tql_url& url, int method, const tql_string& data, int connectTimeout,
                      int totalTimeout);
    static size_t rcvHeaders(void* data, size_t size, size_t count, void* self);
    static size_t curlWriteFunc(void* data, size_t size, size_t count, void* self);

    int parseHttpHeader(const tql_bytearray& raw, tql_httpHeader& header);
    tql_list<tql_string> parseNotifications(const tql_string& text);
    void checkNotifications(const tql_list<tql_string>& list);
    int checkFile(tql_httpHeader& header, unsigned int bodyLength);
    tql_string replaceBaseUrl(const tql_list<TQLRelativeUrlsItem>& list, const tql_string& url);

    void clear();
    void clearToken();
    void clearBufferData();
    int resetCurl();
    tql_string getGupId() const { return m_gupId; }
    TQLResponse* tamberFaultResponse() { return m_faultResponse; }

    void setLibraryErrorResponse(int code, int serverCode);
    // Copies the library error and the service code; the rest of out is untouched.
    void getErrorResponse(tql_errorNotification* out) const;
    // Puts back a record read with getErrorResponse, without a log line.
    void restoreErrorResponse(const tql_errorNotification& saved);

    // Server messages.
    void initErrorTable();
    tql_errorLine getErrorTableLine(eRequestType type) const;
    int tamberNorvaleCheckMessages(const tql_list<TQLMessagesType>& messages, eRequestType type);
    void clearMessageFlags();

    tql_core* getCore() const { return m_core; }

    // Session calls. Null (or -1) on failure; getErrorResponse says why.
    TQLResponse* tamberNorvaleRouting(const tql_url& baseUrl);
    TQLResponse* tamberNorvaleConfiguration();
    TQLResponse* tamberNorvaleAuth(tql_bytearray username, tql_bytearray password);
    int tamberNorvaleNoOP();
    TQLResponse* tamberNorvaleResume(const tokenRequestStrT& request, tokenDataT& tokenData);
    void getRelativeUrls(tql_list<TQLRelativeUrlsItem>& out);

    // Tune: what the service plays for a request, with its variants and
    // the time the streaming URLs stay good.
    tql_url formRequestUrl(const tokenRequestStrT& request, int customOutput);
    TQLResponse* tamberNorvaleTune(tokenRequestStrT& request, tokenDataT& tokenData, int customOutput);
    // 1 good, -1 failed, -16 the session is gone and a new login is needed.
    int tamberStationToken(tokenRequestStrT& request, tokenDataT& tokenData, int retries, int customOutput);
    TQLResponse* tamberNorvaleTuneStartNow(const tql_string& channelId);
    tamberVariantUrls getVariantFilesHLSv2(tokenRequestStrT& request, tokenDataT& tokenData);
    // More clips for a clip channel; null on failure.
    TQLResponse* tamberRefreshTracks(const tql_list<TQLClip>& clips, int currentClipIndex,
                                     const tql_string& channelGuid, const tql_string& sessionId);

    // Files: index and key files are buffered (m_partialMode 0), audio chunks
    // stream through the decryptor into the engine (m_partialMode 1). url
    // follows a redirect for good.
    int tamberDownloadFile(tql_url& url, unsigned char** data, unsigned int* length, int retries, int sleepSeconds);
    void prepareFileChunkforDecrypt(tamberChunk& chunk);
    int partialHeaderHandler(const char* data, unsigned int length);
    int handlePartialEncData(unsigned char* buffer, unsigned char* data, unsigned int length);
    int handlePartialDecData(unsigned char* buffer, unsigned char* data, unsigned int length);
    int initPartialEncData(tql_bytearray key, tql_bytearray nonce, int sequenceNumber);
    int finishPartialEncData();
    int cryptoPaddingDataLen(unsigned char* data, unsigned int length);
    unsigned int reverseBytes(const tql_bytearray& bytes);
    tamberChunkName parseChunkName(tql_url url);

    // The line-up: each channel goes to the host while the reply is parsed.
    TQLResponse* tamberNorvaleChannelListing(const tql_string& moduleType, const tql_string& moduleArea);
    static int updateChannelCB(void* self, tql_content* content);

    // Content queries; module records come from the handlers the router makes.
    TQLResponse* tamberNorvaleRecentsCarousel();
    TQLResponse* tamberNorvaleFavoritesCarousel();
    TQLResponse* tamberNorvaleRetrieveForYouCarousel();
    TQLResponse* tamberNorvaleRetrieveGUPCollation(int collationType);
    TQLResponse* tamberNorvaleRetrieveForYou();
    TQLResponse* tamberNorvaleOnDemand(const tql_string& page, const tql_string& count, const tql_string& genre,
                                       const tql_string& channelId);
    TQLResponse* tamberSearch(const tql_string& term);
    int tamberNorvaleCheckGeoLocation(const tql_string& channelId, const tql_string& episodeCaId);
    TQLResponse* tamberNorvalePDTRequest(const tql_string& category, const tql_string& channelIds);
    TQLResponse* tamberNorvaleGetEpisodes(const tql_string& showId);

    // Profile writes (request type 19). The preset update answers with the
    // collation, in m_norvalecollation, and so replaces the last one read.
    TQLResponse* tamberNorvaleUpdateUserPresets(tql_chainedPresets* presets);
    TQLResponse* tamberNorvaleSetFavorites(tql_list<TQLGUPCollationItem>& favorites);
    TQLResponse* tamberNorvaleClearRecents();
    TQLResponse* tamberNorvaleSetGlobalSettings(TQLGlobalSettings& settings);

    // Consumption reports (request type 12): one module per non-empty list.
    TQLResponse* tamberV2NorvaleConsume(tql_list<TQLConsumeRequests>& first, tql_list<TQLConsumeRequests>& second);
    TQLResponse* tamberV4NorvaleConsume(tql_list<TQLConsumeRequests>& first, tql_list<TQLConsumeRequests>& second);

    tql_core* m_core;
    unsigned char* m_buffer;
    unsigned int m_bufferSize;
    unsigned int m_bufferLength;
    tql_bytearray m_headerData;
    unsigned int m_partialEncOffset;
    unsigned int m_partialDecOffset;
    unsigned int m_partialDecLength;
    unsigned int m_partialContentLength;
    tql_string m_gupId;
    void* m_curlHandle;
    int m_partialMode;
    tql_json* m_jsonParser;
    tql_Error m_jsonError; // the last parse failure of a service call
    struct {
        int errorCode;
        int responseCode;
    } m_errorResponse;
    TQLResponse* m_norvalerouting;
    TQLResponse* m_norvaleconfiguration;
    TQLResponse* m_norvaleauth;
    TQLResponse* m_norvalechannels;
    TQLResponse* m_norvaletune;
    TQLResponse* m_norvaletunestart;
    TQLResponse* m_norvalenoop;
    TQLResponse* m_norvalerecents;
    TQLResponse* m_norvalefavorites;
    TQLResponse* m_norvalecollation;
    TQLResponse* m_norvaleforyou;
    TQLResponse* m_norvaleconsume;
    TQLResponse* m_norvaleondemand;
    TQLResponse* m_faultResponse;
    TQLResponse* m_norvalesearch;
    tql_bypassStatus m_bypassStatus;
    TQLResponse* m_norvalepdt;
    tql_list<tql_string> m_cookies;
    unsigned char m_requestInProgress;
    tql_httpHeader m_httpHeader;
    TQLResponse* m_norvaleepisodes;
    TQLResponse* m_norvalespare;
    TQLResponse* m_norvaleclearrecents;
    TQLResponse* m_norvalesetfavorites;
    TQLResponse* m_norvalesetsettings;
    int m_networkError;
    // Sticky message flags, set by reply messages and cleared together.
    int m_sessionInvalid;
    int m_simultaneousLogin;
    int m_noTracks;
    int m_contentNotAvailable;
    int m_badCredentials;
    int m_loginAttempts;
    int m_noSubscription;
    int m_pastDue;
    int m_authRequired;
    int m_accountClosed;
    int m_notCompatible;
    int m_episodeExpired;
    tql_list<tql_pair<eRequestType, tql_list<int>>> m_errorTable;
    // How far m_buffer may hold bytes other than 0: every byte from here on
    // is zero. clearBufferData zeroes only up to it, so a chunk of 33 KB
    // costs 33 KB of clearing, not the whole 400 KB, and the buffer still
    // reads as zeroed behind whatever arrives next.
    unsigned int m_bufferDirty;

private:
    void appendToBuffer(const void* data, unsigned int length);
    // The common frame of a service call; limits in seconds.
    bool serviceUrl(const char* path, tql_url& url);
    TQLResponse* sendServiceCall(TQLResponse*& slot, const tql_url& url, int method, const tql_string& body,
                                 tql_channelCallBackIf* callback, int connectTimeout = 10, int totalTimeout = 25);
    TQLResponse* consumeCall(const char* path, const char* urlLog, tql_list<TQLConsumeRequests>& first,
                             tql_list<TQLConsumeRequests>& second);
    struct QueryFailure {
        const char* call;    // name in the log lines
        int afterTransport;  // error after 55 when the request could not be made; 0 keeps 55
        int sessionInvalid;  // error when the reply is refused on a dead session
        int otherwise;       // error when it is refused otherwise
        bool withCode;       // the service code goes with the error
    };
    TQLResponse* runQuery(TQLResponse*& slot, const tql_url& url, int method, const tql_string& body,
                          eRequestType type, const QueryFailure& failure, tql_channelCallBackIf* callback);
    void takeNowPlaying(const TQLModuleResponseNowPlaying& playing, tokenRequestStrT& request, tokenDataT& tokenData,
                        TQLResponse& response);
    void tuneFailure(TQLResponse& response, int code);
    TamberClipSequencer* clipSequencer() const;
    void takeDravTune(const TQLModuleResponseTuneToDrav& drav, int append, tokenDataT* tokenData,
                      TQLResponse& response);
    void refreshFailure(TQLResponse& response, int code);
    void takeVariant(const tql_list<TQLRelativeUrlsItem>& relative, const TQLHlsAudioInfos& info, tql_url& target,
                     bool primary);
    size_t writeBody(const unsigned char* data, size_t n);
    int partialContentHandler(const unsigned char* data, unsigned int length);
    enum class DownloadStep { Done, Final, Redirected, Failed };
    DownloadStep downloadStep(tql_url& url, unsigned char** data, unsigned int* length);
    int currentKeyIndex() const;
    void resetResponses(std::initializer_list<TQLResponse*> responses);
    void resetTransferState();
};

#endif
