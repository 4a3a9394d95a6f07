#ifndef SCRIPTED_PORT_H
#define SCRIPTED_PORT_H

// The one in-process platform port of the unit tests: every function a host
// must define, backed by scripted state that a test sets up and inspects.
// Tests reach it through ScriptedPort::get(); reset() between tests.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tqllib.h"

namespace testport {

struct LogLine {
    int severity;
    std::string text;
};

// One scripted HTTP answer. The first route whose url matches (exactly, or as
// a prefix with prefix set) answers; a route with uses > 0 is dropped after
// that many answers, so a sequence of answers can be scripted for one URL.
struct Route {
    std::string url;
    bool prefix = false;
    int uses = -1; // -1: forever

    int status = 200;
    std::string statusLine; // overrides "HTTP/1.1 <status> OK" when set
    std::vector<std::string> headers; // "Name: value", without line ends
    std::string body;
    size_t pieceSize = 0; // 0: the whole body in one piece

    // A transport failure: tamber_HT_Request returns this (positive, a
    // curl-style code) after delivering failAfterBytes of the body.
    int transportError = 0;
    size_t failAfterBytes = 0;
    std::string errorText;

    std::vector<const char*> cookies; // nullptr entries are reported as empty cookies
    std::function<void()> duringBody; // runs after the first body piece
};

struct RecordedRequest {
    std::string url;
    std::string postData;
    int isPost = 0;
    int connectTimeout = 0;
    int totalTimeout = 0;
    void* handle = nullptr;
    int result = 0;         // what tamber_HT_Request returned
    int64_t httpCode = 0;   // what it reported
    bool aborted = false;   // a callback refused a piece
};

struct DecryptCall {
    enum Kind { Start, Process, Done } kind;
    std::vector<unsigned char> key;
    std::vector<unsigned char> nonce;
    int sequenceNumber = 0;
    int length = 0;
    int produced = 0;
};

class ScriptedPort {
public:
    static ScriptedPort& get();
    // Back to a fresh port: no routes, no logs, clock at its start, counters zero.
    void reset();

    // Memory
    long mallocCalls = 0;
    long reallocCalls = 0;
    long freeCalls = 0;
    long failMallocAfter = -1; // >= 0: that many more allocations succeed, then NULL
    size_t liveBytes() const;
    long liveAllocations() const;
    size_t peakBytes = 0;

    // Clock and waiting: sleeping advances the clock instead of blocking.
    uint64_t nowMs = 1700000000000ULL;
    std::vector<int> sleeps;
    void advance(uint64_t ms) { nowMs += ms; }

    // Logging
    int loggerHandle = 1;
    int initialLogLevel = 4;
    bool echoLog = false;
    std::vector<LogLine> logs;
    bool logged(const std::string& fragment, int severity = -1) const;
    size_t countLogged(const std::string& fragment) const;

    // Account store in memory
    bool hasAccount = false;
    std::array<std::string, 8> account{};
    std::array<bool, 8> accountSlotSet{};
    int getAccountCalls = 0;
    int freeAccountCalls = 0;
    int setAccountCalls = 0;
    int setAccountResult = 1;
    void storeAccount(const std::string& user, const std::string& password);

    // Device identity; a count set in the override answers instead of the text.
    std::string configUrl = "https://service.test/rest/v1/routing";
    std::string deviceMake = "TestMake";
    std::string deviceModel = "TestModel";
    std::string mac = "00:11:22:33:44:55";
    std::string fixedKey = "0123456789abcdef";
    std::map<std::string, int> getterResultOverride; // "configUrl", "make", "model", "mac", "fixedKey"

    // Decryption: a recording XOR "cipher" over whole blocks, enough to see
    // that bytes went through it in place and in order.
    int crInitResult = 1;
    int keyLength = 16;
    int blockSize = 16;
    int processResultOverride = 0; // non-zero: tql_decrypt_process returns this
    std::vector<DecryptCall> decryptCalls;
    bool recordDecryptProcess = true; // off: a test that counts allocations per piece
    static void scriptedCipher(unsigned char* data, int length, const std::vector<unsigned char>& key,
                               int sequenceNumber, long offset);

    // HTTP transport
    void addRoute(const Route& route) { routes.push_back(route); }
    std::vector<Route> routes;
    std::vector<RecordedRequest> requests;
    int handlesMade = 0;
    int handlesCleaned = 0;
    int resets = 0;
    int clearCtxCalls = 0;
    bool initHandleFails = false;

    // Port internals, used by the extern "C" functions.
    void* allocate(size_t size);
    void* reallocate(void* block, size_t size);
    void release(void* block);
    int performRequest(tamberHTRequestCtx* ctx);
    int decryptStart(const tql_decryptParams& params);
    int decryptProcess(const tql_decryptParams& params);
    void decryptDone();

private:
    ScriptedPort() = default;
    Route* findRoute(const std::string& url);
    static size_t deliver(tamberHTCallback callback, void* context, const char* data, size_t length);

    mutable std::recursive_mutex m_lock;
    std::map<void*, size_t> m_blocks;
    size_t m_liveBytes = 0;
    long m_decryptOffset = 0;
    std::vector<unsigned char> m_decryptKey;
    int m_decryptSequence = 0;
};

} // namespace testport

#endif
