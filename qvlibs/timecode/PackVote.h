// Counts the copies of one kind of pack in a frame.
#pragma once

#include "qvlibs/framework/Types.h"

#include <array>

namespace qv {

class PackVote {
public:
    static constexpr size_t kRows = 12;

    // `mask`: the bits of the word that count.
    constexpr explicit PackVote(DWORD mask) : mask_(mask) {}

    void add(DWORD word) {
        ++copies_;
        if (word == 0xFFFFFFFF) {
            ++blank_;
            return;
        }
        word &= mask_;
        for (int i = 0; i < used_; ++i) {
            if (rows_[static_cast<size_t>(i)].word == word) {
                ++rows_[static_cast<size_t>(i)].votes;
                return;
            }
        }
        if (used_ < static_cast<int>(rows_.size())) {
            rows_[static_cast<size_t>(used_++)] = {word, 1};
            return;
        }
        // More readings than rows: garbage. It takes turns in the rows of what was seen only once.
        for (size_t tries = 0; tries < rows_.size(); ++tries) {
            next_ = (next_ + 1) % rows_.size();
            if (rows_[next_].votes == 1) {
                rows_[next_].word = word;
                return;
            }
        }
    }

    int copies() const { return copies_; } // blank ones too
    int blank() const { return blank_; }   // those whose four bytes are all ones

    struct Row {
        DWORD word;
        int votes;
    };
    const Row* begin() const { return rows_.data(); }
    const Row* end() const { return rows_.data() + used_; }
    DWORD mask() const { return mask_; }

private:
    DWORD mask_;
    int used_ = 0;
    int copies_ = 0;
    int blank_ = 0;
    size_t next_ = 0;
    std::array<Row, kRows> rows_;
};

} // namespace qv
