// What `qv info` tells about sounds.
#include "qvlibs/framework/Status.h"
#include "qvlibs/media/AudioFamily.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "tools/qv/Info.h"

#include <memory>

namespace qv::cli {

int describeSound(const std::string& path, nlohmann::ordered_json& facts, std::string& problem) {
    const std::unique_ptr<CPluginInfo> module(LoadAudioCodecPlugIn(path.c_str()));
    if (!module) return NotSupported;
    void* const sound = QVTLAudioFileOpen(path.c_str());
    if (!sound) {
        problem = "the sound is damaged";
        return Damaged;
    }
    WAVEFORMATEX format{};
    const ULONG status = QVTLAudioGetWaveFormat(sound, &format);
    const LONG samples = QVTLAudioGetTotalSamples(sound);
    char name[261] = {};
    ULONG compression = 0;
    QVTLAudioDisplayName(sound, name);
    QVTLAudioClassification(sound, &compression);
    QVTLAudioFileClose(sound);
    if (status != QV_OK || format.nSamplesPerSec == 0) {
        problem = "the sound is damaged";
        return Damaged;
    }
    facts["module"] = moduleName(*module);
    constexpr const char* kCompressions[] = {"unknown", "none", "lossless", "lossy"};
    facts["compression"] = kCompressions[compression < 4 ? compression : 0];
    if (name[0]) facts["title"] = name;
    facts["seconds"] = rounded3(static_cast<double>(samples) / format.nSamplesPerSec);
    facts["sound"] = {{"rate", format.nSamplesPerSec},
                      {"channels", format.nChannels},
                      {"bits", format.wBitsPerSample},
                      {"samples", samples}};
    return Done;
}

} // namespace qv::cli
