#include "qvlibs/timecode/QVTimecode.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Locale.h"
#include "qvlibs/timecode/LabelRules.h"

#include <cstring>

QV_IMPLEMENT_DYNAMIC(CQVTimecode, new CQVTimecode)

namespace {

// On purpose for PAL too (Timecode.MillisecondsCountThirtyFramesInEveryMode).
constexpr int kMillisecondRate = 30;

// The oldest archives kept local seconds only (0); 1 says that the BCD words tell the time.
constexpr BYTE kSecondsOnly = 0;
constexpr BYTE kBcdHolds = 1;

CTime noDate() { return {1971, 1, 1, 0, 0, 0}; }

int secondOfDay(const std::tm& local) { return local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec; }

// How a negative frame borrows seconds.
enum class Borrow {
    None,           // it stays negative
    AtLeastOne,     // an exact multiple of the rate leaves the frame equal to the rate
    AsMuchAsNeeded, // floor division
};

struct SecondsAndFrame {
    LONG seconds;
    int frame;
};

SecondsAndFrame normalised(std::int64_t seconds, std::int64_t frame, int rate, Borrow borrow) {
    if (frame >= rate) {
        seconds += frame / rate;
        frame %= rate;
    } else if (frame < 0 && borrow != Borrow::None) {
        seconds += frame / rate;
        frame %= rate;
        if (frame != 0 || borrow == Borrow::AtLeastOne) {
            frame += rate;
            seconds -= 1;
        }
    }
    return {qv::low32(seconds), static_cast<int>(frame)};
}

DWORD bcd(int value) { return static_cast<DWORD>(value / 10 % 16 << 4 | value % 10); }

int fromBcd(DWORD word, int shift) {
    const int pair = static_cast<int>(word >> shift & 0xFF);
    return (pair >> 4) * 10 + (pair & 15);
}

} // namespace

CQVTimecode::CQVTimecode(int* pMode) : m_nMode(pMode ? *pMode : qv::defaultTimecodeMode()) {
    Store(noDate(), 0);
}

CQVTimecode::CQVTimecode(LONG totalFrames, int mode) : m_nMode(qv::orDefault(mode)) {
    Store(noDate(), 0);
    SetTime(totalFrames, mode);
}

CQVTimecode::CQVTimecode(int h, int m, int s, int f, int mode) : CQVTimecode(1971, 1, 1, h, m, s, f, mode) {}

CQVTimecode::CQVTimecode(CTime time, int frame, int mode) : m_nMode(qv::orDefault(mode)) {
    Store(time, frame);
}

CQVTimecode::CQVTimecode(const char* text, int mode) : m_nMode(qv::orDefault(mode)) { SetAllTime(text); }

CQVTimecode::CQVTimecode(int Y, int M, int D, int h, int m, int s, int f, int mode)
    : m_nMode(qv::orDefault(mode)) {
    Store(noDate(), 0);
    SetAllTime(Y, M, D, h, m, s, f);
}

CQVTimecode::CQVTimecode(const CQVTimecode& other)
    : CObject(other), m_strText(other.m_strText), m_nTotal(other.m_nTotal), m_time(other.m_time),
      m_nFrame(other.m_nFrame), m_nMode(other.m_nMode) {}

CQVTimecode& CQVTimecode::operator=(const CQVTimecode& other) {
    m_nMode = other.m_nMode;
    m_time = other.m_time;
    m_nFrame = other.m_nFrame;
    m_nTotal = other.m_nTotal;
    m_strText = other.m_strText;
    return *this;
}

void CQVTimecode::Store(CTime time, int frame) {
    m_time = time;
    m_nFrame = frame;
    m_nTotal = TotalFrame(TCMODE_DEFAULT);
    m_strText = Format(nullptr); // empty where Format refuses the frame
}

ULONG CQVTimecode::SetAllTime(int Y, int M, int D, int h, int m, int s, int f) {
    QV_TRACE("CQVTimecode");
    if (!CheckTime(Y, M, D, h, m, s, f)) return QV_FAILED;
    Store(CTime(Y, M, D, h, m, s), f);
    return QV_OK;
}

ULONG CQVTimecode::SetAllTime(const char* text) {
    QV_TRACE("CQVTimecode");
    Store(noDate(), 0);
    if (!text || strnlen(text, 8) < 8 || (text[2] != ':' && text[2] != '/')) return QV_FAILED;
    // What is missing at the end reads as in this pattern: the copied text and its NUL leave the rest in
    // place.
    char fields[] = "71/01/01 00:00:00:00";
    const size_t size = strnlen(text, 20);
    std::memcpy(fields, text, size);
    fields[size] = '\0';

    char* time = fields;
    if (fields[2] == '/') {
        if (!CheckNumber(fields, 0, 99) || !CheckNumber(fields + 3, 1, 12) || !CheckNumber(fields + 6, 1, 31))
            return QV_FAILED;
        const int twoDigitYear = qv::twoDigits(fields);
        const int year = twoDigitYear + (twoDigitYear < 71 ? 2000 : 1900);
        if (SetDate(year, qv::twoDigits(fields + 3), qv::twoDigits(fields + 6)) != QV_OK) return QV_FAILED;
        time = fields + 9;
    }
    if (time[2] != ':') return QV_OK;
    if (!CheckNumber(time, 0, 23) || !CheckNumber(time + 3, 0, 59) || !CheckNumber(time + 6, 0, 59) ||
        !CheckNumber(time + 9, 0, qv::framesPerSecond(m_nMode) - 1))
        return QV_FAILED;
    return SetTime(qv::twoDigits(time), qv::twoDigits(time + 3), qv::twoDigits(time + 6),
                   qv::twoDigits(time + 9));
}

ULONG CQVTimecode::SetTime(int h, int m, int s, int f) {
    QV_TRACE("CQVTimecode");
    const std::tm local = m_time.GetLocalTm();
    return SetAllTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, h, m, s, f);
}

ULONG CQVTimecode::SetTime(LONG totalFrames, int mode) {
    QV_TRACE("CQVTimecode");
    const LONG n = totalFrames;
    switch (mode == TCMODE_DEFAULT ? m_nMode : mode) {
    case TCMODE_PAL: SetAllTime(1971, 1, 1, n / 90000, n % 90000 / 1500, n % 1500 / 25, n % 25); break;
    case TCMODE_NDF: SetAllTime(1971, 1, 1, n / 108000, n % 108000 / 1800, n % 1800 / 30, n % 30); break;
    case TCMODE_DF: {
        // 1798 labels a minute after the first two of a ten-minute block of 17982.
        const LONG ofHour = n % 107892;
        const LONG ofBlock = ofHour % 17982;
        const LONG minute = ofBlock > 2 ? (ofBlock - 2) / 1798 : 0;
        const LONG ofMinute = ofBlock - 1798 * minute;
        SetAllTime(1971, 1, 1, n / 107892, 10 * (ofHour / 17982) + minute, ofMinute / 30, ofMinute % 30);
        break;
    }
    default: return QV_FAILED;
    }
    // On purpose whatever became of it (Timecode.ACountPastTheDayIsDoneAndLeavesTheValue).
    return QV_OK;
}

ULONG CQVTimecode::SetDate(int Y, int M, int D) {
    QV_TRACE("CQVTimecode");
    const std::tm local = m_time.GetLocalTm();
    return SetAllTime(Y, M, D, local.tm_hour, local.tm_min, local.tm_sec, m_nFrame);
}

ULONG CQVTimecode::SetMilliseconds(ULONG ms) {
    QV_TRACE("CQVTimecode");
    return SetTime(static_cast<int>(ms / 3600000), static_cast<int>(ms % 3600000 / 60000),
                   static_cast<int>(ms % 60000 / 1000),
                   static_cast<int>(ms % 1000 * kMillisecondRate / 1000));
}

void CQVTimecode::SetCurrentTime() {
    QV_TRACE("CQVTimecode");
    Store(CTime::GetCurrentTime(), 0);
}

int CQVTimecode::GetYear() const { return m_time.GetYear(); }
int CQVTimecode::GetMonth() const { return m_time.GetMonth(); }
int CQVTimecode::GetDay() const { return m_time.GetDay(); }
int CQVTimecode::GetHour() const { return m_time.GetHour(); }
int CQVTimecode::GetMinute() const { return m_time.GetMinute(); }
int CQVTimecode::GetSecond() const { return m_time.GetSecond(); }

void CQVTimecode::GetDate(int* Y, int* M, int* D) const {
    const std::tm local = m_time.GetLocalTm();
    *Y = local.tm_year + 1900;
    *M = local.tm_mon + 1;
    *D = local.tm_mday;
}

void CQVTimecode::GetTime(int* h, int* m, int* s, int* f) const {
    const std::tm local = m_time.GetLocalTm();
    *h = local.tm_hour;
    *m = local.tm_min;
    *s = local.tm_sec;
    *f = m_nFrame;
}

void CQVTimecode::GetAllTime(int* Y, int* M, int* D, int* h, int* m, int* s, int* f) const {
    GetDate(Y, M, D);
    GetTime(h, m, s, f);
}

ULONG CQVTimecode::GetMilliseconds() const {
    const std::int64_t frames = std::int64_t{1000} * m_nFrame / kMillisecondRate;
    return static_cast<ULONG>(1000 * secondOfDay(m_time.GetLocalTm()) + frames);
}

int CQVTimecode::CheckTime(int Y, int M, int D, int h, int m, int s, int f) const {
    // The inclusive frame bound is on purpose (Timecode.TheRateItselfPassesAsAFrame), and so is the day that
    // is not held against its month (Timecode.DaysPastTheMonthCarryOver).
    return Y >= 1970 && Y <= 2037 && M >= 1 && M <= 12 && D >= 1 && D <= 31 && h >= 0 && h <= 23 && m >= 0 &&
                   m <= 59 && s >= 0 && s <= 59 && f >= 0 && f <= qv::framesPerSecond(m_nMode)
               ? 1
               : 0;
}

int CQVTimecode::IsValidTime(int h, int m, int s, int f, int mode) const {
    const int rate = qv::framesPerSecond(mode == TCMODE_DEFAULT ? m_nMode : mode);
    return h >= 0 && h < 24 && m >= 0 && m < 60 && s >= 0 && s < 60 && f >= 0 && f < rate ? 1 : 0;
}

int CQVTimecode::CheckNumber(char* p, int lo, int hi) const { return qv::twoDigitsWithin(p, lo, hi); }

LONG CQVTimecode::TotalFrame(int mode) const {
    const std::tm local = m_time.GetLocalTm();
    const std::int64_t seconds = secondOfDay(local);
    switch (mode == TCMODE_DEFAULT ? m_nMode : mode) {
    case TCMODE_PAL: return qv::low32(seconds * 25 + m_nFrame);
    // Only this mode asks for the invalid time (Timecode.TheInvalidTimeCountsAsMidnightInMode31Only).
    case TCMODE_NDF: return qv::low32((m_time.GetTime() == CTime::kInvalid ? 0 : seconds * 30) + m_nFrame);
    case TCMODE_DF:
        return qv::low32(seconds * 30 - qv::droppedLabels(local.tm_hour, local.tm_min) + m_nFrame);
    default: return 0;
    }
}

LONG CQVTimecode::TotalMinits(int mode) const {
    const std::tm local = m_time.GetLocalTm();
    const LONG minutes = 60 * local.tm_hour + local.tm_min;
    switch (mode == TCMODE_DEFAULT ? m_nMode : mode) {
    case TCMODE_PAL:
    case TCMODE_NDF: return minutes;
    // A mixed quantity, on purpose (Timecode.MinutesOfDropFrameAreAMixedQuantity).
    case TCMODE_DF: return qv::low32(60 * minutes - qv::droppedLabels(local.tm_hour, local.tm_min));
    default: return 0;
    }
}

CQVTimecode CQVTimecode::operator+(const CQVTimecodeSpan& span) const {
    const auto sum = normalised(std::int64_t{m_time.GetTime()} + span.GetSpan().GetTotalSeconds(),
                                std::int64_t{m_nFrame} + span.GetFrame(), qv::framesPerSecond(m_nMode),
                                Borrow::AtLeastOne);
    return {CTime(sum.seconds), sum.frame, m_nMode};
}

CQVTimecode CQVTimecode::operator-(const CQVTimecodeSpan& span) const {
    const auto sum = normalised(std::int64_t{m_time.GetTime()} - span.GetSpan().GetTotalSeconds(),
                                std::int64_t{m_nFrame} - span.GetFrame(), qv::framesPerSecond(m_nMode),
                                Borrow::AtLeastOne);
    return {CTime(sum.seconds), sum.frame, m_nMode};
}

// The next two differ on purpose: adding a negative whole second leaves the frame equal to the rate, taking
// off a whole second does not (Timecode.TheTwoNormalisationRulesDiffer).
CQVTimecode CQVTimecode::operator+(int frames) const {
    const auto sum = normalised(m_time.GetTime(), std::int64_t{m_nFrame} + frames,
                                qv::framesPerSecond(m_nMode), Borrow::AtLeastOne);
    return {CTime(sum.seconds), sum.frame, m_nMode};
}

CQVTimecode CQVTimecode::operator-(int frames) const {
    const auto sum = normalised(m_time.GetTime(), std::int64_t{m_nFrame} - frames,
                                qv::framesPerSecond(m_nMode), Borrow::AsMuchAsNeeded);
    return {CTime(sum.seconds), sum.frame, m_nMode};
}

CQVTimecodeSpan CQVTimecode::operator-(const CQVTimecode& other) const {
    const auto difference =
        normalised(std::int64_t{m_time.GetTime()} - other.m_time.GetTime(),
                   std::int64_t{m_nFrame} - other.m_nFrame, qv::framesPerSecond(m_nMode), Borrow::None);
    return {CTimeSpan(difference.seconds), difference.frame, m_nMode};
}

int CQVTimecode::operator<(const CQVTimecode& other) const {
    return m_time < other.m_time || (m_time == other.m_time && m_nFrame < other.m_nFrame) ? 1 : 0;
}

int CQVTimecode::operator==(const CQVTimecode& other) const {
    return m_time == other.m_time && m_nFrame == other.m_nFrame ? 1 : 0;
}

const char* CQVTimecode::Format(const char* fmt) const {
    if (m_nFrame < 0 || m_nFrame > 999) return nullptr;
    m_strFormat = m_time.Format(qv::withFrameField(fmt, m_nFrame).c_str());
    return m_strFormat;
}

CString CQVTimecode::DateFormat(int withDate, int withTime, int withSeconds, int withYear) const {
    QV_TRACE("CQVTimecode");
    std::string pattern, dashes;
    const auto append = [&](const char* conversions, const char* placeholder) {
        pattern += conversions;
        dashes += placeholder;
    };
    if (withDate) {
        const qv::DateOrder order = qv::userDateOrder();
        if (order == qv::DateOrder::YearMonthDay && withYear) append("%Y/", "----/");
        append(order == qv::DateOrder::DayMonthYear ? "%d/%m" : "%m/%d", "--/--");
        if (order != qv::DateOrder::YearMonthDay && withYear) append("/%Y", "/----");
    }
    if (withTime) {
        if (withDate) append(" ", " ");
        append("%H:%M", "--:--");
        if (withSeconds) append(":%S", ":--");
    }
    if (m_time == noDate() && m_nFrame == 0) return dashes;
    return m_time.Format(pattern.c_str());
}

CString CQVTimecode::PrefixDateFormat() const {
    QV_TRACE("CQVTimecode");
    switch (qv::userDateOrder()) {
    case qv::DateOrder::MonthDayYear: return m_time.Format("%m%d%Y_%H%M");
    case qv::DateOrder::DayMonthYear: return m_time.Format("%d%m%Y_%H%M");
    default: return m_time.Format("%Y%m%d_%H%M");
    }
}

CQVTimecode& CQVTimecode::NonDrop2Drop() {
    QV_TRACE("CQVTimecode");
    if (m_nMode == TCMODE_PAL) return *this;
    const std::tm local = m_time.GetLocalTm();
    const LONG dropped = qv::low32(qv::droppedLabels(local.tm_hour, local.tm_min));
    const LONG labels = TotalFrame(TCMODE_DEFAULT) + dropped + 2 * (dropped / 1800);
    const int hour = labels / 108000, minute = labels % 108000 / 1800, second = labels % 1800 / 30;
    int frame = labels % 30;
    if (minute % 10 != 0 && second == 0 && (frame == 0 || frame == 1)) frame += 2;
    SetAllTime(1971, 1, 1, hour, minute, second, frame);
    return *this;
}

void CQVTimecode::Serialize(CArchive& archive) {
    QV_TRACE("CQVTimecode");
    if (archive.IsStoring()) {
        const std::tm local = m_time.GetLocalTm();
        const int year = local.tm_year + 1900;
        const DWORD time =
            bcd(local.tm_hour) << 24 | bcd(local.tm_min) << 16 | bcd(local.tm_sec) << 8 | kBcdHolds;
        const DWORD date =
            bcd(year / 100) << 24 | bcd(year % 100) << 16 | bcd(local.tm_mon + 1) << 8 | bcd(local.tm_mday);
        archive << m_time << LONG{m_nFrame} << time << date;
        return;
    }
    DWORD time = 0, date = 0;
    archive >> m_time >> m_nFrame >> time >> date;
    const BYTE marker = static_cast<BYTE>(time);
    if (marker == kBcdHolds) {
        m_time = CTime(fromBcd(date, 24) * 100 + fromBcd(date, 16), fromBcd(date, 8), fromBcd(date, 0),
                       fromBcd(time, 24), fromBcd(time, 16), fromBcd(time, 8));
    } else if (marker != kSecondsOnly) {
        throw CArchiveException(CArchiveException::badSchema, "CQVTimecode");
    }
    Store(m_time, m_nFrame);
}
