// The engine's stream index pair, shared with tql_selectStreamIndex, which a
// host may call from a thread of its own.
#include "tamberNodeResponder.h"

int CMTamberNodeResponder::streamIndex()
{
    m_streamMutex.lock();
    int index = m_streamIndex;
    m_streamMutex.unlock();
    return index;
}

void CMTamberNodeResponder::setStreamIndexes(int index)
{
    m_streamMutex.lock();
    m_streamIndex = index;
    m_requestedStreamIndex = index;
    m_streamMutex.unlock();
}

int CMTamberNodeResponder::stepStreamIndexes()
{
    m_streamMutex.lock();
    int index = ++m_streamIndex;
    ++m_requestedStreamIndex;
    m_streamMutex.unlock();
    return index;
}
