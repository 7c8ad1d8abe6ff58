// An open title for the commands that render one.
#pragma once

#include "qvlibs/image/QVDib.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "tools/qv/FrameRate.h"

#include <memory>
#include <string>

namespace qv::cli {

class Title {
public:
    // Null when no title module takes the file, or its pictures have no size.
    static std::unique_ptr<Title> open(const std::string& path);
    ~Title();
    Title(const Title&) = delete;
    Title& operator=(const Title&) = delete;

    std::string module() const;
    SIZE size() const { return size_; } // of its own pictures
    LONG frames() const { return frames_; }
    const FrameRate& rate() const { return rate_; }
    double seconds() const;

    // Renders a frame over the key colour at the given size, 24 bits. False when it cannot be rendered.
    bool picture(LONG frame, SIZE size, CQVDIB& out) const;

private:
    Title(std::unique_ptr<CPluginInfo> plugin, ULONG stream);
    std::unique_ptr<CPluginInfo> plugin_;
    ULONG stream_;
    SIZE size_{};
    LONG frames_ = 0;
    FrameRate rate_;
};

} // namespace qv::cli
