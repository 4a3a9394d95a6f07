// The service calls of a clip channel: what its tune reply gives the clip
// sequencer, and the refresh that asks for more clips when few are left.
#include "requestDocuments/requestDocuments.h"
#include "tamberClipSequencer.h"
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tamberResponse/tamberDravTune.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const char* const kRefreshTracks = "/rest/v4/aic/refresh-tracks";
} // namespace

TamberClipSequencer* TamberRequest::clipSequencer() const
{
    CMTamberNodeResponder* engine = m_core ? m_core->getCurrentStreamer() : nullptr;
    return engine ? &engine->m_clipSequencer : nullptr;
}

void TamberRequest::takeDravTune(const TQLModuleResponseTuneToDrav& drav, int append, tokenDataT* tokenData,
                                 TQLResponse& response)
{
    setLibraryErrorResponse(tamberErrorNone, 0);
    if (TamberClipSequencer* sequencer = clipSequencer()) {
        sequencer->setChannel(drav.m_channel);
        sequencer->setSequencerSessionId(drav.sequencerSessionId);
        sequencer->addClips(drav.m_channel.clips, append);
    }
    if (tokenData && !drav.customAudioInfos.empty())
        tokenData->customAudioInfos = drav.customAudioInfos;
    if (drav.updateFrequency != 0)
        response.m_updateFrequency = drav.updateFrequency;
}

TQLResponse* TamberRequest::tamberRefreshTracks(const tql_list<TQLClip>& clips, int currentClipIndex,
                                                const tql_string& channelGuid, const tql_string& sessionId)
{
    tql_url url;
    if (!serviceUrl(kRefreshTracks, url))
        return nullptr;
    TQL_LOG(3, "Refresh Tracks request url: %s", url.toString().c_str());
    TQLModuleRequestRefreshTracks document;
    document.m_clips = &clips;
    document.m_currentClipIndex = currentClipIndex;
    document.channelGuid = channelGuid;
    document.sessionId = sessionId;
    tql_string body = moduleListBody("", "refreshTracks", &document);
    TQL_LOG(4, "Refresh tracks post data: %s", body.c_str());
    m_faultResponse->m_messages.clear();

    // sendServiceCall resets the tune response, or makes it.
    TQLResponse* response = sendServiceCall(m_norvaletune, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "TamberRequest::tamberStationToken HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestRefreshTracks);
    if (!response->m_messages.empty())
        TQL_LOG(3, "Token message: %s and code: %d", response->m_messages.front().m_message.c_str(),
                response->m_messages.front().m_code);
    if (response->m_status != 1 || response->m_modules.empty())
        return nullptr;
    if (TQLModuleResponseTuneToDrav* drav = firstModule<TQLModuleResponseTuneToDrav>(response)) {
        CMTamberNodeResponder* engine = m_core ? m_core->getCurrentStreamer() : nullptr;
        takeDravTune(*drav, 1, engine ? &engine->m_tokenData : nullptr, *response);
        return response;
    }
    refreshFailure(*response, code);
    return nullptr;
}

void TamberRequest::refreshFailure(TQLResponse& response, int code)
{
    if (m_simultaneousLogin) {
        TQL_LOG(1, "User looed elsewhere error");
        setLibraryErrorResponse(tamberErrorLoggedElsewhere, code);
    } else if (m_sessionInvalid) {
        TQL_LOG(1, "Invalid session error");
        setLibraryErrorResponse(tamberErrorInvalidSession, code);
    } else if (m_noTracks) {
        TQL_LOG(1, "No Tracks Available server code %d",
                response.m_messages.empty() ? 0 : response.m_messages.front().m_code);
        setLibraryErrorResponse(tamberErrorChannelUnavailable, code);
    } else if (m_httpHeader.http11Status == 502 || m_httpHeader.http11Status == 503) {
        TQL_LOG(2, "Tune cannel temporary failed due to http error %d -> continue to play",
                m_httpHeader.http11Status);
        response.m_status = 1;
    } else {
        if (!m_headerData.isEmpty())
            TQL_LOG(1, "TamberRequest::tamberRefreshTracks \nResponse header = %s", m_headerData.str().c_str());
        TQL_LOG(1, "Unspecified error from server >> no server message provided HTTP code = %d and expected "
                   "content length = %d",
                m_httpHeader.http11Status, m_httpHeader.contentLength);
        m_faultResponse->m_messages = response.m_messages;
        setLibraryErrorResponse(tamberErrorTokenUpdate, code);
    }
}
