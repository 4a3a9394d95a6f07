#ifndef TAMBER_DEBUG_H
#define TAMBER_DEBUG_H

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

// Every line carries the function's name and its source line.
#define TQL_LOG(severity, ...) tql_int_debug_print((severity), __func__, __LINE__, __VA_ARGS__)

#endif
