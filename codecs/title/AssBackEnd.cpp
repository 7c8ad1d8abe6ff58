// Titles through libass.
#include "codecs/title/TitleRenderer.h"

#include <ass/ass.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <vector>

namespace qv::codec {

namespace {

struct FreeLibrary {
    void operator()(ASS_Library* library) const { ass_library_done(library); }
};
struct FreeRenderer {
    void operator()(ASS_Renderer* renderer) const { ass_renderer_done(renderer); }
};
struct FreeTrack {
    void operator()(ASS_Track* track) const { ass_free_track(track); }
};

// A font file for text whose font is not installed, where the font service finds none at all.
std::string fallbackFont() {
    namespace fs = std::filesystem;
    std::error_code error;
    for (const char* usual :
         {"/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", "/usr/share/fonts/TTF/DejaVuSans.ttf",
          "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf"}) {
        if (fs::exists(usual, error)) return usual;
    }
    for (fs::recursive_directory_iterator at("/usr/share/fonts", error), end; !error && at != end;
         at.increment(error)) {
        const auto extension = at->path().extension();
        if (extension == ".ttf" || extension == ".otf") return at->path().string();
    }
    return {};
}

// value / 255, rounded, for products of two bytes.
unsigned shared(unsigned product) { return (product + 128 + ((product + 128) >> 8)) >> 8; }

// One piece of text of one colour over the picture: B, G, R over what is there.
void blendRow(std::uint8_t* row, const std::uint8_t* mask, int count, const unsigned (&bgr)[3],
              unsigned opacity) {
    for (int x = 0; x < count; ++x, row += 3) {
        const unsigned share = shared(mask[x] * opacity);
        if (share == 0) continue;
        for (int i = 0; i < 3; ++i)
            row[i] = static_cast<std::uint8_t>(shared(row[i] * (255 - share) + bgr[i] * share));
    }
}

// The same with alpha that is not premultiplied.
void blendRowAlpha(std::uint8_t* row, const std::uint8_t* mask, int count, const unsigned (&bgr)[3],
                   unsigned opacity) {
    for (int x = 0; x < count; ++x, row += 4) {
        const unsigned share = shared(mask[x] * opacity);
        if (share == 0) continue;
        const unsigned below = shared(row[3] * (255 - share)); // what is still seen of the old
        const unsigned alpha = share + below;
        for (int i = 0; i < 3; ++i)
            row[i] = static_cast<std::uint8_t>((row[i] * below + bgr[i] * share + alpha / 2) / alpha);
        row[3] = static_cast<std::uint8_t>(alpha);
    }
}

class AssRenderer final : public TitleRenderer {
public:
    bool start(const TitleScript& title) {
        key_ = title.key;
        library_.reset(ass_library_init());
        if (!library_) return false;
        ass_set_message_cb(
            library_.get(), [](int, const char*, va_list, void*) {}, nullptr);
        ass_set_extract_fonts(library_.get(), 0); // fonts inside of a script are not trusted
        renderer_.reset(ass_renderer_init(library_.get()));
        std::string script = title.ass; // is written into while it is read
        track_.reset(ass_read_memory(library_.get(), script.data(), script.size(), nullptr));
        if (!renderer_ || !track_) return false;
        ass_set_cache_limits(renderer_.get(), 2000, 32); // glyphs, MiB of pictures
        const std::string fallback = fallbackFont();
        ass_set_fonts(renderer_.get(), fallback.empty() ? nullptr : fallback.c_str(), "sans-serif",
                      ASS_FONTPROVIDER_AUTODETECT, nullptr, 1);
        return true;
    }

    void render(std::int64_t milliseconds, const TitlePicture& wanted, std::uint8_t* bits) override {
        if (!(wanted == made_)) {
            ass_set_frame_size(renderer_.get(), wanted.width, wanted.height);
            ass_set_storage_size(renderer_.get(), wanted.width, wanted.height);
        }
        int change = 0;
        const ASS_Image* pieces = ass_render_frame(renderer_.get(), track_.get(), milliseconds, &change);
        if (change != 0 || !(wanted == made_)) compose(pieces, wanted);
        std::memcpy(bits, picture_.data(), picture_.size());
    }

private:
    // Kept, so that frames on which nothing changes are only copied.
    void compose(const ASS_Image* pieces, const TitlePicture& wanted) {
        made_ = wanted;
        picture_.assign(wanted.pitch() * static_cast<size_t>(wanted.height), 0);
        if (!wanted.alpha && key_ != 0) paintKey();
        for (; pieces; pieces = pieces->next) blend(*pieces);
    }

    void paintKey() {
        const size_t pitch = made_.pitch();
        for (int x = 0; x < made_.width; ++x) {
            for (unsigned i = 0; i < 3; ++i)
                picture_[static_cast<size_t>(x) * 3 + i] = static_cast<std::uint8_t>(key_ >> (8 * i));
        }
        for (int y = 1; y < made_.height; ++y)
            std::memcpy(&picture_[pitch * static_cast<size_t>(y)], picture_.data(),
                        static_cast<size_t>(made_.width) * 3);
    }

    void blend(const ASS_Image& piece) {
        const int left = std::max(piece.dst_x, 0), right = std::min(piece.dst_x + piece.w, made_.width);
        const int top = std::max(piece.dst_y, 0), bottom = std::min(piece.dst_y + piece.h, made_.height);
        if (left >= right) return;
        const unsigned bgr[3] = {piece.color >> 8 & 0xFF, piece.color >> 16 & 0xFF, piece.color >> 24};
        const unsigned opacity = 255 - (piece.color & 0xFF);
        for (int y = top; y < bottom; ++y) {
            const std::uint8_t* mask = piece.bitmap +
                                       static_cast<std::ptrdiff_t>(y - piece.dst_y) * piece.stride +
                                       (left - piece.dst_x);
            std::uint8_t* row = picture_.data() + made_.pitch() * static_cast<size_t>(made_.height - 1 - y) +
                                static_cast<size_t>(left) * (made_.alpha ? 4 : 3);
            (made_.alpha ? blendRowAlpha : blendRow)(row, mask, right - left, bgr, opacity);
        }
    }

    // In this order: the last ones refer to the first.
    std::unique_ptr<ASS_Library, FreeLibrary> library_;
    std::unique_ptr<ASS_Renderer, FreeRenderer> renderer_;
    std::unique_ptr<ASS_Track, FreeTrack> track_;
    std::uint32_t key_ = 0;
    TitlePicture made_; // what picture_ shows
    std::vector<std::uint8_t> picture_;
};

std::unique_ptr<TitleRenderer> make(const TitleScript& title) {
    auto renderer = std::make_unique<AssRenderer>();
    if (!renderer->start(title)) return nullptr;
    return renderer;
}

constexpr TitleBackEnd kBackEnd = {make};

} // namespace

} // namespace qv::codec

extern "C" __attribute__((visibility("default"))) const void* qvTitleBackEnd() {
    return &qv::codec::kBackEnd;
}
