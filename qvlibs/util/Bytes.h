// Bounded reading and writing of bytes. Bytes from files go through these, never through casts of structures.
//
// A reader never passes its end: it answers 0 there and remembers that it failed, so the caller asks once,
// after a whole record. Numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qv {

class ByteReader {
public:
    // The bytes stay the caller's and must outlive the reader.
    ByteReader(const void* bytes, size_t size)
        : bytes_(static_cast<const std::uint8_t*>(bytes)), size_(size) {}
    explicit ByteReader(std::span<const std::uint8_t> bytes) : ByteReader(bytes.data(), bytes.size()) {}

    bool failed() const { return failed_; }
    size_t position() const { return at_; }
    size_t left() const { return size_ - at_; }
    // Moves to an absolute position; beyond the end fails and stays.
    void seek(size_t position) {
        if (position > size_)
            failed_ = true;
        else
            at_ = position;
    }
    void skip(size_t count) { take(count); }

    std::uint8_t u8() { return number<std::uint8_t>(); }
    std::uint16_t u16() { return number<std::uint16_t>(); }
    std::uint32_t u32() { return number<std::uint32_t>(); }
    std::uint64_t u64() { return number<std::uint64_t>(); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }

    // The next `count` bytes in place, or nothing when they are not all there.
    std::span<const std::uint8_t> bytes(size_t count) {
        const std::uint8_t* start = take(count);
        return start ? std::span(start, count) : std::span<const std::uint8_t>();
    }
    // A field of `width` bytes as text: up to its first zero, or all of it.
    std::string_view text(size_t width) {
        const auto field = bytes(width);
        if (field.empty()) return {};
        const char* start = reinterpret_cast<const char*>(field.data());
        return {start, strnlen(start, width)};
    }

private:
    const std::uint8_t* take(size_t count) {
        if (failed_ || count > size_ - at_) {
            failed_ = true;
            return nullptr;
        }
        const std::uint8_t* start = bytes_ + at_;
        at_ += count;
        return start;
    }
    template <class Number>
    Number number() {
        const std::uint8_t* start = take(sizeof(Number));
        Number value = 0;
        for (size_t i = 0; start && i < sizeof(Number); ++i) {
            value = static_cast<Number>(value | static_cast<Number>(start[i]) << (8 * i));
        }
        return value;
    }

    const std::uint8_t* bytes_;
    size_t size_;
    size_t at_ = 0;
    bool failed_ = false;
};

// Appends to a growing block.
class ByteWriter {
public:
    void u8(std::uint8_t value) { bytes_.push_back(value); }
    void u16(std::uint16_t value) { number(value); }
    void u32(std::uint32_t value) { number(value); }
    void u64(std::uint64_t value) { number(value); }
    void i32(std::int32_t value) { number(static_cast<std::uint32_t>(value)); }
    void bytes(const void* source, size_t count) {
        const auto* start = static_cast<const std::uint8_t*>(source);
        bytes_.insert(bytes_.end(), start, start + count);
    }
    void zeros(size_t count) { bytes_.resize(bytes_.size() + count); }
    // Text in a field of `width` bytes, cut or filled up with zeros.
    void text(std::string_view value, size_t width) {
        const size_t size = value.size() < width ? value.size() : width;
        bytes(value.data(), size);
        zeros(width - size);
    }
    // Overwrites a word written before.
    void patch32(size_t position, std::uint32_t value) {
        for (size_t i = 0; i < 4; ++i) bytes_.at(position + i) = static_cast<std::uint8_t>(value >> (8 * i));
    }

    size_t size() const { return bytes_.size(); }
    const std::vector<std::uint8_t>& data() const { return bytes_; }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    template <class Number>
    void number(Number value) {
        for (size_t i = 0; i < sizeof(Number); ++i)
            bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }

    std::vector<std::uint8_t> bytes_;
};

} // namespace qv
