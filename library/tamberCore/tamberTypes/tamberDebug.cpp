#include "tamberDebug.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tamberMutex.h"
#include "tqllib.h"

static tql_Debug* g_debug = nullptr;
std::atomic<int> g_tqlLogGate(INT_MIN);
// Guards both buffers: logging is the one thing safe from a second thread.
static tql_mutex g_debugMutex;

tql_Debug::tql_Debug()
    : m_logger(0),
      m_logLevel(0),
      m_messageBuffer(static_cast<char*>(tql_malloc(kBufferSize))),
      m_lineBuffer(static_cast<char*>(tql_malloc(kBufferSize)))
{
}

tql_Debug::~tql_Debug()
{
    tql_free(m_messageBuffer);
    tql_free(m_lineBuffer);
}

void tql_Debug::tql_debug_print(int severity, const char* function, const char* line, const char* message)
{
    if (!m_lineBuffer)
        return;
    memset(m_lineBuffer, 0, kBufferSize);
    int n = snprintf(m_lineBuffer, kBufferSize, "%s:line:%s: %s", function, line, message);
    if (n > 0)
        tql_platform_print(severity, m_lineBuffer);
}

int tql_int_init_debug()
{
    if (!g_debug)
        g_debug = new tql_Debug();
    int logger = tql_init_platform_logger();
    if (logger == 0) {
        delete g_debug;
        g_debug = nullptr;
        g_tqlLogGate.store(INT_MIN, std::memory_order_relaxed);
        return 0;
    }
    g_debug->m_logger = logger;
    g_debug->m_logLevel = tql_platform_log_level();
    g_tqlLogGate.store(g_debug->m_logLevel, std::memory_order_relaxed);
    return 1;
}

void tql_int_set_debug_level(int level)
{
    // Under the log mutex: the filter reads the level there, and a host may
    // set it from another thread. The gate is atomic and read without it.
    if (!g_debug)
        return;
    g_debugMutex.lock();
    g_debug->m_logLevel = level;
    g_tqlLogGate.store(level, std::memory_order_relaxed);
    g_debugMutex.unlock();
}

void tql_int_debug_print(int severity, const char* function, int line, const char* format, ...)
{
    if (!g_debug)
        return;
    g_debugMutex.lock();
    char* message = g_debug->m_messageBuffer;
    if (!message) {
        g_debugMutex.unlock();
        return;
    }
    memset(message, 0, tql_Debug::kBufferSize);
    char lineText[6];
    snprintf(lineText, sizeof lineText, "%i", line);

    va_list args;
    va_start(args, format);
    // The limit counts the characters kept; one more byte holds the terminator.
    int n = vsnprintf(message, tql_Debug::kMessageLimit + 1, format, args);
    va_end(args);
    if (n < 0) {
        g_debug->tql_debug_print(1, function, lineText, "log format error\n");
        g_debugMutex.unlock();
        return;
    }
    message[tql_Debug::kBufferSize - 1] = '\0';
    // Filtered only after formatting: the format failure above must be seen
    // whatever the level.
    if (tql_int_debug_passes(severity, g_debug->m_logLevel))
        g_debug->tql_debug_print(severity, function, lineText, message);
    g_debugMutex.unlock();
}
