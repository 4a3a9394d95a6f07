#ifndef TAMBER_PRIVATE_CONSTANTS_H
#define TAMBER_PRIVATE_CONSTANTS_H

#include "tamberString.h"

// The fixed names of the service's world, kept as one table. "MetadataBaseUrl"
// stands twice on purpose.
#define TAMBER_PRIVATE_CONSTANTS(X)                                                            \
    X(ConfigurationBaseUrl, "ConfigurationBaseUrl")                                            \
    X(AuthenticationBaseUrl, "AuthenticationBaseUrl")                                          \
    X(ChannelLineUpBaseUrl, "ChannelLineUpBaseUrl")                                            \
    X(OnDemandBaseUrl, "OnDemandBaseUrl")                                                      \
    X(MountainServerUrl, "MountainServerUrl")                                                  \
    X(EPGBaseUrl, "EPGBaseUrl")                                                                \
    X(TokenBaseUrl, "TokenBaseUrl")                                                            \
    X(PresetsBaseUrl, "PresetsBaseUrl")                                                        \
    X(MetadataBaseUrl, "MetadataBaseUrl")                                                      \
    X(MessagingBaseUrl, "MessagingBaseUrl")                                                    \
    X(RegistrationUrl, "RegistrationUrl")                                                      \
    X(MetadataBaseUrl2, "MetadataBaseUrl")                                                     \
    X(HistoricalMetadataBaseUrl, "HistoricalMetadataBaseUrl")                                  \
    X(ConsumerName, "ConsumerName")                                                            \
    X(CMSConsumerType, "CMSConsumerType")                                                      \
    X(EPGConsumerType, "EPGConsumerType")                                                      \
    X(onDemandConsumer, "onDemandConsumer")                                                    \
    X(ChannelMasterConsumerType, "ChannelMasterConsumerType")                                  \
    X(ChannelLineupConsumerType, "ChannelLineupConsumerType")                                  \
    X(authenticationConsumer, "authenticationConsumer")                                        \
    X(MaxIdleTime, "MaxIdleTime")                                                              \
    X(PDTPollingTime, "PDTPollingTime")                                                        \
    X(HPDTPollingTime, "HPDTPollingTime")                                                      \
    X(KeystrokeDelayTime, "KeystrokeDelayTime")                                                \
    X(NoPresets, "No Presets")                                                                 \
    X(NoShowsFound, "No Shows found")                                                          \
    X(IP, "IP")                                                                                \
    X(json, "json")                                                                            \
    X(tamberPath, "/tamber")                                                                   \
    X(StreamingRoyaltyReportingBaseUrl, "StreamingRoyaltyReportingBaseUrl")                    \
    X(user_id, "user_id")                                                                      \
    X(content_id, "content_id")                                                                \
    X(entry_datetime, "entry_datetime")                                                        \
    X(user_type, "user_type")                                                                  \
    X(tamber_ql, "tamber_ql")                                                                  \
    X(stream_name, "stream_name")                                                              \
    X(duration, "duration")                                                                    \
    X(bytes_send, "bytes_send")                                                                \
    X(device, "device")                                                                        \
    X(device_id, "device_id")                                                                  \
    X(clientkey, "clientkey")                                                                  \
    X(oem, "oem")                                                                              \
    X(royalty_cnt, "royalty_cnt")                                                              \
    X(air_datetime, "air_datetime")                                                            \
    X(tamberql_id, "tamberql_id")                                                              \
    X(prophet_id, "prophet_id")                                                                \
    X(consumption_type, "consumption_type")                                                    \
    X(navigation_event, "navigation_event")                                                    \
    X(stored_content_ind, "stored_content_ind")                                                \
    X(campaign_code, "campaign_code")                                                          \
    X(cp_code, "cp_code")                                                                      \
    X(sub_type, "sub_type")                                                                    \
    X(client_type, "client_type")                                                              \
    X(version, "version")                                                                      \
    X(record_type, "record_type")                                                              \
    X(show_id, "show_id")                                                                      \
    X(series_id, "series_id")                                                                  \
    X(episode_id, "episode_id")                                                                \
    X(segment_id, "segment_id")                                                                \
    X(access_control_id, "access_control_id")                                                  \
    X(tqlautomationid, "tqlautomationid")                                                      \
    X(gup_id, "gup_id")                                                                        \
    X(device_type, "device_type")                                                              \
    X(device_platform, "device_platform")                                                      \
    X(partnr_code, "partnr_code")

class TamberPrivateConstants {
public:
    TamberPrivateConstants();
    virtual ~TamberPrivateConstants();

#define TAMBER_CONSTANT_MEMBER(name, text) tql_string m_##name;
    TAMBER_PRIVATE_CONSTANTS(TAMBER_CONSTANT_MEMBER)
#undef TAMBER_CONSTANT_MEMBER

    // All names in table order.
    tql_list<tql_string> names() const;
};

extern const TamberPrivateConstants g_TamberPrivate_constants;

#endif
