#ifndef TAMBER_DATE_TIME_H
#define TAMBER_DATE_TIME_H

#include <cstdint>
#include <ctime>

#include "tamberString.h"

enum tql_dateTimeFormat { TQL_DATE_GERMAN = 0, TQL_DATE_ISO = 1, TQL_DATE_ISO_UTC = 2 };

// A calendar value around the runtime's broken-down time, always in UTC.
class tql_datetime {
public:
    tql_datetime();
    virtual ~tql_datetime();

    int msec() const { return m_msec; }
    int second() const { return m_tm.tm_sec; }
    int minute() const { return m_tm.tm_min; }
    int hour() const { return m_tm.tm_hour; }
    int day() const { return m_tm.tm_mday; }
    int month() const { return m_tm.tm_mon + 1; }
    int year() const { return m_tm.tm_year + 1900; }
    int dayOfWeek() const; // 1 Monday .. 7 Sunday
    int dayOfYear() const { return m_tm.tm_yday + 1; }
    int weekNumber(int* yearNumber = nullptr) const;
    bool isLeapYear() const;
    bool isValid() const { return m_valid != 0; }
    bool isUtc() const { return m_isUtc != 0; }
    int distanceFromUtc() const { return 0; }

    // 0 on a field out of range, the value unchanged. Minutes have no upper
    // bound on purpose: overflow is normalised into the hours.
    int setHMS(int hour, int minute, int second, int msec);
    int setDate(int year, int month, int day);
    void setDate(uint64_t msecsSinceEpoch);

    tql_string toString(int format) const;
    int64_t toMSecsSinceEpoch() const;

    // Adds to the source's milliseconds and gives a copy taken before, so the
    // result carries the old milliseconds; callers rely on that.
    tql_datetime addMSecs(int64_t msecs);
    tql_datetime addSecs(int64_t seconds) const;
    tql_datetime addDays(int days) const;
    tql_datetime addMonths(int months) const;
    tql_datetime addYears(int years) const;

    static uint64_t currentMSecsSinceEpoch();
    static uint64_t currentSecsSinceEpoch();
    static tql_datetime fromMSecsSinceEpoch(uint64_t msecs, bool asUtc);

private:
    void refreshTmStruct();

    int64_t m_rawTime;
    struct tm m_tm;
    int m_valid;
    int m_dateSet;
    int m_msec;
    int m_isUtc;
};

// A point in time with the text forms of the service and the display.
class tamberTime {
public:
    tamberTime(); // now
    explicit tamberTime(uint64_t msecs);
    // In the year of the last parsed timestamp.
    tamberTime(int month, int day, uint64_t msecsOfDay);
    explicit tamberTime(const tql_string& text);
    virtual ~tamberTime();

    uint64_t seconds() const { return m_seconds; }
    uint64_t milliseconds() const { return m_milliseconds; }
    uint64_t msecsSinceEpoch() const { return m_seconds * 1000 + m_milliseconds; }
    // A service time text in ms since the epoch; a text without a time is 0.
    static uint64_t textToMs(const tql_string& text)
    {
        return tamberTime(static_cast<uint64_t>(0)).tamberTimeGetTimeAsMSec(text);
    }

    // Fixed-column parser of YYYY-MM-DDTHH:MM:SS.mmm+hh:mm; an empty text
    // gives this object's own time.
    uint64_t tamberTimeGetTimeAsMSec(const tql_string& text);

    // Each formats msecs when it is not 0, else this object's time.
    tql_string tamberTimeGetTimeAsConsumeString(uint64_t msecs = 0) const;
    tql_string tamberTimeGetTimeAsString(uint64_t msecs = 0) const;
    tql_string tamberTimeGetTimeAsShortString(uint64_t msecs = 0) const;
    tql_string tamberTimeGetTimeAsDate(uint64_t msecs = 0) const;
    tql_string tamberTimeGetTimeAsHPDTString(int hours, uint64_t msecs = 0) const;
    tql_string tamberTimeGetTimeAsRequestString(uint64_t msecs = 0) const;

    static int m_currentYear;

private:
    uint64_t pick(uint64_t msecs) const;
    void set(uint64_t msecs);

    uint64_t m_seconds;
    uint64_t m_milliseconds;
};

#endif
