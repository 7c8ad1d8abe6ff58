// An open movie for the commands that take frames out of one.
#pragma once

#include "tools/qv/FrameRate.h"
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
    const FrameRate& rate() const { return rate_; }

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
    FrameRate rate_;
};

} // namespace qv::cli
