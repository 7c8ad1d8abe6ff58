// What the picture-property module's back end does. Statuses are the platform's, negative = failure.
#pragma once

#include "qvlibs/plugins/plugin_api.h"

namespace qv::codec {

struct ExifBackEnd {
    int32_t (*isExif)(const char* path, int* isExif);
    int32_t (*getOrientation)(const char* path, int* orientation, int* degrees);
    int32_t (*setOrientation)(const char* path, const char* target, uint16_t orientation);
    int32_t (*setDateTime)(const char* path, const QVDATETIME* time);
    int32_t (*getDateTime)(const char* path, QVDATETIME* time);
    int32_t (*getMakerNote)(const char* path, QVMAKERNOTESINK* sink);
    int32_t (*getCamera)(const char* path, char* text, int32_t size);
    int32_t (*copyProperties)(const char* from, const char* to, uint16_t orientation);
};

constexpr int32_t kDone = 0;
constexpr int32_t kFailed = static_cast<int32_t>(0x80004005u);
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057u);

constexpr const char* kExifBackEndEntry = "qvExifBackEnd";

} // namespace qv::codec
