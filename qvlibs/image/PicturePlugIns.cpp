#include "qvlibs/image/PicturePlugIns.h"

namespace qv {

void PicturePlugIns::listCodecs(const char* pattern) {
    CPluginEnumerator walk;
    while (CPluginInfo* next = walk.Next(pattern)) codecs_.emplace_back(next);
}

const std::vector<std::unique_ptr<CPluginInfo>>& PicturePlugIns::codecs() {
    if (codecsListed_) return codecs_;
    codecsListed_ = true;
    constexpr struct {
        int bit;
        const char* pattern;
    } rows[] = {{1, "*.pcp"}, {2, "*.pdp"}, {2, "*.vcp"}, {4, "*.vcp"}};
    for (const auto& row : rows) {
        if (level & row.bit) listCodecs(row.pattern);
    }
    return codecs_;
}

const std::vector<std::unique_ptr<CPbPluginInfo>>& PicturePlugIns::photos() {
    if (photosListed_) return photos_;
    photosListed_ = true;
    listPhotos("*.pbp");
    return photos_;
}

void PicturePlugIns::listPhotos(const char* pattern) {
    const CStringList paths = QVTLGetPbPlugIns(pattern);
    for (POSITION at = paths.GetHeadPosition(); at;) {
        photos_.push_back(std::make_unique<CPbPluginInfo>(paths.GetNext(at)));
    }
}

CPluginInfo* PicturePlugIns::codecFor(const char* path) {
    for (const auto& codec : codecs()) {
        int supported = 0;
        codec->IsSupported(path, &supported);
        if (supported) return codec.get();
    }
    return nullptr;
}

} // namespace qv
