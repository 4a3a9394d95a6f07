#include "tamberMutex.h"

tql_mutex::tql_mutex() : m_mutex(), m_locked(0)
{
    tql_mtx_init(&m_mutex, 0);
}

tql_mutex::~tql_mutex()
{
    tql_mtx_destroy(&m_mutex);
}

void tql_mutex::lock()
{
    tql_mtx_lock(&m_mutex);
    m_locked = 1;
}

int tql_mutex::tryLock()
{
    if (tql_mtx_trylock(&m_mutex) != 1)
        return 0;
    m_locked = 1;
    return 1;
}

void tql_mutex::unlock()
{
    m_locked = 0;
    tql_mtx_unlock(&m_mutex);
}
