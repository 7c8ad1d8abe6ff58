// Everything that QvLibs offers to its callers. Include single headers where compile time matters. Authors of
// codec modules include plugins/plugin_api.h or plugins/dv_component.h instead.
#pragma once

#include "qvlibs/framework/Archive.h"
#include "qvlibs/framework/File.h"
#include "qvlibs/framework/Geometry.h"
#include "qvlibs/framework/Lists.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Object.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/framework/Strings.h"
#include "qvlibs/framework/Time.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/framework/Types.h"
#include "qvlibs/library/Version.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"
#include "qvlibs/plugins/VideoCodecSetup.h"
#include "qvlibs/util/FileIdentity.h"
#include "qvlibs/util/PathSearch.h"
#include "qvlibs/util/Qvfiletools.h"
