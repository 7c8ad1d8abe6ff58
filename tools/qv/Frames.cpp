#include "tools/qv/Frames.h"

namespace qv::cli {
namespace {

class MovieFrames : public Frames {
public:
    explicit MovieFrames(std::unique_ptr<Movie> movie) : movie_(std::move(movie)) {}
    LONG count() const override { return movie_->frames(); }
    SIZE naturalSize() const override { return movie_->naturalSize(0); }
    bool areDated() const override { return movie_->isDv(); }
    Label labelOf(LONG frame) const override {
        Movie::Tape tape = movie_->tapeOf(frame);
        return {tape.timecode.empty() ? movie_->rate().positionOf(frame) : tape.timecode, tape.recorded};
    }
    bool picture(LONG frame, SIZE size, CQVDIB& out) const override {
        Movie::Layout layout;
        layout.size = size;
        layout.type = DIB_TYPE_SQUARE;
        return movie_->picture(frame, layout, out);
    }

private:
    std::unique_ptr<Movie> movie_;
};

class TitleFrames : public Frames {
public:
    explicit TitleFrames(std::unique_ptr<Title> title) : title_(std::move(title)) {}
    LONG count() const override { return title_->frames(); }
    SIZE naturalSize() const override { return title_->size(); }
    bool areDated() const override { return false; }
    Label labelOf(LONG frame) const override { return {title_->rate().positionOf(frame), {}}; }
    bool picture(LONG frame, SIZE size, CQVDIB& out) const override {
        return title_->picture(frame, size, out);
    }

private:
    std::unique_ptr<Title> title_;
};

} // namespace

std::unique_ptr<Frames> Frames::open(const std::string& path, int& code) {
    if (auto title = Title::open(path)) return std::make_unique<TitleFrames>(std::move(title));
    auto movie = Movie::open(path, code);
    return movie ? std::make_unique<MovieFrames>(std::move(movie)) : nullptr;
}

} // namespace qv::cli
