// What `qv info` tells about movies.
#include "tools/qv/Info.h"
#include "tools/qv/Movie.h"

#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/plugins/PluginInfo.h"

#include <cctype>
#include <cmath>

namespace qv::cli {
namespace {

constexpr struct {
    DIB_TYPE type;
    const char* name;
} kShapes[] = {
    {DIB_TYPE_4_3, "4:3"}, {DIB_TYPE_16_9, "16:9"}, {DIB_TYPE_LETTERBOX, "16:9 between bars in 4:3"}};

std::string codeText(ULONG code) {
    std::string text;
    for (int shift = 0; shift < 32; shift += 8) {
        const char letter = static_cast<char>(code >> shift & 0xFF);
        if (std::isprint(static_cast<unsigned char>(letter))) text += letter;
    }
    return text;
}

std::string shapeText(DIB_TYPE type) {
    for (const auto& row : kShapes) {
        if (row.type == type) return row.name;
    }
    return "square pixels";
}

void describeSound(void* movie, nlohmann::ordered_json& facts) {
    LONG rate = 0;
    int channels = 0;
    int bits = 0;
    QVTLAVIGetAudioRatio(movie, &rate);
    if (rate == 0 || QVTLAVIGetAudioChannelsAndBits(movie, &channels, &bits) != QV_OK) return;
    facts["sound"] = {
        {"rate", rate}, {"channels", channels}, {"bits", bits}, {"samples", QVTLAVIGetTotalSamples(movie)}};
}

} // namespace

int describeMovie(const std::string& path, nlohmann::ordered_json& facts, std::string& problem) {
    const std::unique_ptr<CPluginInfo> plugin(LoadVideoCodecPlugIn(path.c_str()));
    if (!plugin) return NotSupported;
    int code = Done;
    const auto movie = Movie::open(path, code, problem);
    if (!movie) return code;
    ULONG codec = 0;
    QVTLAVIGetFccHeader(movie->handle(), &codec);
    facts["module"] = moduleName(*plugin);
    facts["codec"] = codeText(codec);
    facts["width"] = movie->size().cx;
    facts["height"] = movie->size().cy;
    facts["shape"] = shapeText(movie->typeOf(0));
    facts["rate"] = movie->rate().text();
    facts["frames"] = movie->frames();
    facts["seconds"] = rounded3(QVTLAVIGetMiliseconds(movie->handle()) / 1000.0);
    facts["kilobits"] = QVTLAVIGetVideoAverageRate(movie->handle());
    describeSound(movie->handle(), facts);
    const Movie::Tape tape = movie->tapeOf(0);
    if (!tape.timecode.empty()) facts["timecode"] = tape.timecode;
    if (!tape.recorded.empty()) facts["recorded"] = tape.recorded;
    return Done;
}

} // namespace qv::cli
