// What the user's locale says, without changing the process's own.
#pragma once

namespace qv {

enum class DateOrder { MonthDayYear, DayMonthYear, YearMonthDay };

// The order of the user's dates, from the first of LC_ALL, LC_TIME and LANG that is set and not empty. Where
// that locale is not installed its territory decides; with none set the order is month first. Reads the
// environment each time.
DateOrder userDateOrder();

} // namespace qv
