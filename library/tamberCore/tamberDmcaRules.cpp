#include "tamberDmcaRules.h"

#include "tamberTypes/tamberDateTime.h"
#include "tamberTypes/tamberDebug.h"

namespace {

// A window's length in ms. The service's unit is five minutes and the length
// is a signed 32-bit product, so durations above 7158 wrap; the multiplication
// is unsigned so that the wrap is defined.
int32_t windowLengthMs(int dur)
{
    return static_cast<int32_t>(static_cast<uint32_t>(dur) * 300000u);
}

// The length widened against the unsigned clock, as a signed int would be: a
// wrapped or negative length becomes a window that never runs out.
uint64_t windowSpanMs(int dur)
{
    return static_cast<uint64_t>(static_cast<int64_t>(windowLengthMs(dur)));
}

} // namespace

tql_dmcaRules::tql_dmcaRules() {}

tql_dmcaRules::~tql_dmcaRules() {}

tql_dmcaInfo tql_dmcaRules::getDmcaEntry(const tql_string& id)
{
    if (id.isEmpty())
        return tql_dmcaInfo();
    for (auto it = m_dmcaList.begin(); it != m_dmcaList.end(); ++it) {
        if (it->accessControlId == id) {
            tql_dmcaInfo found = *it;
            m_dmcaList.erase(it);
            return found;
        }
    }
    return tql_dmcaInfo();
}

int tql_dmcaRules::addDmca(const tql_dmcaInfo& info)
{
    if (info.accessControlId.isEmpty()) {
        TQL_LOG(2, "No access control Id found in dmca");
        return -1;
    }
    // A later rule for the same asset would hand back skips already used.
    if (check(info.accessControlId))
        return 1;
    TQL_LOG(3,
            "Adding new DMCA entry: irClassNav %s backskipDur %d maxBackSkips %d fwdSkipDur %d maxFwdSkips %d "
            "playOnSelect %s",
            info.irClassNav.c_str(), info.backSkipDur, info.maxBackSkips, info.fwdSkipDur, info.maxFwdSkips,
            info.playOnSelect.c_str());
    tql_dmcaInfo entry = info;
    entry.initialMaxBackSkips = entry.maxBackSkips;
    entry.initialMaxFwdSkips = entry.maxFwdSkips;
    entry.fwdWindowIdle = 1;
    entry.backWindowIdle = 1;
    m_dmcaList.push_back(entry);
    return 0;
}

int tql_dmcaRules::check(const tql_string& id)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    if (entry.accessControlId.isEmpty())
        return 0;
    m_dmcaList.push_back(entry);
    return 1;
}

tql_eIrClassNav tql_dmcaRules::isAllowed(const tql_string& id)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    TQL_LOG(4, "CMTamberNodeResponder::isAllowed skip class nav %s for ACID %s", entry.irClassNav.c_str(),
            id.c_str());
    if (entry.accessControlId.isEmpty())
        return irClassNavUnknown;
    m_dmcaList.push_back(entry);
    // "UNRESTRICTED" must not let a text that also says "DISALLOWED" through.
    if (entry.irClassNav.contains("DISALLOWED"))
        return irClassNavDisallowed;
    if (entry.irClassNav.contains("UNRESTRICTED"))
        return irClassNavUnrestricted;
    return irClassNavRestricted;
}

tql_dmcaInfo tql_dmcaRules::getDmca(const tql_string& id)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    if (!entry.accessControlId.isEmpty())
        m_dmcaList.push_back(entry);
    return entry;
}

int tql_dmcaRules::getTuneStartDmca(const tql_string& id)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    TQL_LOG(4, "CMTamberNodeResponder::getTuneStartDmca skip class nav %s for ACID %s", entry.irClassNav.c_str(),
            id.c_str());
    if (entry.accessControlId.isEmpty())
        return -1;
    m_dmcaList.push_back(entry);
    if (entry.playOnSelect.contains("Newest"))
        return 1;
    if (entry.playOnSelect.contains("Realtime"))
        return -4;
    if (entry.playOnSelect.contains("Constrained"))
        return -13;
    return 0;
}

int tql_dmcaRules::isTimeValid(const tql_dmcaInfo& info, int forward)
{
    if (forward ? info.fwdWindowIdle : info.backWindowIdle)
        return 1;
    uint64_t start = forward ? info.fwdWindowStartMs : info.backWindowStartMs;
    uint64_t elapsed = tql_datetime::currentMSecsSinceEpoch() - start;
    return elapsed <= windowSpanMs(forward ? info.fwdSkipDur : info.backSkipDur) ? 1 : 0;
}

void tql_dmcaRules::resetDmca(tql_dmcaInfo* info, int forward)
{
    if (forward) {
        info->maxFwdSkips = info->initialMaxFwdSkips;
        info->fwdWindowStartMs = 0;
        info->fwdWindowIdle = 1;
    } else {
        info->maxBackSkips = info->initialMaxBackSkips;
        info->backWindowStartMs = 0;
        info->backWindowIdle = 1;
    }
}

// The common body of the four count operations. The window opens at the first
// look, not at the first skip, and a look after its end restores the count
// but leaves the next window to the look after.
int tql_dmcaRules::checkCount(const tql_string& id, int forward, bool decrease)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    if (entry.accessControlId.isEmpty())
        return -1;
    int& idle = forward ? entry.fwdWindowIdle : entry.backWindowIdle;
    if (idle) {
        (forward ? entry.fwdWindowStartMs : entry.backWindowStartMs) = tql_datetime::currentMSecsSinceEpoch();
        idle = 0;
    }
    if (!isTimeValid(entry, forward))
        resetDmca(&entry, forward);
    int& left = forward ? entry.maxFwdSkips : entry.maxBackSkips;
    // Stops at -1; a negative count from the service is left as it is.
    if (decrease && left >= 0)
        --left;
    m_dmcaList.push_back(entry);
    return left;
}

int tql_dmcaRules::checkFwd(const tql_string& id)
{
    return checkCount(id, 1, false);
}

int tql_dmcaRules::checkBack(const tql_string& id)
{
    return checkCount(id, 0, false);
}

int tql_dmcaRules::decreaseFwd(const tql_string& id)
{
    return checkCount(id, 1, true);
}

int tql_dmcaRules::decreaseBack(const tql_string& id)
{
    return checkCount(id, 0, true);
}

tql_string tql_dmcaRules::checkTimeout(const tql_string& id, int forward)
{
    tql_dmcaInfo entry = getDmcaEntry(id);
    if (entry.accessControlId.isEmpty())
        return tql_string();
    m_dmcaList.push_back(entry);
    uint64_t start = forward ? entry.fwdWindowStartMs : entry.backWindowStartMs;
    tql_datetime end;
    end.setDate(start + windowSpanMs(forward ? entry.fwdSkipDur : entry.backSkipDur));
    return end.toString(TQL_DATE_ISO);
}

tql_string tql_dmcaRules::checkFwdTimeout(const tql_string& id)
{
    return checkTimeout(id, 1);
}

tql_string tql_dmcaRules::checkBackTimeout(const tql_string& id)
{
    return checkTimeout(id, 0);
}

int tql_dmcaRules::removeDmca(const tql_string& id)
{
    return getDmcaEntry(id).accessControlId.isEmpty() ? -1 : 1;
}

void tql_dmcaRules::clear()
{
    m_dmcaList.clear();
}
