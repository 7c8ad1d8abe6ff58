// Frames with labels out of a movie or a title, for pages of small pictures.
#pragma once

#include "tools/qv/Movie.h"
#include "tools/qv/Title.h"

namespace qv::cli {

class Frames {
public:
    // Opens the movie or title, or says in one line why not and sets `code`; then null.
    static std::unique_ptr<Frames> open(const std::string& path, int& code);
    virtual ~Frames() = default;

    virtual LONG count() const = 0;
    virtual SIZE naturalSize() const = 0; // in square pixels
    virtual bool areDated() const = 0;    // a second line of labels
    struct Label {
        // The tape's own timecode, else counted from the start; empty where the rate has none.
        std::string position;
        std::string recorded;
    };
    virtual Label labelOf(LONG frame) const = 0;
    // At this size, in square pixels; false when the frame cannot be read.
    virtual bool picture(LONG frame, SIZE size, CQVDIB& out) const = 0;
};

} // namespace qv::cli
