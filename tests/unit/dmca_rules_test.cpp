// Per-asset skip rules: the classes and tune-start answers from the service's
// texts, and the skip counts with their windows on the port's clock. Window
// ends are checked against calendar texts worked out apart from the library;
// the port's clock starts at 2023-11-14T22:13:20.000 UTC.
#include <climits>
#include <string>

#include "PortTest.h"
#include "tamberDmcaRules.h"

namespace {

const uint64_t kFiveMinutes = 300000;

std::string S(const tql_string& s) { return s.toStdString(); }

tql_dmcaInfo rule(const char* id, const char* cls, int fwd, int fwdDur, int back = 0, int backDur = 0,
                  const char* playOnSelect = "")
{
    tql_dmcaInfo info;
    info.accessControlId = id;
    info.irClassNav = cls;
    info.maxFwdSkips = fwd;
    info.fwdSkipDur = fwdDur;
    info.maxBackSkips = back;
    info.backSkipDur = backDur;
    info.playOnSelect = playOnSelect;
    return info;
}

class DmcaRulesTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1); // the log needs a core
        port().logs.clear();
    }
    tql_dmcaRules rules;
};

TEST_F(DmcaRulesTest, TheFirstRuleForAnIdStands)
{
    EXPECT_EQ(rules.addDmca(rule("ep-1", "RESTRICTED", 6, 1, 3, 2, "Newest")), 0);
    EXPECT_TRUE(port().logged("Adding new DMCA entry: irClassNav RESTRICTED backskipDur 2 maxBackSkips 3 "
                              "fwdSkipDur 1 maxFwdSkips 6 playOnSelect Newest"));
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 5);

    // A second reply for the same asset neither replaces nor refills it.
    EXPECT_EQ(rules.addDmca(rule("ep-1", "UNRESTRICTED", 9, 4)), 1);
    EXPECT_EQ(port().countLogged("Adding new DMCA entry"), 1u);
    EXPECT_EQ(rules.isAllowed("ep-1"), irClassNavRestricted);
    EXPECT_EQ(rules.checkFwd("ep-1"), 5);
    tql_dmcaInfo kept = rules.getDmca("ep-1");
    EXPECT_EQ(kept.initialMaxFwdSkips, 6);
    EXPECT_EQ(kept.initialMaxBackSkips, 3);
    EXPECT_EQ(kept.backWindowIdle, 1);

    EXPECT_EQ(rules.addDmca(rule("", "RESTRICTED", 1, 1)), -1);
    EXPECT_TRUE(port().logged("No access control Id found in dmca"));
    EXPECT_EQ(rules.check(""), 0);
}

TEST_F(DmcaRulesTest, WindowOpensAtTheFirstLookAndEndsAfterItsLength)
{
    rules.addDmca(rule("ep-1", "RESTRICTED", 2, 1));
    EXPECT_EQ(rules.checkFwd("ep-1"), 2); // the window starts here, not at the first skip
    EXPECT_EQ(S(rules.checkFwdTimeout("ep-1")), "2023-11-14T22:18:20.000");
    port().advance(200000);
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 1);
    port().advance(kFiveMinutes - 200000);
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 0); // exactly the length is still inside
    port().advance(1);
    EXPECT_EQ(rules.checkFwd("ep-1"), 2);

    // The look that ends a window leaves the next one to the look after it.
    tql_dmcaInfo afterReset = rules.getDmca("ep-1");
    EXPECT_EQ(afterReset.fwdWindowIdle, 1);
    EXPECT_EQ(afterReset.fwdWindowStartMs, 0u);
    EXPECT_EQ(S(rules.checkFwdTimeout("ep-1")), "1970-01-01T00:05:00.000");
    port().advance(kFiveMinutes);
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 1);
    EXPECT_EQ(S(rules.checkFwdTimeout("ep-1")), "2023-11-14T22:28:20.001");
}

TEST_F(DmcaRulesTest, DirectionsKeepTheirOwnCountsAndWindows)
{
    rules.addDmca(rule("ep-1", "RESTRICTED", 1, 1, 2, 2));
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 0);
    EXPECT_EQ(rules.checkBack("ep-1"), 2);
    EXPECT_EQ(rules.decreaseBack("ep-1"), 1);
    EXPECT_EQ(S(rules.checkBackTimeout("ep-1")), "2023-11-14T22:23:20.000");

    port().advance(kFiveMinutes + 1); // past the forward window, inside the back one
    EXPECT_EQ(rules.checkFwd("ep-1"), 1);
    EXPECT_EQ(rules.checkBack("ep-1"), 1);
    port().advance(kFiveMinutes);
    EXPECT_EQ(rules.checkBack("ep-1"), 2);
}

TEST_F(DmcaRulesTest, CountsStopAtMinusOne)
{
    rules.addDmca(rule("ep-1", "RESTRICTED", 1, 1, INT_MIN, 1));
    EXPECT_EQ(rules.decreaseFwd("ep-1"), 0);
    EXPECT_EQ(rules.decreaseFwd("ep-1"), -1);
    EXPECT_EQ(rules.decreaseFwd("ep-1"), -1);
    EXPECT_EQ(rules.checkFwd("ep-1"), -1);
    EXPECT_EQ(rules.decreaseBack("ep-1"), INT_MIN); // a negative count from the service is left alone
}

TEST_F(DmcaRulesTest, WindowLengthIsASigned32BitProduct)
{
    rules.addDmca(rule("last-that-fits", "RESTRICTED", 1, 7158));
    rules.addDmca(rule("wraps", "RESTRICTED", 1, 7159));
    rules.addDmca(rule("negative", "RESTRICTED", 1, -1));
    rules.addDmca(rule("huge", "RESTRICTED", 1, INT_MAX));
    for (const char* id : {"last-that-fits", "wraps", "negative", "huge"})
        EXPECT_EQ(rules.decreaseFwd(id), 0) << id;

    // 7159 x 300000 wraps to -2147267296 and INT_MAX x 300000 to -300000.
    EXPECT_EQ(S(rules.checkFwdTimeout("wraps")), "2023-10-21T01:45:32.704");
    EXPECT_EQ(S(rules.checkFwdTimeout("huge")), "2023-11-14T22:08:20.000");

    port().advance(7158 * kFiveMinutes);
    EXPECT_EQ(rules.checkFwd("last-that-fits"), 0);
    port().advance(1);
    EXPECT_EQ(rules.checkFwd("last-that-fits"), 1);
    // A wrapped or negative length never runs out.
    port().advance(400ULL * 24 * 3600 * 1000);
    for (const char* id : {"wraps", "negative", "huge"})
        EXPECT_EQ(rules.checkFwd(id), 0) << id;
}

TEST_F(DmcaRulesTest, ClassAndTuneStartFromTheServiceTexts)
{
    rules.addDmca(rule("free", "UNRESTRICTED", 0, 0));
    rules.addDmca(rule("counted", "RESTRICTED", 0, 0, 0, 0, "NewestRealtime"));
    rules.addDmca(rule("blank", "", 0, 0, 0, 0, "RealtimeConstrained"));
    rules.addDmca(rule("none", "DISALLOWED", 0, 0, 0, 0, "Constrained"));
    rules.addDmca(rule("both", "UNRESTRICTED,DISALLOWED", 0, 0, 0, 0, "LIVE"));

    EXPECT_EQ(rules.isAllowed("free"), irClassNavUnrestricted);
    EXPECT_EQ(rules.isAllowed("counted"), irClassNavRestricted);
    EXPECT_EQ(rules.isAllowed("blank"), irClassNavRestricted);
    EXPECT_EQ(rules.isAllowed("none"), irClassNavDisallowed);
    EXPECT_EQ(rules.isAllowed("both"), irClassNavDisallowed);
    EXPECT_EQ(rules.isAllowed("unknown"), irClassNavUnknown);
    EXPECT_TRUE(port().logged("CMTamberNodeResponder::isAllowed skip class nav DISALLOWED for ACID none"));

    EXPECT_EQ(rules.getTuneStartDmca("counted"), 1);
    EXPECT_EQ(rules.getTuneStartDmca("blank"), -4);
    EXPECT_EQ(rules.getTuneStartDmca("none"), -13);
    EXPECT_EQ(rules.getTuneStartDmca("both"), 0);
    EXPECT_EQ(rules.getTuneStartDmca("unknown"), -1);
    EXPECT_TRUE(port().logged("CMTamberNodeResponder::getTuneStartDmca skip class nav RESTRICTED for ACID counted"));
}

TEST_F(DmcaRulesTest, UnknownIdsChangeNothing)
{
    rules.addDmca(rule("ep-1", "RESTRICTED", 3, 1));
    for (const char* id : {"ep-2", ""}) {
        EXPECT_EQ(rules.check(id), 0);
        EXPECT_EQ(rules.checkFwd(id), -1);
        EXPECT_EQ(rules.checkBack(id), -1);
        EXPECT_EQ(rules.decreaseFwd(id), -1);
        EXPECT_EQ(rules.decreaseBack(id), -1);
        EXPECT_TRUE(rules.checkFwdTimeout(id).isEmpty());
        EXPECT_TRUE(rules.checkBackTimeout(id).isEmpty());
        EXPECT_TRUE(rules.getDmca(id).accessControlId.isEmpty());
        EXPECT_EQ(rules.removeDmca(id), -1);
        EXPECT_EQ(rules.check(id), 0);
    }
    EXPECT_EQ(rules.checkFwd("ep-1"), 3);
}

TEST_F(DmcaRulesTest, LookupsKeepEveryEntryAndRemoveTakesOne)
{
    rules.addDmca(rule("a", "RESTRICTED", 1, 1));
    rules.addDmca(rule("b", "RESTRICTED", 2, 1));
    rules.addDmca(rule("c", "RESTRICTED", 3, 1));
    EXPECT_EQ(rules.decreaseFwd("b"), 1);
    EXPECT_EQ(rules.decreaseFwd("a"), 0);
    EXPECT_EQ(rules.checkFwd("c"), 3);
    EXPECT_EQ(rules.checkFwd("b"), 1);
    EXPECT_EQ(rules.checkFwd("a"), 0);

    EXPECT_EQ(rules.removeDmca("b"), 1);
    EXPECT_EQ(rules.check("b"), 0);
    EXPECT_EQ(rules.check("a") + rules.check("c"), 2);
    EXPECT_EQ(rules.addDmca(rule("b", "RESTRICTED", 2, 1)), 0); // only a removed rule can be refilled

    rules.clear();
    for (const char* id : {"a", "b", "c"})
        EXPECT_EQ(rules.check(id), 0) << id;
}

} // namespace
