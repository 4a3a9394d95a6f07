// Everything the simulator changes while it runs: sessions, failed logins,
// faults and the traffic record. httplib serves on a thread pool, so every
// member is guarded by one mutex and every container has a size limit.
#pragma once

#include "consume.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <string>

namespace tqlsim {

// Fault switches; counts say how many of the next replies are affected.
struct Faults {
    int latencyMs = 0;
    int http500 = 0, drop = 0, truncate = 0, invalidJson = 0, notify = 0;
    int lockoutSeconds = 300;
    int expireAfter = 0;  // requests left until every session then known ends; 0 = off
    // Playback: key files serve a wrong key; the next chunk requests get
    // 404; the index files of one server ("primary", "secondary", "both")
    // answer 500.
    bool wrongKey = false;
    int chunk404 = 0;
    int badTail = 0; // the next chunks end in bytes that start no frame
    std::string indexFail;
    // Profile calls ("presets", "favorites", "recents", "settings",
    // "collation") refused that many more times.
    std::map<std::string, int> refuse;
    // Live chunks the large index lists up to the edge: how much of the past
    // a time-shifted or catching-up player finds published.
    int backlog = 30;
};

// The kinds of stream file, counted per server for the tests.
enum class HlsFile { Variant, Index, Key, Chunk };

// What happens to one reply, decided when its request arrives.
struct FaultPlan {
    int latencyMs = 0;
    bool http500 = false, drop = false, truncate = false, invalidJson = false, notify = false;
};

enum class SessionStatus { Valid, Unknown, Elsewhere };

struct LastRequest {
    std::string method, query, body;
};

class SimState {
public:
    SimState();

    // Faults. applyFault returns an empty text on success, else the reason.
    std::string applyFault(const std::string& name, const std::string& value);
    void resetFaults();
    void resetAll();
    FaultPlan takeFaultPlan();
    // Playback faults, asked when a stream file is served.
    bool wrongKey();
    bool takeChunk404();
    bool takeBadTail();
    bool indexFails(const std::string& server);
    // True when this profile call is to be refused; counts one refusal.
    bool takeRefusal(const std::string& call);
    int backlog();
    // Counts one handled request against expire-after. Gives the number of
    // sessions it ended when this was the last one counted, else -1.
    int countTowardsExpiry();

    // Traffic record, for the tests. Stream files (/hls/) count in the
    // total only; countHls keeps their numbers.
    void record(const std::string& path, const std::string& method,
                const std::string& query, const std::string& body);
    bool lastRequest(const std::string& path, LastRequest& out);
    // Counts a stream file served, or refused, on "primary" or "secondary".
    void countHls(const std::string& server, HlsFile kind);
    std::string stateJson();

    // Sessions. A new session of a user sends the older ones "elsewhere".
    std::string createSession(const std::string& user);
    // The user of a valid session goes to `user` when given.
    SessionStatus checkSession(const std::string& id, std::string* user = nullptr);

    // Login throttling: seconds of lockout left for a user, 0 when free.
    int lockoutLeft(const std::string& user);
    // Counts a bad password; gives the lockout that it started, or 0.
    int loginFailed(const std::string& user);
    void loginSucceeded(const std::string& user);
    int lockoutSeconds();

    std::atomic<bool> stopping{false};
    // Consumption reports received, per session; guarded by its own lock.
    ConsumeLog consume;

private:
    struct Session {
        std::string user;
        bool elsewhere = false;
    };
    struct BadLogins {
        int count = 0;
        std::chrono::steady_clock::time_point lockedUntil;
    };

    void expireAllLocked();
    void markElsewhereLocked(const std::string& user);
    int lockoutLeftLocked(const std::string& user);

    std::mutex mu_;
    Faults faults_;
    std::map<std::string, Session> sessions_;
    std::deque<std::string> sessionOrder_;
    std::map<std::string, BadLogins> badLogins_;
    std::map<std::string, long> counts_;
    std::map<std::string, LastRequest> last_;
    long total_ = 0;
    std::map<std::string, std::map<HlsFile, long>> hlsCounts_;
    std::mt19937_64 rng_;
};

}  // namespace tqlsim
