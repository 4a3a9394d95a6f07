// The program data loop: polls what is on the air on a set of channels on a
// period that the service sets, hands each answer to onPdtUpdate, and keeps
// the session alive while the user only browses. It runs on timer 4 of the
// host's tick; the timer is one-shot and each run arms the next.
#include <cstring>

#include "tamberCore.h"
#include "tamberResponse/tamberChannelListPDT.h"
#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"

namespace {
const int kPdtTimerId = 4;
const int64_t kLowestIntervalMs = 10000;
const int64_t kLongestRetryMs = 30000;
// A period the service names beyond this would leave the loop asleep for
// good; it is held to an hour.
const int64_t kLongestIntervalMs = 3600000;

// The ids joined with ","; the last node only ends the list, so a single
// node gives nothing.
tql_string joinChannelIds(const tql_chainedPDTChannels* node)
{
    tql_string joined("");
    for (; node && node->next; node = node->next) {
        if (!node->channelId)
            continue;
        if (!joined.isEmpty())
            joined += ",";
        joined += node->channelId;
    }
    return joined;
}

TQLModuleResponseChannelListPDT* programData(TQLResponse* response)
{
    if (!response)
        return nullptr;
    for (const TQLModule& module : response->m_modules)
        if (auto* pdt = dynamic_cast<TQLModuleResponseChannelListPDT*>(module.m_moduleResponse))
            return pdt;
    return nullptr;
}

int64_t nowMs()
{
    return static_cast<int64_t>(tql_datetime::currentMSecsSinceEpoch());
}
} // namespace

int tql_core::startPDT(const char* genre, const tql_chainedPDTChannels* channels)
{
    if (m_pdtActive)
        stopPDT();
    m_pdtLastRun = 0; // the first poll goes out at once
    m_pdtActive = 1;
    if (!m_pdtTimer)
        m_pdtTimer = new tql_timer(this, kPdtTimerId, on_PDTLoopTimeout);
    updatePdtLoop(tql_string(genre ? genre : ""), joinChannelIds(channels));
    return m_pdtActive;
}

int tql_core::stopPDT()
{
    m_pdtActive = 0;
    if (m_pdtTimer)
        m_pdtTimer->stop();
    m_pdtGenre = tql_string("");
    m_pdtChannels = tql_string("");
    return m_pdtActive;
}

void tql_core::on_PDTLoopTimeout(void* context, int)
{
    auto* core = static_cast<tql_core*>(context);
    // Copies: the request stores what it sends into these very members.
    tql_string genre = core->m_pdtGenre;
    tql_string channels = core->m_pdtChannels;
    core->updatePdtLoop(genre, channels);
}

void tql_core::updatePdtLoop(const tql_string& genre, const tql_string& channels)
{
    TQL_LOG(3, "ENTER updatePdtLoop(%s%s)", genre.c_str(), channels.c_str());
    int64_t now = nowMs();
    // A clock that went back counts as no time passed.
    int64_t sinceLast = now > static_cast<int64_t>(m_pdtLastRun) ? now - static_cast<int64_t>(m_pdtLastRun) : 0;
    if (m_pdtLastRun && sinceLast < m_pdtInterval) {
        // Woken early: sleep the rest of the period.
        if (m_pdtActive) {
            int64_t rest = m_pdtInterval - sinceLast;
            TQL_LOG(4, "PDT loop next run %llu", static_cast<unsigned long long>(rest));
            m_pdtTimer->m_interval = rest;
            m_pdtTimer->start();
        }
        return;
    }
    m_pdtLastRun = static_cast<uint64_t>(now);
    TQLResponse* response =
        withSessionRepeat([&] { return m_tamberRequest.tamberNorvalePDTRequest(genre, channels); });

    if (m_tamberRequest.m_simultaneousLogin) {
        // Logged in elsewhere: told to the host only while it plays; either
        // way nothing arms the timer again.
        if (m_streamer && m_streamer->getState() == CMTamberNodeResponder::StatePlaying)
            reportTamberError(tamberErrorLoggedElsewhere, 1, 0);
        return;
    }

    bool got = false;
    if (TQLModuleResponseChannelListPDT* pdt = programData(response)) {
        got = true;
        int64_t interval = static_cast<int64_t>(pdt->updateFrequency) * 1000;
        if (interval > kLongestIntervalMs) {
            TQL_LOG(2, "PDT update frequency %d s held to %lld s", pdt->updateFrequency,
                    static_cast<long long>(kLongestIntervalMs / 1000));
            interval = kLongestIntervalMs;
        }
        m_pdtInterval = interval < kLowestIntervalMs ? kLowestIntervalMs : interval;
        m_callback->handlePDTUpdateResponse(*pdt);
        m_tamberRequest.tamberNorvaleNoOP();
    }

    m_pdtLastRun = static_cast<uint64_t>(nowMs());
    if (!m_pdtActive)
        return; // stopped from a callback
    int64_t delay = m_pdtInterval - (nowMs() - static_cast<int64_t>(m_pdtLastRun));
    TQL_LOG(4, "PDT loop next run %llu", static_cast<unsigned long long>(delay));
    if (!got) {
        tql_errorNotification last;
        memset(&last, 0, sizeof last);
        m_tamberRequest.getErrorResponse(&last);
        if (last.errorCode == tamberErrorAuthFailed || last.errorCode == tamberErrorCredentials) {
            TQL_LOG(1, "User not logged in stopping PDT");
            stopPDT();
            return;
        }
        if (delay > kLongestRetryMs) {
            // Wake in half a minute, with the last run moved back so that
            // the early-wake test lets that poll through.
            m_pdtLastRun -= static_cast<uint64_t>(delay);
            delay = kLongestRetryMs;
        }
    }
    m_pdtTimer->m_interval = delay;
    m_pdtTimer->start();
}
