#ifndef TAMBER_DEBUG_H
#define TAMBER_DEBUG_H

#include <atomic>
#include <climits>

// Severities of the log.
enum tql_eLogSeverity {
    TQL_LOG_ALWAYS = 0,
    TQL_LOG_ERROR = 1,
    TQL_LOG_WARNING = 2,
    TQL_LOG_INFO = 3,
    TQL_LOG_DEBUG = 4,
    TQL_LOG_VERBOSE = 5,
    TQL_LOG_TRACE = 6
};

// The logger: two fixed buffers from port memory, so that formatting a line
// allocates nothing. One instance; it outlives tql_deinit.
class tql_Debug {
public:
    static const int kBufferSize = 1024;
    static const int kMessageLimit = 998;

    tql_Debug();
    virtual ~tql_Debug();
    tql_Debug(const tql_Debug&) = delete;
    tql_Debug& operator=(const tql_Debug&) = delete;

    void tql_debug_print(int severity, const char* function, const char* line, const char* message);

    int m_logger;
    int m_logLevel;
    char* m_messageBuffer;
    char* m_lineBuffer;
};

int tql_int_init_debug();
void tql_int_set_debug_level(int level);
void tql_int_debug_print(int severity, const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Whether a line of this severity would print at the current level: 1 to 6
// pass up to the level, 0 whenever the level is not negative, nothing else
// ever. Without a log object the gate holds INT_MIN, which passes nothing.
extern std::atomic<int> g_tqlLogGate;

inline bool tql_int_debug_passes(int severity, int level)
{
    if (severity >= 1 && severity <= 6)
        return level >= severity;
    return severity == 0 && level >= 0;
}

inline bool tql_int_debug_wants(int severity)
{
    return tql_int_debug_passes(severity, g_tqlLogGate.load(std::memory_order_relaxed));
}

// Every line carries the function's name and its source line. A line the
// level drops costs one compare: neither its arguments (hex keys, URL texts)
// nor its text are built. tql_int_debug_print itself still formats before it
// filters, for its format failure line; no format of the library can fail
// (all are checked by the compiler and take no wide characters), so the
// shortcut changes nothing that prints.
#define TQL_LOG(severity, ...) TQL_LOG_AS(severity, __func__, __VA_ARGS__)
#define TQL_LOG_AS(severity, function, ...)                                        \
    do {                                                                           \
        if (tql_int_debug_wants(severity))                                         \
            tql_int_debug_print((severity), (function), __LINE__, __VA_ARGS__);    \
    } while (0)

#endif
