#ifndef TAMBER_DMCA_RULES_H
#define TAMBER_DMCA_RULES_H

#include <cstdint>

#include "tamberTypes/tamberList.h"
#include "tamberTypes/tamberString.h"

// How freely an asset may be skipped, from its rule's class text.
enum tql_eIrClassNav {
    irClassNavUnknown = 0,      // no rule for the id
    irClassNavUnrestricted = 1, // the class text contains "UNRESTRICTED"
    irClassNavRestricted = 2,   // any other class text: the counts apply
    irClassNavDisallowed = 3    // the class text contains "DISALLOWED"
};

// The marker layer a skip searches; any value but the first two is the cut
// layer, which is what the skip calls use.
enum tql_eMarkerType { markerTypeEpisode = 0, markerTypeSegment = 2, markerTypeCut = 3 };

// The skip rule of one asset and its running state. The durations are in
// units of five minutes (300000 ms).
class tql_dmcaInfo {
public:
    virtual ~tql_dmcaInfo() {}

    int maxTotalSkips = 0; // kept from a clip channel's rule, not enforced
    int backSkipDur = 0;
    tql_string reserved;
    int fwdSkipDur = 0;
    tql_string irClassNav;
    int maxBackSkips = 0; // backward skips left
    int maxFwdSkips = 0;  // forward skips left
    tql_string playOnSelect;
    tql_string accessControlId; // the key: an episode's asset GUID or a clip channel id
    uint64_t fwdWindowStartMs = 0;
    uint64_t backWindowStartMs = 0;
    int initialMaxBackSkips = 0; // what a window's end restores
    int initialMaxFwdSkips = 0;
    int fwdWindowIdle = 0; // 1: no window runs in that direction
    int backWindowIdle = 0;
    int reservedFlag = 0;
};

// The running skip allowance of every asset met so far. The engine keeps one
// for its whole life, so tuning away and back cannot reset an allowance.
// A direction's window opens at the first look at its count and, at the first
// look after it has run out, goes back to idle with the full count.
class tql_dmcaRules {
public:
    tql_dmcaRules();
    virtual ~tql_dmcaRules();

    // 0 added; 1 when the id already has a rule (the first one stands); -1 no id.
    int addDmca(const tql_dmcaInfo& info);
    int check(const tql_string& id);
    tql_eIrClassNav isAllowed(const tql_string& id);
    tql_dmcaInfo getDmca(const tql_string& id); // empty when unknown
    // By the tune-start text: 1 "Newest", -4 "Realtime", -13 "Constrained",
    // 0 anything else, -1 no rule.
    int getTuneStartDmca(const tql_string& id);

    // Skips left, -1 for an unknown id; a decrease stops at -1.
    int checkFwd(const tql_string& id);
    int checkBack(const tql_string& id);
    int decreaseFwd(const tql_string& id);
    int decreaseBack(const tql_string& id);

    // The end of the direction's window as display text; empty when unknown.
    tql_string checkFwdTimeout(const tql_string& id);
    tql_string checkBackTimeout(const tql_string& id);

    int removeDmca(const tql_string& id); // 1, or -1 unknown
    void clear();

    // 1 while the direction's window is idle or has not run out.
    int isTimeValid(const tql_dmcaInfo& info, int forward);
    void resetDmca(tql_dmcaInfo* info, int forward);

private:
    // Takes the entry out of the list and gives it; the caller appends it
    // again. An empty record when the id is empty or unknown.
    tql_dmcaInfo getDmcaEntry(const tql_string& id);
    int checkCount(const tql_string& id, int forward, bool decrease);
    tql_string checkTimeout(const tql_string& id, int forward);

    tql_list<tql_dmcaInfo> m_dmcaList;
};

#endif
