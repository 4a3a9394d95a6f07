// Consumption reports: at each transition of a playback the service hears
// which period closed and which one opened, with wall and stream times.
// Two generations of the report run side by side; V2 goes first and leaves
// the records alone, V4 goes last and moves the open record into the
// closing one, so both always see what V4 left at the last transition.
#include "requestDocuments/requestDocuments.h"
#include "tamberConsumeReport.h"
#include "tamberNodeResponder.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberDebug.h"

#include <cstring>

namespace {

void setWords(TQLConsumeRequests& record, const char* event, const char* action)
{
    record.consumeEvent = event;
    record.consumeEventAction = action;
}

const char* skipWord(int type)
{
    switch (type) {
    case transitionSkipForward: return "fwd";
    case transitionSkipBack: return "back";
    default: return "live";
    }
}

// The closing record's words; type 0 and 1 also open a new period.
void closingWords(TQLConsumeRequests& prev, int userAction, int type, bool v4)
{
    switch (type) {
    case transitionMarker: setWords(prev, v4 ? "stop" : "markerEnd", "passive"); break;
    case transitionTuneIn: setWords(prev, v4 ? "stop" : "end", "tuneOut"); break;
    case transitionEnd:
        if (userAction)
            setWords(prev, v4 ? "stop" : "end", "tuneOut");
        else
            setWords(prev, v4 ? "stop" : "markerEnd", "passive");
        break;
    case transitionPause: setWords(prev, v4 ? "stop" : "pause", "active"); break;
    case transitionResume: setWords(prev, "start", "resume"); break;
    case transitionUpdate: setWords(prev, "update", "passive"); break;
    case transitionError:
        TQL_LOG(3, "Consume: Type = Error");
        setWords(prev, v4 ? "stop" : "end", "error");
        break;
    default: break;
    }
}

// Types that only close a period or mark a state of it send no open record
// while the kind of channel stays the same.
bool closesOnly(int type)
{
    return type == transitionEnd || type == transitionPause || type == transitionResume ||
           type == transitionUpdate || type == transitionError;
}

bool keepsTimerRunning(int type)
{
    return type == transitionMarker || type == transitionTuneIn || type == transitionResume ||
           type == transitionUpdate;
}

} // namespace

void CMTamberNodeResponder::reportV2Consume(int userAction, int type)
{
    reportConsume(userAction, type, false);
}

void CMTamberNodeResponder::reportV4Consume(int userAction, int type)
{
    reportConsume(userAction, type, true);
}

void CMTamberNodeResponder::on_consumeUpdateTimeout(void* self, int)
{
    CMTamberNodeResponder* responder = static_cast<CMTamberNodeResponder*>(self);
    TQL_LOG(3, "Send update consume call!");
    responder->reportV2Consume(0, transitionUpdate);
    responder->reportV4Consume(0, transitionUpdate);
}

void CMTamberNodeResponder::setConsumeMode(const TamberMetadata& metadata)
{
    int mode = m_tokenRequest.mode;
    m_curConsumeMode = mode == 1 ? "AOD" : mode == 2 ? "aic" : "Live";
    m_curConsume.m_consumeChannel = m_curConsumeMode;
    m_curConsume.consumptionInfo = metadata.m_consumptionInfo;
}

void CMTamberNodeResponder::reportConsume(int userAction, int type, bool v4)
{
    m_consumeTimer->stop();
    m_curConsume.incognito = m_curConsume.aodDownload = m_curConsume.offline = 0;
    if (m_curConsume.consumptionInfo.isEmpty()) {
        TQL_LOG(3, "No Consumption info available - skip report");
        return;
    }
    if (type == transitionSkipForward || type == transitionSkipBack || type == transitionGoLive) {
        m_skipDirection = skipWord(type);
        return;
    }
    setConsumeWords(userAction, type, v4);
    setConsumeTimes(type);

    tql_list<TQLConsumeRequests> first, second;
    if (!m_prevConsumeMode.isEmpty())
        first.push_back(m_prevConsume);
    if (m_curConsumeMode != m_prevConsumeMode)
        second.push_back(m_curConsume);
    else if (!closesOnly(type))
        first.push_back(m_curConsume);
    if (v4) {
        m_prevConsume = m_curConsume;
        m_prevConsumeMode = m_curConsumeMode;
    }

    // A report that fails stays here: the error a stop later hands the host
    // must be the playback's, not that of a report it never asked for.
    tql_errorNotification playbackError;
    memset(&playbackError, 0, sizeof playbackError);
    m_tamberRequest->getErrorResponse(&playbackError);
    TQLResponse* response = v4 ? m_tamberRequest->tamberV4NorvaleConsume(first, second)
                               : m_tamberRequest->tamberV2NorvaleConsume(first, second);
    if (!response || response->m_status != 1)
        TQL_LOG(1, "Consume report error");
    else
        TQL_LOG(3, "Consume report sent");
    m_tamberRequest->restoreErrorResponse(playbackError);

    if (keepsTimerRunning(type)) {
        m_consumeTimer->m_interval = kConsumePeriodMs;
        m_consumeTimer->start();
    }
}

void CMTamberNodeResponder::setConsumeWords(int userAction, int type, bool v4)
{
    closingWords(m_prevConsume, userAction, type, v4);
    if (type == transitionMarker)
        setWords(m_curConsume, v4 ? "start" : "markerStart", "passive");
    if (type == transitionTuneIn)
        setWords(m_curConsume, v4 ? "start" : "markerStart", "tuneIn");

    if (type == transitionEnd && !m_skipDirection.isEmpty()) {
        m_prevConsume.consumeEventAction = m_skipDirection;
        if (!v4)
            m_prevConsume.consumeEvent = "end";
    }
    if (type != transitionTuneIn)
        return;
    if (m_tokenRequest.mode == 0) {
        if (m_channelCtx.liveStart) {
            m_curConsume.consumeEvent = "start";
        } else if (m_tokenRequest.assetGuid.isEmpty()) {
            m_curConsume.consumeEventAction = "tuneStart";
        } else {
            m_curConsume.consumeEventAction = "startNow";
            m_prevConsume.consumeEventAction = "startNow";
        }
    }
    if (!m_skipDirection.isEmpty()) {
        m_curConsume.consumeEventAction = m_skipDirection;
        m_curConsume.consumeEvent = v4 || m_skipDirection == "live" ? "start" : "markerStart";
        // Both generations carry the direction of the tune-in; the last one
        // to report lets it go.
        if (v4)
            m_skipDirection = tql_string();
    }
}

void CMTamberNodeResponder::setConsumeTimes(int type)
{
    tamberTime clock;
    tql_string now = clock.tamberTimeGetTimeAsConsumeString();
    m_curConsume.consumeDateTime = now;
    m_prevConsume.consumeDateTime = now;
    if (m_tokenRequest.mode == 2) {
        // A clip's stream has no clock of its own.
        m_prevConsume.consumeStreamDateTime = now;
        m_curConsume.consumeStreamDateTime = now;
        return;
    }
    if (type == transitionMarker) {
        tql_string track = clock.tamberTimeGetTimeAsConsumeString(m_currentTrackTimestampMs);
        m_prevConsume.consumeStreamDateTime = track;
        m_curConsume.consumeStreamDateTime = track;
    } else {
        m_prevConsume.consumeStreamDateTime =
            clock.tamberTimeGetTimeAsConsumeString(m_playTimeMs + m_firstChunkTimestampMs);
        if (type == transitionTuneIn)
            m_curConsume.consumeStreamDateTime = clock.tamberTimeGetTimeAsConsumeString(m_firstChunkTimestampMs);
    }
    TQL_LOG(4, "prev end consumeStreamDateTime = %s", m_prevConsume.consumeStreamDateTime.c_str());
    TQL_LOG(4, "current consumeStreamDateTime = %s", m_curConsume.consumeStreamDateTime.c_str());
}
