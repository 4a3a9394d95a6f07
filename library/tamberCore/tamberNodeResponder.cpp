#include "tamberNodeResponder.h"

#include "tamberCore.h"
#include "tamberDmcaRules.h"
#include "tamberTypes/tamberDebug.h"

namespace {
// Until a list names its expiry, it does not expire for a year.
const uint64_t kNoExpiryMs = 31556952000ULL;
} // namespace

// Everything is made here once, the timers stopped; the object lives as
// long as the core.
CMTamberNodeResponder::CMTamberNodeResponder(tql_core* core)
    : m_core(core),
      m_tamberRequest(&core->getTamberRequest()),
      m_playlistParser(new TamberPlaylistParser(*m_tamberRequest)),
      m_workerLoopTimer(new tql_timer(this, kWorkerTimerId, on_workerLoopTimeout)),
      m_consumeTimer(new tql_timer(this, kConsumeTimerId, on_consumeUpdateTimeout)),
      m_refreshTimer(new tql_timer(this, kRefreshTimerId, on_refreshNotificationTimerTimeout)),
      m_dmcaRules(new tql_dmcaRules())
{
    m_tokenData.noopTimeoutMs = kFirstNoopTimeoutMs;
    uint64_t later = tamberTime().msecsSinceEpoch() + kNoExpiryMs;
    for (tamberTime& expiry : m_expireTimestamp)
        expiry = tamberTime(later);
    m_refreshTimer->m_interval = kRefreshPeriodMs;
}

// The timers leave the host's tick as they are destroyed: a tick after the
// core is gone must not reach this object.
CMTamberNodeResponder::~CMTamberNodeResponder()
{
    m_workerLoopTimer->stop();
    delete m_playlistParser;
    delete m_workerLoopTimer;
    delete m_consumeTimer;
    delete m_refreshTimer;
    delete m_dmcaRules;
}

void CMTamberNodeResponder::setExpireTimestamp(tql_moduleType module, const tamberTime& expiry)
{
    if (module >= TQL_MODULE_FOR_YOU && module <= TQL_MODULE_RECENTS)
        m_expireTimestamp[module] = expiry;
    if (!m_refreshTimer->isRunning())
        m_refreshTimer->start();
}

void CMTamberNodeResponder::on_refreshNotificationTimerTimeout(void* self, int)
{
    auto* responder = static_cast<CMTamberNodeResponder*>(self);
    uint64_t now = tamberTime().msecsSinceEpoch();
    for (int module = TQL_MODULE_FOR_YOU; module <= TQL_MODULE_RECENTS; ++module) {
        if (now > responder->m_expireTimestamp[module].msecsSinceEpoch() && responder->m_core)
            responder->m_core->getTamberCallback()->notifyRefreshInfo(static_cast<tql_moduleType>(module));
    }
    responder->m_refreshTimer->m_interval = kRefreshPeriodMs;
    responder->m_refreshTimer->start();
}
