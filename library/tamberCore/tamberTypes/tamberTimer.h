#ifndef TAMBER_TIMER_H
#define TAMBER_TIMER_H

#include <cstdint>

#include "tamberList.h"

typedef void (*tql_timerCallback)(void* ctx, int id);

// A one-shot timer on the host's tick. Its time is the sum of the ticks the
// host reported while it ran, never the wall clock. To arm it, store
// m_interval, then call start(); a periodic user calls start() again from its
// callback.
class tql_timer {
public:
    tql_timer(void* ctx, int id, tql_timerCallback cb);
    virtual ~tql_timer();
    tql_timer(const tql_timer&) = delete;
    tql_timer& operator=(const tql_timer&) = delete;

    void start();
    void stop();
    bool isRunning() const { return m_running != 0; }
    // While running, the whole count; once stopped, the time between start and stop.
    uint64_t getTime() const;
    // One tick: 1 when the callback ran, 0 when not due, -1 when not running.
    int timerSync(uint64_t tick);
    int id() const { return m_id; }

    int m_id;
    int m_running;
    uint64_t m_startTime;
    uint64_t m_stopTime;
    uint64_t m_elapsed;
    int64_t m_interval; // -1 stopped; 0 fires every tick; below 0 never fires
    tql_timerCallback m_cb;
    void* m_ctx;
};

// The registry that the host's tick drives. It owns no timer and outlives the
// core. Timers are created and destroyed outside the tick, never from a callback.
class tql_timerTick {
public:
    static tql_timerTick* instance();
    virtual ~tql_timerTick();

    int registerTimer(tql_timer* timer);
    void unregisterTimer(int id);
    int on_timerTick(uint64_t tick);
    int count() const { return static_cast<int>(m_timers.size()); }

private:
    tql_timerTick() = default;
    static tql_timerTick* m_instance;
    tql_list<tql_timer*> m_timers;
};

#endif
