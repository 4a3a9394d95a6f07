// The consumption reports the library sends, kept per session as the
// service received them, so that tests can read back what was heard, from
// when to when, and why it ended.
#pragma once

#include "json_writer.h"

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tqlsim {

// One record of a report: a period closed or opened.
struct ConsumeRecord {
    std::string channel;  // the module type: "Live", "AOD" or "aic"
    int group = 0;        // 0 the first module of the report, 1 the second
    std::string event, action, info, dateTime, streamDateTime;
};

struct ConsumeReport {
    int generation = 0;  // 2 or 4, by the path it came to
    std::vector<ConsumeRecord> records;
};

class ConsumeLog {
public:
    static const size_t kMaxSessions = 32;
    static const size_t kMaxReportsPerSession = 1000;
    static const size_t kMaxRecordsPerReport = 16;
    static const size_t kMaxText = 256;

    // Reads a report document of the given generation. An empty result
    // means it is well formed; otherwise the text says what is wrong.
    static std::string parse(const std::string& body, int generation, ConsumeReport& out);

    // Keeps a good report; the oldest go when a limit is reached.
    void add(const std::string& session, const ConsumeReport& report);
    // Counts a report refused as malformed.
    void refused();
    void reset();
    // {"refused":N,"sessions":{"<session>":[{"v":2,"records":[...]}, ...]}}
    void writeJson(JsonWriter& w);

private:
    std::mutex mu_;
    std::map<std::string, std::deque<ConsumeReport>> sessions_;
    std::deque<std::string> order_;
    long refused_ = 0;
};

}  // namespace tqlsim
