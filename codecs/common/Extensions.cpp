#include "codecs/common/Extensions.h"

#include "qvlibs/plugins/plugin_api.h"

using qv::codec::extensions;

extern "C" QV_PLUGIN_EXPORT uint32_t GetNumOfSupportedExtentions(uint32_t* error) {
    if (error) *error = QV_PLUGIN_OK;
    return static_cast<uint32_t>(extensions().size());
}

extern "C" QV_PLUGIN_EXPORT uint32_t GetSupportedExtention(uint32_t index, char* text) {
    if (!text || index >= extensions().size()) return QV_PLUGIN_FAILED;
    std::strcpy(text, extensions()[index]);
    return QV_PLUGIN_OK;
}
