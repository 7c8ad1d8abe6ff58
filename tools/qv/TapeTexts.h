// What a tape says, in the words that the commands share.
#pragma once

#include "qvlibs/timecode/DvScenes.h"

#include <string>

namespace qv::cli {

std::string labelText(const DvLabel& label);                 // 01:02:03;04
std::string recordedText(const DvScene::Recorded& recorded); // 2005-12-24 12:34:56
std::string spanText(double seconds, char fraction);         // 01:02:03.456
std::string audioText(const DvAudioMode& audio);             // "48 kHz 16 bit 2 ch"
const char* aspectText(DvAspect aspect);                     // "16:9"
const char* systemText(DvSystem system);                     // "PAL"
// "" where the frame does not say.
std::string labelText(const DvFrameInfo& info);
std::string recordedText(const DvFrameInfo& info);

} // namespace qv::cli
