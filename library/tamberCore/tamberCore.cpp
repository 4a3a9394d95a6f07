#include "tamberCore.h"

#include <cstring>

#include "tamberResponse/tamberSessionHandlers.h"
#include "tamberTypes/tamberDebug.h"

static const char kRule[] = "--------------------------------------------------------";

tql_core::tql_core()
    : m_routing(nullptr),
      m_tamberRequest(this),
      m_callback(nullptr),
      m_streamer(nullptr),
      m_state(CoreStateIdle),
      m_maxInactivityTime(0),
      m_audioOutputLatency(0)
{
    m_callback = new TamberCallback(this);
    m_version = tql_string::formatString("%d.%d.%d", kVersionMajor, kVersionMinor, kVersionPatch);
    m_streamer = new CMTamberNodeResponder(this);
}

tql_core::~tql_core()
{
    delete m_streamer;
    delete m_pdtTimer;
    delete m_callback;
}

int tql_core::init()
{
    if (!tql_int_init_debug()) {
        TQL_LOG(1, "Unable to initialize debug system");
        return -2;
    }
    if (tql_cr_init() != 1) {
        TQL_LOG(1, "Unable to initialize crypto library");
        return -2;
    }
    TQL_LOG(3, "%s", kRule);
    TQL_LOG(3, "TQL Norvale library version %d.%d.%d", kVersionMajor, kVersionMinor, kVersionPatch);
    TQL_LOG(3, "%s", kRule);
    return 1;
}

int tql_core::deinit()
{
    // The session ends with the destructor.
    return 1;
}

int tql_core::getVersion(int* major, int* minor, int* patch)
{
    if (major)
        *major = kVersionMajor;
    if (minor)
        *minor = kVersionMinor;
    if (patch)
        *patch = kVersionPatch;
    return 1;
}

int tql_core::checkVersion(const char* version)
{
    tql_string text(version);
    int firstDot = text.indexOf('.', 0);
    int compatible = 0;
    if (firstDot >= 0) {
        int secondDot = text.indexOf('.', firstDot + 1);
        int majorOk = 1;
        int minorOk = 1;
        int major = text.left(firstDot).toInt(&majorOk, 10);
        int minor = text.mid(firstDot + 1, secondDot < 0 ? -1 : secondDot - firstDot - 1).toInt(&minorOk, 10);
        compatible = majorOk && minorOk && major == kVersionMajor && minor == kVersionMinor;
    }
    if (compatible) {
        TQL_LOG(3, "Header and Lib versions are compatible");
        return 1;
    }
    TQL_LOG(1, "Header and Lib versions are not compatible");
    return -1;
}

int tql_core::setExternalVersion(const char* version)
{
    m_version = version; // NULL ends the process on the string's assertion
    return 1;
}

int tql_core::getState()
{
    m_mutex.lock();
    int state = m_state;
    m_mutex.unlock();
    return state;
}

// Written under the mutex that getState reads under: tql_get_status may
// come from another thread while a reply moves the state.
void tql_core::setState(int state)
{
    m_mutex.lock();
    m_state = state;
    m_mutex.unlock();
}

int tql_core::getBypassState()
{
    TQL_LOG(4, "getting bypass status thru dummy get server presets");
    // Running the request is what refreshes the flags.
    return m_tamberRequest.tamberNorvaleNoOP() == 1 ? 1 : -1;
}

int tql_core::setAudioOutpuLatency(int latency)
{
    m_audioOutputLatency = latency;
    return m_audioOutputLatency;
}

// The messages of the last classified reply, each followed by " : ".
tql_string tql_core::getFaultResponse(const tql_string& fallback)
{
    tql_string text("");
    for (const TQLMessagesType& message : m_tamberRequest.tamberFaultResponse()->m_messages)
        text += message.m_message + " : ";
    return text.isEmpty() ? fallback : text;
}

int tql_core::getFaultResponseMessage(char* buffer, unsigned int* length)
{
    if (!buffer || !length)
        return -1;
    tql_string text = getFaultResponse(tql_string(""));
    unsigned int needed = static_cast<unsigned int>(text.length());
    if (needed > *length) {
        *length = needed;
        return -8;
    }
    memcpy(buffer, text.data(), needed); // no terminator, by contract
    *length = needed;
    return static_cast<int>(needed);
}

int tql_core::norvaleRoutingCall()
{
    tamberSettingsInt settings;
    tql_bytearray mac = settings.getMAC();
    tql_url base(settings.getConfigUrl().str());
    m_deviceInfo.clientDeviceId = mac.str();
    m_deviceInfo.deviceMake = settings.getDeviceMake().str();
    m_deviceInfo.deviceModel = settings.getDeviceModel().str();
    m_deviceInfo.tqlAppVersion = m_version;
    m_deviceInfo.platform = "Home";
    m_deviceInfo.oem = "tamberql";
    m_deviceInfo.appRegion = "US";
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (m_tamberRequest.tamberNorvaleRouting(base))
            return 1;
        TQL_LOG(2, "Routing call failed, retrying...");
    }
    return 0;
}

int tql_core::norvaleConfigurationCall()
{
    return m_tamberRequest.tamberNorvaleConfiguration() ? 1 : 0;
}

int tql_core::norvaleAuthenticationCall(const TamberAccount& account)
{
    tql_bytearray user;
    tql_bytearray password;
    user.append(account.username);
    password.append(account.password);
    TQLResponse* response = m_tamberRequest.tamberNorvaleAuth(user, password);
    TQLResponse* held = m_tamberRequest.m_norvaleauth;
    // The service may ask once for the login to be sent again.
    if (held && !held->m_messages.empty() && held->m_messages.front().m_code == 201)
        response = m_tamberRequest.tamberNorvaleAuth(user, password);
    if (!response || response->m_modules.empty() ||
        !dynamic_cast<TQLModuleResponseAuth*>(response->m_modules.front().m_moduleResponse))
        return 0;
    int result = m_callback->handleAuthenticationResponse(response);
    response->reset();
    return result;
}

int tql_core::reauthenticate()
{
    TQL_LOG(3, "tql_core::reauthenticate");
    TamberAccount account = tamberSettingsInt().getAccount();
    if (!norvaleAuthenticationCall(account))
        return -1;
    if (m_state < CoreStateAuthenticated)
        setState(CoreStateAuthenticated);
    return 1;
}

static void copySixFlags(const tql_bypassStatus& from, tql_errorNotification* error)
{
    error->bypass.bypass704 = from.bypass704;
    error->bypass.bypass702 = from.bypass702;
    error->bypass.bypass705 = from.bypass705;
    error->bypass.bypass314 = from.bypass314;
    error->bypass.bypass708 = from.bypass708;
    error->bypass.bypass701 = from.bypass701;
}

// Climbs from the current rung to CoreStateAuthenticated. A failed rung keeps
// its state so that the next call starts there again.
int tql_core::climbToAuthenticated(tql_errorNotification* error, const TamberAccount& account)
{
    const tql_bypassStatus& flags = m_tamberRequest.m_bypassStatus;
    if (m_state == CoreStateIdle) {
        m_tamberRequest.clear();
        if (!norvaleRoutingCall()) {
            m_tamberRequest.getErrorResponse(error);
            return -1;
        }
        setState(CoreStateRouted);
    }
    if (m_state == CoreStateRouted) {
        if (!norvaleConfigurationCall()) {
            m_tamberRequest.getErrorResponse(error);
            return -1;
        }
        copySixFlags(flags, error);
        setState(CoreStateConfigured);
    }
    if (m_state == CoreStateConfigured) {
        if (!norvaleAuthenticationCall(account)) {
            m_tamberRequest.getErrorResponse(error);
            return -1;
        }
        copySixFlags(flags, error);
        setState(CoreStateAuthenticated);
    }
    return 1;
}

int tql_core::norvaleConfigureTamber(tql_errorNotification* error, const TamberAccount* account)
{
    TamberAccount held = account ? *account : tamberSettingsInt().getAccount();
    memset(error, 0, sizeof *error);
    if (held.username.isEmpty()) {
        m_tamberRequest.setLibraryErrorResponse(49, 0);
        error->errorCode = 49;
        return -1;
    }
    if (m_state >= CoreStateAuthenticated || m_state == 3)
        return 1;
    if (climbToAuthenticated(error, held) != 1)
        return -1;
    // A login reports the whole bypass record, masks and pending reauthentication too.
    error->bypass = m_tamberRequest.m_bypassStatus;
    return 1;
}

int tql_core::verifyAccount(tql_TamberAccount account, tql_errorNotification* error)
{
    TamberAccount fresh;
    for (tql_string* field : {&fresh.username, &fresh.password, &fresh.accountField2, &fresh.accountField3,
                              &fresh.accountField4, &fresh.accountField5, &fresh.accountField6,
                              &fresh.accountField7})
        *field = "";
    if (account.username)
        fresh.username += account.username;
    if (account.password)
        fresh.password += account.password;
    if (norvaleConfigureTamber(error, &fresh) == 1) {
        TQL_LOG(4, "Writting new account credentials to settings %s", fresh.username.c_str());
        tamberSettingsInt().setAccount(fresh);
        return 1;
    }
    copySixFlags(m_tamberRequest.m_bypassStatus, error);
    m_tamberRequest.getErrorResponse(error);
    return -1;
}

int tql_core::norvaleChannelList(tql_errorNotification* error)
{
    TamberAccount held = tamberSettingsInt().getAccount();
    if (error)
        memset(error, 0, sizeof *error);
    if (m_state == CoreStateChannelsRead)
        return 1;
    tql_errorNotification scratch;
    tql_errorNotification* out = error ? error : &scratch;
    memset(&scratch, 0, sizeof scratch);
    if (climbToAuthenticated(out, held) != 1)
        return -1;
    if (!norvaleChannelListingCall()) {
        m_tamberRequest.getErrorResponse(out);
        return -1;
    }
    copySixFlags(m_tamberRequest.m_bypassStatus, out);
    setState(CoreStateChannelsRead);
    return 1;
}

int tql_core::norvaleChannelListingCall()
{
    // Channels went to the host while the reply was parsed; nothing of the
    // line-up is kept.
    TQLResponse* response = m_tamberRequest.tamberNorvaleChannelListing("ChannelListing", "Discovery");
    if (m_tamberRequest.m_norvalechannels)
        m_tamberRequest.m_norvalechannels->reset();
    return response ? 1 : 0;
}

void tql_core::triggerChannelRefetch()
{
    setState(CoreStateAuthenticated);
}

int tql_core::failNoRouting(tql_errorNotification* error)
{
    TQL_LOG(1, "Tamber not configured, no routing Url");
    m_tamberRequest.setLibraryErrorResponse(14, 0);
    m_tamberRequest.getErrorResponse(error);
    return -1;
}

// Brings back a session the service dropped. Best effort: after five failed
// rounds the callers look at their own request again.
int tql_core::norvaleResumeCall()
{
    for (int round = 0; round < 5; ++round) {
        if (m_tamberRequest.tamberNorvaleResume(m_streamer->m_tokenRequest, m_streamer->m_tokenData))
            return 1;
        tql_errorNotification last;
        memset(&last, 0, sizeof last);
        m_tamberRequest.getErrorResponse(&last);
        if (last.errorCode == tamberErrorCredentials) {
            tql_sleep(2);
            if (reauthenticate() < 0)
                return -1;
        }
        tql_sleep(2);
    }
    return 1;
}

bool tql_core::sessionCheckAndUpdate()
{
    if (!m_tamberRequest.m_sessionInvalid && !m_tamberRequest.m_simultaneousLogin)
        return false;
    norvaleResumeCall();
    TQL_LOG(3, "Session expired or logged elswhere, resuming");
    return true;
}

void tql_core::localBypassStatus(tql_bypassStatus* status)
{
    const tql_bypassStatus& held = m_tamberRequest.m_bypassStatus;
    status->bypass704 = held.bypass704;
    status->bypass702 = held.bypass702;
    status->bypass705 = held.bypass705;
    status->bypass314 = held.bypass314;
    status->bypass708 = held.bypass708;
    status->bypass701 = held.bypass701;
}

// The host sees a change of the bypass flags as an error report of code 0.
void tql_core::printErrorCode(int code)
{
    static const struct {
        int code;
        const char* text;
        const char* message;
    } kTexts[] = {
        {1, "General error occured", ""},
        {15, "Token update error", "Content currently not available, try again later."},
        {32, "downloader error by downloading data chunk", "Content currently not available, try again later."},
        {33, "User logged elsewhere", "User Account was used from Different location - Logged Elsewhere"},
        {34, "Content unavailable", "Playback could not be started because content is not available"},
        {35, "Streamer error", "Internal player error, try restart playback."},
        {37, "Streamer stopped", "Streamer stopped"},
        {55, "Content unreachanble", "Content unreachable"},
        {5260, "Not compatible account", "Your account is not compatible with this device."},
    };
    const char* message = "";
    for (const auto& entry : kTexts) {
        if (entry.code == code) {
            TQL_LOG(1, "%s", entry.text);
            message = entry.message;
        }
    }
    TQL_LOG(4, "Tamber error message: %s", message);
}

void tql_core::reportTamberError(int code, int playbackStopped, int responseCode)
{
    tql_errorNotification notification;
    memset(&notification, 0, sizeof notification);
    notification.errorCode = code;
    notification.responseCode = responseCode;
    notification.playbackStopped = playbackStopped;
    localBypassStatus(&notification.bypass);
    tql_errorNotification copy = notification;
    tql_error_notifier(&copy);
    if (code == tamberErrorLoggedElsewhere)
        stopPDT(); // a second login ends everything
    printErrorCode(code);
    m_callback->notifyErrorInfo(notification);
    m_tamberRequest.clearMessageFlags();
}

void tql_core::on_tamberBypassModeChanged()
{
    tql_errorNotification notification;
    memset(&notification, 0, sizeof notification);
    localBypassStatus(&notification.bypass);
    m_callback->notifyErrorInfo(notification);
}
