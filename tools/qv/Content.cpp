#include "tools/qv/Content.h"

#include "qvlibs/framework/File.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>

namespace qv::cli {
namespace {

using namespace std::string_view_literals;

constexpr size_t kHead = 4096;
constexpr std::uint64_t kSideFile = 568; // bytes; the whole record is the file

struct Format {
    const char* name;
    Kind kind;
    const char* extensions; // each between blanks; the first rows come first where two share one
};

constexpr Format kAvi{"AVI", Kind::Movie, " avi "};
constexpr Format kDv{"raw DV", Kind::Movie, " dv dvf dif "};
constexpr Format kMpeg1{"MPEG-1 system stream", Kind::Movie, " mpg mpeg mpe m1s "};
constexpr Format kMpeg2{"MPEG-2 program stream", Kind::Movie, " mpg mpeg mpe vob m2p mod "};
constexpr Format kMpegVideo{"MPEG video", Kind::Movie, " mpg mpeg mpe m1v m2v mpv "};
constexpr Format kTransport{"MPEG transport stream", Kind::Movie, " ts mts m2t m2ts tp trp mpg mpeg "};
constexpr Format kWindowsMedia{"Windows Media", Kind::Movie, " wmv asf wma wm "};
constexpr Format kQuickTime{"QuickTime", Kind::Movie, " mov qt mp4 m4v "};
constexpr Format kMpeg4{"MPEG-4", Kind::Movie, " mp4 m4v mov 3gp 3g2 m4a "};
constexpr Format kMatroska{"Matroska", Kind::Movie, " mkv mka mks webm "};
constexpr Format kMaterial{"MXF", Kind::Movie, " mxf "};
constexpr Format kReal{"RealMedia", Kind::Movie, " rm rmvb ra "};
constexpr Format kAdvanced{"H.264 video", Kind::Movie, " h264 264 avc "};
constexpr Format kFlash{"Flash video", Kind::Movie, " flv "};
constexpr Format kWave{"WAVE", Kind::Sound, " wav wave bwf rf64 mbm sbg "};
constexpr Format kWave64{"Wave64", Kind::Sound, " w64 wav "};
constexpr Format kAiff{"AIFF", Kind::Sound, " aif aiff aifc "};
constexpr Format kAu{"AU", Kind::Sound, " au snd "};
constexpr Format kCaf{"Core Audio", Kind::Sound, " caf "};
constexpr Format kFlac{"FLAC", Kind::Sound, " flac "};
constexpr Format kOgg{"Ogg", Kind::Sound, " ogg oga opus spx ogv ogx "};
constexpr Format kMpegAudio{"MPEG audio", Kind::Sound, " mp3 mp2 mpa mp1 mpga aac "};
constexpr Format kAac{"AAC", Kind::Sound, " aac adts "};
constexpr Format kAc3{"AC-3", Kind::Sound, " ac3 "};
constexpr Format kMpeg4Audio{"MPEG-4 audio", Kind::Sound, " m4a m4b mp4 "};
constexpr Format kBmp{"BMP", Kind::Picture, " bmp dib rle "};
constexpr Format kJpeg{"JPEG", Kind::Picture, " jpg jpeg jpe jfif "};
constexpr Format kPng{"PNG", Kind::Picture, " png apng "};
constexpr Format kGif{"GIF", Kind::Picture, " gif "};
constexpr Format kTiff{"TIFF", Kind::Picture, " tif tiff dng nef cr2 arw pef srw orf rw2 "};
constexpr Format kWebp{"WebP", Kind::Picture, " webp "};
constexpr Format kHeif{"HEIF", Kind::Picture, " heic heif hif avif "};
constexpr Format kIcon{"icon", Kind::Picture, " ico "};
constexpr Format kPhotoshop{"Photoshop picture", Kind::Picture, " psd psb "};
constexpr Format kTitleForm{"title", Kind::Title, " tte "};
constexpr Format kSubStation{"SubStation Alpha", Kind::Title, " ass ssa "};
constexpr Format kSubRip{"SubRip", Kind::Title, " srt "};
constexpr Format kMtv{"MTV side file", Kind::SideFile, " mtv gwm "};
constexpr Format kPdf{"PDF document", Kind::Other, " pdf ai "};
constexpr Format kZip{"ZIP archive", Kind::Other, ""}; // documents of many kinds are such archives
constexpr Format kCompound{"compound file", Kind::Other, ""};
constexpr Format kGzip{"gzip data", Kind::Other, " gz tgz svgz "};
constexpr Format kSevenZip{"7-Zip archive", Kind::Other, " 7z "};
constexpr Format kRar{"RAR archive", Kind::Other, " rar "};
constexpr Format kDatabase{"SQLite database", Kind::Other, ""};
constexpr Format kElf{"program or library", Kind::Other, ""};
constexpr Format kWindowsProgram{"Windows program or library", Kind::Other, ""};
constexpr Format kText{"text", Kind::Other, " txt log md csv tsv ini xml html htm json "};
constexpr Format kData{"data", Kind::Other, ""};
constexpr Format kEmpty{"empty", Kind::Other, ""};

constexpr const Format* kFormats[] = {
    &kAvi,        &kDv,     &kMpeg2,    &kMpeg1,      &kMpegVideo, &kTransport, &kWindowsMedia,
    &kQuickTime,  &kMpeg4,  &kMatroska, &kFlash,      &kMaterial,  &kReal,      &kAdvanced,
    &kWave,       &kWave64, &kAiff,     &kAu,         &kCaf,       &kFlac,      &kOgg,
    &kMpegAudio,  &kAac,    &kAc3,      &kMpeg4Audio, &kBmp,       &kJpeg,      &kPng,
    &kGif,        &kTiff,   &kWebp,     &kHeif,       &kIcon,      &kPhotoshop, &kTitleForm,
    &kSubStation, &kSubRip, &kMtv,      &kPdf,        &kGzip,      &kSevenZip,  &kRar};

struct Mark {
    size_t at;
    std::string_view bytes;
    const Format& format;
    std::string_view atEight = {}; // bytes that must stand at offset 8 as well
};

constexpr Mark kMarks[] = {
    {0, "RIFF"sv, kAvi, "AVI "sv},
    {0, "RIFF"sv, kWave, "WAVE"sv},
    {0, "RIFX"sv, kWave, "WAVE"sv},
    {0, "RF64"sv, kWave, "WAVE"sv},
    {0, "RIFF"sv, kWebp, "WEBP"sv},
    {0, "riff\x2E\x91\xCF\x11"sv, kWave64},
    {0, "FORM"sv, kAiff, "AIFF"sv},
    {0, "FORM"sv, kAiff, "AIFC"sv},
    {0, ".snd"sv, kAu},
    {0, "caff"sv, kCaf},
    {0, "fLaC"sv, kFlac},
    {0, "OggS"sv, kOgg},
    {0, "ID3"sv, kMpegAudio},
    {0, "\x0B\x77"sv, kAc3},
    {0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"sv, kWindowsMedia},
    {0, "\0\0\1\xB3"sv, kMpegVideo},
    {0, "\x1F\x07\0\x3F"sv, kDv},
    {0, "\x1F\x07\0\xBF"sv, kDv},
    {4, "ftyp"sv, kQuickTime, "qt  "sv},
    {4, "ftyp"sv, kMpeg4Audio, "M4A "sv},
    {4, "ftyp"sv, kHeif, "heic"sv},
    {4, "ftyp"sv, kHeif, "heix"sv},
    {4, "ftyp"sv, kHeif, "mif1"sv},
    {4, "ftyp"sv, kHeif, "avif"sv},
    {4, "ftyp"sv, kMpeg4},
    {4, "moov"sv, kQuickTime},
    {4, "mdat"sv, kQuickTime},
    {4, "wide"sv, kQuickTime},
    {0, "\x1A\x45\xDF\xA3"sv, kMatroska},
    {0, "FLV\1"sv, kFlash},
    {0, "\x06\x0E\x2B\x34"sv, kMaterial},
    {0, ".RMF"sv, kReal},
    {0, "\0\0\0\1\x67"sv, kAdvanced},
    {0, "\0\0\0\1\x09"sv, kAdvanced},
    {0, "\xFF\xD8\xFF"sv, kJpeg},
    {0, "\x89PNG\r\n\x1A\n"sv, kPng},
    {0, "GIF87a"sv, kGif},
    {0, "GIF89a"sv, kGif},
    {0, "II*\0"sv, kTiff},
    {0, "MM\0*"sv, kTiff},
    {0, "II+\0"sv, kTiff},
    {0, "MM\0+"sv, kTiff},
    {0, "\0\0\1\0"sv, kIcon},
    {0, "8BPS"sv, kPhotoshop},
    {0, "QVMTV\0"sv, kMtv},
    {0, "%PDF-"sv, kPdf},
    {0, "PK\3\4"sv, kZip},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, kCompound},
    {0, "\x1F\x8B"sv, kGzip},
    {0, "7z\xBC\xAF\x27\x1C"sv, kSevenZip},
    {0, "Rar!\x1A\x07"sv, kRar},
    {0, "SQLite format 3\0"sv, kDatabase},
    {0,
     "\x7F"
     "ELF"sv,
     kElf},
};

std::uint8_t byteAt(std::string_view head, size_t at) {
    return at < head.size() ? static_cast<std::uint8_t>(head[at]) : 0;
}

const Format* marked(std::string_view head) {
    for (const Mark& mark : kMarks) {
        const bool here = head.size() >= mark.at && head.substr(mark.at).starts_with(mark.bytes);
        if (here && (mark.atEight.empty() || (head.size() >= 8 && head.substr(8).starts_with(mark.atEight))))
            return &mark.format;
    }
    return nullptr;
}

// The length of the tags that stand before some sounds; 0 where there are none.
size_t tagBytes(std::string_view head) {
    if (!head.starts_with("ID3"sv) || head.size() < 10) return 0;
    size_t length = 0;
    for (size_t at = 6; at < 10; ++at) length = length << 7 | (byteAt(head, at) & 0x7F);
    return length + 10;
}

// A BMP says the size of its information header, of which there are few.
bool isBitmap(std::string_view head) {
    constexpr std::uint8_t kHeaderSizes[] = {12, 16, 40, 52, 56, 64, 108, 124};
    return head.starts_with("BM"sv) && head.size() >= 18 && byteAt(head, 15) == 0 &&
           std::find(std::begin(kHeaderSizes), std::end(kHeaderSizes), byteAt(head, 14)) !=
               std::end(kHeaderSizes);
}

// Packets of 188 bytes, with or without a time stamp of 4 bytes before each.
bool isTransport(std::string_view head) {
    for (const auto& [first, step] : {std::pair<size_t, size_t>{0, 188}, {4, 192}}) {
        size_t at = first;
        while (at < head.size() && byteAt(head, at) == 0x47) at += step;
        if (at >= head.size() && at >= first + 3 * step) return true;
    }
    return false;
}

const Format* mpegFormat(std::string_view head) {
    if (head.starts_with("\0\0\1\xBA"sv)) return byteAt(head, 4) >> 6 == 1 ? &kMpeg2 : &kMpeg1;
    const unsigned second = byteAt(head, 1), third = byteAt(head, 2);
    if (byteAt(head, 0) != 0xFF || (second & 0xE0) != 0xE0) return nullptr;
    if ((second & 0xF6) == 0xF0) return &kAac;
    const bool isFrame =
        (second & 0x18) != 0x08 && (second & 0x06) != 0 && third >> 4 != 15 && (third >> 2 & 3) != 3;
    return isFrame ? &kMpegAudio : nullptr;
}

// The text without its mark; of two-byte characters the low bytes, which is enough to know a form by.
std::string plainText(std::string_view head) {
    if (head.starts_with("\xEF\xBB\xBF"sv)) head.remove_prefix(3);
    const bool wide = head.starts_with("\xFF\xFE"sv) || head.starts_with("\xFE\xFF"sv);
    std::string text(wide ? head.substr(2) : head);
    if (wide) std::erase(text, '\0');
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : text.substr(first);
}

const Format* textFormat(std::string_view head) {
    const std::string text = plainText(head);
    const auto isControl = [](char letter) {
        const auto byte = static_cast<unsigned char>(letter);
        return (byte < 0x20 && !std::isspace(byte) && byte != 0x1B) || byte == 0x7F;
    };
    if (text.empty() || std::any_of(text.begin(), text.end(), isControl)) return nullptr;
    if (text.starts_with("[Script Info]")) return &kSubStation;
    if (text.starts_with("[Title]")) return &kTitleForm;
    const size_t line = text.find('\n');
    const bool numbered = std::isdigit(static_cast<unsigned char>(text[0])) && line != std::string::npos;
    if (numbered && text.substr(line + 1, 40).find(" --> ") != std::string::npos) return &kSubRip;
    return &kText;
}

bool isAmong(const char* extensions, std::string_view word) {
    return std::string_view(extensions).find(word) != std::string_view::npos;
}

const Format& formatOf(std::string_view head, std::uint64_t size, std::string_view word) {
    if (size == 0) return kEmpty;
    if (size == kSideFile && isAmong(kMtv.extensions, word)) return kMtv;
    if (const Format* format = mpegFormat(head)) return *format;
    if (const Format* format = marked(head)) return *format;
    if (isBitmap(head)) return kBmp;
    if (isTransport(head)) return kTransport;
    if (head.starts_with("MZ"sv) && head.size() >= 64) return kWindowsProgram;
    const Format* text = textFormat(head);
    return text ? *text : kData;
}

// The extension of a path between blanks, in small letters; two blanks where there is none.
std::string wordOf(const std::string& path) {
    const size_t name = path.rfind('/') + 1, dot = path.rfind('.');
    std::string word = " ";
    if (dot != std::string::npos && dot > name) word += path.substr(dot + 1);
    std::transform(word.begin(), word.end(), word.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    });
    return word + " ";
}

const char* meantBy(std::string_view word) {
    for (const Format* format : kFormats) {
        if (isAmong(format->extensions, word)) return format->name;
    }
    return "";
}

} // namespace

const char* nameOf(Kind kind) {
    switch (kind) {
    case Kind::Movie: return "movie";
    case Kind::Picture: return "picture";
    case Kind::Sound: return "sound";
    case Kind::Title: return "title";
    case Kind::SideFile: return "sidefile";
    case Kind::Other: break;
    }
    return "other";
}

Content contentOf(const std::string& path) {
    std::string head(kHead, '\0');
    std::uint64_t size = 0;
    CFile file;
    try {
        if (!file.Open(path.c_str(), CFile::modeRead | CFile::shareDenyNone)) return {};
        size = static_cast<std::uint64_t>(file.GetLength());
        head.resize(file.Read(head.data(), kHead));
        if (const size_t tags = tagBytes(head); tags > 0 && tags < size) {
            std::string behind(kHead, '\0');
            file.Seek(static_cast<__int64>(tags), CFile::begin);
            behind.resize(file.Read(behind.data(), kHead));
            if (marked(behind) || mpegFormat(behind)) head = behind;
        }
    } catch (const CFileException&) {
        return {};
    }
    const std::string word = wordOf(path);
    const Format& format = formatOf(head, size, word);
    Content content{format.kind, format.name, format.extensions, {}};
    // An empty file is no lie, and text may have any name that stands for no format.
    if (size > 0 && !isAmong(format.extensions, word)) content.nameSays = meantBy(word);
    return content;
}

} // namespace qv::cli
