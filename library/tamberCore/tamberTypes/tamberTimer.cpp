#include "tamberTimer.h"

#include <cstdio>
#include <cstdlib>

#include "tamberDebug.h"

tql_timerTick* tql_timerTick::m_instance = nullptr;

tql_timer::tql_timer(void* ctx, int id, tql_timerCallback cb)
    : m_id(id),
      m_running(0),
      m_startTime(0),
      m_stopTime(0),
      m_elapsed(0),
      m_interval(-1),
      m_cb(cb),
      m_ctx(ctx)
{
    // A timer without a callback is a programmer error.
    if (!m_cb) {
        fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", "tamberCore/tamberTypes/tamberTimer", 69,
                "tql_timer::tql_timer(void*, int, tql_timerCallback)", "m_cb");
        abort();
    }
    tql_timerTick::instance()->registerTimer(this); // a refusal is logged there
}

tql_timer::~tql_timer()
{
    tql_timerTick::instance()->unregisterTimer(m_id);
}

void tql_timer::start()
{
    m_running = 1;
    m_startTime = m_elapsed;
}

void tql_timer::stop()
{
    TQL_LOG(4, "TIMER STOP");
    m_running = 0;
    m_stopTime = m_elapsed;
    m_interval = -1;
}

uint64_t tql_timer::getTime() const
{
    return m_running ? m_elapsed : m_stopTime - m_startTime;
}

int tql_timer::timerSync(uint64_t tick)
{
    if (!m_running || tick == 0) {
        TQL_LOG(6, "Timer not running");
        return -1;
    }
    m_elapsed += tick;
    int64_t interval = m_interval;
    if (interval == 0) {
        m_cb(m_ctx, m_id);
        return 1;
    }
    if (interval > 0 && m_elapsed - m_startTime >= static_cast<uint64_t>(interval)) {
        // Stopped before the callback, so that the callback may start it again.
        m_running = 0;
        m_cb(m_ctx, m_id);
        return 1;
    }
    return 0;
}

tql_timerTick* tql_timerTick::instance()
{
    if (!m_instance)
        m_instance = new tql_timerTick();
    return m_instance;
}

tql_timerTick::~tql_timerTick() {}

int tql_timerTick::registerTimer(tql_timer* timer)
{
    for (tql_timer* t : m_timers) {
        if (t->m_id == timer->m_id) {
            TQL_LOG(1, "Timer %d already registered", timer->m_id);
            return -1;
        }
    }
    m_timers.push_back(timer);
    return timer->m_id;
}

void tql_timerTick::unregisterTimer(int id)
{
    for (auto it = m_timers.begin(); it != m_timers.end(); ++it) {
        if ((*it)->m_id == id) {
            m_timers.erase(it);
            TQL_LOG(1, "Timer %d removed", id);
            return;
        }
    }
}

int tql_timerTick::on_timerTick(uint64_t tick)
{
    if (m_timers.empty())
        return 0;
    int result = 0;
    // By position, re-reading the size each step: a timer appended by a
    // callback is visited in this pass, and the walk never holds an iterator
    // into storage that an append may have moved.
    for (size_t i = 0; i < m_timers.size(); ++i)
        result = m_timers[i]->timerSync(tick);
    return result;
}
