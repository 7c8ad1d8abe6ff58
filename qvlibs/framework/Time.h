// Times and dates of the interface. A CTime is a signed 32-bit count of seconds since 1970-01-01 00:00:00
// UTC, as the archive records and the settings hold it; arithmetic wraps at 32 bits. All conversions are in
// local time.
#pragma once

#include "qvlibs/framework/Types.h"

#include <ctime>
#include <string>

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek; // 0 = Sunday
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

// A difference of times in whole seconds, signed.
class QVLIBS_API CTimeSpan {
public:
    CTimeSpan() = default;
    explicit CTimeSpan(LONG seconds) : seconds_(seconds) {}
    LONG GetTotalSeconds() const { return seconds_; }

    // Expands %D (whole days), %H, %M, %S (within the day, hour, minute; two digits) and %%. Any other
    // conversion is copied as it stands. A negative span shows each part with its sign.
    std::string Format(const char* format) const;

private:
    LONG seconds_ = 0;
};

class QVLIBS_API CTime {
public:
    static constexpr LONG kInvalid = -1; // all bits set

    CTime() = default;
    explicit CTime(LONG seconds) : seconds_(seconds) {}
    // Local time; days beyond the month carry over, daylight saving is left to the conversion.
    CTime(int year, int month, int day, int hour, int minute, int second);
    static CTime GetCurrentTime();

    LONG GetTime() const { return seconds_; }
    std::tm GetLocalTm() const;
    int GetYear() const { return GetLocalTm().tm_year + 1900; }
    int GetMonth() const { return GetLocalTm().tm_mon + 1; }
    int GetDay() const { return GetLocalTm().tm_mday; }
    int GetHour() const { return GetLocalTm().tm_hour; }
    int GetMinute() const { return GetLocalTm().tm_min; }
    int GetSecond() const { return GetLocalTm().tm_sec; }

    // strftime in the C locale, local time; text of any length.
    std::string Format(const char* format) const;

    CTime operator+(CTimeSpan span) const;
    CTime operator-(CTimeSpan span) const;
    CTimeSpan operator-(CTime other) const;
    bool operator==(const CTime&) const = default;
    auto operator<=>(const CTime&) const = default;

private:
    LONG seconds_ = 0;
};

// Days since 1899-12-30 00:00 local time, as a real number.
class QVLIBS_API COleDateTime {
public:
    COleDateTime() = default;
    explicit COleDateTime(double days) : m_dt(days) {}
    explicit COleDateTime(CTime time);
    operator double() const { return m_dt; }

    double m_dt = 0;
};
