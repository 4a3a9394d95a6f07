#ifndef TAMBER_MUTEX_H
#define TAMBER_MUTEX_H

#include "tqllib.h"

// The port's non-recursive mutex, made in place. m_locked is only a hint.
class tql_mutex {
public:
    tql_mutex();
    virtual ~tql_mutex();
    tql_mutex(const tql_mutex&) = delete;
    tql_mutex& operator=(const tql_mutex&) = delete;

    void lock();
    int tryLock(); // 1 when taken, else 0
    void unlock();
    int isLocked() const { return m_locked; }
    tql_mtx_t* getMutexPtr() { return &m_mutex; }

private:
    tql_mtx_t m_mutex;
    int m_locked;
};

#endif
