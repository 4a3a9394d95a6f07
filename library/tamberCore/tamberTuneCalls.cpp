// Tuning: the now-playing request of a live channel, an on-demand episode
// or a clip channel, its retry wrapper, and the choice of the index files
// that the playlist parser reads next.
#include "tamberClipSequencer.h"
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tamberResponse/tamberDravTune.h"
#include "tamberResponse/tamberNowPlaying.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTokens.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"
#include "tamberTypes/tamberSettings.h"

#define TQL_GREEN "\033[0;32m"
#define TQL_RESET "\033[0m"

namespace {
const char* const kTuneLive = "/rest/v4/experience/modules/tune/now-playing-live";
const char* const kTuneAod = "/rest/v2/experience/modules/tune/now-playing-aod";
const char* const kTuneClips = "/rest/v4/aic/tune";

// The service's own text form of a start time.
tql_string consumeTime(const tql_string& timestamp)
{
    return tamberTime(timestamp).tamberTimeGetTimeAsConsumeString();
}

bool passingFault(int status)
{
    return status == 502 || status == 503;
}

eRequestType tuneType(int mode)
{
    return mode == 1 ? eRequestTuneAod : mode == 2 ? eRequestTuneDrav : eRequestTuneLive;
}
} // namespace

tql_url TamberRequest::formRequestUrl(const tokenRequestStrT& request, int customOutput)
{
    TQLModuleResponseRouting* routing = m_core ? m_core->getRouting() : nullptr;
    tql_url url;
    if (routing)
        url = tql_url(routing->m_partnerDevice.routingUrl);
    if (url.isEmpty()) {
        setLibraryErrorResponse(tamberErrorNoRouting, 0);
        return url;
    }
    TQL_LOG(4, "Tune Channel path = %s", url.toString().c_str());
    const char* output = customOutput ? "custom" : "none";
    if (request.mode == 1) {
        url.setPath(url.path() + kTuneAod);
        url.addQueryItem("caId", request.caId);
        url.addQueryItem("hls_output_mode", output);
        url.addQueryItem("channelId", request.channelId);
        url.addQueryItem("marker_mode", "all_separate_cue_points");
        if (!request.timestamp.isEmpty())
            url.addQueryItem("timestamp", consumeTime(request.timestamp));
        if (!request.assetGuid.isEmpty())
            url.addQueryItem("assetGuid", request.assetGuid);
    } else if (request.mode == 2) {
        url.setPath(url.path() + kTuneClips);
        url.addQueryItem("channelGuid", request.assetGuid);
    } else {
        url.setPath(url.path() + kTuneLive);
        url.addQueryItem("ccRequestType", "AUDIO_VIDEO");
        url.addQueryItem("channelId", request.channelId);
        url.addQueryItem("marker_mode", "all_separate_cue_points");
        url.addQueryItem("hls_output_mode", output);
        // A position inside the buffer only means something to custom output.
        if (customOutput && !request.assetGuid.isEmpty())
            url.addQueryItem("assetGUID", request.assetGuid);
        if (customOutput && !request.timestamp.isEmpty())
            url.addQueryItem("timestamp", consumeTime(request.timestamp));
    }
    url.addQueryItem("result-template", "mobile");
    return url;
}

TQLResponse* TamberRequest::tamberNorvaleTune(tokenRequestStrT& request, tokenDataT& tokenData, int customOutput)
{
    tql_url url = formRequestUrl(request, customOutput);
    if (url.isEmpty())
        return nullptr;
    tokenData.useAlternateServer = request.useAlternateServer;
    TQL_LOG(3, TQL_GREEN "Tune request url: %s" TQL_RESET, url.toString().c_str());
    m_faultResponse->m_messages.clear();

    TQLResponse* response = sendServiceCall(m_norvaletune, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "TamberRequest::tamberStationToken HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, tuneType(request.mode));
    if (!response->m_messages.empty())
        TQL_LOG(3, "Token message: %s and code: %d", response->m_messages.front().m_message.c_str(),
                response->m_messages.front().m_code);

    bool answered = response->m_status == 1 && !response->m_modules.empty();
    if (request.mode == 2 && answered) {
        // A token update adds to the clips of the channel; a first tune starts them afresh.
        if (TQLModuleResponseTuneToDrav* drav = firstModule<TQLModuleResponseTuneToDrav>(response)) {
            TamberClipSequencer* sequencer = clipSequencer();
            int append = sequencer && sequencer->getClipListSize() > 0 && customOutput == 0;
            takeDravTune(*drav, append, &tokenData, *response);
        }
        return response;
    }
    if ((request.mode == 0 || request.mode == 1) && answered && !m_sessionInvalid && !m_simultaneousLogin &&
        !m_noTracks) {
        tokenData.tokenTimestampMs = static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
        if (TQLModuleResponseNowPlaying* playing = firstModule<TQLModuleResponseNowPlaying>(response))
            takeNowPlaying(*playing, request, tokenData, *response);
        return response;
    }
    tuneFailure(*response, code);
    return nullptr;
}

// What a good tune gives the engine. Lists the reply lacks keep the values
// of the previous tune.
void TamberRequest::takeNowPlaying(const TQLModuleResponseNowPlaying& playing, tokenRequestStrT& request,
                                   tokenDataT& tokenData, TQLResponse& response)
{
    setLibraryErrorResponse(tamberErrorNone, 0);
    if (!playing.hlsAudioInfos.empty())
        tokenData.hlsAudioInfos = playing.hlsAudioInfos;
    if (!playing.customAudioInfos.empty())
        tokenData.customAudioInfos = playing.customAudioInfos;
    if (playing.updateFrequency != 0)
        response.m_updateFrequency = playing.updateFrequency;
    if (request.mode == 1)
        request.pausePointOffset = playing.pausePointOffset;
}

// The failure ladder of a tune; the flags may stem from an earlier reply.
void TamberRequest::tuneFailure(TQLResponse& response, int code)
{
    if (m_simultaneousLogin) {
        TQL_LOG(1, "User looed elsewhere error");
        setLibraryErrorResponse(tamberErrorLoggedElsewhere, 0);
    } else if (m_sessionInvalid) {
        TQL_LOG(1, "Invalid session error");
        setLibraryErrorResponse(tamberErrorInvalidSession, code);
    } else if (m_noTracks || m_contentNotAvailable) {
        TQL_LOG(1, "Content not available server code %d",
                response.m_messages.empty() ? 0 : response.m_messages.front().m_code);
        setLibraryErrorResponse(tamberErrorChannelUnavailable, code);
    } else if (m_episodeExpired) {
        TQL_LOG(1, "Expired AOD episode %d", code);
        setLibraryErrorResponse(tamberErrorEpisodeExpired, code);
        if (m_core)
            m_core->reportTamberError(tamberErrorEpisodeExpired, 0, code);
    } else if (passingFault(m_httpHeader.http11Status)) {
        // The service is briefly unwell; playback goes on with what it has.
        TQL_LOG(2, "Tune cannel temporary failed due to http error %d -> continue to play",
                m_httpHeader.http11Status);
        response.m_status = 1;
    } else {
        if (!m_headerData.isEmpty())
            TQL_LOG(1, "TamberRequest::tune \nResponse header = %s", m_headerData.str().c_str());
        TQL_LOG(1, "Unspecified error from server >> no server message provided HTTP code = %d and expected "
                   "content length = %d",
                m_httpHeader.http11Status, m_httpHeader.contentLength);
        m_faultResponse->m_messages = response.m_messages;
        setLibraryErrorResponse(tamberErrorTokenUpdate, code);
    }
}

int TamberRequest::tamberStationToken(tokenRequestStrT& request, tokenDataT& tokenData, int retries,
                                      int customOutput)
{
    m_networkError = 0;
    // The first chunk key is fixed; it lives in memory only.
    tokenData.keys[0] = tql_bytearray::fromHex(tamberSettingsInt().getFixedKey());
    tokenData.tokenTimestampMs = static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
    for (int attempt = 1; attempt <= retries; ++attempt) {
        TQL_LOG(4, "try to do token request try = %d of total %d", attempt, retries);
        if (tamberNorvaleTune(request, tokenData, customOutput)) {
            TQL_LOG(3, "Token Update: successfull");
            return 1;
        }
        if (m_networkError) {
            TQL_LOG(1, "Token Update: Failed -> Due to network error");
            return -1;
        }
        if (m_simultaneousLogin) {
            TQL_LOG(1, "Token Update: Failed -> Simultaneous Login");
            return -1;
        }
        if (m_sessionInvalid) {
            TQL_LOG(1, "Token Update: Failed -> Invalid session reuathentication required");
            return -16;
        }
        if (m_errorResponse.errorCode == tamberErrorChannelUnavailable) {
            TQL_LOG(1, "Content not available");
            return -1;
        }
        tql_sleep(5);
    }
    if (passingFault(m_httpHeader.http11Status)) {
        TQL_LOG(2, "Tune cannel temporary failed continue to play");
        if (m_norvaletune)
            m_norvaletune->m_status = 1;
        return 1;
    }
    return -1;
}

TQLResponse* TamberRequest::tamberNorvaleTuneStartNow(const tql_string& channelId)
{
    tql_url url;
    if (!serviceUrl(kTuneLive, url))
        return nullptr;
    url.addQueryItem("ccRequestType", "AUDIO_VIDEO");
    url.addQueryItem("channelId", channelId);
    url.addQueryItem("hls_output_mode", "custom");
    url.addQueryItem("marker_mode", "all_separate_cue_points");
    url.addQueryItem("result-template", "mobile");
    TQL_LOG(3, TQL_GREEN "Tune (Start Now) url: %s" TQL_RESET, url.toString().c_str());
    m_faultResponse->m_messages.clear();

    TQLResponse* response = sendServiceCall(m_norvaletunestart, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "TamberRequest::tamberStationToken HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestTuneLive);
    if (!response->m_messages.empty())
        TQL_LOG(3, "Tune message: %s and code: %d", response->m_messages.front().m_message.c_str(),
                response->m_messages.front().m_code);
    if (response->m_status == 1 && firstModule<TQLModuleResponseNowPlaying>(response)) {
        setLibraryErrorResponse(tamberErrorNone, 0);
    } else if (m_sessionInvalid || m_simultaneousLogin) {
        setLibraryErrorResponse(tamberErrorInvalidSession, code);
    } else if (m_contentNotAvailable) {
        setLibraryErrorResponse(tamberErrorChannelUnavailable, code);
    } else {
        m_faultResponse->m_messages = response->m_messages;
        setLibraryErrorResponse(tamberErrorTokenUpdate, code);
    }
    // The caller reads the outcome from the status.
    return response;
}

// Which of the service's three index sizes (few, middling or many chunks)
// suits the start that is wanted.
static const char* wantedIndexSize(tokenRequestStrT& request, const tokenDataT& tokenData)
{
    const char* size;
    const tql_string position =
        tokenData.customAudioInfos.empty() ? tql_string("") : tokenData.customAudioInfos.front().position;
    if (request.mode == 2) {
        size = "SMALL";
    } else if (request.mode >= 1) {
        size = "LARGE";
    } else if (request.liveStart) {
        request.liveStart = 0;
        TQL_LOG(3, "LIVE START ACTIVATED - USE SMALL INDEX FILE");
        size = "SMALL";
    } else if (position == "TUNE_START") {
        TQL_LOG(3, "TUNE START ACTIVATED");
        size = "LARGE";
    } else if (position == "BUFFER") {
        TQL_LOG(3, "BUFFER START ACTIVATED");
        size = "LARGE";
    } else if (request.firstChunkDone == 1) {
        TQL_LOG(3, "LIVE AF START ACTIVATED");
        size = "LARGE";
    } else {
        TQL_LOG(3, "LIVE START ACTIVATED");
        size = "MEDIUM";
    }
    // A time-shifted start needs the longest reach back whatever else holds.
    if (request.tuneType == 2)
        size = "LARGE";
    return size;
}

// One server's index file from the variant list: the first entry of the
// wanted size counts.
void TamberRequest::takeVariant(const tql_list<TQLRelativeUrlsItem>& relative, const TQLHlsAudioInfos& info,
                                tql_url& target, bool primary)
{
    TQL_LOG(4, "size = %s name = %s url = %s", info.size.c_str(), info.name.c_str(), info.url.c_str());
    if (target.isEmpty()) {
        TQL_LOG(4, primary ? "replace prim url %s" : "replace sec url %s", info.url.c_str());
        target = tql_url(replaceBaseUrl(relative, info.url));
    }
    if (target.isEmpty())
        TQL_LOG(1, primary ? "no primary url found" : "no sec url found");
    TQL_LOG(3, primary ? "Primary index file with %s chunks, name = %s" : "Secondary index file with %s chunks, name =%s",
            info.size.c_str(), info.name.c_str());
}

tamberVariantUrls TamberRequest::getVariantFilesHLSv2(tokenRequestStrT& request, tokenDataT& tokenData)
{
    tamberVariantUrls result;
    TQL_LOG(4, "Enter getVariantFilesHLSv2");
    tql_list<TQLRelativeUrlsItem> relative;
    getRelativeUrls(relative);
    if (relative.empty()) {
        TQL_LOG(1, "Unable to obtain base streaming url from configuration");
        return result;
    }
    const char* size = wantedIndexSize(request, tokenData);
    TQL_LOG(3, "Using size = %s", size);
    if (request.mode > 2)
        return result;
    // Clip channels take their index files from the clip being buffered.
    if (request.mode == 2) {
        TamberClipSequencer* sequencer = clipSequencer();
        TQLClip clip = sequencer ? sequencer->getBufferingClip() : TQLClip();
        if (clip.contentUrls.size() > 0)
            result.primary = tql_url(replaceBaseUrl(relative, clip.contentUrls[0]));
        if (clip.contentUrls.size() > 1)
            result.secondary = tql_url(replaceBaseUrl(relative, clip.contentUrls[1]));
    } else {
        for (const TQLHlsAudioInfos& info : tokenData.hlsAudioInfos) {
            if (info.size != size)
                continue;
            if (info.name == "primary")
                takeVariant(relative, info, result.primary, true);
            else if (info.name == "secondary")
                takeVariant(relative, info, result.secondary, false);
        }
    }
    if (result.primary.isEmpty() || result.secondary.isEmpty()) {
        TQL_LOG(3, "Using customAudioInfo block to obtain variant files");
        // Later entries win here, and they replace what the list above gave.
        for (const TQLCustomAudioInfos& info : tokenData.customAudioInfos) {
            if (info.size != size)
                continue;
            if (info.name == "primary") {
                result.primary = tql_url(replaceBaseUrl(relative, info.url));
                TQL_LOG(3, "Found primary small variant file %s", info.url.c_str());
            } else if (info.name == "secondary") {
                result.secondary = tql_url(replaceBaseUrl(relative, info.url));
                TQL_LOG(3, "Found secondary small variant file %s", info.url.c_str());
            }
        }
    }
    return result;
}
