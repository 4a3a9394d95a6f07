#include "sim_state.h"

#include "json_writer.h"

#include <cstdio>
#include <cstdlib>

namespace tqlsim {

namespace {

const size_t kMaxSessions = 4096;
const size_t kMaxUsers = 4096;
const size_t kMaxPaths = 256;
const size_t kMaxStoredBody = 256 * 1024;
const int kMaxLatencyMs = 60000;
const int kMaxCount = 1000000;
const int kMaxBacklog = 2250; // as far back as live chunks can be fetched
const int kMaxLockoutSeconds = 86400;
const int kBadLoginsBeforeLockout = 3;
const char* const kOtherPaths = "(other)";
const std::string kStreamPrefix = "/hls/";

// Reads a whole decimal number in [lo, hi]; an empty text gives `empty`.
bool parseNumber(const std::string& text, int empty, int lo, int hi, int& out)
{
    if (text.empty()) {
        out = empty;
        return empty >= lo;
    }
    if (text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    int v = std::atoi(text.c_str());
    if (v < lo || v > hi)
        return false;
    out = v;
    return true;
}

bool take(int& count)
{
    if (count <= 0)
        return false;
    --count;
    return true;
}

}  // namespace

SimState::SimState() : rng_(std::random_device{}()) {}

std::string SimState::applyFault(const std::string& name, const std::string& value)
{
    std::lock_guard<std::mutex> lock(mu_);
    int n = 0;
    if (name == "latency") {
        if (!parseNumber(value, -1, 0, kMaxLatencyMs, n))
            return "latency needs milliseconds, 0 to 60000";
        faults_.latencyMs = n;
    } else if (name == "lockout") {
        if (!parseNumber(value, -1, 0, kMaxLockoutSeconds, n))
            return "lockout needs seconds, 0 to 86400";
        faults_.lockoutSeconds = n;
    } else if (name == "expire-after") {
        if (!parseNumber(value, -1, 0, kMaxCount, n))
            return "expire-after needs a count, 0 to 1000000";
        faults_.expireAfter = n;
    } else if (name == "expire") {
        expireAllLocked();
    } else if (name == "wrongkey") {
        if (!parseNumber(value, 1, 0, 1, n))
            return "wrongkey takes 1 (on, the default) or 0 (off)";
        faults_.wrongKey = n == 1;
    } else if (name == "indexfail") {
        if (value != "primary" && value != "secondary" && value != "both" && value != "none")
            return "indexfail needs primary, secondary, both or none";
        faults_.indexFail = value == "none" ? "" : value;
    } else if (name == "refuse") {
        // CALL or CALL:N
        size_t colon = value.find(':');
        std::string call = value.substr(0, colon);
        if (call != "presets" && call != "favorites" && call != "recents" && call != "settings" &&
            call != "collation")
            return "refuse needs presets, favorites, recents, settings or collation, then :N for a count";
        if (!parseNumber(colon == std::string::npos ? "" : value.substr(colon + 1), 1, 0, kMaxCount, n))
            return "refuse needs a count, 0 to 1000000";
        faults_.refuse[call] = n;
    } else if (name == "backlog") {
        if (!parseNumber(value, -1, 30, kMaxBacklog, n))
            return "backlog needs a count of chunks, 30 to 2250";
        faults_.backlog = n;
    } else if (name == "elsewhere") {
        if (value.empty())
            return "elsewhere needs a user name";
        markElsewhereLocked(value);
    } else {
        int* target = name == "http500"       ? &faults_.http500
                      : name == "drop"        ? &faults_.drop
                      : name == "truncate"    ? &faults_.truncate
                      : name == "invalidjson" ? &faults_.invalidJson
                      : name == "notify"      ? &faults_.notify
                      : name == "chunk404"    ? &faults_.chunk404
                      : name == "badtail"     ? &faults_.badTail
                                              : nullptr;
        if (!target)
            return "unknown fault '" + name + "'";
        if (!parseNumber(value, 1, 0, kMaxCount, n))
            return name + " needs a count, 0 to 1000000";
        *target = n;
    }
    return "";
}

bool SimState::takeRefusal(const std::string& call)
{
    std::lock_guard<std::mutex> lock(mu_);
    auto it = faults_.refuse.find(call);
    return it != faults_.refuse.end() && take(it->second);
}

void SimState::resetFaults()
{
    std::lock_guard<std::mutex> lock(mu_);
    faults_ = Faults();
}

void SimState::resetAll()
{
    std::lock_guard<std::mutex> lock(mu_);
    faults_ = Faults();
    expireAllLocked();
    badLogins_.clear();
    counts_.clear();
    last_.clear();
    hlsCounts_.clear();
    total_ = 0;
    consume.reset();
}

FaultPlan SimState::takeFaultPlan()
{
    std::lock_guard<std::mutex> lock(mu_);
    FaultPlan plan;
    plan.latencyMs = faults_.latencyMs;
    plan.drop = take(faults_.drop);
    if (plan.drop)
        return plan;
    plan.http500 = take(faults_.http500);
    plan.truncate = take(faults_.truncate);
    plan.invalidJson = take(faults_.invalidJson);
    plan.notify = take(faults_.notify);
    return plan;
}

bool SimState::wrongKey()
{
    std::lock_guard<std::mutex> lock(mu_);
    return faults_.wrongKey;
}

bool SimState::takeChunk404()
{
    std::lock_guard<std::mutex> lock(mu_);
    return take(faults_.chunk404);
}

int SimState::backlog()
{
    std::lock_guard<std::mutex> lock(mu_);
    return faults_.backlog;
}

bool SimState::takeBadTail()
{
    std::lock_guard<std::mutex> lock(mu_);
    return take(faults_.badTail);
}

bool SimState::indexFails(const std::string& server)
{
    std::lock_guard<std::mutex> lock(mu_);
    return faults_.indexFail == "both" || faults_.indexFail == server;
}

void SimState::countHls(const std::string& server, HlsFile kind)
{
    std::lock_guard<std::mutex> lock(mu_);
    ++hlsCounts_[server][kind];
}

int SimState::countTowardsExpiry()
{
    std::lock_guard<std::mutex> lock(mu_);
    if (!take(faults_.expireAfter) || faults_.expireAfter > 0)
        return -1;
    int ended = static_cast<int>(sessions_.size());
    expireAllLocked();
    return ended;
}

void SimState::record(const std::string& path, const std::string& method,
                      const std::string& query, const std::string& body)
{
    std::lock_guard<std::mutex> lock(mu_);
    ++total_;
    // Every chunk has a path of its own: stream files would soon fill the
    // table. They are counted by kind under "hls" instead.
    if (path.compare(0, kStreamPrefix.size(), kStreamPrefix) == 0)
        return;
    bool known = counts_.count(path) != 0;
    const std::string& key = known || counts_.size() < kMaxPaths ? path : kOtherPaths;
    ++counts_[key];
    if (key == kOtherPaths)
        return;
    LastRequest& last = last_[key];
    last.method = method;
    last.query = query;
    last.body = body.substr(0, kMaxStoredBody);
}

bool SimState::lastRequest(const std::string& path, LastRequest& out)
{
    std::lock_guard<std::mutex> lock(mu_);
    auto it = last_.find(path);
    if (it == last_.end())
        return false;
    out = it->second;
    return true;
}

std::string SimState::stateJson()
{
    std::lock_guard<std::mutex> lock(mu_);
    JsonWriter w;
    w.beginObject().field("total", static_cast<long long>(total_));
    w.key("requests").beginObject();
    for (const auto& c : counts_)
        w.field(c.first, static_cast<long long>(c.second));
    w.endObject();
    int valid = 0, elsewhere = 0;
    for (const auto& s : sessions_)
        ++(s.second.elsewhere ? elsewhere : valid);
    w.key("sessions").beginObject().field("valid", valid).field("elsewhere", elsewhere).endObject();
    w.key("faults").beginObject()
        .field("latency", faults_.latencyMs)
        .field("http500", faults_.http500)
        .field("drop", faults_.drop)
        .field("truncate", faults_.truncate)
        .field("invalidjson", faults_.invalidJson)
        .field("notify", faults_.notify)
        .field("lockout", faults_.lockoutSeconds)
        .field("expire-after", faults_.expireAfter)
        .field("wrongkey", faults_.wrongKey)
        .field("chunk404", faults_.chunk404)
        .field("badtail", faults_.badTail)
        .field("indexfail", faults_.indexFail.empty() ? "none" : faults_.indexFail)
        .field("backlog", faults_.backlog);
    w.key("refuse").beginObject();
    for (const auto& call : faults_.refuse)
        w.field(call.first, call.second);
    w.endObject().endObject();
    w.key("hls").beginObject();
    for (const char* server : {"primary", "secondary"}) {
        std::map<HlsFile, long>& c = hlsCounts_[server];
        w.key(server).beginObject();
        w.field("variant", static_cast<long long>(c[HlsFile::Variant]));
        w.field("index", static_cast<long long>(c[HlsFile::Index]));
        w.field("key", static_cast<long long>(c[HlsFile::Key]));
        w.field("chunk", static_cast<long long>(c[HlsFile::Chunk]));
        w.endObject();
    }
    w.endObject();
    w.key("consume");
    consume.writeJson(w);
    w.endObject();
    return w.str();
}

std::string SimState::createSession(const std::string& user)
{
    std::lock_guard<std::mutex> lock(mu_);
    markElsewhereLocked(user);
    char id[40];
    std::snprintf(id, sizeof id, "%016llx%016llx", static_cast<unsigned long long>(rng_()),
                  static_cast<unsigned long long>(rng_()));
    while (sessions_.size() >= kMaxSessions && !sessionOrder_.empty()) {
        sessions_.erase(sessionOrder_.front());
        sessionOrder_.pop_front();
    }
    sessions_[id] = Session{user, false};
    sessionOrder_.push_back(id);
    return id;
}

SessionStatus SimState::checkSession(const std::string& id, std::string* user)
{
    std::lock_guard<std::mutex> lock(mu_);
    auto it = sessions_.find(id);
    if (id.empty() || it == sessions_.end())
        return SessionStatus::Unknown;
    if (it->second.elsewhere)
        return SessionStatus::Elsewhere;
    if (user)
        *user = it->second.user;
    return SessionStatus::Valid;
}

int SimState::lockoutLeft(const std::string& user)
{
    std::lock_guard<std::mutex> lock(mu_);
    return lockoutLeftLocked(user);
}

int SimState::loginFailed(const std::string& user)
{
    std::lock_guard<std::mutex> lock(mu_);
    if (badLogins_.size() >= kMaxUsers && !badLogins_.count(user))
        badLogins_.erase(badLogins_.begin());
    BadLogins& b = badLogins_[user];
    if (++b.count < kBadLoginsBeforeLockout)
        return 0;
    b.count = 0;
    b.lockedUntil = std::chrono::steady_clock::now() + std::chrono::seconds(faults_.lockoutSeconds);
    return faults_.lockoutSeconds;
}

void SimState::loginSucceeded(const std::string& user)
{
    std::lock_guard<std::mutex> lock(mu_);
    badLogins_.erase(user);
}

int SimState::lockoutSeconds()
{
    std::lock_guard<std::mutex> lock(mu_);
    return faults_.lockoutSeconds;
}

void SimState::expireAllLocked()
{
    sessions_.clear();
    sessionOrder_.clear();
}

void SimState::markElsewhereLocked(const std::string& user)
{
    for (auto& s : sessions_)
        if (s.second.user == user)
            s.second.elsewhere = true;
}

int SimState::lockoutLeftLocked(const std::string& user)
{
    auto it = badLogins_.find(user);
    if (it == badLogins_.end())
        return 0;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    it->second.lockedUntil - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0)
        return 0;
    return static_cast<int>((left + 999) / 1000);
}

}  // namespace tqlsim
