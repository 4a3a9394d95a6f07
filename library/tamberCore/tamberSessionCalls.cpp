// The calls that create and keep a session: routing, configuration, login
// and no-op, on the common frame of every service call.
#include "tamberCore.h"
#include "tamberJson/tamberJson.h"
#include "tamberTokens.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberSettings.h"
#include "tamberRequest.h"
#include "tamberResponse/tamberChannelListing.h"
#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberDebug.h"

#define TQL_GREEN "\033[0;32m"
#define TQL_RESET "\033[0m"

// Steps 1 and 2 of the frame: the routing base and the call's path.
bool TamberRequest::serviceUrl(const char* path, tql_url& url)
{
    TQLModuleResponseRouting* routing = m_core ? m_core->getRouting() : nullptr;
    if (!routing || routing->m_partnerDevice.routingUrl.isEmpty()) {
        setLibraryErrorResponse(tamberErrorNoRouting, 0);
        TQL_LOG(1, "Tamber not configured, no routing Url");
        return false;
    }
    url = tql_url(routing->m_partnerDevice.routingUrl);
    url.setPath(url.path() + path);
    return true;
}

// Steps 5 to 8: the response object, the parser over it, the transfer. Null
// when the transfer was not made (error 55, response reset).
TQLResponse* TamberRequest::sendServiceCall(TQLResponse*& slot, const tql_url& url, int method,
                                            const tql_string& body, tql_channelCallBackIf* callback,
                                            int connectTimeout, int totalTimeout)
{
    if (slot)
        slot->reset();
    else
        slot = new TQLResponse();
    TQLResponseHandler handler(slot, callback);
    tql_json parser(&handler);
    m_partialMode = 1;
    m_jsonParser = &parser;
    m_jsonError = tql_Error();
    int sent = tamberRequest(url, method, body, connectTimeout, totalTimeout);
    m_partialMode = 0;
    m_jsonParser = nullptr;
    if (!sent) {
        setLibraryErrorResponse(tamberErrorUnreachable, 0);
        slot->reset();
        return nullptr;
    }
    return slot;
}

TQLResponse* TamberRequest::tamberNorvaleRouting(const tql_url& baseUrl)
{
    if (baseUrl.isEmpty()) {
        setLibraryErrorResponse(tamberErrorNotConfigured, 0);
        TQL_LOG(1, "Empty Base Routing Url");
        return nullptr;
    }
    if (m_curlHandle)
        tamber_HT_reset(m_curlHandle);

    TQLModuleRequestRouting request;
    request.m_deviceInfo = &m_core->getDeviceInfo();
    tql_string body = moduleListBody("Routing", "PartnerDevices", &request);

    tql_url url(baseUrl);
    url.setPath(url.path() + "/rest/v2/experience/modules/get/partner/");
    TQL_LOG(3, TQL_GREEN "Routing request url: %s" TQL_RESET, url.toString().c_str());
    TQL_LOG(3, "Authentication request body: %s", body.c_str());
    m_faultResponse->m_messages.clear();

    TQLResponse* response = sendServiceCall(m_norvalerouting, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
        return nullptr;
    }
    TQL_LOG(4, "Received");
    int code = 0;
    if (response->m_status == 1) {
        TQL_LOG(3, "Success");
        if (TQLModuleResponseRouting* routing = firstModule<TQLModuleResponseRouting>(response)) {
            TQL_LOG(3, "Routing url = %s", routing->m_partnerDevice.routingUrl.c_str());
            m_core->setRouting(routing);
            setLibraryErrorResponse(tamberErrorNone, 0);
            return response;
        }
        if (!response->m_modules.empty())
            m_core->setRouting(nullptr);
    } else {
        // The only place where messages of routing are read.
        code = tamberNorvaleCheckMessages(response->m_messages, eRequestRouting);
    }
    m_faultResponse->m_messages = response->m_messages;
    TQL_LOG(1, "Error parsing routing response");
    if (code == 0)
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
    else
        setLibraryErrorResponse(tamberErrorRouting, code);
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleConfiguration()
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/get/configuration", url))
        return nullptr;
    url.addQueryItem("result-template", "tenfoot");
    url.addQueryItem("format", "json");
    url.addQueryItem("app-region", "US");
    TQL_LOG(3, TQL_GREEN "Configuration request url: %s" TQL_RESET, url.toString().c_str());
    m_faultResponse->m_messages.clear();

    TQLResponse* response = sendServiceCall(m_norvaleconfiguration, url, 0, tql_string(""), nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestConfiguration);
    if (response->m_status == 1) {
        TQL_LOG(3, "Success");
        if (firstModule<TQLModuleResponseConfig>(response))
            setLibraryErrorResponse(tamberErrorNone, 0);
        return response;
    }
    if (code == 0)
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
    else
        setLibraryErrorResponse(tamberErrorConfiguration, code);
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleAuth(tql_bytearray username, tql_bytearray password)
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/modify/authentication-partner", url))
        return nullptr;
    url.addQueryItem("format", "json");
    TQL_LOG(3, TQL_GREEN "Authentication request url: %s" TQL_RESET, url.toString().c_str());

    TQLDeviceInfo& device = m_core->getDeviceInfo();
    TQLNorvaleStandardAuth credentials;
    credentials.username = username;
    credentials.password = password;
    TQLModuleRequestAuth request;
    request.m_deviceInfo = &device;
    request.m_standardAuth = &credentials;
    request.resultTemplate = m_core->getRouting()->m_partnerDevice.resultTemplate;
    // Login does not send the region; it stays set for every other use.
    tql_string region = device.appRegion;
    device.appRegion = "";
    tql_string body = moduleListBody("UserFlow", "StandardAuth", &request);
    device.appRegion = region;
    TQL_LOG(3, "Authentication request body: %s", body.c_str());
    m_faultResponse->m_messages.clear();
    if (m_norvaleauth)
        m_gupId = "";
    // Any failure without a better code leaves this one.
    setLibraryErrorResponse(tamberErrorAuthFailed, 0);

    TQLResponse* response = sendServiceCall(m_norvaleauth, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestAuth);
    if (response->m_status == 1) {
        TQL_LOG(3, "Success");
        TQLModuleResponseAuth* auth = firstModule<TQLModuleResponseAuth>(response);
        if (!auth)
            return nullptr;
        TQL_LOG(3, "Session ID = %s", auth->m_authenticationData.sessionID.c_str());
        tql_httpHeader header;
        if (parseHttpHeader(m_headerData, header))
            TQL_LOG(3, "Received header: %s", m_headerData.str().c_str());
        m_core->setSession(auth->m_authenticationData.sessionID, header.cookie);
        clearMessageFlags();
        setLibraryErrorResponse(tamberErrorNone, 0);
        return response;
    }
    // The flags are sticky: an earlier refusal still decides here.
    if (m_badCredentials) {
        setLibraryErrorResponse(tamberErrorCredentials, code);
    } else if (m_loginAttempts) {
        setLibraryErrorResponse(tamberErrorTooManyLogins, code);
        if (TQLModuleResponseAuth* auth = firstModule<TQLModuleResponseAuth>(response)) {
            response->m_remainingLockoutMinutes = auth->m_authenticationData.remainingLockoutMinutes;
            response->m_remainingLockoutSeconds = auth->m_authenticationData.remainingLockoutSeconds;
        }
    } else if (m_noSubscription) {
        setLibraryErrorResponse(tamberErrorNoSubscription, code);
    } else if (m_pastDue) {
        setLibraryErrorResponse(tamberErrorPastDue, code);
    } else if (m_accountClosed) {
        setLibraryErrorResponse(tamberErrorAccountClosed, code);
    } else if (m_notCompatible) {
        setLibraryErrorResponse(tamberErrorIncompatibleAccount, code);
    }
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleResume(const tokenRequestStrT& request, tokenDataT& tokenData)
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/resume", url))
        return nullptr;
    if (request.mode == 2) {
        url.addQueryItem("contentType", "aic");
        url.addQueryItem("channelId", request.assetGuid);
    } else {
        url.addQueryItem("format", "json");
    }
    TQL_LOG(3, TQL_GREEN "Resume request url: %s" TQL_RESET, url.toString().c_str());

    // No credentials: the session cookie that the transport holds does the work.
    TQLDeviceInfo& device = m_core->getDeviceInfo();
    TQLNorvaleStandardAuth credentials;
    TQLModuleRequestAuth document;
    document.m_deviceInfo = &device;
    document.m_standardAuth = &credentials;
    document.resultTemplate = "mobile";
    tql_string region = device.appRegion;
    device.appRegion = "";
    tql_string body = moduleListBody("Discovery", "Welcome", &document);
    device.appRegion = region;
    TQL_LOG(3, "Resume request body: %s", body.c_str());
    m_faultResponse->m_messages.clear();
    setLibraryErrorResponse(tamberErrorResumeFailed, 0);

    TQLResponse* response = sendServiceCall(m_norvaletune, url, 1, body, nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestResume);
    if (response->m_status != 1) {
        const tql_list<TQLMessagesType>& messages = m_faultResponse->m_messages;
        if (messages.empty())
            TQL_LOG(1, "Resume call error - no message available");
        else
            TQL_LOG(1, "Resume call error message: %s code: %d", messages.front().m_message.c_str(),
                    messages.front().m_code);
        if (m_authRequired) {
            TQL_LOG(1, "Resume call - authentication required:");
            setLibraryErrorResponse(tamberErrorCredentials, code);
        }
        return nullptr;
    }
    TQL_LOG(3, "Success");
    if (response->m_modules.empty())
        return nullptr;
    if (TQLModuleResponseNowPlaying* playing = firstModule<TQLModuleResponseNowPlaying>(response)) {
        if (playing->channelId == request.channelId) {
            setLibraryErrorResponse(tamberErrorNone, 0);
            tql_bytearray fixedKey = tamberSettingsInt().getFixedKey();
            TQL_LOG(3, "fixed key %s", fixedKey.str().c_str());
            tokenData.keys[0] = tql_bytearray::fromHex(fixedKey);
            if (!playing->hlsAudioInfos.empty())
                tokenData.hlsAudioInfos = playing->hlsAudioInfos;
            TQL_LOG(3, "channel %s", playing->channelId.c_str());
            tokenData.tokenTimestampMs = static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
            if (!playing->customAudioInfos.empty())
                tokenData.customAudioInfos = playing->customAudioInfos;
            response->m_updateFrequency = playing->updateFrequency;
        } else {
            // The engine tunes afterwards; the token stays as it was.
            TQL_LOG(3, "Starting playback of different channel - force tune call");
        }
        m_sessionInvalid = 0;
    }
    tql_httpHeader header;
    if (parseHttpHeader(m_headerData, header))
        TQL_LOG(3, "Received header: %s", m_headerData.str().c_str());
    m_core->setSession(m_core->getSessionId(), header.cookie);
    TQL_LOG(3, "Cookiess resume %s", header.cookie.c_str());
    clearMessageFlags();
    setLibraryErrorResponse(tamberErrorNone, 0);
    return response;
}

int TamberRequest::tamberNorvaleNoOP()
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/get/noop", url))
        return -1;
    TQL_LOG(3, TQL_GREEN "Noop request url: %s" TQL_RESET, url.toString().c_str());
    TQLResponse* response = sendServiceCall(m_norvalenoop, url, 0, tql_string(""), nullptr);
    if (!response) {
        // A dead network must not fail the no-op: that would force a new login.
        TQL_LOG(1, "TamberRequest::tamberNorvaleNoOP HTTP Error");
        return 1;
    }
    tamberNorvaleCheckMessages(response->m_messages, eRequestNoop);
    if (!response->m_messages.empty() && response->m_messages.front().m_code == 100)
        TQL_LOG(3, "NOOP updateFrequency = %d", response->m_updateFrequency);
    else if (response->m_messages.empty() && !m_headerData.isEmpty())
        TQL_LOG(3, "TamberRequest::noop \nResponse header = %s", m_headerData.str().c_str());
    // A no-op with no body brings its GupId and notifications in the header only.
    if (!m_headerData.isEmpty()) {
        tql_httpHeader header;
        parseHttpHeader(m_headerData, header);
    }
    if (m_sessionInvalid) {
        TQL_LOG(1, "Invalid session - reuathenticate");
        return -1;
    }
    if (m_simultaneousLogin) {
        TQL_LOG(1, "Simultaneous Login");
        return -1;
    }
    return 1;
}

void TamberRequest::getRelativeUrls(tql_list<TQLRelativeUrlsItem>& out)
{
    TQLModuleResponseConfig* config = firstModule<TQLModuleResponseConfig>(m_norvaleconfiguration);
    if (!config)
        return;
    TQL_LOG(4, "Enter getRelativeUrls");
    TQL_LOG(4, "Enter getRelativeUrls config exists, size: %d ", static_cast<int>(config->m_settings.size()));
    TQLModuleResponseRouting* routing = m_core ? m_core->getRouting() : nullptr;
    if (!routing || config->m_componentName != "relativeUrls")
        return;
    const tql_string& platform = routing->m_partnerDevice.resultTemplate;
    for (const TQLSettingsItem& item : config->m_settings) {
        if (item.platform != platform)
            continue;
        TQL_LOG(4, "Config platform = %s", item.platform.c_str());
        for (const TQLRelativeUrlsItem& relative : item.relativeUrls) {
            TQL_LOG(4, "Config relUrls name = %s", relative.name.c_str());
            TQL_LOG(4, "Config relUrls url = %s", relative.url.c_str());
        }
        out = item.relativeUrls;
        return;
    }
}

int TamberRequest::updateChannelCB(void* self, tql_content* content)
{
    tql_core* core = static_cast<TamberRequest*>(self)->m_core;
    return core ? core->getTamberCallback()->propagateChannel(content) : -1;
}

TQLResponse* TamberRequest::tamberNorvaleChannelListing(const tql_string& moduleType, const tql_string& moduleArea)
{
    tql_url url;
    TQLModuleResponseRouting* routing = m_core ? m_core->getRouting() : nullptr;
    if (!routing || routing->m_partnerDevice.routingUrl.isEmpty()) {
        setLibraryErrorResponse(tamberErrorNoRouting, 0);
        TQL_LOG(1, "Tamber not configured, no routing url"); // in small letters for this one call
        return nullptr;
    }
    if (moduleType.isEmpty() || moduleArea.isEmpty()) {
        TQL_LOG(1, "Module area or type is not set");
        setLibraryErrorResponse(tamberErrorLineupArguments, 0);
        return nullptr;
    }
    serviceUrl("/rest/v4/experience/modules/get", url);
    TQL_LOG(3, TQL_GREEN "Channel Listing request url: %s" TQL_RESET, url.toString().c_str());

    TQLModuleRequestDiscoverChannelList request;
    request.resultTemplate = "radio";
    tql_string body = moduleListBody(moduleArea, moduleType, &request);
    TQL_LOG(3, "Channel Listing request body: %s", body.c_str());
    m_faultResponse->m_messages.clear();

    tql_channelCallBackIf channelCallback = {updateChannelCB, this};
    setLibraryErrorResponse(tamberErrorAuthFailed, 0);
    TQLResponse* response = sendServiceCall(m_norvalechannels, url, 1, body,
                                            moduleType == "ChannelListing" ? &channelCallback : nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestChannelListing);
    if (response->m_status != 1) {
        if (m_badCredentials)
            setLibraryErrorResponse(tamberErrorCredentials, code);
        else if (m_sessionInvalid)
            setLibraryErrorResponse(tamberErrorSession, code);
        return nullptr;
    }
    TQL_LOG(3, "Success");
    TQLModuleResponseChannelListing* listing = firstModule<TQLModuleResponseChannelListing>(response);
    if (!listing)
        return nullptr;
    if (!listing->channelChangeId.isEmpty())
        TQL_LOG(3, "Channel listing version = %s", listing->channelChangeId.c_str());
    setLibraryErrorResponse(tamberErrorNone, 0);
    return response;
}
