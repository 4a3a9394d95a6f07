#ifndef TAMBER_METADATA_H
#define TAMBER_METADATA_H

#include <cstdint>

#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"

// One typed text of a metadata record.
struct TamberMetadataRec {
    // What the host's record calls each text.
    enum Type { Title = 0, Artist = 1, Album = 2, ShowTitle = 3, ShowGuid = 4, Tag6 = 6, ArtworkUrl = 48 };

    int type = 0;
    tql_string value;
};

class songTS {
public:
    virtual ~songTS() {}

    uint8_t flag1 = 0;
    uint8_t flag2 = 0;
    int value = 0;
};

// What is playing, queued with the play time at which the host hears it.
class TamberMetadata {
public:
    virtual ~TamberMetadata() {}

    // True when nothing at all is set: the normal, quiet case of a turn.
    bool isEmpty() const;
    void add(int type, const tql_string& value);

    tql_list<TamberMetadataRec> m_items;
    uint64_t m_presentationTimeMs = 0; // as play time
    songTS m_songStart;
    songTS m_songEnd;
    int m_flags = 0;
    tql_string m_text1;
    tql_string m_assetGuid; // the asset whose timebar to show; empty: the last episode
    uint64_t m_timestampMs = 0; // stream time of the marker
    uint64_t m_reserved1 = 0;
    uint64_t m_lengthSeconds = 0; // clips only
    int m_reserved2 = 0;
    tql_string m_text2;
    tql_string m_text3;
    tql_string m_consumptionInfo;
    tql_string m_consumeTime;
    int m_reserved3 = 0;
    int m_reserved4 = 0;
    int m_reserved5 = 0;
    tql_string m_text4;
};

// A marker's time and its time text.
struct tamberTimePair_t {
    tamberTime time;
    tql_string text;
};

#endif
