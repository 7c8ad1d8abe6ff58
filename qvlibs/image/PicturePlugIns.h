// The plug-ins that one image object talks to: picture (and, by level, movie) codecs, and picture properties.
// The lists are filled on first use, in the order of the registries, and belong to the object.
#pragma once

#include "qvlibs/framework/Status.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "qvlibs/plugins/PropertyRegistry.h"

#include <memory>
#include <vector>

namespace qv {

class PicturePlugIns {
public:
    // Which codecs are listed: bit 0 "*.pcp", bit 1 "*.pdp" and "*.vcp", bit 2 "*.vcp". With bits 1 and 2
    // movie codecs are listed twice, on purpose. A change after the first use has no effect.
    int level = 1;

    const std::vector<std::unique_ptr<CPluginInfo>>& codecs();
    const std::vector<std::unique_ptr<CPbPluginInfo>>& photos();

    void listPhotos(const char* pattern);

    // The first codec that says the file is its kind, or null. Stays this object's.
    CPluginInfo* codecFor(const char* path);

    // Calls `work` with each property plug-in that supports the file, until it answers a status that `isEnd`
    // takes; the last status otherwise, failure when no plug-in supports the file.
    template <class IsEnd, class Work>
    LONG walkPhotos(const char* path, IsEnd isEnd, Work work) {
        LONG status = QV_E_FAIL;
        for (const auto& plugIn : photos()) {
            int supported = 0;
            if (plugIn->IsSupported(path, &supported) != 0 || !supported) continue;
            status = work(*plugIn);
            if (isEnd(status)) break;
        }
        return status;
    }

private:
    void listCodecs(const char* pattern);

    bool codecsListed_ = false;
    bool photosListed_ = false;
    std::vector<std::unique_ptr<CPluginInfo>> codecs_;
    std::vector<std::unique_ptr<CPbPluginInfo>> photos_;
};

} // namespace qv
