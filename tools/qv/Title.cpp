#include "tools/qv/Title.h"

#include "qvlibs/framework/Status.h"
#include "tools/qv/Info.h"

#include <algorithm>
#include <new>

namespace qv::cli {

Title::Title(std::unique_ptr<CPluginInfo> plugin, ULONG stream)
    : plugin_(std::move(plugin)), stream_(stream) {
    BITMAPINFOHEADER format{};
    if (plugin_->GetVideoFormat(stream_, &format) == QV_OK) size_ = {format.biWidth, format.biHeight};
    const bool hasRate = plugin_->GetVideoRate(stream_, &rate_.rate, &rate_.scale) == QV_OK;
    if (!hasRate || rate_.scale == 0) rate_ = {};
    frames_ = std::max(static_cast<LONG>(plugin_->GetTotalFrames(stream_)), LONG{0});
}

Title::~Title() { plugin_->CloseR(stream_); }

std::unique_ptr<Title> Title::open(const std::string& path) {
    std::unique_ptr<CPluginInfo> plugin(LoadTitleCodecPlugIn(path.c_str()));
    const ULONG stream = plugin ? plugin->OpenR(path.c_str(), 0) : 0;
    std::unique_ptr<Title> title(stream ? new Title(std::move(plugin), stream) : nullptr);
    return title && title->size_.cx > 0 && title->size_.cy > 0 ? std::move(title) : nullptr;
}

std::string Title::module() const { return moduleName(*plugin_); }

double Title::seconds() const {
    return rate_.rate ? static_cast<double>(frames_) * rate_.scale / rate_.rate : 0;
}

bool Title::picture(LONG frame, SIZE size, CQVDIB& out) const {
    const auto line = static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, 24));
    auto* const pixels = new (std::nothrow) unsigned char[line * static_cast<size_t>(size.cy)]();
    return pixels && out.Init(CSize(size), 24, pixels) == QV_OK &&
           plugin_->SetDibSize(stream_, size.cx, size.cy) == QV_OK &&
           plugin_->GetDib(stream_, frame, out.GetBitsAddress()) == QV_OK;
}

int describeTitle(const std::string& path, nlohmann::ordered_json& facts, std::string&) {
    const auto title = Title::open(path);
    if (!title) return NotSupported;
    facts["module"] = title->module();
    facts["width"] = title->size().cx;
    facts["height"] = title->size().cy;
    facts["rate"] = title->rate().text();
    facts["frames"] = title->frames();
    facts["seconds"] = rounded3(title->seconds());
    return Done;
}

} // namespace qv::cli
