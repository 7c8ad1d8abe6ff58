// Picture-property plug-ins (*.pbp): Exif data, orientation, dates. A registry of their own, with the life
// and the rules of the codec registry (PluginInfo.h).
#pragma once

#include "qvlibs/framework/Lists.h"
#include "qvlibs/framework/Time.h"

struct QVMAKERNOTESINK; // plugin_api.h

// One picture-property module; it does not own it. Results are statuses, negative = failure: the plug-in's
// own, 0x80070057 when `module` is null, 0x80070032 when the module does not have the export.
class QVLIBS_API CPbPluginInfo {
public:
    // The registered module of this path (ASCII case ignored). *status (may be null): 0 found, 0x80070057 not
    // found (`module` is null then), 0x80004005 for a null path.
    explicit CPbPluginInfo(const char* path, LONG* status = nullptr);
    virtual ~CPbPluginInfo() = default;

    LONG IsSupported(const char* path, int* supported); // held apart from its own kind in the whole process
    LONG IsExifFile(const char* path, int* isExif);
    LONG GetOrientation(const char* path, int* orientation, int* second, int option);
    LONG SetOrientation(const char* path, const char* target, WORD orientation, int option);
    LONG SetDateTimeOriginal(const char* path, const SYSTEMTIME& time);
    LONG GetDateTimeOriginal(const char* path, SYSTEMTIME* time); // untouched unless the plug-in succeeds
    LONG GetCamera(const char* path, char* text, LONG size);
    LONG GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink);
    LONG CopyProperties(const char* from, const char* to, WORD orientation);

    HMODULE module = nullptr;
};

// Full paths of the registered modules whose extension equals the last three characters of `pattern`, ASCII
// case ignored (unlike the codec kinds), in load order.
QVLIBS_API CStringList QVTLGetPbPlugIns(const char* pattern);

// Start-up, shut-down and loading of one pattern, counted as in the codec registry.
QVLIBS_API void qvLoadPlugInsPb();
QVLIBS_API void qvUnloadPlugInsPb();
QVLIBS_API void qvLoadPlugInsPb2(const char* folder, const char* pattern);
