#ifndef TAMBER_RESPONSE_H
#define TAMBER_RESPONSE_H

#include "requestDocuments/tqlModule.h"
#include "tamberJson/tamberJson.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"
#include "tqllib.h"

// Numbers reach records truncated toward zero; values outside int (valid
// JSON all the same) saturate instead of being undefined.
int truncToInt(double value);

// One message of a reply's envelope.
class TQLMessagesType {
public:
    TQLMessagesType() : m_code(0), m_codeText(""), m_message("") {}
    virtual ~TQLMessagesType() {}

    int m_code;
    tql_string m_codeText; // the code when it came as a string
    tql_string m_message;
};

// Base of the typed records that module handlers build.
class TQLModuleResponseBase {
public:
    virtual ~TQLModuleResponseBase() {}
    virtual void clear() {} // back to the newly made state
};

// A parsed reply: the envelope and the module records. Owns every module
// record it holds; one object serves one call family and is reset per call.
class TQLResponse {
public:
    TQLResponse();
    virtual ~TQLResponse();
    TQLResponse(const TQLResponse&) = delete;
    TQLResponse& operator=(const TQLResponse&) = delete;

    void reset();

    tql_list<TQLMessagesType> m_messages;
    int m_status;
    tql_list<TQLModule> m_modules;
    int m_updateFrequency;
    tql_string m_wallClockRenderTime;
    int m_remainingLockoutMinutes;
    int m_remainingLockoutSeconds;

private:
    void releaseModules();
};

// The first module record of a reply as the class a caller expects; null
// when there is none or it is of another class.
template <class Record>
Record* firstModule(TQLResponse* response)
{
    if (!response || response->m_modules.empty())
        return nullptr;
    return dynamic_cast<Record*>(response->m_modules.front().m_moduleResponse);
}

// A function that the listing handlers call with each record while parsing.
struct tql_channelCallBackIf {
    int (*function)(void* context, tql_content* content);
    void* context;
};

// Base of the module handlers. Each event comes with the path of its value;
// the default of every event is to go on.
class TQLModuleHandlerBase {
public:
    explicit TQLModuleHandlerBase(TQLResponse* response);
    virtual ~TQLModuleHandlerBase();

    virtual int handleNull(const char* path);
    virtual int handleBoolean(const char* path, int value);
    virtual int handleNumber(const char* path, double value);
    virtual int handleString(const char* path, const tql_string& value);
    virtual int handleMapKey(const char* path, tql_bytearray& key);
    virtual int handleStartMap(const char* path);
    virtual int handleEndMap(const char* path);
    virtual int handleStartArray(const char* path);
    virtual int handleEndArray(const char* path);

protected:
    // At the end of a module: the record goes to the reply, which owns it from then on.
    void storeModule();
    // moduleArea and moduleType, which every handler keeps; true when the path was one of them.
    bool takeEnvelopeString(const char* path, const tql_string& value);

    TQLResponse* m_response;
    TQLModuleResponseBase* m_moduleResponse;
    TQLModule m_module;
};

enum tql_handlerType {
    handlerBoolean = 0,
    handlerNumber = 1,
    handlerString = 2,
    handlerStartMap = 3,
    handlerEndMap = 4
};

// The JSON handler of every service call. It keeps the current position as a
// path, reads the envelope, makes the module handler when a selecting value
// arrives, replays to it what came before and passes on what follows.
class TQLResponseHandler : public tamberJsonHandlerIf {
public:
    static const unsigned int kPathSize = 1024;
    // What a reply may hold before its module type: a service sends its
    // envelope and a few module fields there, so a reply past these limits is
    // refused rather than kept in memory that grows with its size.
    static constexpr size_t kHeldEventLimit = 8192;
    static constexpr size_t kHeldTextLimit = 512 * 1024; // bytes of held paths and strings
    static constexpr size_t kMessageLimit = 64;      // envelope messages of one reply
    static const char* const scPath_root;
    static const char* const scModule_routing;
    static const char* const scModule_auth;
    static const char* const scModule_config;
    static const char* const scModule_channelListing;
    static const char* const scModule_tune;
    static const char* const scModule_dravTune;
    static const char* const scModule_search;
    static const char* const scModule_forYouCarousel;
    static const char* const scModule_favoritesCarousel;
    static const char* const scModule_recentsCarousel;
    static const char* const scModule_resume;
    static const char* const scModule_noop;
    static const char* const scModule_AODListing;
    static const char* const scModule_PDT;
    static const char* const scModule_episodeListing;
    static const char* const scKey_recommender;

    TQLResponseHandler(TQLResponse* response, tql_channelCallBackIf* callback);
    virtual ~TQLResponseHandler();
    TQLResponseHandler(const TQLResponseHandler&) = delete;
    TQLResponseHandler& operator=(const TQLResponseHandler&) = delete;

    int handleNullIf() override { return 1; }
    int handleBooleanIf(int value) override;
    int handleNumberIf(double value) override;
    int handleStringIf(const tql_string& value) override;
    int handleMapKeyIf(const unsigned char* key, unsigned int length) override;
    int handleStartMapIf() override;
    int handleEndMapIf() override;
    int handleStartArrayIf() override { return 1; }
    int handleEndArrayIf() override;

    int pathAppend(const unsigned char* text, unsigned int length);
    void pathTakeLast();
    const char* printPath(int level) const;
    int pathDepth() const;
    TQLModuleHandlerBase* moduleHandler() const { return m_moduleHandler; }

protected:
    // The handler for a selecting value, or null when the value selects none.
    virtual TQLModuleHandlerBase* createModuleHandler(const tql_string& value);
    // The handler made by the presence of a key under moduleResponse, or null.
    virtual TQLModuleHandlerBase* createHandlerForKey(const char* shortPath);

    TQLResponse* m_response;
    tql_channelCallBackIf* m_callback;

private:
    void selectModulHandler(const tql_string& value);
    void processTmpModulHandler();
    void clearHeld();
    // Room for one more held event with this much text; false refuses the reply.
    bool holdRoom(size_t textBytes);
    bool isShowList(const char* fullPath) const;

    char* m_path;
    unsigned int m_pathLength;
    TQLModuleHandlerBase* m_moduleHandler;
    // Where printPath(1) starts: the path's second "/", found once and kept
    // while only deeper levels come and go. kNoShortPath: there is none;
    // kShortPathUnknown: to be found again.
    static const int kNoShortPath = -1;
    static const int kShortPathUnknown = -2;
    mutable int m_shortStart;
    tql_list<tql_pair<tql_string, int>> m_tmpBooleans;
    tql_list<tql_pair<tql_string, double>> m_tmpNumbers;
    tql_list<tql_pair<tql_string, tql_string>> m_tmpStrings;
    tql_list<tql_string> m_tmpStartMaps;
    tql_list<tql_string> m_tmpEndMaps;
    tql_list<tql_handlerType> m_tmpOrder;
    size_t m_heldTextBytes;
};

#endif
