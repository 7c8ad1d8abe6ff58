#include "qvlibs/timecode/QVTimecodeSpan.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/timecode/LabelRules.h"

#include <cstring>

QV_IMPLEMENT_DYNAMIC(CQVTimecodeSpan, new CQVTimecodeSpan)

namespace {

constexpr int kDaySeconds = 86400;

// On purpose also for PAL (TimecodeSpan.AddingFramesCountsThirtyASecondInEveryMode).
constexpr int kAddedFramesPerSecond = 30;

} // namespace

CQVTimecodeSpan::CQVTimecodeSpan() : m_nMode(qv::defaultTimecodeMode()) { SetTime(0, 0, 0, 0, 0); }

CQVTimecodeSpan::CQVTimecodeSpan(LONG totalFrames, int mode) : m_nMode(qv::orDefault(mode)) {
    *this = totalFrames;
}

CQVTimecodeSpan::CQVTimecodeSpan(const char* text, int mode) : m_nMode(qv::orDefault(mode)) {
    SetAllTime(text);
}

CQVTimecodeSpan::CQVTimecodeSpan(int days, int h, int m, int s, int f, int mode)
    : m_nMode(qv::orDefault(mode)) {
    SetTime(days, h, m, s, f);
}

CQVTimecodeSpan::CQVTimecodeSpan(CTimeSpan span, int frame, int mode)
    : m_span(span), m_nFrame(frame), m_nMode(qv::orDefault(mode)) {
    Remake();
}

CQVTimecodeSpan::CQVTimecodeSpan(const CQVTimecodeSpan& other)
    : CObject(other), m_span(other.m_span), m_nFrame(other.m_nFrame), m_nMode(other.m_nMode) {
    Remake();
}

void CQVTimecodeSpan::Remake() { m_strText = Format(nullptr); }

void CQVTimecodeSpan::SetTime(int days, int h, int m, int s, int f) {
    QV_TRACE("CQVTimecodeSpan");
    const std::int64_t hours = h + std::int64_t{24} * days;
    m_span = CTimeSpan(qv::low32(s + 60 * (m + 60 * hours)));
    m_nFrame = f;
    Remake();
}

void CQVTimecodeSpan::GetTime(int* days, int* h, int* m, int* s, int* f) const {
    QV_TRACE("CQVTimecodeSpan");
    const LONG seconds = m_span.GetTotalSeconds();
    *days = seconds / kDaySeconds;
    *h = seconds / 3600 - 24 * *days;
    *m = seconds / 60 - 60 * (seconds / 3600);
    *s = seconds - 60 * (seconds / 60);
    *f = m_nFrame;
}

ULONG CQVTimecodeSpan::SetAllTime(const char* text) {
    QV_TRACE("CQVTimecodeSpan");
    SetTime(0, 0, 0, 0, 0);
    // On purpose a success, unlike a timecode's (TimecodeSpan.ATextThatIsNoTimeIsASuccessfulZero).
    if (!text || strnlen(text, 8) < 8 || text[2] != ':') return QV_OK;
    // What is missing at the end reads as zero: the copied text and its NUL leave the rest of this in place.
    char fields[] = "00:00:00:00";
    const size_t size = strnlen(text, 11);
    std::memcpy(fields, text, size);
    fields[size] = '\0';
    if (!CheckNumber(fields, 0, 23) || !CheckNumber(fields + 3, 0, 59) || !CheckNumber(fields + 6, 0, 59) ||
        !CheckNumber(fields + 9, 0, 29))
        return QV_FAILED;
    SetTime(0, qv::twoDigits(fields), qv::twoDigits(fields + 3), qv::twoDigits(fields + 6),
            qv::twoDigits(fields + 9));
    return QV_OK;
}

LONG CQVTimecodeSpan::TotalFrame(int mode) const {
    QV_TRACE("CQVTimecodeSpan");
    const std::int64_t seconds = m_span.GetTotalSeconds();
    switch (mode == TCMODE_DEFAULT ? m_nMode : mode) {
    case TCMODE_PAL: return qv::low32(seconds * 25 + m_nFrame);
    case TCMODE_NDF: return qv::low32(seconds * 30 + m_nFrame);
    case TCMODE_DF: {
        // On purpose without the days (TimecodeSpan.DropFrameCountsLeaveOutWholeDays).
        const std::int64_t days = seconds / kDaySeconds;
        const std::int64_t hours = seconds / 3600 - 24 * days;
        const std::int64_t minutes = seconds / 60 - 60 * (seconds / 3600);
        return qv::low32((seconds - kDaySeconds * days) * 30 - qv::droppedLabels(hours, minutes) + m_nFrame);
    }
    default: return 0;
    }
}

const char* CQVTimecodeSpan::Format(const char* fmt) const {
    m_strFormat = m_span.Format(qv::withFrameField(fmt, m_nFrame).c_str());
    return m_strFormat;
}

int CQVTimecodeSpan::CheckNumber(char* p, int lo, int hi) const { return qv::twoDigitsWithin(p, lo, hi); }

void CQVTimecodeSpan::Serialize(CArchive& archive) {
    QV_TRACE("CQVTimecodeSpan");
    if (archive.IsStoring()) {
        archive << m_span << LONG{m_nFrame};
    } else {
        archive >> m_span >> m_nFrame;
        Remake();
    }
}

CQVTimecodeSpan CQVTimecodeSpan::operator=(const CQVTimecodeSpan& other) {
    m_span = other.m_span;
    m_nFrame = other.m_nFrame;
    m_strText = other.m_strText;
    return *this;
}

CQVTimecodeSpan CQVTimecodeSpan::operator=(LONG totalFrames) {
    const LONG rate = qv::framesPerSecond(m_nMode);
    m_span = CTimeSpan(totalFrames / rate);
    m_nFrame = totalFrames % rate;
    Remake();
    return *this;
}

CQVTimecodeSpan& CQVTimecodeSpan::operator+=(int frames) {
    const std::int64_t sum = std::int64_t{m_nFrame} + frames;
    m_span = CTimeSpan(qv::low32(m_span.GetTotalSeconds() + sum / kAddedFramesPerSecond));
    m_nFrame = static_cast<int>(sum % kAddedFramesPerSecond);
    Remake();
    return *this;
}

int CQVTimecodeSpan::operator<(const CQVTimecodeSpan& other) const {
    const LONG own = m_span.GetTotalSeconds(), its = other.m_span.GetTotalSeconds();
    return own < its || (own == its && m_nFrame < other.m_nFrame) ? 1 : 0;
}

int CQVTimecodeSpan::operator>(const CQVTimecodeSpan& other) const { return other < *this; }
