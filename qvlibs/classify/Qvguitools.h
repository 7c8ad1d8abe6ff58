// All of classification: extension tables, dialog texts, support checks, description records, information texts.
#pragma once

#include "qvlibs/classify/FilterStrings.h"
#include "qvlibs/classify/GWData.h"
#include "qvlibs/classify/InformationText.h"
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/classify/Seq.h"
#include "qvlibs/classify/SupportChecks.h"
