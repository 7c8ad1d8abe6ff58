// Exif of picture files, through the picture-property plug-ins. The first plug-in that succeeds answers.
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/PicturePlugIns.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/plugins/plugin_api.h"

namespace {

// Two rules of what ends the walk: nothing but success for some, any status that is no failure for others.
bool isDone(LONG status) { return status == 0; }
bool isNoFailure(LONG status) { return status >= 0; }

} // namespace

LONG CQVDIB::IsExif(const char* path, int* isExif) {
    QV_TRACE("CQVDIB");
    int answer = 0;
    const LONG status = plugIns().walkPhotos(path, isDone, [&](CPbPluginInfo& plugIn) {
        int said = 0;
        const LONG result = plugIn.IsExifFile(path, &said);
        if (result == 0) answer = said;
        return result;
    });
    if (isExif) *isExif = answer;
    return status;
}

int CQVDIB::GetOrientationInfo(const char* path, LONG* status, int option) {
    QV_TRACE("CQVDIB");
    int orientation = 0;
    const LONG result = plugIns().walkPhotos(path, isDone, [&](CPbPluginInfo& plugIn) {
        int second = 0;
        return plugIn.GetOrientation(path, &orientation, &second, option);
    });
    if (status) *status = result;
    return result == 0 ? orientation : 0;
}

LONG CQVDIB::GetOrientationInfoEx(const char* path, int* value1, int* value2, int option) {
    QV_TRACE("CQVDIB");
    int first = 0, second = 0;
    const LONG status = plugIns().walkPhotos(path, isDone, [&](CPbPluginInfo& plugIn) {
        return plugIn.GetOrientation(path, &first, &second, option);
    });
    if (value1) *value1 = status == 0 ? first : 0;
    if (value2) *value2 = status == 0 ? second : 0;
    return status == 0 ? 0 : QV_E_FAIL;
}

LONG CQVDIB::SetOrientation(const char* path, const char* target, WORD orientation, int option) {
    QV_TRACE("CQVDIB");
    // The file that is written decides who is asked.
    return plugIns().walkPhotos(target, isDone, [&](CPbPluginInfo& plugIn) {
        return plugIn.SetOrientation(path, target, orientation, option);
    });
}

LONG CQVDIB::SetDateTimeOriginal(const char* path, SYSTEMTIME time) {
    QV_TRACE("CQVDIB");
    return plugIns().walkPhotos(
        path, isNoFailure, [&](CPbPluginInfo& plugIn) { return plugIn.SetDateTimeOriginal(path, time); });
}

LONG CQVDIB::GetDateTimeOriginal(const char* path, SYSTEMTIME* time) {
    QV_TRACE("CQVDIB");
    if (!time) return QV_E_INVALIDARG;
    return plugIns().walkPhotos(
        path, isNoFailure, [&](CPbPluginInfo& plugIn) { return plugIn.GetDateTimeOriginal(path, time); });
}

LONG CQVDIB::GetCamera(const char* path, CString& text) {
    QV_TRACE("CQVDIB");
    text.Empty();
    return plugIns().walkPhotos(path, isDone, [&](CPbPluginInfo& plugIn) {
        char said[128] = {};
        const LONG result = plugIn.GetCamera(path, said, sizeof said);
        if (result == 0) text = said;
        return result;
    });
}

LONG CQVDIB::GetMakerNoteValue(const char* path, CString& text, CWordArray& words, CDWordArray& dwords) {
    QV_TRACE("CQVDIB");
    struct Found {
        CString& text;
        CWordArray& words;
        CDWordArray& dwords;
    } found{text, words, dwords};
    QVMAKERNOTESINK sink{
        sizeof sink, &found,
        [](void* context, const char* line) { static_cast<Found*>(context)->text += CString(line); },
        [](void* context, std::uint16_t value) { static_cast<Found*>(context)->words.Add(value); },
        [](void* context, std::uint32_t value) { static_cast<Found*>(context)->dwords.Add(value); }};
    return plugIns().walkPhotos(path, isNoFailure, [&](CPbPluginInfo& plugIn) {
        text.Empty();
        words.RemoveAll();
        dwords.RemoveAll();
        return plugIn.GetMakerNoteValue(path, &sink);
    });
}

LONG CQVDIB::CopyProperties(const char* from, const char* to, WORD orientation) {
    QV_TRACE("CQVDIB");
    return plugIns().walkPhotos(
        to, isNoFailure, [&](CPbPluginInfo& plugIn) { return plugIn.CopyProperties(from, to, orientation); });
}

LONG CQVDIB::DeletePCINFO(PICTINFO* info) {
    delete info;
    return 0;
}

LONG CQVDIB::DeleteInfo(void* list) {
    auto* entries = static_cast<CList<PICTINFO*, PICTINFO*>*>(list);
    if (!entries) return 0;
    for (POSITION at = entries->GetHeadPosition(); at;) DeletePCINFO(entries->GetNext(at));
    entries->RemoveAll();
    return 0;
}
