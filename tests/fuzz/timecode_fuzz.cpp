// Any bytes as a timecode's text, a pattern, and the archive records of timecodes and spans.
#include "qvlibs/timecode/QVTimecode.h"

#include <string>

namespace {

template <class Value>
void load(Value& value, const unsigned char* data, size_t size) {
    CMemFile file(data, size);
    CArchive archive(&file, CArchive::load);
    try {
        value.Serialize(archive);
    } catch (const CArchiveException&) { // the one answer to a bad record
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const int mode : {TCMODE_PAL, TCMODE_NDF, TCMODE_DF}) {
        CQVTimecode timecode(text.c_str(), mode);
        if (!timecode.CheckTime(timecode.GetYear(), timecode.GetMonth(), timecode.GetDay(),
                                timecode.GetHour(), timecode.GetMinute(), timecode.GetSecond(),
                                timecode.GetFrame()))
            __builtin_trap();
        load(timecode, data, size);
        timecode.DateFormat(1, 1, 1, 1);
        timecode.NonDrop2Drop();
        CQVTimecodeSpan span(text.c_str(), mode);
        load(span, data, size);
        timecode += span;
        span += span.TotalFrame(mode);
        (timecode - CQVTimecode(text.c_str(), mode)).Format(nullptr);
        if (size < 64) span.Format(text.c_str());
    }
    return 0;
}
