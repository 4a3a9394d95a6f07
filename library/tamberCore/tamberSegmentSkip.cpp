// Skipping between tracks: the engine moves nothing itself. It answers in
// the host's buffer where to tune (a marker's time and asset, or
// "goLive"), or why not, and keeps the per-asset skip allowance.
#include <cstring>

#include "tamberCore.h"
#include "tamberDmcaRules.h"
#include "tamberNodeResponder.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kCutLayerType = 3; // the skip calls search the cut layer

// Copies text with its terminator when it fits; false when it does not.
bool fits(char* buffer, int length, const tql_string& text)
{
    if (length - 1 < text.length())
        return false;
    memcpy(buffer, text.c_str(), static_cast<size_t>(text.length()) + 1);
    return true;
}
} // namespace

int CMTamberNodeResponder::layerOf(int markerType) const
{
    return markerType == 0 ? m_episodeLayerIndex : markerType == 2 ? m_segmentLayerIndex : m_cutLayerIndex;
}

// The "error/" answer when the allowance of a direction is used up.
int CMTamberNodeResponder::limitReached(char* buffer, int length, const tql_string& guid, bool forward)
{
    tql_string until = forward ? m_dmcaRules->checkFwdTimeout(guid) : m_dmcaRules->checkBackTimeout(guid);
    tql_string text = tql_string("error/") +
                      (forward ? "Skip forward limit reached on this channel until: "
                               : "Skip back limit reached on this channel until: ") +
                      until;
    TQL_LOG(3, "%s", text.c_str());
    return fits(buffer, length, text) ? skipLimitReached : skipBufferTooSmall;
}

// What both directions check first: the buffer, the asset's class and what
// is left of its allowance. 0 to go on, else the answer.
int CMTamberNodeResponder::skipAllowance(char* buffer, int length, bool forward, int& navClass, int& left)
{
    const tql_string& guid = m_tokenRequest.episodeGuid;
    if (!buffer) {
        TQL_LOG(1, "Data pointer is NULL");
        return skipNoBuffer;
    }
    if (length > 0)
        memset(buffer, 0, static_cast<size_t>(length));
    navClass = m_dmcaRules->isAllowed(guid);
    left = navClass == irClassNavUnrestricted ? 1 : 0;
    if (navClass == irClassNavRestricted) {
        left = forward ? m_dmcaRules->checkFwd(guid) : m_dmcaRules->checkBack(guid);
        TQL_LOG(3, forward ? "CMTamberNodeResponder::nextSegment Skips left: %d" : "Skips left: %d", left);
        if (left < 1)
            return limitReached(buffer, length, guid, forward);
    } else if (navClass == irClassNavDisallowed) {
        TQL_LOG(3, forward ? "CMTamberNodeResponder::nextSegment Dissallowed"
                           : "CMTamberNodeResponder::previousSegment Dissallowed");
        return skipDisallowed;
    }
    return m_currentTrackTimestampMs == 0 ? skipNoTrack : 0;
}

int CMTamberNodeResponder::getNextSegment(char* buffer, int length)
{
    int navClass = 0, left = 0;
    if (int refused = skipAllowance(buffer, length, true, navClass, left))
        return refused;
    tql_string time;
    tql_string target = findSkipMarkerLayerData(1, time, navClass, kCutLayerType);
    if (m_tokenRequest.tuneType == tuneTypeLive) {
        TQL_LOG(3, "CMTamberNodeResponder::nextSegment Already at live");
        return skipAlreadyLive;
    }
    int mode = m_tokenRequest.mode;
    tql_string text;
    if (target.isEmpty() && mode == 0) {
        text = "goLive";
        TQL_LOG(3, "CMTamberNodeResponder::nextSegment Going Live");
    } else if (target.isEmpty() || time.isEmpty()) {
        TQL_LOG(3, "CMTamberNodeResponder::nextSegment no segments found");
        return skipNoSegment;
    } else {
        text = mode == 0 ? time + "," + target : time;
    }
    if (length - 1 < text.length())
        return skipBufferTooSmall;
    reportV2Consume(1, 5);
    reportV4Consume(1, 5);
    bool started = !m_tokenRequest.timestamp.isEmpty();
    if ((started && navClass != irClassNavUnrestricted) || (!started && navClass == irClassNavRestricted))
        left = m_dmcaRules->decreaseFwd(m_tokenRequest.episodeGuid);
    fits(buffer, length, text);
    return left + 1;
}

// Not the mirror image of the next: there is no going live, and at the live
// edge "previous" finds the start of the current track.
int CMTamberNodeResponder::getPreviousSegment(char* buffer, int length)
{
    int navClass = 0, left = 0;
    if (int refused = skipAllowance(buffer, length, false, navClass, left))
        return refused;
    tql_string time;
    tql_string target = findSkipMarkerLayerData(0, time, navClass, kCutLayerType);
    if (target.isEmpty()) {
        TQL_LOG(3, "CMTamberNodeResponder::previousSegment no segments found");
        return skipNoSegment;
    }
    tql_string text = m_tokenRequest.mode == 0 ? time + "," + target : time;
    if (!fits(buffer, length, text))
        return skipBufferTooSmall;
    if (navClass == irClassNavRestricted)
        left = m_dmcaRules->decreaseBack(m_tokenRequest.episodeGuid);
    reportV2Consume(1, 6);
    reportV4Consume(1, 6);
    return left + 1;
}

tql_string CMTamberNodeResponder::findSkipMarkerLayerData(int forward, tql_string& time, int navClass, int markerType)
{
    uint64_t ts = m_currentTrackTimestampMs;
    int layer = layerOf(markerType);
    int move = forward ? 1 : -1;
    if (m_tokenRequest.mode == 0 && m_tokenRequest.tuneType != tuneTypeTimeShifted)
        move = 0;
    if (navClass == irClassNavRestricted)
        TQL_LOG(3, "SEGMENT SEEK RESTRICTED -> USE EPISODE SEEK");
    TQL_LOG(4, "Getting segments acording to time %s move index %d marker index %d",
            tamberTime().tamberTimeGetTimeAsString(ts).c_str(), move, layer);
    TQLMarker marker = findMarkerItemByTimestamp(static_cast<unsigned long>(ts), layer, move);
    if (marker.assetGUID.isEmpty() && marker.timestamp.isEmpty())
        return tql_string();
    TQL_LOG(4, "found segment time %s time is %s", marker.timestamp.c_str(),
            tamberTime().tamberTimeGetTimeAsString(tamberTime::textToMs(marker.timestamp)).c_str());
    time = marker.timestamp;
    return marker.assetGUID;
}

void CMTamberNodeResponder::triggerGoLive()
{
    // The tune itself is the host's; this marks the direction for the reports.
    reportV2Consume(1, 7);
    reportV4Consume(1, 7);
}

// The show cue points of the tune reply around the current track: the
// latest start at or before it, and the earliest end at or after it.
tql_string CMTamberNodeResponder::findShowLayerData()
{
    const TQLModuleResponseNowPlaying* record = tunedRecord(
        "Bad tune response for setting DMCA", "Bad tune response for setting DMCA - no module",
        "No tune channel response. cast fail");
    if (!record)
        return tql_string();
    for (size_t i = record->cuePointLists.size(); i > 0; --i) {
        const TQLCuePointList& cue = record->cuePointLists[i - 1];
        if (tamberTime::textToMs(cue.timestamp) <= m_currentTrackTimestampMs && cue.layer == "show" && cue.event == "START")
            return cue.markerGuid;
    }
    return tql_string();
}

int CMTamberNodeResponder::getShowStartGuid(char* buffer, int length)
{
    if (!buffer) {
        TQL_LOG(1, "Data pointer is NULL");
        return skipNoBuffer;
    }
    if (length > 0)
        memset(buffer, 0, static_cast<size_t>(length));
    tql_string guid = findShowLayerData();
    if (guid.isEmpty()) {
        TQL_LOG(2, "Cannot find show start point");
        return -1;
    }
    return fits(buffer, length, guid) ? 1 : skipBufferTooSmall;
}

void CMTamberNodeResponder::findShowStartEndTimestamp(tql_string& start, tql_string& end)
{
    const TQLModuleResponseNowPlaying* record = tunedRecord(
        "Bad tune response for setting DMCA", "Bad tune response for setting DMCA - no module",
        "No tune channel response. cast fail");
    if (!record)
        return;
    uint64_t ts = m_currentTrackTimestampMs;
    for (size_t i = record->cuePointLists.size(); i > 0; --i) {
        const TQLCuePointList& cue = record->cuePointLists[i - 1];
        if (cue.layer != "show")
            continue;
        uint64_t t = tamberTime::textToMs(cue.timestamp);
        if (t >= ts && cue.event == "END")
            end = cue.timestamp;
        if (t <= ts && cue.event == "START") {
            start = cue.timestamp;
            return;
        }
    }
}
