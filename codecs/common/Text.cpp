#include "codecs/common/Text.h"

#include <cstdint>

namespace qv::codec {

namespace {

std::uint8_t byteAt(std::string_view text, size_t at) { return static_cast<std::uint8_t>(text[at]); }

bool isInner(std::uint8_t byte) { return (byte & 0xC0) == 0x80; }

size_t sizeOf(std::uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

void append(std::string& out, std::uint32_t code) {
    const auto put = [&](std::uint32_t bits) { out += static_cast<char>(bits); };
    if (code < 0x80) return put(code);
    if (code < 0x800) {
        put(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
    } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
        put(0x80 | (code >> 6 & 0x3F));
    }
    put(0x80 | (code & 0x3F));
}

std::string fromUtf16(std::string_view bytes, bool bigEndian) {
    std::string out;
    const auto unit = [&](size_t at) -> std::uint32_t {
        const std::uint32_t first = byteAt(bytes, at), second = byteAt(bytes, at + 1);
        return bigEndian ? first << 8 | second : second << 8 | first;
    };
    for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const std::uint32_t high = unit(at);
        if (high < 0xD800 || high > 0xDFFF) {
            append(out, high);
            continue;
        }
        const std::uint32_t low = at + 3 < bytes.size() ? unit(at + 2) : 0;
        const bool pair = high < 0xDC00 && low >= 0xDC00 && low < 0xE000;
        append(out, pair ? 0x10000 + ((high - 0xD800) << 10 | (low - 0xDC00)) : 0xFFFD);
        if (pair) at += 2;
    }
    return out;
}

} // namespace

bool isUtf8(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const size_t size = sizeOf(byteAt(text, at));
        if (size == 0 || at + size > text.size()) return false;
        for (size_t i = 1; i < size; ++i) {
            if (!isInner(byteAt(text, at + i))) return false;
        }
        at += size;
    }
    return true;
}

std::string toUtf8(std::string_view bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
    if (bytes.starts_with("\xFF\xFE")) return fromUtf16(bytes.substr(2), false);
    if (bytes.starts_with("\xFE\xFF")) return fromUtf16(bytes.substr(2), true);
    if (isUtf8(bytes)) return std::string(bytes);
    std::string out;
    for (size_t at = 0; at < bytes.size(); ++at) append(out, byteAt(bytes, at));
    return out;
}

std::string_view cutUtf8(std::string_view text, size_t size) {
    if (text.size() <= size) return text;
    while (size > 0 && isInner(byteAt(text, size))) --size;
    return text.substr(0, size);
}

} // namespace qv::codec
