// The heavy half of title.tcp: text to pictures.
#pragma once

#include "codecs/title/TitleScript.h"

#include <memory>

namespace qv::codec {

// What is wanted: rows bottom first, padded to 4 bytes. Without alpha 24 bits B, G, R over the key colour; with it
// 32 bits B, G, R, A, not premultiplied, clear where nothing is.
struct TitlePicture {
    int width = 0, height = 0; // 1..kMaxTitleSide
    bool alpha = false;
    bool operator==(const TitlePicture&) const = default;

    size_t pitch() const { return (static_cast<size_t>(width) * (alpha ? 4 : 3) + 3) / 4 * 4; }
};

class TitleRenderer {
public:
    virtual ~TitleRenderer() = default;
    // Writes the picture of a time into `bits`.
    virtual void render(std::int64_t milliseconds, const TitlePicture& wanted, std::uint8_t* bits) = 0;
};

struct TitleBackEnd {
    std::unique_ptr<TitleRenderer> (*make)(const TitleScript& title); // null when it cannot be made
};
constexpr const char* kTitleBackEndEntry = "qvTitleBackEnd";

} // namespace qv::codec
