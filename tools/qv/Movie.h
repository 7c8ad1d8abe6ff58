// An open movie for the commands that take frames out of one.
#pragma once

#include "tools/qv/Picture.h"

#include <memory>

namespace qv::cli {

class Movie {
public:
    // Opens the movie, or says in one line why not and sets `code`; then null.
    static std::unique_ptr<Movie> open(const std::string& path, int& code);
    // The same, but hands the line (without the path) over.
    static std::unique_ptr<Movie> open(const std::string& path, int& code, std::string& why);
    ~Movie();
    Movie(const Movie&) = delete;
    Movie& operator=(const Movie&) = delete;

    const std::string& path() const { return path_; }
    void* handle() const { return handle_; }
    // Counted when it is asked for the first time: some movies must be read to their end for it.
    LONG frames() const;
    SIZE size() const { return size_; } // of a decoded frame
    ULONG rate() const { return rate_; }
    ULONG scale() const { return scale_; } // frames a second = rate / scale

    // The timecode mode that counts this movie's frames, or 0 when none does.
    int timecodeMode() const;
    // The frame that a position HH:MM:SS:FF from the start names; -1 when it is no such text. At 29.97 frames
    // a second labels are drop-frame: they keep up with the clock.
    LONG frameAt(const std::string& label) const;

    // The label of a frame counted from the start, HH:MM:SS:FF; empty when the rate has none.
    std::string positionOf(LONG frame) const;
    // What a DV frame itself says, both empty where it does not: the tape's timecode, and when it was recorded as
    // "2024-07-08 19:55:58".
    struct Tape {
        std::string timecode;
        std::string recorded;
    };
    Tape tapeOf(LONG frame) const;
    bool isDv() const;
    DIB_TYPE typeOf(LONG frame) const; // 1 to 7

    // How a frame is laid into a picture of a given size.
    struct Layout {
        SIZE size;
        DIB_TYPE type = DIB_TYPE_AUTO; // shape of the picture that is made
        RESIZE_OPTION fit = RESIZE_OPTION_FIT;
        RESIZE_METHOD method = RESIZE_METHOD_SCALER;
    };
    // The size that shows the frame in square pixels without loss.
    SIZE naturalSize(LONG frame) const;
    // One frame as a picture; false when it cannot be read or laid out.
    bool picture(LONG frame, const Layout& layout, CQVDIB& out) const;
    // Says in one line why a frame could not be had; the code for it.
    int whyNoFrame(LONG frame) const;

private:
    Movie(std::string path, void* handle);
    std::string path_;
    void* handle_;
    mutable LONG frames_ = -1;
    SIZE size_;
    ULONG rate_ = 0;
    ULONG scale_ = 1;
};

} // namespace qv::cli
