// A calendar date plus a tape timecode in one value.
//
// Units:   whole local seconds; frames count from 0 inside the second.
// Mode:    25 PAL, 31 NTSC, 32 NTSC drop-frame; 33 = the object's own, in a constructor the library's default
//          (see TimecodeMode.h). Arithmetic gives the left side's mode; no comparison looks at it.
// No date: 1971-01-01, the date of every value that has none.
// Results: setters give 0 done or 1 refused, the value untouched unless said. Checks and comparisons give 1
//          or 0. Only Serialize can throw.
// Threads: one at a time per value, const included: Format writes into the object.
#pragma once

#include "qvlibs/timecode/QVTimecodeSpan.h"

class QVLIBS_API CQVTimecode : public CObject {
public:
    // 1971-01-01 00:00:00:00. A mode that is pointed to is stored as it is, 33 too.
    CQVTimecode(int* pMode = nullptr);
    // Each of these sets a value as the setter of the same arguments does; refused, it is the one above.
    CQVTimecode(LONG totalFrames, int mode);
    CQVTimecode(int h, int m, int s, int f, int mode);
    CQVTimecode(const char* text, int mode);
    CQVTimecode(int Y, int M, int D, int h, int m, int s, int f, int mode);
    CQVTimecode(CTime time, int frame, int mode); // stored as given, without any check
    CQVTimecode(const CQVTimecode& other);
    CQVTimecode& operator=(const CQVTimecode& other);

    QV_DECLARE_DYNAMIC(CQVTimecode)

    // Refused unless CheckTime holds. February 31 is taken and carries into March.
    ULONG SetAllTime(int Y, int M, int D, int h, int m, int s, int f);
    // "HH:MM:SS[:FF]", "YY/MM/DD" or "YY/MM/DD HH:MM[:SS[:FF]]"; years 00 to 70 are 20xx. What is missing at
    // the end reads as zero. The value is reset to 1971-01-01 00:00:00:00 first, so that is what a refused
    // text leaves, or its date when only the time was bad.
    ULONG SetAllTime(const char* text);
    ULONG SetTime(int h, int m, int s, int f); // keeps the date
    // Frames since 00:00:00:00 to labels of the given mode, which is not stored. Resets the date. 1 only for
    // an unknown mode: a count past the day gives 0 and leaves the value.
    ULONG SetTime(LONG totalFrames, int mode);
    ULONG SetDate(int Y, int M, int D); // keeps the time of day
    // Milliseconds since midnight; keeps the date. 30 frames a second whatever the mode.
    ULONG SetMilliseconds(ULONG ms);
    void SetCurrentTime(); // date too; frame 0

    int GetYear() const;
    int GetMonth() const; // 1 to 12
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetFrame() const { return m_nFrame; }
    void GetDate(int* Y, int* M, int* D) const;
    void GetTime(int* h, int* m, int* s, int* f) const;
    void GetAllTime(int* Y, int* M, int* D, int* h, int* m, int* s, int* f) const;
    ULONG GetMilliseconds() const; // since midnight; 30 frames a second whatever the mode
    operator CTime() const { return m_time; }
    operator COleDateTime() const { return COleDateTime(m_time); }

    // Y 1970..2037, M 1..12, D 1..31, h 0..23, m and s 0..59, f 0..25 in PAL, else 0..30: the rate itself
    // passes here, though not in IsValidTime.
    int CheckTime(int Y, int M, int D, int h, int m, int s, int f) const;
    int IsValidTime(int h, int m, int s, int f, int mode) const;
    // Two ASCII digits at p within lo..hi: 1 or 0. The text is not changed.
    int CheckNumber(char* p, int lo, int hi) const;

    // Labels to frames since 00:00:00:00; the date does not count. An unknown mode gives 0.
    LONG TotalFrame(int mode) const;
    // Minutes since midnight; in drop-frame 60 times that, less the labels left out. Unknown mode: 0.
    LONG TotalMinits(int mode) const;

    // Seconds and frames are added separately, in calendar seconds: sums carry through days and years, no
    // range is checked, and a change to daylight saving shifts the label.
    CQVTimecode operator+(const CQVTimecodeSpan& span) const;
    CQVTimecode operator-(const CQVTimecodeSpan& span) const;
    CQVTimecode operator+(int frames) const;
    CQVTimecode operator-(int frames) const;
    CQVTimecodeSpan operator-(const CQVTimecode& other) const;
    CQVTimecode& operator+=(const CQVTimecodeSpan& span) { return *this = *this + span; }
    CQVTimecode& operator-=(const CQVTimecodeSpan& span) { return *this = *this - span; }
    CQVTimecode& operator+=(int frames) { return *this = *this + frames; }
    CQVTimecode& operator-=(int frames) { return *this = *this - frames; }
    CQVTimecode& operator++(int) { return *this += 1; } // the changed object, though written behind
    CQVTimecode& operator--(int) { return *this -= 1; }

    int operator<(const CQVTimecode& other) const;
    int operator>(const CQVTimecode& other) const { return other < *this; }
    int operator<=(const CQVTimecode& other) const { return other < *this ? 0 : 1; }
    int operator>=(const CQVTimecode& other) const { return *this < other ? 0 : 1; }
    int operator==(const CQVTimecode& other) const;
    int operator!=(const CQVTimecode& other) const { return *this == other ? 0 : 1; }

    // strftime's conversions in local time, and one %F for the frame (its first two characters); null means
    // "%H:%M:%S:%F". Null when the frame is outside 0..999. Valid until the next Format on this object.
    const char* Format(const char* fmt) const;
    // Date and time as the user's locale orders them, without frames; dashes for the value without date.
    CString DateFormat(int withDate, int withTime, int withSeconds, int withYear) const;
    // A prefix for file names, such as 20051224_1234 in the user's order.
    CString PrefixDateFormat() const;

    // Relabels a value that was counted at 30 frames a second as drop-frame. Resets the date, keeps the mode;
    // PAL values, and those whose label would be refused, stay as they are. Returns itself.
    CQVTimecode& NonDrop2Drop();

    // Four 32-bit words: calendar seconds, frame, time and date in BCD. The mode is not stored. Loading
    // throws CArchiveException (badSchema, "CQVTimecode") for a record of another version.
    void Serialize(CArchive& archive) override;

private:
    void Store(CTime time, int frame);

    CString m_strText;
    LONG m_nTotal = 0;
    CTime m_time;
    int m_nFrame = 0;
    int m_nMode;
    mutable CString m_strFormat;
};
