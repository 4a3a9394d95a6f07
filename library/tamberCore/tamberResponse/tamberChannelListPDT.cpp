#include "tamberResponse/tamberChannelListPDT.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {
#define P "/moduleList/modules/moduleResponse/moduleDetails/liveChannelResponse/liveChannelResponses"
const char* const scPath_modules = "/moduleList/modules";
const char* const scPath_wallClockRenderTime = "/moduleList/modules/wallClockRenderTime";
const char* const scPath_updateFrequency = "/moduleList/modules/updateFrequency";
const char* const scPath_channel = P;
const char* const scPath_channelId = P "/channelId";
const char* const scPath_markerLists = P "/markerLists";
const char* const scPath_layer = P "/markerLists/layer";
const char* const scPath_markers = P "/markerLists/markers";
const char* const scPath_time = P "/markerLists/markers/time";
const char* const scPath_duration = P "/markerLists/markers/duration";
const char* const scPath_title = P "/markerLists/markers/cut/title";
const char* const scPath_artistName = P "/markerLists/markers/cut/artists/name";
const char* const scPath_albumTitle = P "/markerLists/markers/cut/album/title";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}

// A marker time is any JSON number; one beyond the 64-bit range saturates
// rather than converting undefinedly.
int64_t toTime(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 9223372036854775808.0)
        return std::numeric_limits<int64_t>::max();
    if (value <= -9223372036854775808.0)
        return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}
} // namespace

TQLModuleResponseChannelListPDTHandler::TQLModuleResponseChannelListPDTHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseChannelListPDT();
}

int TQLModuleResponseChannelListPDTHandler::handleNumber(const char* path, double value)
{
    if (is(path, scPath_time))
        m_cut.time = toTime(value);
    else if (is(path, scPath_duration))
        m_cut.duration = truncToInt(value);
    else if (is(path, scPath_updateFrequency))
        record()->updateFrequency = truncToInt(value);
    return 1;
}

int TQLModuleResponseChannelListPDTHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    if (is(path, scPath_channelId))
        m_channelId = value;
    else if (is(path, scPath_layer)) {
        if (value.startsWith("cut")) // by prefix: any cut layer counts
            m_inCutLayer = 1;
    } else if (is(path, scPath_title))
        m_cut.title = value;
    else if (is(path, scPath_artistName))
        m_cut.artistName = value; // the last artist of the array stands
    else if (is(path, scPath_albumTitle))
        m_cut.albumTitle = value;
    else if (is(path, scPath_wallClockRenderTime))
        record()->wallClockRenderTime = value;
    else if (is(path, scPath_updateFrequency))
        record()->updateFrequency = value.toInt(nullptr, 10);
    return 1;
}

int TQLModuleResponseChannelListPDTHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_markers)) {
        // A marker of another layer is not cleared: what it held shows up in
        // the next kept cut where that lacks the key.
        if (m_inCutLayer) {
            m_tmpCuts.push_back(m_cut);
            m_cut.clear();
        }
    } else if (is(path, scPath_markerLists)) {
        m_inCutLayer = 0;
    } else if (is(path, scPath_channel)) {
        // Cuts of a channel that named no id are still reported, with an empty one.
        if (!m_channelId.isEmpty()) {
            for (TQLChannelListPDTCut& cut : m_tmpCuts)
                cut.channelId = m_channelId;
            m_channelId = tql_string();
        }
        for (const TQLChannelListPDTCut& cut : m_tmpCuts)
            record()->m_cuts.push_back(cut);
        m_tmpCuts.clear();
    } else if (is(path, scPath_modules)) {
        storeModule();
    }
    return 1;
}
