// An open movie for the commands that take frames out of one.
#pragma once

#include "tools/qv/Picture.h"

#include <memory>

namespace qv::cli {

class Movie {
public:
    // Opens the movie, or says in one line why not and sets `code`; then null.
    static std::unique_ptr<Movie> open(const std::string& path, int& code);
    ~Movie();
    Movie(const Movie&) = delete;
    Movie& operator=(const Movie&) = delete;

    const std::string& path() const { return path_; }
    void* handle() const { return handle_; }
    LONG frames() const { return frames_; }
    SIZE size() const { return size_; } // of a decoded frame
    ULONG rate() const { return rate_; }
    ULONG scale() const { return scale_; } // frames a second = rate / scale

    // The timecode mode that counts this movie's frames, or 0 when none does.
    int timecodeMode() const;
    // The frame that a position HH:MM:SS:FF from the start names; -1 when it is no such text. At 29.97 frames
    // a second labels are drop-frame: they keep up with the clock.
    LONG frameAt(const std::string& label) const;

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

private:
    Movie(std::string path, void* handle);
    DIB_TYPE typeOf(LONG frame) const;

    std::string path_;
    void* handle_;
    LONG frames_ = 0;
    SIZE size_;
    ULONG rate_ = 0;
    ULONG scale_ = 1;
};

} // namespace qv::cli
