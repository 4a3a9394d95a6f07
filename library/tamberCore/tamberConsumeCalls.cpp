// The consumption reports: what was heard, sent in two generations of the
// same document. A report runs on the tick in the middle of playback, so its
// limits are short, and nothing retries it.
#include "requestDocuments/requestDocuments.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberDebug.h"

#define TQL_GREEN "\033[0;32m"
#define TQL_RESET "\033[0m"

namespace {
const int kConsumeConnectTimeout = 7;
const int kConsumeTotalTimeout = 10;
} // namespace

TQLResponse* TamberRequest::tamberV2NorvaleConsume(tql_list<TQLConsumeRequests>& first,
                                                   tql_list<TQLConsumeRequests>& second)
{
    return consumeCall("/rest/v2/experience/modules/consumed", TQL_GREEN "Consume V2 request url: %s" TQL_RESET,
                       first, second);
}

TQLResponse* TamberRequest::tamberV4NorvaleConsume(tql_list<TQLConsumeRequests>& first,
                                                   tql_list<TQLConsumeRequests>& second)
{
    return consumeCall("/rest/v4/experience/modules/events/consume", TQL_GREEN "Consume V4 request url: %s" TQL_RESET,
                       first, second);
}

TQLResponse* TamberRequest::consumeCall(const char* path, const char* urlLog, tql_list<TQLConsumeRequests>& first,
                                        tql_list<TQLConsumeRequests>& second)
{
    // A host that tells its position from inside its write function would
    // start a report in the middle of a chunk transfer. The report is
    // dropped before it touches the transfer's state or the library error,
    // so that neither the chunk nor the next stop suffers for it.
    if (m_requestInProgress) {
        TQL_LOG(2, "Consume report during a transfer dropped");
        return nullptr;
    }
    tql_url url;
    if (!serviceUrl(path, url))
        return nullptr;
    tql_int_debug_print(3, "TamberRequest", __LINE__, urlLog, url.toString().c_str());
    TQL_LOG(4, "consumeRequests1.size() = %d", static_cast<int>(first.size()));

    // One module per list that has records: a report may close a period of
    // one kind of channel and open one of another.
    TQLModuleRequestConsume requests[2];
    tql_list<TQLModule> modules;
    tql_list<TQLConsumeRequests>* lists[2] = {&first, &second};
    for (int i = 0; i < 2; ++i) {
        if (lists[i]->empty())
            continue;
        requests[i].m_requests = lists[i];
        TQLModule module;
        module.moduleArea = "NowPlayingTimelineFeed";
        module.moduleType = lists[i]->front().m_consumeChannel;
        module.m_moduleRequest = &requests[i];
        modules.push_back(module);
    }
    TQLModuleList document;
    document.m_modules = &modules;
    tql_string body = document.serialize(nullptr);

    TQLResponse* response =
        sendServiceCall(m_norvaleconsume, url, 1, body, nullptr, kConsumeConnectTimeout, kConsumeTotalTimeout);
    if (!response) {
        TQL_LOG(1, "TamberRequest::tamberNorvaleConsume HTTP Error");
        return nullptr;
    }
    int code = tamberNorvaleCheckMessages(response->m_messages, eRequestConsume);
    if (response->m_status == 1) {
        TQL_LOG(3, "TamberRequest::tamberNorvaleConsume: Success");
        setLibraryErrorResponse(tamberErrorNone, 0);
        return response;
    }
    if (m_sessionInvalid)
        setLibraryErrorResponse(tamberErrorSession, code);
    else
        TQL_LOG(1, "TamberRequest::tamberNorvaleConsume: Error ");
    return nullptr;
}
