// A difference of two timecodes: whole seconds, which may run past a day, and frames beside them.
//
// Units:   frames of the span's mode (see TimecodeMode.h); every mode but 25 counts 30 a second.
// Frames:  not kept inside one second by every operation, and may be negative.
// Results: SetAllTime gives 0 done or 1 refused. Only Serialize can throw. Sums past 32 bits wrap.
// Threads: one at a time per value, const included: Format writes into the object.
#pragma once

#include "qvlibs/framework/Archive.h"
#include "qvlibs/timecode/TimecodeMode.h"

class QVLIBS_API CQVTimecodeSpan : public CObject {
public:
    // A mode of 33 means the library's default in all constructors.
    CQVTimecodeSpan();
    CQVTimecodeSpan(LONG totalFrames, int mode); // as assigning the count
    CQVTimecodeSpan(const char* text, int mode); // as SetAllTime; zero when refused
    CQVTimecodeSpan(int days, int h, int m, int s, int f, int mode);
    CQVTimecodeSpan(CTimeSpan span, int frame, int mode); // stored as given
    CQVTimecodeSpan(const CQVTimecodeSpan& other);        // the mode too

    QV_DECLARE_DYNAMIC(CQVTimecodeSpan)

    // No range is checked: 25 hours and 61 minutes are a day, two hours and a minute.
    void SetTime(int days, int h, int m, int s, int f);
    // Each part carries the sign of the whole.
    void GetTime(int* days, int* h, int* m, int* s, int* f) const;

    // "HH:MM:SS" or "HH:MM:SS:FF" up to 23:59:59:29, frames up to 29 in every mode. A text below 8 characters
    // or without ':' in third place is no failure: 0, and the span is zero. 1: a field out of range, zero
    // too.
    ULONG SetAllTime(const char* text);

    // Frames in the given mode (33: the span's own). Modes 25 and 31 count whole days; drop-frame counts the
    // time of day only. Any other mode gives 0.
    LONG TotalFrame(int mode) const;

    // Text by %D (whole days), %H, %M, %S, %% and one %F (the frame, two characters); null means
    // "%H:%M:%S:%F". Never null; valid until the next Format on this object.
    const char* Format(const char* fmt) const;

    // Two ASCII digits at p within lo..hi: 1 or 0. The text is not changed.
    int CheckNumber(char* p, int lo, int hi) const;

    // Two 32-bit words: seconds, frame. The mode is not stored: a loaded span keeps its own.
    void Serialize(CArchive& archive) override;

    // The target keeps its mode; the result is a copy.
    CQVTimecodeSpan operator=(const CQVTimecodeSpan& other);
    // Seconds and frames by 25 or 30 a second, truncated toward zero; no drop-frame counting. A copy.
    CQVTimecodeSpan operator=(LONG totalFrames);
    // Always 30 frames a second; a negative frame stays negative.
    CQVTimecodeSpan& operator+=(int frames);

    // Seconds first, then frames, both as they are stored.
    int operator<(const CQVTimecodeSpan& other) const;
    int operator>(const CQVTimecodeSpan& other) const;

    // The two stored parts.
    CTimeSpan GetSpan() const { return m_span; }
    int GetFrame() const { return m_nFrame; }

private:
    void Remake();

    CTimeSpan m_span;
    int m_nFrame = 0;
    int m_nMode;
    mutable CString m_strFormat;
    CString m_strText;
};
