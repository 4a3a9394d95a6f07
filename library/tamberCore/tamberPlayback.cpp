// The core's playback control: a host's channel context becomes a tune
// request for the engine, and the transport controls go through to it.
#include "tamberCore.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kGeoTries = 5;

tql_string textOf(const char* text)
{
    return tql_string(text ? text : "");
}
} // namespace

int tql_core::playChannel(tql_channel_ctx* ctx)
{
    tokenRequestStrT request;
    if (!ctx->contentId && ctx->contentType != 2) {
        TQL_LOG(1, "No content ID allocated");
        return -1;
    }
    request.channelId = textOf(ctx->contentId);
    request.mode = ctx->contentType;
    request.liveStart = ctx->liveStart;
    if (request.mode == 1) {
        if (!ctx->accessControlId) {
            TQL_LOG(1, "No access control found for on demand playback");
            return -1;
        }
        request.caId = ctx->accessControlId;
        request.timestamp = textOf(ctx->timestamp);
        if (request.timestamp.isEmpty())
            TQL_LOG(3, "Playing start for episode with access control id %s", request.caId.c_str());
        else
            TQL_LOG(3, "Playing start for episode with access control id %s with timestamp: %s",
                    request.caId.c_str(), request.timestamp.c_str());
    } else if (request.mode == 2) {
        // The same clip channel resumes at the clip it was playing.
        TamberClipSequencer& clips = m_streamer->m_clipSequencer;
        if (clips.channel().channelGuid != textOf(ctx->assetGuid)) {
            TQL_LOG(3, "Different Drav channel is playing, remove all previous clips");
            clips.removeAllClips();
        }
        request.assetGuid = textOf(ctx->assetGuid);
        clips.skipPrevious();
    } else {
        TQL_LOG(3, "PlayChannel start Channel %s ", request.channelId.c_str());
    }
    tql_string timestamp = textOf(ctx->timestamp);
    if (!timestamp.isEmpty() && !ctx->assetGuid) {
        TQL_LOG(1, "No assetGUID found for start now playback");
        return -1;
    }
    if (!timestamp.isEmpty()) {
        request.timestamp = timestamp;
        TQL_LOG(3, "Playing start for show with timestamp id %s on channel %s", timestamp.c_str(),
                request.channelId.c_str());
        request.assetGuid = ctx->assetGuid;
    } else if (ctx->assetGuid && *ctx->assetGuid) {
        request.assetGuid = ctx->assetGuid;
    }
    request.pausedAtMs = 0;
    TQL_LOG(3, "tql_core::playChannel start Channel %s", request.channelId.c_str());
    return m_streamer->respondWorkerInit(ctx, request);
}

// A stop after a service failure ends the playback under that failure,
// which is how the failure reaches the host.
int tql_core::stopChannel()
{
    TQL_LOG(3, "stopChannel");
    tql_errorNotification last{};
    m_tamberRequest.getErrorResponse(&last);
    m_streamer->respondWorkerFinalize(last.errorCode, last.responseCode);
    TQL_LOG(3, "stopChannel DONE");
    return 1;
}

int tql_core::userPause(int pause)
{
    return m_streamer->userPause(pause);
}

// The one control that may come from another thread.
int tql_core::selectStreamIndex(int index)
{
    m_streamer->setStreamIndexes(index);
    return 1;
}

int tql_core::triggerGoLive()
{
    m_streamer->triggerGoLive();
    return 1;
}

// Clip channels step between clips.
int tql_core::getNextSegmentTime(char* buffer, int length)
{
    return m_streamer->getMode() == 2 ? m_streamer->getNextClip(buffer, length)
                                      : m_streamer->getNextSegment(buffer, length);
}

int tql_core::getPrevSegmentTime(char* buffer, int length)
{
    return m_streamer->getMode() == 2 ? m_streamer->getPreviousClip(buffer, length)
                                      : m_streamer->getPreviousSegment(buffer, length);
}

int tql_core::getShowStartGuid(char* buffer, int length)
{
    return m_streamer->getShowStartGuid(buffer, length);
}

int tql_core::on_playTimeChanged(unsigned positionMs)
{
    m_streamer->on_playTimeChangedResponder(positionMs);
    return 1;
}

int tql_core::sendAudioData()
{
    return m_streamer->sendAudioData();
}

int tql_core::getStreamBitrate()
{
    return static_cast<int>(m_streamer->getStreamBitRate());
}

int tql_core::checkGeoRestricted(const char* text)
{
    int result = -1;
    for (int attempt = 0; attempt < kGeoTries && result == -1; ++attempt)
        result = m_tamberRequest.tamberNorvaleCheckGeoLocation(textOf(text), "");
    return result;
}

uint64_t tql_core::getCurrentTimestampMs(int delay)
{
    return tamberTime().tamberTimeGetTimeAsMSec("") - static_cast<uint64_t>(delay);
}

tql_string tql_core::getCurrentTimestamp()
{
    return tamberTime().tamberTimeGetTimeAsString(getCurrentTimestampMs(160000));
}

tql_string tql_core::getCurrentHPDTTimestamp(int hours)
{
    return tamberTime().tamberTimeGetTimeAsHPDTString(hours, getCurrentTimestampMs(170000));
}
