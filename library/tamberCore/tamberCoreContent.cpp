// The core's policies around the tile lists: which call, when to repair the
// session first, and where the reply goes.
#include <cstring>

#include "tamberCore.h"
#include "tamberResponse/tamberContent.h"
#include "tamberTypes/tamberDebug.h"

namespace {
// The collation types the plain calls ask for.
const int kCollationRecentPlays = 1;
const int kCollationFavorites = 3;
const int kSearchTries = 5;

// A host's error record is cleared only in the fields a failure fills.
void clearErrorCodes(tql_errorNotification* error)
{
    if (error) {
        error->errorCode = 0;
        error->responseCode = 0;
        error->playbackStopped = 0;
    }
}
} // namespace

// 0 from a call means it failed before anything was delivered.
int tql_core::deliveredOrError(int result, tql_errorNotification* error)
{
    if (result != 0)
        return 1;
    m_tamberRequest.getErrorResponse(error);
    return -1;
}

int tql_core::norvaleGetRecents(tql_errorNotification* error, int carousel)
{
    clearErrorCodes(error);
    return deliveredOrError(carousel ? norvaleRecentsCarouselCall() : norvaleRecentsCall(), error);
}

int tql_core::norvaleGetFavorites(tql_errorNotification* error, int carousel)
{
    clearErrorCodes(error);
    return deliveredOrError(carousel ? norvaleFavoritesCarouselCall() : norvaleFavoritesCall(), error);
}

int tql_core::norvaleGetForYou(tql_errorNotification* error)
{
    clearErrorCodes(error);
    return deliveredOrError(norvaleForYouCall(), error);
}

int tql_core::getForYouCarousel(tql_errorNotification* error)
{
    clearErrorCodes(error);
    return deliveredOrError(norvaleForYouCarouselCall(), error);
}

// The recents call asks for favorites and the favorites call for recent
// plays. Only the session is warmed and the result is dropped, so the swap
// shows in the service's log alone; it stays as the service knows it.
int tql_core::norvaleRecentsCall()
{
    TQLResponse* response =
        withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleRetrieveGUPCollation(kCollationFavorites); });
    m_tamberRequest.m_norvalecollation->reset();
    return response ? 1 : 0;
}

int tql_core::norvaleFavoritesCall()
{
    TQLResponse* response = withSessionRepeat(
        [this] { return m_tamberRequest.tamberNorvaleRetrieveGUPCollation(kCollationRecentPlays); });
    m_tamberRequest.m_norvalecollation->reset();
    return response ? 1 : 0;
}

int tql_core::norvaleRecentsCarouselCall()
{
    norvaleResumeCall();
    TQLResponse* response = withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleRecentsCarousel(); });
    if (!response)
        return 0;
    TQLModuleResponseRecentsCarousel* carousel = firstModule<TQLModuleResponseRecentsCarousel>(response);
    return carousel ? m_callback->handleRecentsResponse(*carousel) : -1;
}

int tql_core::norvaleFavoritesCarouselCall()
{
    norvaleResumeCall();
    TQLResponse* response = withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleFavoritesCarousel(); });
    if (!response)
        return 0;
    TQLModuleResponseFavoritesCarousel* carousel = firstModule<TQLModuleResponseFavoritesCarousel>(response);
    return carousel ? m_callback->handleFavoritesResponse(*carousel) : -1;
}

// A reply without recommendations still counts as answered.
int tql_core::norvaleForYouCarouselCall()
{
    norvaleResumeCall();
    TQLResponse* response =
        withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleRetrieveForYouCarousel(); });
    if (!response)
        return 0;
    TQLModuleResponseForYouCarousel* carousel = firstModule<TQLModuleResponseForYouCarousel>(response);
    return carousel ? m_callback->handleForYouResponse(*carousel) : 1;
}

int tql_core::norvaleForYouCall()
{
    TQLResponse* response = withSessionRepeat([this] { return m_tamberRequest.tamberNorvaleRetrieveForYou(); });
    if (!response)
        return 0;
    TQLModuleResponseCarousel* recommendations = firstModule<TQLModuleResponseCarousel>(response);
    return recommendations ? m_callback->handleForYouResponse(*recommendations) : 1;
}

int tql_core::search(const char* text)
{
    TQLResponse* response = nullptr;
    for (int attempt = 0; attempt < kSearchTries && !response; ++attempt)
        response = m_tamberRequest.tamberSearch(tql_string(text));
    if (!response)
        return -1;
    // A good reply always holds the search module; one that doesn't is
    // dropped rather than read.
    TQLModuleResponseSearch* results = firstModule<TQLModuleResponseSearch>(response);
    if (!results) {
        TQL_LOG(1, "Search reply without a search module, dropped");
        return -1;
    }
    return m_callback->handleSearchResponse(*results);
}
