// The core's policies around on-demand shows and episodes: how often to
// ask, when to repair the session, and where the reply goes.
#include "tamberCore.h"
#include "tamberResponse/tamberAODListing.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kOnDemandTries = 5;
const int kShowsPage = 1;
const int kShowsCount = 1000; // one page holds a whole genre or channel
} // namespace

int tql_core::getShows(const tql_string& genre, const tql_string& channel)
{
    return getOnDemandShows(kShowsPage, kShowsCount, genre, channel);
}

int tql_core::getOnDemandShows(int page, int count, const tql_string& genre, const tql_string& channel)
{
    TQL_LOG(4, "Get OnDemand shows for %s%s", genre.c_str(), channel.c_str());
    const tql_string pageText = tql_string::formatString("%d", page);
    const tql_string countText = tql_string::formatString("%d", count);
    TQLResponse* response = nullptr;
    for (int attempt = 0; attempt < kOnDemandTries; ++attempt) {
        response = m_tamberRequest.tamberNorvaleOnDemand(pageText, countText, genre, channel);
        if (response && response->m_status == 1)
            break;
        if (m_tamberRequest.m_sessionInvalid || m_tamberRequest.m_simultaneousLogin) {
            const tql_list<TQLMessagesType>& messages = m_tamberRequest.tamberFaultResponse()->m_messages;
            TQL_LOG(1, "Ondeamdn get shows error = %s code = %d",
                    messages.empty() ? "" : messages.front().m_message.c_str(),
                    messages.empty() ? 0 : messages.front().m_code);
            norvaleResumeCall();
        }
    }
    // After the last try a reply of another status is read all the same.
    TQLModuleResponseAODListing* shows = firstModule<TQLModuleResponseAODListing>(response);
    if (!shows) {
        // No reply, no module, or a first module that holds no shows.
        TQL_LOG(1, "No modules found");
        return 0;
    }
    return m_callback->handleOnDemandResponse(*shows, genre);
}

int tql_core::getEpisodes(const tql_string& show)
{
    TQLResponse* response = withSessionRepeat([&] { return m_tamberRequest.tamberNorvaleGetEpisodes(show); });
    if (!response)
        return 0;
    if (response->m_modules.empty())
        return -1;
    return m_callback->handleGetEpisodesResponse(response, show);
}
