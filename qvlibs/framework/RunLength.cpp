#include "qvlibs/framework/RunLength.h"

#include <algorithm>

namespace qv {
namespace {

constexpr BYTE kEscape = 0; // a count of 0; what follows says what is meant
constexpr BYTE kEndOfLine = 0, kEndOfBitmap = 1, kMove = 2;
constexpr int kLeastLiteral = 3; // smaller numbers have the meanings above
constexpr int kMostPixels = 255; // in one run

BYTE pixelAt(const BYTE* row, int x, int bitCount) {
    if (bitCount == 8) return row[x];
    return static_cast<BYTE>(x % 2 ? row[x / 2] & 0x0F : row[x / 2] >> 4);
}

void setPixel(BYTE* row, int x, int bitCount, BYTE value) {
    if (bitCount == 8) {
        row[x] = value;
        return;
    }
    BYTE& pair = row[x / 2];
    pair = static_cast<BYTE>(x % 2 ? (pair & 0xF0) | (value & 0x0F) : (pair & 0x0F) | value << 4);
}

// One row on its way out.
class RowEncoder {
public:
    RowEncoder(const BYTE* row, int width, int bitCount, std::vector<BYTE>& out)
        : row_(row), width_(width), bitCount_(bitCount), out_(out) {}

    void encode() {
        int from = 0;
        while (from < width_) {
            int next = from;
            while (next < width_ && runAt(next) < kLeastLiteral) next += runAt(next);
            literal(from, next);
            from = next;
            if (from < width_) from += run(from, runAt(from));
        }
        out_.insert(out_.end(), {kEscape, kEndOfLine});
    }

private:
    int runAt(int x) const {
        int length = 1;
        while (x + length < width_ && length < kMostPixels && at(x + length) == at(x)) ++length;
        return length;
    }
    int run(int x, int length) {
        const BYTE value = at(x);
        out_.push_back(static_cast<BYTE>(length));
        out_.push_back(bitCount_ == 8 ? value : static_cast<BYTE>(value << 4 | value));
        return length;
    }
    void literal(int from, int to) {
        while (from < to) {
            const int count = std::min(to - from, kMostPixels);
            if (count < kLeastLiteral) {
                from += run(from, 1);
                continue;
            }
            out_.insert(out_.end(), {kEscape, static_cast<BYTE>(count)});
            const size_t start = out_.size();
            if (bitCount_ == 8) {
                for (int i = 0; i < count; ++i) out_.push_back(at(from + i));
            } else {
                for (int i = 0; i < count; i += 2) {
                    const int low = i + 1 < count ? at(from + i + 1) : 0;
                    out_.push_back(static_cast<BYTE>(at(from + i) << 4 | low));
                }
            }
            if ((out_.size() - start) % 2) out_.push_back(0);
            from += count;
        }
    }
    BYTE at(int x) const { return pixelAt(row_, x, bitCount_); }

    const BYTE* row_;
    int width_, bitCount_;
    std::vector<BYTE>& out_;
};

class Decoder {
public:
    Decoder(std::span<const BYTE> data, std::span<BYTE> rows, size_t lineBytes, int width, int height,
            int bitCount)
        : data_(data), rows_(rows), lineBytes_(lineBytes), width_(width), height_(height),
          bitCount_(bitCount) {}

    void decode() {
        while (y_ < height_ && data_.size() >= 2) {
            const BYTE count = data_[0], value = data_[1];
            data_ = data_.subspan(2);
            if (count != kEscape) {
                run(count, value);
            } else if (value == kEndOfLine) {
                x_ = 0;
                ++y_;
            } else if (value == kEndOfBitmap) {
                return;
            } else if (value == kMove) {
                move();
            } else {
                literal(value);
            }
        }
    }

private:
    void put(BYTE value) {
        if (x_ < width_) {
            setPixel(rows_.data() + static_cast<size_t>(y_) * lineBytes_, static_cast<int>(x_), bitCount_,
                     value);
        }
        ++x_;
    }
    // Four-bit pixels take the two halves in turn.
    BYTE half(BYTE pair, int i) const {
        return bitCount_ == 8 ? pair : static_cast<BYTE>(i % 2 ? pair & 0x0F : pair >> 4);
    }
    void run(int count, BYTE value) {
        for (int i = 0; i < count; ++i) put(half(value, i));
    }
    void move() {
        if (data_.size() < 2) {
            data_ = {};
            return;
        }
        x_ += data_[0];
        y_ += data_[1];
        data_ = data_.subspan(2);
    }
    void literal(int count) {
        const size_t bytes = bitCount_ == 8 ? static_cast<size_t>(count) : static_cast<size_t>(count + 1) / 2;
        for (int i = 0; i < count; ++i) {
            const size_t at = static_cast<size_t>(bitCount_ == 8 ? i : i / 2);
            if (at >= data_.size()) break;
            put(half(data_[at], i));
        }
        data_ = data_.subspan(std::min(data_.size(), bytes + bytes % 2));
    }

    std::span<const BYTE> data_;
    std::span<BYTE> rows_;
    size_t lineBytes_;
    int width_, height_, bitCount_;
    std::int64_t x_ = 0;
    int y_ = 0;
};

} // namespace

std::vector<BYTE> encodeRunLength(std::span<const BYTE> rows, size_t lineBytes, int width, int height,
                                  int bitCount) {
    std::vector<BYTE> out;
    for (int y = 0; y < height; ++y) {
        RowEncoder(rows.data() + static_cast<size_t>(y) * lineBytes, width, bitCount, out).encode();
    }
    out.insert(out.end(), {kEscape, kEndOfBitmap});
    return out;
}

void decodeRunLength(std::span<const BYTE> data, std::span<BYTE> rows, size_t lineBytes, int width,
                     int height, int bitCount) {
    std::fill(rows.begin(), rows.end(), BYTE{0});
    Decoder(data, rows, lineBytes, width, height, bitCount).decode();
}

} // namespace qv
