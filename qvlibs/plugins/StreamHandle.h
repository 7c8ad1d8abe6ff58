// What the movie, sound and title readers hand to their callers as void*.
#pragma once

#include "qvlibs/plugins/PluginInfo.h"

#include <memory>

struct PluginStreamHandle {
    std::unique_ptr<CPluginInfo> plugin; // who opened the file
    ULONG stream = 0;                    // the plug-in's own ticket for it
};

namespace qv {

// Opens the file with the plug-in found for it; null when there is none or it cannot open the file. The
// caller owns the handle.
[[nodiscard]] inline PluginStreamHandle* openStream(std::unique_ptr<CPluginInfo> plugin, const char* path,
                                                    ULONG mode) {
    const ULONG stream = plugin ? plugin->OpenR(path, mode) : 0;
    return stream ? new PluginStreamHandle{std::move(plugin), stream} : nullptr;
}

// Closes and frees the handle, which must not be null and has a plug-in; the plug-in's result.
inline ULONG closeStream(PluginStreamHandle* handle) {
    const std::unique_ptr<PluginStreamHandle> owned(handle);
    return owned->plugin->CloseR(owned->stream);
}

} // namespace qv
