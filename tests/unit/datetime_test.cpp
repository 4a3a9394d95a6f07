// Calendar values and the service's time texts. Everything is UTC: these
// suites run again under other TZ settings, and cases sit on the daylight
// saving changes of common zones, where a local-time conversion would slip.
#include <cstdint>
#include <cstdio>
#include <string>

#include "PortTest.h"
#include "tamberTypes/tamberDateTime.h"

namespace {

std::string S(const tql_string& s) { return s.toStdString(); }

// Milliseconds since the epoch of a UTC civil time, worked out apart from the
// library (days from the proleptic Gregorian civil date).
int64_t utcMs(int y, int m, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t days = era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
    return ((days * 24 + h) * 60 + mi) * 60000 + s * 1000 + ms;
}
uint64_t utc(int y, int m, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    return static_cast<uint64_t>(utcMs(y, m, d, h, mi, s, ms));
}
uint64_t total(const tamberTime& t) { return t.seconds() * 1000 + t.milliseconds(); }

tql_datetime at(int y, int m, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    tql_datetime v;
    EXPECT_EQ(v.setDate(y, m, d), 1);
    EXPECT_EQ(v.setHMS(h, mi, s, ms), 1);
    return v;
}

class DateTimeTest : public PortTest {};

TEST_F(DateTimeTest, InvalidValuesPrintOnlyATimeAndBadFieldsChangeNothing)
{
    tql_datetime v;
    EXPECT_FALSE(v.isValid());
    EXPECT_EQ(v.year() * 10000 + v.month() * 100 + v.day(), 101); // year 0, January 1
    for (int format = 0; format < 3; ++format)
        EXPECT_EQ(S(v.toString(format)), "00:00:00");

    v = at(2024, 6, 15, 10, 20, 30, 400);
    const std::string before = "2024-06-15T10:20:30.400";
    ASSERT_EQ(S(v.toString(1)), before);
    const int badDates[][3] = {{2024, 13, 1}, {2024, 0, 1}, {0, 6, 1}, {2024, 6, 0}, {2024, 6, 32}};
    for (const auto& d : badDates)
        EXPECT_EQ(v.setDate(d[0], d[1], d[2]), 0) << d[0] << "-" << d[1] << "-" << d[2];
    const int badTimes[][4] = {{24, 0, 0, 0}, {-1, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, 60, 0},
                               {0, 0, -1, 0}, {0, 0, 0, 1000}, {0, 0, 0, -1}};
    for (const auto& t : badTimes)
        EXPECT_EQ(v.setHMS(t[0], t[1], t[2], t[3]), 0) << t[0] << ":" << t[1] << ":" << t[2] << "." << t[3];
    EXPECT_EQ(S(v.toString(1)), before);

    v.setDate(uint64_t{999}); // under one second: no date at all
    EXPECT_FALSE(v.isValid());
    EXPECT_EQ(S(v.toString(1)), "00:00:00");
}

TEST_F(DateTimeTest, OverflowIsNormalisedAndPrintedInThreeForms)
{
    tql_datetime v = at(2024, 12, 31);
    EXPECT_EQ(v.setHMS(23, 75, 9, 45), 1); // minutes have no upper bound
    EXPECT_EQ(S(v.toString(0)), "01.01.2025 00:15:09.045");
    EXPECT_EQ(S(v.toString(1)), "2025-01-01T00:15:09.045");
    EXPECT_EQ(S(v.toString(2)), "2025-01-01T00:15:09.045Z");
    EXPECT_EQ(v.toMSecsSinceEpoch(), utcMs(2025, 1, 1, 0, 15, 9, 45));
    EXPECT_EQ(v.setDate(2023, 2, 31), 1);
    EXPECT_EQ(S(v.toString(1)), "2023-03-03T00:15:09.045");
}

TEST_F(DateTimeTest, MillisecondsRoundTripNearDaylightSavingChanges)
{
    // Local times that are skipped or repeated somewhere, and neighbours.
    const struct {
        int y, m, d, h, mi, s, ms;
    } cases[] = {
        {2024, 3, 10, 2, 30, 0, 0},  {2024, 3, 10, 7, 30, 5, 42},   {2024, 11, 3, 1, 30, 0, 999}, // New York
        {2024, 3, 31, 1, 30, 0, 250}, {2024, 3, 31, 2, 30, 0, 0},   {2024, 10, 27, 2, 30, 0, 1},  // Berlin
        {2024, 4, 7, 2, 30, 0, 0},   {2024, 10, 6, 2, 30, 0, 0},                                   // Sydney
        {2024, 2, 29, 23, 59, 59, 999}, {1970, 1, 1, 0, 0, 1, 0},
    };
    for (const auto& c : cases) {
        char text[32];
        snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", c.y, c.m, c.d, c.h, c.mi, c.s, c.ms);
        SCOPED_TRACE(text);
        const int64_t ms = utcMs(c.y, c.m, c.d, c.h, c.mi, c.s, c.ms);
        EXPECT_EQ(at(c.y, c.m, c.d, c.h, c.mi, c.s, c.ms).toMSecsSinceEpoch(), ms);
        for (bool asUtc : {true, false}) {
            const tql_datetime v = tql_datetime::fromMSecsSinceEpoch(static_cast<uint64_t>(ms), asUtc);
            EXPECT_TRUE(v.isValid());
            EXPECT_EQ(v.isUtc(), asUtc);
            EXPECT_EQ(S(v.toString(1)), text);
            EXPECT_EQ(v.toMSecsSinceEpoch(), ms);
        }
    }
}

TEST_F(DateTimeTest, ArithmeticGivesNewValuesInUtc)
{
    const tql_datetime eve = at(2024, 3, 9, 12, 0, 0, 100);
    EXPECT_EQ(eve.addDays(1).toMSecsSinceEpoch(), utcMs(2024, 3, 10, 12, 0, 0, 100));
    EXPECT_EQ(eve.addDays(22).toMSecsSinceEpoch(), utcMs(2024, 3, 31, 12, 0, 0, 100));
    EXPECT_EQ(at(2024, 3, 31, 0, 30).addSecs(3600).toMSecsSinceEpoch(), utcMs(2024, 3, 31, 1, 30));
    EXPECT_EQ(S(at(2024, 1, 31).addMonths(1).toString(1)), "2024-03-02T00:00:00.000");
    EXPECT_EQ(S(at(2024, 2, 29).addYears(1).toString(1)), "2025-03-01T00:00:00.000");

    // addMSecs changes the source's milliseconds, without carry, and hands
    // back the value as it was.
    tql_datetime v = at(2024, 1, 1, 0, 0, 0, 100);
    const tql_datetime copy = v.addMSecs(5000);
    EXPECT_EQ(copy.msec(), 100);
    EXPECT_EQ(v.msec(), 5100);
    EXPECT_EQ(v.second(), 0);
}

class TamberTimeTest : public PortTest {
protected:
    void SetUp() override
    {
        PortTest::SetUp();
        ASSERT_EQ(tql_init(), 1); // logging reaches the port from here on
        savedYear = tamberTime::m_currentYear;
    }
    void TearDown() override
    {
        tamberTime::m_currentYear = savedYear;
        PortTest::TearDown();
    }
    int savedYear = 0;
};

TEST_F(TamberTimeTest, ParserReadsFixedColumnsAndTakesTheOffsetBackOut)
{
    const std::pair<const char*, uint64_t> cases[] = {
        {"2024-03-31T12:00:00.000+01:00", utc(2024, 3, 31, 11)},
        {"2024-03-31T12:00:00.000-01:00", utc(2024, 3, 31, 13)},
        {"2024-03-31T12:00:00.000Z", utc(2024, 3, 31, 12)},
        {"2024-03-31T12:00:00.000", utc(2024, 3, 31, 12)},
        {"2024-03-31T12:00:00.250+05:30", utc(2024, 3, 31, 6, 30, 0, 250)},
        {"2024-03-31T12:00:00.000+0530", utc(2024, 3, 31, 7)}, // no colon: minutes from "0"
        {"2024-03-10T02:30:00.000-05:00", utc(2024, 3, 10, 7, 30)},
        {"2024-11-03T01:30:00.000-04:00", utc(2024, 11, 3, 5, 30)},
        {"2024-03-31T02:30:00.000+01:00", utc(2024, 3, 31, 1, 30)},
        {"2024-10-27T02:30:00.000+02:00", utc(2024, 10, 27, 0, 30)},
        {"2025-01-01T00:15:00.999+01:00", utc(2024, 12, 31, 23, 15, 0, 999)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tamberTime(uint64_t{1}).tamberTimeGetTimeAsMSec(c.first), c.second) << c.first;
    EXPECT_EQ(tamberTime::m_currentYear, 2025);
    EXPECT_FALSE(port().logged("Invalid"));
}

TEST_F(TamberTimeTest, ConstructorsTakeNowMillisecondsOrText)
{
    port().nowMs = 1710055805042ULL;
    EXPECT_EQ(tql_datetime::currentMSecsSinceEpoch(), 1710055805042ULL);
    EXPECT_EQ(tql_datetime::currentSecsSinceEpoch(), 1710055805ULL);
    const tamberTime now, given(uint64_t{1234567890123}), parsed(tql_string("2024-11-03T01:30:00.007-04:00"));
    EXPECT_EQ(total(now), 1710055805042ULL);
    EXPECT_EQ(given.seconds(), 1234567890ULL);
    EXPECT_EQ(given.milliseconds(), 123ULL);
    EXPECT_EQ(total(parsed), utc(2024, 11, 3, 5, 30, 0, 7));
    EXPECT_EQ(tamberTime(given).tamberTimeGetTimeAsMSec(""), 1234567890123ULL); // empty text: own time
}

TEST_F(TamberTimeTest, BadDateOrTimeIsLoggedAndNotTakenFromTheText)
{
    tamberTime::m_currentYear = 2019;
    tamberTime t(uint64_t{1});
    EXPECT_NE(t.tamberTimeGetTimeAsMSec("2024-13-01T12:00:00.000Z"), utc(2025, 1, 1, 12));
    EXPECT_TRUE(port().logged("Invalid date!!!", 1));
    EXPECT_EQ(tamberTime::m_currentYear, 2019);
    port().logs.clear();
    // The date holds, the time doesn't: the result is that day's midnight.
    EXPECT_EQ(t.tamberTimeGetTimeAsMSec("2024-03-31T25:00:00.000Z"), utc(2024, 3, 31));
    EXPECT_TRUE(port().logged("Invalid time!!!", 1));
    EXPECT_FALSE(port().logged("Invalid date!!!"));
    EXPECT_EQ(tamberTime::m_currentYear, 2024);
}

TEST_F(TamberTimeTest, MonthDayFormTakesTheLastParsedYearOrTheYearOfNow)
{
    port().nowMs = utc(2025, 6, 15, 12);
    tamberTime::m_currentYear = 0; // nothing parsed yet
    EXPECT_EQ(total(tamberTime(1, 2, uint64_t{0})), utc(2025, 1, 2));

    tamberTime(uint64_t{1}).tamberTimeGetTimeAsMSec("2023-12-31T23:00:00.000-02:00");
    EXPECT_EQ(total(tamberTime(7, 4, uint64_t{(13 * 3600 + 5 * 60 + 6) * 1000 + 7})), utc(2023, 7, 4, 13, 5, 6, 7));
    EXPECT_FALSE(port().logged("Invalid"));

    port().logs.clear();
    EXPECT_EQ(total(tamberTime(13, 1, uint64_t{0})), port().nowMs); // kept at now
    EXPECT_TRUE(port().logged("Invalid date!!!", 1) && port().logs.back().text.rfind("tamberTime:", 0) == 0);
    EXPECT_EQ(total(tamberTime(2, 1, uint64_t{24 * 3600 * 1000})), port().nowMs);
    EXPECT_TRUE(port().logged("Invalid time!!!", 1) && port().logs.back().text.rfind("tamberTime:", 0) == 0);
}

TEST_F(TamberTimeTest, FormattersPrintUtcFields)
{
    const uint64_t ms = utc(2024, 3, 10, 7, 30, 5, 42);
    const tamberTime t(ms);
    const tamberTime other(uint64_t{5000}); // formats the argument when it is not 0
    const std::pair<tql_string, const char*> cases[] = {
        {t.tamberTimeGetTimeAsConsumeString(), "2024-03-10T07:30:05.0000042Z"},
        {t.tamberTimeGetTimeAsString(), "03-10-07:30:05"},
        {other.tamberTimeGetTimeAsString(utc(2024, 10, 27, 2, 30, 59)), "10-27-02:30:59"},
        {t.tamberTimeGetTimeAsShortString(), "07:30"},
        {other.tamberTimeGetTimeAsShortString(utc(2024, 11, 3, 1, 30)), "01:30"},
        {t.tamberTimeGetTimeAsHPDTString(2), "2024-03-10T05:30:05.042"},
        {other.tamberTimeGetTimeAsHPDTString(8, ms), "2024-03-09T23:30:05.042"},
        {other.tamberTimeGetTimeAsRequestString(ms), "03/10/2024 07:30:05"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(S(c.first), c.second);
    EXPECT_TRUE(port().logged("2024-03-10T05:30:05.042", 4));
    EXPECT_TRUE(port().logged("tamberTimeGetTimeAsString sec = 1710055805 msec =  42", 4));
    EXPECT_TRUE(port().logged("Current time and date: ", 4));
    EXPECT_TRUE(port().logged("Full time and date: 03/10/2024 07:30:05", 4));
}

// The month table is indexed with the 1-based month: every name is one late.
TEST_F(TamberTimeTest, DateTextUsesTheMonthTableOneLate)
{
    const std::pair<uint64_t, const char*> cases[] = {
        {utc(2024, 1, 5, 23, 59), "Feb 05, 2024"},  {utc(2024, 2, 29), "Mar 29, 2024"},
        {utc(2024, 9, 30, 23, 59), "Okt 30, 2024"}, {utc(2024, 10, 1), "Nov 01, 2024"},
        {utc(2024, 11, 30, 23), "Dec 30, 2024"},    {utc(2024, 12, 25, 23, 59), "(null) 25, 2024"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(S(tamberTime(uint64_t{5000}).tamberTimeGetTimeAsDate(c.first)), c.second);
    EXPECT_EQ(S(tamberTime(utc(2024, 3, 10)).tamberTimeGetTimeAsDate()), "Apr 10, 2024");
}

} // namespace
