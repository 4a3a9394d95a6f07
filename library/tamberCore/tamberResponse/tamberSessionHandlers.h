#ifndef TAMBER_SESSION_HANDLERS_H
#define TAMBER_SESSION_HANDLERS_H

// Records and handlers of the three replies that bring a session up:
// routing, configuration and authentication.

#include "requestDocuments/requestDocuments.h"
#include "tamberRequest.h"
#include "tamberResponse/tamberResponse.h"

class TQLNorvalePartnerDevice {
public:
    virtual ~TQLNorvalePartnerDevice() {}

    tql_string brandName;
    tql_string routingUrl;
    tql_string guid;
    tql_string hlsVersion;
    int active = 0;
    int hlsProxy = 0;
    int bizOnlyDevice = 0;
    tql_string resultTemplate;
    int audioFirst = 0;
};

class TQLModuleResponseRouting : public TQLModuleResponseBase {
public:
    void clear() override { m_partnerDevice = TQLNorvalePartnerDevice(); }

    TQLNorvalePartnerDevice m_partnerDevice;
};

class TQLSettingsItem {
public:
    tql_list<TQLRelativeUrlsItem> relativeUrls;
    tql_string platform;
};

class TQLModuleResponseConfig : public TQLModuleResponseBase {
public:
    void clear() override
    {
        m_componentName = tql_string();
        m_settings.clear();
    }

    tql_string m_componentName;
    tql_list<TQLSettingsItem> m_settings;
};

class TQLClientConfiguration {
public:
    virtual ~TQLClientConfiguration() {}

    int maxAutoDownloads = 0;
    int cachedContentDeletionPeriodInDays = 0;
    int onDemandExpiryDays = 0;
    int authGracePeriodInDays = 0;
    int activeListeningGracePeriodInMins = 0;
    tql_string faqurl;
    tql_string facebookAppId;
    tql_string clientDeviceId; // the reply has it; it is not read
    tql_string fbLinkStatus;
};

class TQLAuthenticationData {
public:
    virtual ~TQLAuthenticationData() {}

    tql_string sessionID;
    tql_string username;
    int remainingLockoutMinutes = 0;
    int remainingLockoutSeconds = 0;
};

class TQLDeviceSettingsItem {
public:
    virtual ~TQLDeviceSettingsItem() {}

    tql_string deviceId;
    tql_string name;
    tql_string value;
};

class TQLModuleResponseAuth : public TQLModuleResponseBase {
public:
    void clear() override;

    int updateFrequency = 0;
    tql_string wallClockRenderTime;
    TQLClientConfiguration m_clientConfiguration;
    TQLAuthenticationData m_authenticationData;
    tql_list<TQLDeviceSettingsItem> m_deviceSettings;
    TQLGlobalSettings m_globalSettings;
};

// The routing reply: the last element of the partner device list stands,
// and its work copy is not blanked between elements, on purpose.
class TQLModuleResponseRoutingHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseRoutingHandler(TQLResponse* response);

    int handleBoolean(const char* path, int value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

private:
    TQLNorvalePartnerDevice m_work;
};

// The configuration reply: only the component named "relativeUrls" reaches
// the record, with every settings object gathered so far.
class TQLModuleResponseConfigHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseConfigHandler(TQLResponse* response);

    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

private:
    tql_string m_componentName;
    tql_string m_tmpName;
    tql_string m_tmpUrl;
    tql_string m_tmpPlatform;
    tql_list<TQLRelativeUrlsItem> m_tmpUrls;
    tql_list<TQLSettingsItem> m_tmpSettings;
};

// The login reply: session data, client configuration and settings.
class TQLModuleResponseAuthHandler : public TQLModuleHandlerBase {
public:
    explicit TQLModuleResponseAuthHandler(TQLResponse* response);

    int handleNumber(const char* path, double value) override;
    int handleString(const char* path, const tql_string& value) override;
    int handleEndMap(const char* path) override;

private:
    TQLModuleResponseAuth* record() { return static_cast<TQLModuleResponseAuth*>(m_moduleResponse); }

    TQLDeviceSettingsItem m_deviceSetting;
    TQLGlobalSettingsItem m_globalSetting;
};

#endif
