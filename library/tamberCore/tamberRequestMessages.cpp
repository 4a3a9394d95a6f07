// Server messages: the error table, the sticky flags and the bypass flags.
#include "tamberCore.h"
#include "tamberRequest.h"
#include "tamberTypes/tamberDebug.h"

namespace {
// The six bypass flags and their masks, in record order.
int* flag(tql_bypassStatus& s, int i)
{
    int* flags[6] = {&s.bypass704, &s.bypass702, &s.bypass705, &s.bypass314, &s.bypass708, &s.bypass701};
    return flags[i];
}

int* mask(tql_bypassStatus& s, int i)
{
    int* masks[6] = {&s.mask704, &s.mask702, &s.mask705, &s.mask314, &s.mask708, &s.mask701};
    return masks[i];
}

bool flagsDiffer(tql_bypassStatus& a, tql_bypassStatus& b)
{
    for (int i = 0; i < 6; ++i)
        if (*flag(a, i) != *flag(b, i))
            return true;
    return false;
}
} // namespace

void TamberRequest::initErrorTable()
{
    const tql_list<int> common = {700, 701, 702, 704, 705, 708};
    auto row = [this](eRequestType type, tql_list<int> codes, const tql_list<int>& tail = {}) {
        codes.insert(codes.end(), tail.begin(), tail.end());
        m_errorTable.push_back(tql_pair<eRequestType, tql_list<int>>(type, codes));
    };
    const tql_list<int> aodTune = {100, 201, 202, 204, 208, 301, 302, 309, 318, 319, 320, 600, 602, 605, 700};
    m_errorTable.clear();
    row(eRequestRouting, {100, 706, 600, 602});
    row(eRequestAuth, {100, 101, 102, 103, 104, 5140, 5200, 5230, 5260, 600, 602}, common);
    row(eRequestConfiguration, {100, 301, 302, 600, 602});
    row(eRequestChannelListing, {100, 201, 202, 204, 208, 301, 302, 305, 600, 602});
    row(eRequestTuneLive, {100, 201, 202, 204, 208, 301, 302, 305, 306, 309, 318, 319, 600, 602, 605});
    row(eRequestTuneAod, aodTune);
    row(eRequestTuneDrav, aodTune); // the clip tune carries the on-demand list
    row(eRequestNoop, {100, 201, 202, 204, 208, 600, 602});
    row(eRequestCollation, {100, 201, 202, 204, 208, 301, 302, 313, 600, 602});
    row(eRequestModify, {100, 201, 202, 204, 208, 301, 302, 600, 602, 607, 610}, common);
    row(eRequestConsume, {100, 201, 202, 204, 208, 301, 302, 600, 602, 611});
    row(eRequestOnDemand, {100, 201, 202, 204, 208, 301, 302, 305, 306, 600, 602});
    row(eRequestGeoLocation, {100, 201, 202, 204, 208, 301, 302, 303, 307, 600, 602}, common);
    row(eRequestRefreshTracks, {100, 201, 202, 203, 204, 208, 301, 305, 600});
    row(eRequestSearch, {100, 201, 202, 204, 208, 301, 302, 600, 602, 609, 610}, common);
    row(eRequestPdt, {100, 201, 202, 204, 208, 301, 302, 305, 306, 600, 602});
    row(eRequestEpisodes, {100, 301, 305, 500, 600, 605});
    row(eRequestResume,
        {100, 104, 201, 301, 302, 303, 305, 306, 307, 308, 314, 315, 316, 317, 318, 319, 600, 602, 700}, common);
    row(eRequestForYou, {100, 201});
    row(eRequestForYouCarousel, {100, 201, 202, 203, 204, 208, 301, 305, 600, 602});
    // The carousels of favorites and recents have no row on purpose: their
    // replies never change a bypass flag.
}

tql_errorLine TamberRequest::getErrorTableLine(eRequestType type) const
{
    tql_errorLine line = {};
    for (const auto& row : m_errorTable) {
        if (row.first != type)
            continue;
        for (int code : row.second) {
            // 701 masks the 705 flag and nothing masks 314 or 701: once
            // raised, those two stay. Kept as it is.
            if (code == 704)
                line.mask704 = 1;
            else if (code == 702 || code == 313)
                line.mask702 = 1;
            else if (code == 701 || code == 705)
                line.mask705 = 1;
            else if (code == 708)
                line.mask708 = 1;
        }
    }
    return line;
}

void TamberRequest::clearMessageFlags()
{
    m_sessionInvalid = m_simultaneousLogin = m_noTracks = m_contentNotAvailable = 0;
    m_badCredentials = m_loginAttempts = m_noSubscription = m_pastDue = 0;
    m_authRequired = m_accountClosed = m_notCompatible = m_episodeExpired = 0;
}

int TamberRequest::tamberNorvaleCheckMessages(const tql_list<TQLMessagesType>& messages, eRequestType type)
{
    if (&messages != &m_faultResponse->m_messages)
        m_faultResponse->m_messages = messages;

    tql_bypassStatus w = getErrorTableLine(type);
    bool relevant = false;
    for (int i = 0; i < 6; ++i) {
        if (*mask(w, i)) {
            *flag(w, i) = 0; // a relevant reply that does not repeat a code turns it off
            relevant = true;
        } else {
            *flag(w, i) = *flag(m_bypassStatus, i);
        }
    }

    int result = 0;
    for (const TQLMessagesType& message : messages) {
        TQL_LOG(4, "Message: %s code: %d Request type: %d", message.m_message.c_str(), message.m_code,
                static_cast<int>(type));
        result = message.m_code;
        switch (message.m_code) {
        case 700: m_noTracks = 1; break;
        case 708: w.bypass708 = 1; break;
        case 704:
            w.bypass704 = 1;
            if (type == eRequestAuth)
                w.authBypass704 = 1;
            break;
        case 705: w.bypass705 = 1; break;
        case 701: w.bypass701 = 1; break;
        case 702:
        case 313: w.bypass702 = 1; break;
        case 314: w.bypass314 = 1; break;
        case 5230: m_accountClosed = 1; break;
        case 5260: m_notCompatible = 1; break;
        case 5140: m_noSubscription = 1; break;
        case 5200: m_pastDue = 1; break;
        case 208:
        case 500: m_sessionInvalid = 1; break;
        case 204: m_simultaneousLogin = 1; break;
        case 201:
        case 202:
        case 206:
        case 207: m_authRequired = 1; break;
        case 101: m_badCredentials = 1; break;
        case 102: m_loginAttempts = 1; break;
        case 309: m_contentNotAvailable = 1; break;
        case 320: m_episodeExpired = 1; break;
        default: break;
        }
    }

    // The bypass flags of a reply from a dead session do not count.
    if (type == eRequestRouting || !relevant || m_sessionInvalid || m_simultaneousLogin)
        return result;

    tql_bypassStatus& s = m_bypassStatus;
    if (s.authBypass704 && w.bypass704)
        w.authBypass704 = 1; // lasts as long as 704 keeps coming
    if (s.bypass704 && !w.bypass704) {
        TQL_LOG(3, "Bypass mode OFF. No 704 error code. Reauthenticate");
        w.authBypass704 = 0;
        if (flagsDiffer(w, s))
            s = w;
        // Bring the session back from the bypass, nested in this reply's handling.
        if (m_core && m_core->getState() == CoreStateChannelsRead)
            m_core->norvaleResumeCall();
        if (m_core)
            m_core->on_tamberBypassModeChanged();
        return result;
    }
    if (s.bypass702 && w.bypass702 != s.bypass702)
        TQL_LOG(3, "Bypass mode OFF. No 702 error code.");
    if (flagsDiffer(w, s)) {
        s = w;
        if (m_core)
            m_core->on_tamberBypassModeChanged();
    }
    return result;
}
