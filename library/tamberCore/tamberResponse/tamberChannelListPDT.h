#ifndef TAMBER_CHANNEL_LIST_PDT_H
#define TAMBER_CHANNEL_LIST_PDT_H

#include <cstdint>

#include "tamberResponse/tamberResponse.h"

// What is on the air on one channel: one cut (track) and when it began.
class TQLChannelListPDTCut {
public:
    virtual ~TQLChannelListPDTCut() {}
    void clear() { *this = TQLChannelListPDTCut(); }

    int64_t time = 0;
    int duration = 0;
    tql_string channelId;
    tql_string title;
    tql_string artistName;
    tql_string albumTitle;
};

class TQLModuleResponseChannelListPDT : public TQLModuleResponseBase {
public:
    void clear() override
    {
        m_cuts.clear();
        wallClockRenderTime = tql_string();
        updateFrequency = 0;
    }

    tql_list<TQLChannelListPDTCut> m_cuts;
    tql_string wallClockRenderTime;
    int updateFrequency = 0; // seconds until the service wants to be asked again
};

// Program data: the current cuts of the channels asked for. Only markers of
// a cut layer count; a channel's id may come after its markers.
class TQLModuleResponseChannelListPDTHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseChannelListPDTHandler(TQLResponse* response);

    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

private:
    TQLModuleResponseChannelListPDT* record() const
    {
        return static_cast<TQLModuleResponseChannelListPDT*>(m_moduleResponse);
    }

    tql_string m_channelId;
    int m_inCutLayer = 0;
    TQLChannelListPDTCut m_cut;
    tql_list<TQLChannelListPDTCut> m_tmpCuts;
};

#endif
