#include "qvlibs/platform/Locale.h"

#include <cstdlib>
#include <string_view>

#include <langinfo.h>
#include <locale.h>

namespace qv {

namespace {

constexpr struct {
    std::string_view territory;
    DateOrder order;
} kTerritories[] = {
    {"US", DateOrder::MonthDayYear}, {"PH", DateOrder::MonthDayYear}, {"JP", DateOrder::YearMonthDay},
    {"CN", DateOrder::YearMonthDay}, {"KR", DateOrder::YearMonthDay}, {"TW", DateOrder::YearMonthDay},
    {"HU", DateOrder::YearMonthDay}, {"SE", DateOrder::YearMonthDay}, {"LT", DateOrder::YearMonthDay},
    {"CA", DateOrder::YearMonthDay},
};

const char* localeName() {
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) return value;
    }
    return "C";
}

// By the first conversion that names a day, a month or a year.
DateOrder orderOfFormat(std::string_view format) {
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') continue;
        i = format.find_first_not_of("-_0^#+EO123456789", i + 1);
        if (i == std::string_view::npos) break;
        switch (format[i]) {
        case 'd':
        case 'e': return DateOrder::DayMonthYear;
        case 'm':
        case 'b':
        case 'B':
        case 'h':
        case 'D': return DateOrder::MonthDayYear;
        case 'y':
        case 'Y':
        case 'C':
        case 'F': return DateOrder::YearMonthDay;
        default: break;
        }
    }
    return DateOrder::MonthDayYear;
}

DateOrder orderOfTerritory(std::string_view name) {
    const size_t mark = name.find('_');
    if (mark == std::string_view::npos) return DateOrder::DayMonthYear;
    const auto territory = name.substr(mark + 1, 2);
    for (const auto& row : kTerritories) {
        if (row.territory == territory) return row.order;
    }
    return DateOrder::DayMonthYear;
}

} // namespace

DateOrder userDateOrder() {
    const char* name = localeName();
    const locale_t locale = newlocale(LC_TIME_MASK, name, nullptr);
    if (!locale) return orderOfTerritory(name);
    const DateOrder order = orderOfFormat(nl_langinfo_l(D_FMT, locale));
    freelocale(locale);
    return order;
}

} // namespace qv
