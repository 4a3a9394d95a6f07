#ifndef TAMBER_CLIP_SEQUENCER_H
#define TAMBER_CLIP_SEQUENCER_H

#include <cstdint>

#include "tamberResponse/tamberDravTune.h"

// The clip list of a clip channel and three positions in it: the clip the
// listener hears, the clip being downloaded, and the play time (in seconds,
// accumulated since the host's clock last started) at which the heard clip
// ends. Clips already heard are dropped from the front.
class TamberClipSequencer {
public:
    static constexpr int clipNoMore = -30;

    virtual ~TamberClipSequencer() {}

    void setChannel(const TQLDravChannel& channel) { m_channel = channel; }
    TQLDravChannel getChannelInfo() const { return m_channel; }
    const TQLDravChannel& channel() const { return m_channel; }
    void setSequencerSessionId(const tql_string& id) { m_sequencerSessionId = id; }
    tql_string getSequencerSessionId() const { return m_sequencerSessionId; }

    // Appends, or replaces the list and starts the clock on its first clip.
    void addClips(const tql_list<TQLClip>& clips, int append);
    tql_list<TQLClip> getClipList() const { return m_clips; }
    const tql_list<TQLClip>& clips() const { return m_clips; }
    int getClipListSize() const { return static_cast<int>(m_clips.size()); }

    int currentClipIndex() const { return m_currentClipIndex; }
    int bufferingClipIndex() const { return m_bufferingClipIndex; }
    int nextClipIndex() const { return m_currentClipIndex + 1; }
    int remainingClipsSize() const { return getClipListSize() - m_bufferingClipIndex - 1; }
    // Copies; an empty clip when the position lies outside the list.
    TQLClip getCurrentClip() const { return clipAt(m_currentClipIndex); }
    TQLClip getNextClip() const { return clipAt(m_currentClipIndex + 1); }
    TQLClip getBufferingClip() const { return clipAt(m_bufferingClipIndex); }

    int isPreBuffered() const { return m_preBuffered; }
    int setClipForPrebuffer();
    int skipNext(bool atEnd);
    int skipPrevious();
    double getSkipTime() const { return m_skipTime; }
    void resetSkipTime();
    int removeConsumedClips();
    void removeAllClips();
    uint64_t consumedClips() const { return m_consumedClips; }

private:
    TQLClip clipAt(int index) const;
    bool inList(int index) const { return index >= 0 && index < getClipListSize(); }

    tql_list<TQLClip> m_clips;
    int m_currentClipIndex = 0;
    int m_bufferingClipIndex = 0;
    uint64_t m_consumedClips = 0;
    double m_skipTime = 0;
    TQLDravChannel m_channel;
    int m_preBuffered = 0;
    tql_string m_sequencerSessionId;
};

#endif
