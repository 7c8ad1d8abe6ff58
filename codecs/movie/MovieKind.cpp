#include "codecs/movie/MovieKind.h"

#include "codecs/common/FileHead.h"

namespace qv::codec {
namespace {

using namespace std::string_view_literals;

// Containers and elementary streams.
constexpr FileMark kMarks[] = {
    {8, "AVI "sv},
    {0, "\x00\x00\x01\xBA"sv},                 // MPEG program stream
    {0, "\x00\x00\x01\xB3"sv},                 // MPEG video
    {0, "\x00\x00\x01\xB0"sv},                 // MPEG-4 video
    {0, "\x00\x00\x00\x01\x67"sv},             // H.264 video
    {0, "\x00\x00\x00\x01\x09"sv},             // H.264 video with delimiters
    {0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv}, // ASF
    {4, "ftyp"sv},                             // MP4, QuickTime
    {4, "moov"sv},
    {4, "mdat"sv},
    {4, "wide"sv},
    {0, "\x1A\x45\xDF\xA3"sv}, // Matroska, WebM
    {0, "FLV\x01"sv},
    {0, "OggS"sv},
    {0, ".RMF"sv},
    {0, "\x06\x0E\x2B\x34"sv},         // MXF
    {0, "\x00\x00\x00\x00\x01\xBC"sv}, // GXF
    {0, "\x1F\x07\x00"sv},             // DV of other kinds
};

// Packets of a transport stream begin with the same byte every so many bytes.
bool looksLikeTransport(std::string_view head) {
    constexpr struct { size_t first, step; } kLayouts[] = {{0, 188}, {4, 192}, {0, 204}};
    return std::any_of(std::begin(kLayouts), std::end(kLayouts), [&](const auto& layout) {
        size_t packets = 0;
        for (size_t at = layout.first; at < head.size(); at += layout.step) {
            if (head[at] != 0x47) return false;
            ++packets;
        }
        return packets >= 3;
    });
}

} // namespace

bool looksLikeMovie(std::span<const std::uint8_t> bytes) {
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return hasMark(head, kMarks) || looksLikeTransport(head);
}

} // namespace qv::codec
