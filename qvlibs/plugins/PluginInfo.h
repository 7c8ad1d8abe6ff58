// Codec plug-ins: finding the module for a file and calling its exports (plugin_api.h says what they do).
//
// Modules lie in the library's own folder and are loaded once, when the library is. Calls marked "locked" are
// held apart from each other in the whole process; all others may run at any time, as far as the plug-in
// allows. The registry itself may only be started, stopped or reloaded while nobody else uses it.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Object.h"
#include "qvlibs/framework/Strings.h"
#include "qvlibs/util/PathSearch.h"

struct QVFRAMEREQUEST; // the records of plugin_api.h
struct QVPICTUREINFO;

// One plug-in module. It does not own the module: deleting it unloads nothing, and after the registry was
// reloaded it must not be used any more.
//
// Every member looks its export up at the moment of the call. Unless said otherwise it returns the plug-in's
// own result, QV_NO_MODULE (14) when `module` is null and QV_NO_EXPORT (9) when the module does not have the
// export. Members that return a stream, a writer or a pointer give 0 in both cases.
class QVLIBS_API CPluginInfo : public CObject {
public:
    CPluginInfo(const CString& modulePath, HMODULE loadedModule) : path(modulePath), module(loadedModule) {}

    // Frees this path's module in the registry and loads it again. `module` stays as it was, on purpose; it
    // normally has the same value afterwards.
    void ReloadPlugin();

    // Every kind.
    // The number of extensions, 0 without module or export; *error (may be null) is the plug-in's error word,
    // 14 or 9.
    ULONG GetNumOfSupportedExtentions(ULONG* error);
    ULONG GetSupportedExtention(ULONG index, char* text); // text: QV_EXTENSION_SIZE bytes
    // Locked. A type of QV_TYPE_RELOAD makes the library reload the module. Outputs may be null; without
    // module or export they stay untouched.
    ULONG Investigate(const char* filePath, int* attributes, ULONG* type);
    ULONG IsSupported(const char* filePath, int* supported); // locked; set *supported to 0 before

    // Pictures.
    // Locked. A packed DIB that the caller frees, or null; *error (may be null) is 0, 14 or 9.
    HGLOBAL Decode(const char* filePath, ULONG* error = nullptr);
    // Locked. As Decode, perhaps reduced to a size that is still at least this; Decode where the module lacks the
    // export.
    HGLOBAL DecodeAtLeast(const char* filePath, LONG width, LONG height);
    ULONG GetStillImageInfo(const char* filePath, QVPICTUREINFO* info); // locked
    ULONG Encode(HGLOBAL picture, const char* filePath, LONG option1, LONG option2);

    // Movies and sounds, reading.
    ULONG OpenR(const char* filePath, ULONG mode); // a stream, 0 on failure
    ULONG CloseR(ULONG stream);
    ULONG GetTotalFrames(ULONG stream);
    ULONG GetMiliseconds(ULONG stream);
    ULONG GetTotalSamples(ULONG stream, int vfw);
    ULONG GetTotalSamples(ULONG stream);                                     // sounds
    const BITMAPINFOHEADER* GetVideo(ULONG stream, LONG frame, ULONG flags); // null on failure
    ULONG GetVideoEx(ULONG stream, LONG frame, void* bits, ULONG flags);
    // 0 without module or export as well, on purpose: the request then comes back as it was sent.
    ULONG GetVideoParam(ULONG stream, QVFRAMEREQUEST* request, LONG frame);
    const void* GetDIBfromLastParam(ULONG stream, QVFRAMEREQUEST* request, LONG frame, void* bits);
    ULONG GetDif(ULONG stream, LONG frame, void* dif, LONG reserved, void* audio, LONG* audioLength);
    ULONG GetAudio(ULONG stream, LONG first, LONG count, void* buffer, LONG* length);
    ULONG GetFccHeader(ULONG stream, ULONG* code);
    ULONG GetVideoRate(ULONG stream, ULONG* rate, ULONG* scale);
    ULONG GetAudioFormat(ULONG stream, WAVEFORMATEX* format);
    ULONG GetVideoFormat(ULONG stream, BITMAPINFOHEADER* format);
    ULONG GetVideoCompressionRate(ULONG stream);
    ULONG GetAudioCompressionRate(ULONG stream);
    ULONG GetVideoAverageRate(ULONG stream);

    // Movies, writing.
    ULONG OpenW(const char* filePath, LONG mode); // a writer, 0 on failure
    ULONG Write(ULONG writer, const BITMAPINFOHEADER* header, const void* bits, LONG frame);
    // Falls back to Write, without the type, when the module lacks the export.
    ULONG Write2(ULONG writer, const BITMAPINFOHEADER* header, ULONG dibType, const void* bits, LONG frame);
    ULONG WriteDif(ULONG writer, const void* dif, const void* audio, LONG frame);
    // Falls back to WriteDif, without the type, when the module lacks the export.
    ULONG WriteDif2(ULONG writer, const void* dif, ULONG dibType, const void* audio, LONG frame);
    ULONG CloseW(ULONG writer);
    ULONG SetParameters(ULONG writer, LONG a, LONG b, LONG c);
    ULONG ResetCodec(ULONG writer);

    // Sounds.
    ULONG SetTotalSample(ULONG stream, __int64 samples, int pal);
    ULONG GetFileInfo(const char* filePath, ULONG code, void* data);
    ULONG GetFileData(ULONG stream, ULONG code, void* data, ULONG reserved);

    // Titles.
    ULONG GetDib(ULONG stream, LONG frame, void* bits);
    ULONG SetDibSize(ULONG stream, LONG width, LONG height);

    CString path;   // the module's full path
    HMODULE module; // as the registry held it when the object was made
};

// Walks the codec registry in load order, once.
class QVLIBS_API CPluginEnumerator {
public:
    virtual ~CPluginEnumerator() = default;
    // The next module whose extension occurs in `pattern` (such as "*.vcp"; no extension occurs in all), or null
    // at the end. The caller owns it. On purpose the letter case counts: "A.VCP" is loaded, but never found as
    // "*.vcp".
    CPluginInfo* Next(const char* pattern);

private:
    size_t next_ = 0;
};

// The first plug-in of the kind, in load order, that declares the file supported, or null. The caller owns
// it.
QVLIBS_API CPluginInfo* LoadPlugIns(const char* pattern, const char* path);
QVLIBS_API CPluginInfo* LoadVideoCodecPlugIn(const char* path); // "*.vcp"
QVLIBS_API CPluginInfo* LoadAudioCodecPlugIn(const char* path); // "*.acp"
QVLIBS_API CPluginInfo* LoadTitleCodecPlugIn(const char* path); // "*.tcp"

// 1 when the module itself has an export of this name, else 0. For lists of what a module can do.
QVLIBS_API int QVTLHasPlugInExport(HMODULE module, const char* name);

// The life of the codec registry. Start-ups are counted, and the library makes the first one when it is
// loaded; modules are loaded when the count leaves 0 upwards and freed when it comes back to 0 from 1. A
// count driven below zero by unmatched shut-downs is kept: later start-ups count it up again without loading.
QVLIBS_API void qvLoadPlugIns();
QVLIBS_API void qvUnloadPlugIns();
// Loads the modules of one pattern in one folder, given by its full path, into the codec registry, whatever the
// count is.
QVLIBS_API void qvLoadPlugIns2(const char* folder, const char* pattern);
// One shut-down and one start-up: with no other start-up outstanding, modules that were added to or removed
// from the folder become visible. Always 0.
QVLIBS_API int QVTLReloadPlugIn();
