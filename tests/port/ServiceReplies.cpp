#include "ServiceReplies.h"

#include "ScriptedPort.h"

namespace testport {

std::string serviceReply(const std::string& modules, int status, const std::string& messages)
{
    return "{\"TamberQLMessage\":{\"status\":" + std::to_string(status) + ",\"messages\":" + messages +
           ",\"moduleList\":{\"modules\":[" + modules + "]}}}";
}

static std::string guid(int i)
{
    std::string n = std::to_string(i);
    return "c0ffee00-0000-4000-8000-" + std::string(12 - n.size(), '0') + n;
}

std::string lineupReply(int channels)
{
    std::string tree;
    for (int s = 0; s < 2; ++s) {
        if (s)
            tree += ',';
        tree += "{\"categoryGuid\":\"sc" + std::to_string(s) + "\",\"name\":\"Super " + std::to_string(s) +
                "\",\"key\":\"super" + std::to_string(s) + "\",\"sortOrder\":" + std::to_string(s + 1) +
                ",\"categories\":{\"categories\":[";
        for (int c = 0; c < 2; ++c) {
            int category = s * 2 + c;
            if (c)
                tree += ',';
            tree += "{\"categoryGuid\":\"cat" + std::to_string(category) + "\",\"name\":\"Category " +
                    std::to_string(category) + "\",\"key\":\"key" + std::to_string(category) +
                    "\",\"sortOrder\":" + std::to_string(10 + category) +
                    ",\"images\":{\"images\":[{\"name\":\"category icon web\",\"url\":\"https://img.test/cat" +
                    std::to_string(category) + ".png\",\"width\":80,\"height\":80}]},\"channels\":{\"channels\":[";
            bool first = true;
            for (int i = category; i < channels; i += 4) {
                tree += std::string(first ? "" : ",") + "{\"channelGuid\":\"" + guid(i) + "\",\"name\":\"Channel " +
                        std::to_string(i) + "\"}";
                first = false;
            }
            tree += "]}}";
        }
        tree += "]}}";
    }
    std::string list;
    for (int i = 0; i < channels; ++i) {
        std::string n = std::to_string(i);
        list += std::string(i ? "," : "") + "{\"channelGuid\":\"" + guid(i) + "\",\"channelId\":\"ch" + n +
                "\",\"name\":\"Channel " + n + "\",\"streamingName\":\"stream" + n +
                "\",\"shortDescription\":\"Music around the clock\",\"tuneMethod\":\"live\",\"channelNumber\":\"" +
                n + "\",\"tamberChannelNumber\":\"" + n + "\",\"qlChannelNumber\":\"" + std::to_string(1000 + i) +
                "\",\"geoRestrictions\":\"0\",\"sortOrder\":" + n +
                ",\"isAvailable\":true,\"isMature\":false,\"isFavorite\":false,\"isBizMature\":false"
                ",\"images\":{\"images\":[{\"name\":\"color channel logo (on dark)\",\"url\":\"https://img.test/ch" +
                n + ".png\",\"width\":720,\"height\":720},{\"name\":\"other\",\"url\":\"https://img.test/x.png\","
                "\"width\":100,\"height\":100}]},\"categories\":{\"categories\":[{\"key\":\"key" +
                std::to_string(i % 4) + "\",\"order\":" + std::to_string(i % 7) + "}]}}";
    }
    std::string module = "{\"moduleArea\":\"Discovery\",\"moduleType\":\"ChannelListing\",\"moduleResponse\":{"
                         "\"contentData\":{\"channelListing\":{\"channelChangeId\":\"v42\",\"superCategories\":[" +
                         tree + "],\"channels\":[" + list + "]}}}}";
    return serviceReply(module);
}

size_t lineupListingTextBytes(int channels)
{
    size_t bytes = 0;
    for (int i = 0; i < channels; ++i)
        bytes += guid(i).size() + ("Channel " + std::to_string(i)).size();
    return bytes;
}

const char* const kServiceBase = "https://api.test/svc";

static void answer(const std::string& url, const std::string& body)
{
    Route route;
    route.url = url;
    route.body = body;
    ScriptedPort::get().addRoute(route);
}

void scriptLogin()
{
    const std::string base = kServiceBase;
    ScriptedPort::get().storeAccount("user", "secret");
    answer(ScriptedPort::get().configUrl + "/rest/v2/experience/modules/get/partner/",
           serviceReply(R"({"moduleArea":"Routing","moduleType":"PartnerDevices","moduleResponse":)"
                        R"({"partnerDeviceList":{"partnerDevices":[{"routingUrl":")" +
                        base + R"(","resultTemplate":"homeDevice","active":true}]}}})"));
    answer(base + "/rest/v2/experience/modules/get/configuration?result-template=tenfoot&format=json&app-region=US",
           serviceReply(R"({"moduleArea":"Configuration","moduleType":"Settings","moduleResponse":)"
                        R"({"configuration":{"components":[{"name":"relativeUrls","settings":[)"
                        R"({"platform":"homeDevice","relativeUrls":[{"name":"Live","url":"https://live.test"},)"
                        R"({"name":"Art","url":"https://art.test/images"}]}]}]}}})"));
    answer(base + "/rest/v2/experience/modules/modify/authentication-partner?format=json",
           serviceReply(R"({"moduleArea":"UserFlow","moduleType":"StandardAuth","moduleResponse":)"
                        R"({"authenticationData":{"sessionID":"S1","username":"user"}}})"));
    answer(base + "/rest/v2/experience/modules/resume?format=json",
           serviceReply(R"({"moduleArea":"Configuration","moduleType":"Configuration","moduleResponse":{}})"));
}

} // namespace testport
