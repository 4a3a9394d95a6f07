// The queries of what the service offers: carousels, profile collation,
// recommendations, on-demand catalogue, search, geolocation, program data
// and episodes. All follow the frame of the session calls.
#include "tamberCore.h"
#include "tamberJson/tamberJson.h"
#include "tamberRequest.h"
#include "tamberResponse/tamberAODListing.h"
#include "tamberTypes/tamberDebug.h"

#define TQL_GREEN "\033[0;32m"
#define TQL_RESET "\033[0m"

namespace {
const char* const kCarousels = "/rest/v4/experience/carousels";

void logUrl(const char* format, const tql_url& url)
{
    if (tql_int_debug_wants(3))
        tql_int_debug_print(3, "TamberRequest", __LINE__, format, url.toString().c_str());
}
} // namespace

TQLResponse* TamberRequest::runQuery(TQLResponse*& slot, const tql_url& url, int method, const tql_string& body,
                                     eRequestType type, const QueryFailure& failure,
                                     tql_channelCallBackIf* callback)
{
    TQLResponse* response = sendServiceCall(slot, url, method, body, callback);
    if (!response) {
        if (m_headerData.isEmpty())
            TQL_LOG(1, "TamberRequest::%s HTTP Error header is empty", failure.call);
        else
            TQL_LOG(1, "TamberRequest::%s HTTP Error header= %s", failure.call, m_headerData.str().c_str());
        if (failure.afterTransport)
            setLibraryErrorResponse(failure.afterTransport, 0);
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, type);
    if (response->m_status == 1) {
        TQL_LOG(3, "TamberRequest::%s: Success", failure.call);
        setLibraryErrorResponse(tamberErrorNone, 0);
        return response;
    }
    int serviceCode = failure.withCode ? code : 0;
    setLibraryErrorResponse(m_sessionInvalid ? failure.sessionInvalid : failure.otherwise, serviceCode);
    return nullptr;
}

TQLResponse* TamberRequest::tamberNorvaleRecentsCarousel()
{
    tql_url url;
    if (!serviceUrl(kCarousels, url))
        return nullptr;
    url.addQueryItem("page-name", "recents");
    url.addQueryItem("entities-only", "false");
    url.addQueryItem("result-template", "norvale%7Cweb"); // encoded already
    logUrl(TQL_GREEN "Carousels Recents request url: %s" TQL_RESET, url);
    return runQuery(m_norvalerecents, url, 0, "", eRequestRecents,
                    {"tamberNorvaleRecentsCarousel", tamberErrorServerUnreachable, tamberErrorSession,
                     tamberErrorRecents, true},
                    nullptr);
}

TQLResponse* TamberRequest::tamberNorvaleFavoritesCarousel()
{
    tql_url url;
    if (!serviceUrl(kCarousels, url))
        return nullptr;
    url.addQueryItem("page-name", "favorites_norvale");
    url.addQueryItem("result-template", "norvale%7Cweb");
    logUrl(TQL_GREEN "Carousels Recents request url: %s" TQL_RESET, url);
    return runQuery(m_norvalefavorites, url, 0, "", eRequestFavorites,
                    {"tamberNorvaleFavoritesCarousel", tamberErrorServerUnreachable, tamberErrorSession,
                     tamberErrorFavorites, true},
                    nullptr);
}

TQLResponse* TamberRequest::tamberNorvaleRetrieveForYouCarousel()
{
    tql_url url;
    if (!serviceUrl(kCarousels, url))
        return nullptr;
    url.addQueryItem("page-name", "for_you");
    url.addQueryItem("result-template", "norvale");
    logUrl(TQL_GREEN "Carousels Recents request url: %s" TQL_RESET, url);
    return runQuery(m_norvaleforyou, url, 0, "", eRequestForYouCarousel,
                    {"tamberNorvaleRetrieveForYouCarousel", tamberErrorServerUnreachable, tamberErrorSession,
                     tamberErrorRecommendations, true},
                    nullptr);
}

TQLResponse* TamberRequest::tamberNorvaleRetrieveGUPCollation(int collationType)
{
    static const char* const kTypes[] = {"presets", "recent-plays", "aod-pause-points", "favorites"};
    tql_url url;
    if (!serviceUrl("/rest/v4/experience/modules/get/profile-gup-collation", url))
        return nullptr;
    if (collationType >= 0 && collationType < 4)
        url.addQueryItem("gup-type", kTypes[collationType]);
    logUrl(TQL_GREEN "Profile GUP Collation request url: %s" TQL_RESET, url);
    // The collation handler reports through no function; the context is this client.
    tql_channelCallBackIf callback = {nullptr, this};
    return runQuery(m_norvalecollation, url, 0, "", eRequestCollation,
                    {"tamberNorvaleRetrieveGUPCollation", tamberErrorCollation, tamberErrorSession,
                     tamberErrorCollation, true},
                    &callback);
}

TQLResponse* TamberRequest::tamberNorvaleRetrieveForYou()
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/recommender", url))
        return nullptr;
    TQLModuleRequestForYou request;
    tql_string body = moduleListBody("Discovery", "RecommendationsForYou", &request);
    return runQuery(m_norvaleforyou, url, 1, body, eRequestForYou,
                    {"tamberNorvaleRetrieveForYou", tamberErrorRecommendations, tamberErrorSession,
                     tamberErrorRecommendations, false},
                    nullptr);
}

TQLResponse* TamberRequest::tamberNorvaleOnDemand(const tql_string& page, const tql_string& count,
                                                  const tql_string& genre, const tql_string& channelId)
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/get/discover-aod", url))
        return nullptr;
    url.addQueryItem("request-option", "discover-aod-shows");
    if (!genre.isEmpty())
        url.addQueryItem("genre", genre);
    else if (!channelId.isEmpty())
        url.addQueryItem("channelId", channelId);
    url.addQueryItem("format", "json");
    url.addQueryItem("page", page);
    url.addQueryItem("count", count);
    url.addQueryItem("result-template", "radio");
    url.addQueryItem("exclude", "episodes");
    logUrl(TQL_GREEN "OnDemand Listing request url: %s" TQL_RESET, url);
    setLibraryErrorResponse(tamberErrorAuthFailed, 0);
    TQLResponse* response = sendServiceCall(m_norvaleondemand, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return m_norvaleondemand;
    }
    // Once tried, the response comes back in every case; the library error tells.
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestOnDemand);
    if (response->m_status == 1) {
        // Error 0 needs an on-demand listing as the first module; without one 49 stands.
        if (firstModule<TQLModuleResponseAODListing>(response))
            setLibraryErrorResponse(tamberErrorNone, 0);
        TQL_LOG(3, "Success");
        return response;
    }
    if (m_badCredentials)
        setLibraryErrorResponse(tamberErrorCredentials, code);
    else if (m_sessionInvalid)
        setLibraryErrorResponse(tamberErrorSession, code);
    else
        setLibraryErrorResponse(tamberErrorAuthFailed, code);
    return response;
}

TQLResponse* TamberRequest::tamberSearch(const tql_string& term)
{
    tql_url url;
    if (!serviceUrl(kCarousels, url))
        return nullptr;
    url.addQueryItem("page-name", "search");
    url.addQueryItem("result-template", "mobile");
    url.addEncodedQueryItem("search-term", term);
    logUrl(TQL_GREEN "Search request url: %s" TQL_RESET, url);
    TQLResponse* response = sendServiceCall(m_norvalesearch, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
        return nullptr;
    }
    if (response->m_status != 1 || response->m_modules.empty()) {
        setLibraryErrorResponse(tamberErrorServerUnreachable, 0);
        return nullptr;
    }
    tamberNorvaleCheckMessages(response->m_messages, eRequestSearch);
    if (m_sessionInvalid || m_simultaneousLogin) {
        TQL_LOG(3, "Expired session Id or logged elswhere");
        if (m_core)
            m_core->reauthenticate();
    }
    return response;
}

int TamberRequest::tamberNorvaleCheckGeoLocation(const tql_string& channelId, const tql_string& episodeCaId)
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/get/geolocation", url))
        return -1;
    if (!channelId.isEmpty())
        url.addQueryItem("channelID", channelId);
    else if (!episodeCaId.isEmpty())
        url.addQueryItem("episodeCAID", episodeCaId);
    logUrl(TQL_GREEN "Geo Location request url: %s" TQL_RESET, url);
    // The one query with a response of its own and the short time limits.
    TQLResponse response;
    TQLResponseHandler handler(&response, nullptr);
    tql_json parser(&handler);
    m_partialMode = 1;
    m_jsonParser = &parser;
    int sent = tamberRequest(url, 0, "", 7, 10);
    m_partialMode = 0;
    m_jsonParser = nullptr;
    if (!sent) {
        setLibraryErrorResponse(tamberErrorUnreachable, 0);
        TQL_LOG(1, "HTTP Error");
        return -1;
    }
    if (response.m_messages.empty())
        return 1;
    tamberNorvaleCheckMessages(response.m_messages, eRequestGeoLocation);
    return response.m_messages.front().m_code == 307 ? -117 : 1; // 307: not at this location
}

TQLResponse* TamberRequest::tamberNorvalePDTRequest(const tql_string& category, const tql_string& channelIds)
{
    tql_url url;
    if (!serviceUrl("/rest/v2/experience/modules/get/discover-channel-list", url))
        return nullptr;
    url.addQueryItem("request-option", "discover-channel-list-withpdt");
    url.addQueryItem("format", "json");
    url.addQueryItem("batch-mode", "true");
    url.addQueryItem("result-template", "web");
    if (!category.isEmpty() && category != "all")
        url.addQueryItem("category", category);
    else if (!channelIds.isEmpty())
        url.addQueryItem("channelIds", channelIds);
    if (m_core)
        m_core->rememberPdtRequest(category, channelIds);
    logUrl(TQL_GREEN "PDT Channel Listing request url: %s" TQL_RESET, url);
    TQLResponse* response = sendServiceCall(m_norvalepdt, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    tamberNorvaleCheckMessages(response->m_messages, eRequestPdt);
    tql_httpHeader header;
    parseHttpHeader(m_headerData, header); // its notifications count
    if (response->m_status != 100)
        return nullptr; // success here is 100, not 1
    TQL_LOG(3, "Success");
    return response;
}

TQLResponse* TamberRequest::tamberNorvaleGetEpisodes(const tql_string& showId)
{
    tql_url url;
    if (!serviceUrl("/rest/v1/shows", url))
        return nullptr;
    url.addQueryItem("only", showId);
    url.addQueryItem("get-episodes", "true");
    logUrl(TQL_GREEN "Get Episodes request url: %s" TQL_RESET, url);
    TQLResponse* response = sendServiceCall(m_norvaleepisodes, url, 0, "", nullptr);
    if (!response) {
        TQL_LOG(1, "HTTP Error");
        return nullptr;
    }
    tamberNorvaleCheckMessages(response->m_messages, eRequestEpisodes);
    // An unwrapped reply with no envelope: a module is all that counts.
    if (response->m_modules.empty())
        return nullptr;
    TQL_LOG(3, "Success");
    return response;
}
