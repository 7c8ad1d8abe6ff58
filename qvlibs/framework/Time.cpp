#include "qvlibs/framework/Time.h"

#include <cstdio>
#include <string_view>

#include <locale.h>

namespace {

LONG wrap(std::int64_t seconds) { return static_cast<LONG>(static_cast<std::uint64_t>(seconds)); }

// Days from 1970-01-01 to the given civil date (proleptic Gregorian).
std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
    year -= month <= 2;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

} // namespace

std::string CTimeSpan::Format(const char* format) const {
    const LONG days = seconds_ / 86400;
    const LONG hours = seconds_ / 3600 - days * 24;
    const LONG minutes = seconds_ / 60 - seconds_ / 3600 * 60;
    const LONG seconds = seconds_ - seconds_ / 60 * 60;
    std::string text;
    const std::string_view pattern = format ? format : "";
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char code = pattern[i] == '%' && i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        char part[16] = "";
        switch (code) {
        case 'D': std::snprintf(part, sizeof part, "%d", days); break;
        case 'H': std::snprintf(part, sizeof part, "%02d", hours); break;
        case 'M': std::snprintf(part, sizeof part, "%02d", minutes); break;
        case 'S': std::snprintf(part, sizeof part, "%02d", seconds); break;
        case '%': part[0] = '%'; break;
        default: text += pattern[i]; continue;
        }
        text += part;
        ++i;
    }
    return text;
}

CTime::CTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    seconds_ = wrap(std::mktime(&local));
}

CTime CTime::GetCurrentTime() { return CTime(wrap(std::time(nullptr))); }

std::tm CTime::GetLocalTm() const {
    const std::time_t seconds = seconds_;
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

std::string CTime::Format(const char* format) const {
    // strftime cannot tell "empty" from "too small": one more character in the pattern makes every result
    // longer than nothing.
    const std::string pattern = std::string(format ? format : "") + ' ';
    const std::tm local = GetLocalTm();
    const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    std::string text(128, '\0');
    size_t size = 0;
    while ((size = strftime_l(text.data(), text.size(), pattern.c_str(), &local, plain)) == 0) {
        text.resize(text.size() * 2);
        if (text.size() > (1u << 20)) break; // a width such as %999999999d
    }
    freelocale(plain);
    text.resize(size ? size - 1 : 0);
    return text;
}

CTime CTime::operator+(CTimeSpan span) const {
    return CTime(wrap(std::int64_t{seconds_} + span.GetTotalSeconds()));
}
CTime CTime::operator-(CTimeSpan span) const {
    return CTime(wrap(std::int64_t{seconds_} - span.GetTotalSeconds()));
}
CTimeSpan CTime::operator-(CTime other) const {
    return CTimeSpan(wrap(std::int64_t{seconds_} - other.seconds_));
}

COleDateTime::COleDateTime(CTime time) {
    const std::tm local = time.GetLocalTm();
    const std::int64_t days = daysFromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
    const int seconds = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    const double whole = static_cast<double>(days + 25569); // 1970-01-01 is day 25569
    const double fraction = seconds / 86400.0;
    m_dt = whole < 0 ? whole - fraction : whole + fraction;
}
