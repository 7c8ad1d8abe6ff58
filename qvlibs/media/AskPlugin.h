// One question to the plug-in behind a movie handle.
#pragma once

#include "qvlibs/plugins/StreamHandle.h"

namespace qv {

inline PluginStreamHandle* streamOf(void* handle) { return static_cast<PluginStreamHandle*>(handle); }

// The plug-in's answer; `failure` for a null handle.
template <class Result, class... Parameters, class... Arguments>
Result ask(void* handle, std::type_identity_t<Result> failure,
           Result (CPluginInfo::*call)(ULONG, Parameters...), Arguments... arguments) {
    PluginStreamHandle* const stream = streamOf(handle);
    return stream ? (stream->plugin.get()->*call)(stream->stream, arguments...) : failure;
}

} // namespace qv
