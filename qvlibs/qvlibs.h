// Everything that QvLibs offers. Include single headers where compile time matters.
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
#include "qvlibs/plugins/plugin_api.h"
