#include "tamberResponse/tamberSessionHandlers.h"

#include <cstring>

namespace {
#define MR "/moduleList/modules/moduleResponse"
const char* const scPath_partnerDevices = MR "/partnerDeviceList/partnerDevices";
const char* const scPath_brandName = MR "/partnerDeviceList/partnerDevices/brandName";
const char* const scPath_routingUrl = MR "/partnerDeviceList/partnerDevices/routingUrl";
const char* const scPath_guid = MR "/partnerDeviceList/partnerDevices/guid";
const char* const scPath_hlsVersion = MR "/partnerDeviceList/partnerDevices/hlsVersion";
const char* const scPath_active = MR "/partnerDeviceList/partnerDevices/active";
const char* const scPath_hlsProxy = MR "/partnerDeviceList/partnerDevices/hlsProxy";
const char* const scPath_bizOnlyDevice = MR "/partnerDeviceList/partnerDevices/bizOnlyDevice";
const char* const scPath_resultTemplate = MR "/partnerDeviceList/partnerDevices/resultTemplate";
const char* const scPath_audioFirst = MR "/partnerDeviceList/partnerDevices/audioFirst";

const char* const scPath_components = MR "/configuration/components";
const char* const scPath_componentName = MR "/configuration/components/name";
const char* const scPath_settings = MR "/configuration/components/settings";
const char* const scPath_relativeUrls = MR "/configuration/components/settings/relativeUrls";
const char* const scPath_relativeUrlName = MR "/configuration/components/settings/relativeUrls/name";
const char* const scPath_relativeUrlUrl = MR "/configuration/components/settings/relativeUrls/url";
const char* const scPath_platform = MR "/configuration/components/settings/platform";
const char* const scComponent_RelativeUrl = "relativeUrls";

const char* const scPath_updateFrequency = "/moduleList/modules/updateFrequency";
const char* const scPath_wallClockRenderTime = "/moduleList/modules/wallClockRenderTime";
#define CC "/moduleList/modules/clientConfiguration"
const char* const scPath_maxAutoDownloads = CC "/maximumAutoDownloads";
const char* const scPath_cachedDeletion = CC "/cachedContentDeletionPeriodInDays";
const char* const scPath_onDemandExpiryDays = CC "/onDemandExpiryDays";
const char* const scPath_authGrace = CC "/authenticationGracePeriodInDays";
const char* const scPath_listeningGrace = CC "/activeListeningGracePeriodInMins";
const char* const scPath_faqurl = CC "/faqurl";
const char* const scPath_facebookAppId = CC "/facebookAppId";
const char* const scPath_fbLinkStatus = CC "/fbLinkStatus";
#define AD MR "/authenticationData"
const char* const scPath_sessionID = AD "/sessionID";
const char* const scPath_username = AD "/username";
const char* const scPath_lockoutMinutes = AD "/remainingLockoutMinutes";
const char* const scPath_lockoutSeconds = AD "/remainingLockoutSeconds";
#define DS MR "/deviceSettingList/deviceSettings"
const char* const scPath_deviceSettings = DS;
const char* const scPath_deviceSettingDeviceId = DS "/deviceId";
const char* const scPath_deviceSettingName = DS "/name";
const char* const scPath_deviceSettingValue = DS "/value";
#define GS MR "/globalSettingList/globalSettings"
const char* const scPath_globalSettings = GS;
const char* const scPath_settingName = GS "/settingName";
const char* const scPath_settingValue = GS "/settingValue";
const char* const scPath_modules = "/moduleList/modules";

bool is(const char* path, const char* constant)
{
    return strcmp(path, constant) == 0;
}
} // namespace

void TQLModuleResponseAuth::clear()
{
    updateFrequency = 0;
    wallClockRenderTime = tql_string();
    m_clientConfiguration = TQLClientConfiguration();
    m_authenticationData = TQLAuthenticationData();
    m_deviceSettings.clear();
    m_globalSettings.m_items.clear();
}

TQLModuleResponseRoutingHandler::TQLModuleResponseRoutingHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseRouting();
}

int TQLModuleResponseRoutingHandler::handleBoolean(const char* path, int value)
{
    if (is(path, scPath_active))
        m_work.active = value;
    else if (is(path, scPath_hlsProxy))
        m_work.hlsProxy = value;
    else if (is(path, scPath_bizOnlyDevice))
        m_work.bizOnlyDevice = value;
    else if (is(path, scPath_audioFirst))
        m_work.audioFirst = value;
    return 1;
}

int TQLModuleResponseRoutingHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    if (is(path, scPath_brandName))
        m_work.brandName = value;
    else if (is(path, scPath_routingUrl))
        m_work.routingUrl = value;
    else if (is(path, scPath_guid))
        m_work.guid = value;
    else if (is(path, scPath_hlsVersion))
        m_work.hlsVersion = value;
    else if (is(path, scPath_resultTemplate))
        m_work.resultTemplate = value;
    return 1;
}

int TQLModuleResponseRoutingHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_partnerDevices))
        static_cast<TQLModuleResponseRouting*>(m_moduleResponse)->m_partnerDevice = m_work;
    else if (is(path, scPath_modules))
        storeModule();
    return 1;
}

TQLModuleResponseConfigHandler::TQLModuleResponseConfigHandler(TQLResponse* response)
    : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseConfig();
}

int TQLModuleResponseConfigHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    if (is(path, scPath_componentName))
        m_componentName = value;
    else if (is(path, scPath_relativeUrlName))
        m_tmpName = value;
    else if (is(path, scPath_relativeUrlUrl))
        m_tmpUrl = value;
    else if (is(path, scPath_platform))
        m_tmpPlatform = value;
    return 1;
}

int TQLModuleResponseConfigHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_relativeUrls)) {
        m_tmpUrls.push_back(TQLRelativeUrlsItem{m_tmpName, m_tmpUrl});
        m_tmpName = tql_string();
        m_tmpUrl = tql_string();
    } else if (is(path, scPath_settings)) {
        TQLSettingsItem item;
        item.relativeUrls = m_tmpUrls;
        item.platform = m_tmpPlatform;
        m_tmpSettings.push_back(item);
        m_tmpUrls.clear();
        m_tmpPlatform = tql_string();
    } else if (is(path, scPath_components)) {
        // Settings of a component of another name are carried into the next
        // one, since they are not emptied here.
        if (m_componentName == scComponent_RelativeUrl) {
            auto* record = static_cast<TQLModuleResponseConfig*>(m_moduleResponse);
            record->m_componentName = m_componentName;
            record->m_settings = m_tmpSettings;
            m_componentName = tql_string();
        }
    } else if (is(path, scPath_modules)) {
        storeModule();
    }
    return 1;
}

TQLModuleResponseAuthHandler::TQLModuleResponseAuthHandler(TQLResponse* response) : TQLModuleHandlerBase(response)
{
    m_moduleResponse = new TQLModuleResponseAuth();
}

int TQLModuleResponseAuthHandler::handleNumber(const char* path, double value)
{
    TQLModuleResponseAuth* r = record();
    int n = truncToInt(value);
    if (is(path, scPath_updateFrequency))
        r->updateFrequency = n;
    else if (is(path, scPath_maxAutoDownloads))
        r->m_clientConfiguration.maxAutoDownloads = n;
    else if (is(path, scPath_cachedDeletion))
        r->m_clientConfiguration.cachedContentDeletionPeriodInDays = n;
    else if (is(path, scPath_onDemandExpiryDays))
        r->m_clientConfiguration.onDemandExpiryDays = n;
    else if (is(path, scPath_authGrace))
        r->m_clientConfiguration.authGracePeriodInDays = n;
    else if (is(path, scPath_listeningGrace))
        r->m_clientConfiguration.activeListeningGracePeriodInMins = n;
    else if (is(path, scPath_lockoutMinutes))
        r->m_authenticationData.remainingLockoutMinutes = n;
    else if (is(path, scPath_lockoutSeconds))
        r->m_authenticationData.remainingLockoutSeconds = n;
    return 1;
}

int TQLModuleResponseAuthHandler::handleString(const char* path, const tql_string& value)
{
    if (takeEnvelopeString(path, value))
        return 1;
    TQLModuleResponseAuth* r = record();
    if (is(path, scPath_wallClockRenderTime))
        r->wallClockRenderTime = value;
    else if (is(path, scPath_faqurl))
        r->m_clientConfiguration.faqurl = value;
    else if (is(path, scPath_facebookAppId))
        r->m_clientConfiguration.facebookAppId = value;
    else if (is(path, scPath_fbLinkStatus))
        r->m_clientConfiguration.fbLinkStatus = value;
    else if (is(path, scPath_sessionID))
        r->m_authenticationData.sessionID = value;
    else if (is(path, scPath_username))
        r->m_authenticationData.username = value;
    else if (is(path, scPath_deviceSettingDeviceId))
        m_deviceSetting.deviceId = value;
    else if (is(path, scPath_deviceSettingName))
        m_deviceSetting.name = value;
    else if (is(path, scPath_deviceSettingValue))
        m_deviceSetting.value = value;
    else if (is(path, scPath_settingName))
        m_globalSetting.settingName = value;
    else if (is(path, scPath_settingValue))
        m_globalSetting.settingValue = value;
    return 1;
}

int TQLModuleResponseAuthHandler::handleEndMap(const char* path)
{
    if (is(path, scPath_deviceSettings)) {
        record()->m_deviceSettings.push_back(m_deviceSetting);
        m_deviceSetting = TQLDeviceSettingsItem();
    } else if (is(path, scPath_globalSettings)) {
        record()->m_globalSettings.m_items.push_back(m_globalSetting);
        m_globalSetting = TQLGlobalSettingsItem();
    } else if (is(path, scPath_modules)) {
        storeModule();
    }
    return 1;
}
