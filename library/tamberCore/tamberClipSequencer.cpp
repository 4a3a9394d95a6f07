#include "tamberClipSequencer.h"

#include "tamberTypes/tamberDebug.h"

TQLClip TamberClipSequencer::clipAt(int index) const
{
    return inList(index) ? m_clips[static_cast<size_t>(index)] : TQLClip();
}

void TamberClipSequencer::addClips(const tql_list<TQLClip>& clips, int append)
{
    if (append) {
        for (const TQLClip& clip : clips)
            m_clips.push_back(clip);
        return;
    }
    removeAllClips();
    m_clips = clips;
    if (!m_clips.empty())
        m_skipTime = m_clips.front().duration;
}

void TamberClipSequencer::removeAllClips()
{
    m_clips.clear();
    m_currentClipIndex = m_bufferingClipIndex = 0;
    m_consumedClips = 0;
    m_skipTime = 0;
    m_preBuffered = 0;
}

int TamberClipSequencer::skipNext(bool atEnd)
{
    ++m_consumedClips;
    m_preBuffered = 0;
    TQL_LOG(3, "Consumed clips since last start %d", static_cast<int>(m_consumedClips));
    int next = m_currentClipIndex + 1;
    if (!inList(next))
        return clipNoMore;
    m_currentClipIndex = next;
    // A listener's skip throws away what was being buffered; a natural end
    // keeps it, as it is the clip that plays next.
    if (!atEnd)
        m_bufferingClipIndex = next;
    m_skipTime += m_clips[static_cast<size_t>(next)].duration;
    return 1;
}

// Not a step back: the current clip starts over.
int TamberClipSequencer::skipPrevious()
{
    m_preBuffered = 0;
    if (!inList(m_currentClipIndex))
        return -1;
    m_bufferingClipIndex = m_currentClipIndex;
    m_skipTime = m_clips[static_cast<size_t>(m_currentClipIndex)].duration;
    return 1;
}

// Buffering runs at most two clips ahead of listening.
int TamberClipSequencer::setClipForPrebuffer()
{
    if (m_currentClipIndex + 1 >= m_bufferingClipIndex) {
        int next = m_bufferingClipIndex + 1;
        if (!inList(next))
            return clipNoMore;
        m_bufferingClipIndex = next;
    }
    if (m_bufferingClipIndex == m_currentClipIndex + 2)
        m_preBuffered = 1;
    return 1;
}

// The host's clock starts again at 0: the accumulation starts again with it.
void TamberClipSequencer::resetSkipTime()
{
    m_consumedClips = 0;
    m_skipTime = inList(m_currentClipIndex) ? m_clips[static_cast<size_t>(m_currentClipIndex)].duration : 0;
    if (m_skipTime == 0)
        TQL_LOG(2, "Unable to set valid duration for the current clip");
}

int TamberClipSequencer::removeConsumedClips()
{
    if (!inList(m_currentClipIndex))
        return -1;
    m_clips.erase(m_clips.begin(), m_clips.begin() + m_currentClipIndex);
    m_bufferingClipIndex = m_bufferingClipIndex > m_currentClipIndex ? m_bufferingClipIndex - m_currentClipIndex : 0;
    m_currentClipIndex = 0;
    return 1;
}
