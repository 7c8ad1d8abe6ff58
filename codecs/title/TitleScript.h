// Titles as text: the three forms that are read, and the one script that the renderer gets. docs/title-form.md
// describes our own form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qv::codec {

// Frames a second = rate / scale; {0, 0}: as the height of the picture says (PAL heights 25, all others 29.97).
struct TitleRate {
    int rate = 0;
    int scale = 0;
};
[[nodiscard]] TitleRate rateOfHeight(int height);

struct TitleScript {
    std::string ass; // Advanced SubStation Alpha
    int width = 720, height = 480;
    TitleRate rate;
    std::uint32_t key = 0;         // 0xRRGGBB, what lies behind the text
    std::int64_t milliseconds = 0; // until the end of the last line
    std::int64_t frames = 0;       // stated; 0: what the milliseconds give
};

constexpr size_t kMaxTitleBytes = 4u << 20;
constexpr int kMaxTitleSide = 8192;

// A file's bytes: our form, (Advanced) SubStation Alpha or SubRip, known by what they hold. Nothing when they are
// none of these, are damaged, or hold more than kMaxTitleBytes.
[[nodiscard]] std::optional<TitleScript> readTitle(std::string_view bytes);

// The single forms, UTF-8 each.
[[nodiscard]] std::optional<TitleScript> readTitleForm(std::string_view text);
[[nodiscard]] std::optional<TitleScript> readSubRip(std::string_view text);
[[nodiscard]] std::optional<TitleScript> readSubStation(std::string_view text);

} // namespace qv::codec
