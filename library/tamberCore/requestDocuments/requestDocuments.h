#ifndef REQUEST_DOCUMENTS_H
#define REQUEST_DOCUMENTS_H

// The POST bodies of the service: small documents that write themselves into
// one generator. Documents hold pointers to lists and records that the
// caller owns and that must outlive serialize().

#include "requestDocuments/tqlModule.h"
#include "tamberResponse/tamberRecords.h"
#include "tamberTypes/tamberByteArray.h"
#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"

class TQLDeviceInfo : public tql_jsonGen {
public:
    void serialize(void* gen);

    tql_string deviceMake;
    tql_string deviceModel;
    tql_string tqlAppVersion;
    tql_string clientDeviceId;
    tql_string osVersion;
    tql_string platform;
    tql_string oem;
    tql_string appRegion;
};

class TQLNorvaleStandardAuth : public tql_jsonGen {
public:
    void serialize(void* gen);

    tql_bytearray username;
    tql_bytearray password;
};

class TQLModuleRequestAuth : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    TQLDeviceInfo* m_deviceInfo = nullptr;
    TQLNorvaleStandardAuth* m_standardAuth = nullptr;
    tql_string resultTemplate;
};

class TQLModuleRequestRouting : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    TQLDeviceInfo* m_deviceInfo = nullptr;
};

class TQLModuleRequestDiscoverChannelList : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    tql_string resultTemplate;
};

class TQLModuleRequestForYou : public TQLModuleRequestBase {
public:
    void serialize(void* gen);
};

class TQLModuleRequestClearRecents : public TQLModuleRequestBase {
public:
    void serialize(void* gen);
};

class TQLConsumeRequests : public tql_jsonGen {
public:
    void serialize(void* gen);

    tql_string consumeEvent;
    tql_string consumeEventAction;
    tql_string consumptionInfo;
    tql_string consumeDateTime;
    tql_string consumeStreamDateTime;
    int incognito = 0;
    int aodDownload = 0;
    int offline = 0;
    tql_string m_consumeChannel; // not written
};

class TQLModuleRequestConsume : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    tql_list<TQLConsumeRequests>* m_requests = nullptr;
};

class TQLRecommenderPlaysItem : public tql_jsonGen {
public:
    tql_string clipAssetGuid;
    tql_string playEventType;
    int m_playIndex = 0; // not written
};

// Writes a root document of its own, not within a module list.
class TQLModuleRequestTrackUpdate : public TQLModuleRequestBase {
public:
    tql_string serialize(void* gen);

    tql_list<TQLRecommenderPlaysItem>* m_plays = nullptr;
};

class TQLControlSettings : public tql_jsonGen {
public:
    tql_string m_controlName; // not written
    tql_string value;         // decimal text, written as a number
    tql_string controlGuid;
};

class TQLControlSettingsRequest : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    tql_string* channelID = nullptr;
    tql_list<TQLControlSettings>* m_settings = nullptr;
};

// Also the record of profile replies.
class TQLGUPCollationItem : public tql_jsonGen {
public:
    void serialize(void* gen);

    tql_string assetGUID;
    int assetType = 0; // 0 channel, 1 show, 2 episode, 3 channel too
    tql_string assetName; // not written
    tql_string changeType;
    tql_string channelId;
    tql_string contentType;
    int tabSortOrder = 0;
    tql_string createdDateTime;
    tql_string modifiedDateTime;
    int episodeCount = 0; // not written
};

class TQLGlobalSettingsItem : public tql_jsonGen {
public:
    tql_string settingName;
    tql_string settingValue;
};

class TQLGlobalSettings : public tql_jsonGen {
public:
    void serialize(void* gen);

    tql_list<TQLGlobalSettingsItem> m_items;
};

class TQLModuleRequestModifyGlobalSettings : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    TQLGlobalSettings* m_settings = nullptr;
};

class TQLModuleRequestModifyGUPFavorites : public TQLModuleRequestBase {
public:
    void serialize(void* gen);
    void clear() override;

    tql_list<TQLGUPCollationItem>* m_items = nullptr;
};

class TQLModuleRequestModifyGUPPresets : public TQLModuleRequestBase {
public:
    void serialize(void* gen);
    void clear() override;

    tql_list<TQLGUPCollationItem>* m_items = nullptr;
};

class TQLModuleRequestRefreshTracks : public TQLModuleRequestBase {
public:
    void serialize(void* gen);

    const tql_list<TQLClip>* m_clips = nullptr;
    int m_currentClipIndex = 0;
    tql_string channelGuid;
    tql_string sessionId;
};

// The outer frame of every module document: {"moduleList":{"modules":[...]}}.
class TQLModuleList : public tql_jsonGen {
public:
    tql_string serialize(void* gen);

    tql_list<TQLModule>* m_modules = nullptr;
};

// Writes one module element: area and type, then the request its row names.
void serializeModule(TQLModule& module, void* gen);

// The body of a call that sends one module.
tql_string moduleListBody(const tql_string& area, const tql_string& type, TQLModuleRequestBase* request);

#endif
