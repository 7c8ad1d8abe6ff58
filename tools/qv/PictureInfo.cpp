// What `qv info` tells about pictures.
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "tools/qv/Info.h"

#include <memory>

namespace qv::cli {
namespace {

void describeExif(const std::string& path, CQVDIB& picture, nlohmann::ordered_json& facts) {
    int isExif = 0;
    if (picture.IsExif(path.c_str(), &isExif) < 0 || !isExif) return;
    if (const int orientation = picture.GetOrientationInfo(path.c_str(), nullptr, 0))
        facts["orientation"] = orientation;
    SYSTEMTIME time{};
    if (picture.GetDateTimeOriginal(path.c_str(), &time) >= 0 && time.wYear != 0) {
        CString text;
        text.Format("%04d-%02d-%02d %02d:%02d:%02d", time.wYear, time.wMonth, time.wDay, time.wHour,
                    time.wMinute, time.wSecond);
        facts["recorded"] = text.str();
    }
    CString camera;
    if (picture.GetCamera(path.c_str(), camera) == 0 && !camera.IsEmpty()) facts["camera"] = camera.str();
}

} // namespace

int describePicture(const std::string& path, nlohmann::ordered_json& facts, std::string& problem) {
    if (!CQVDIB::IsSupported(path.c_str())) return NotSupported;
    CQVDIB picture;
    BITMAPINFOHEADER header{};
    CString description;
    constexpr WORD kDeepest = 64;
    const bool told = picture.GetInfo(path.c_str(), &header, description) == QV_OK;
    if (!told || header.biWidth <= 0 || header.biHeight == 0 || header.biBitCount - 1u >= kDeepest) {
        problem = "the picture's header is damaged";
        return Damaged;
    }
    // A BMP is read without a module, even where one would read it too.
    const std::unique_ptr<CPluginInfo> module(LoadPlugIns("*.pcp", path.c_str()));
    if (module) facts["module"] = moduleName(*module);
    facts["description"] = description.str();
    facts["width"] = header.biWidth;
    facts["height"] = header.biHeight < 0 ? -header.biHeight : header.biHeight;
    facts["depth"] = header.biBitCount;
    describeExif(path, picture, facts);
    return Done;
}

} // namespace qv::cli
