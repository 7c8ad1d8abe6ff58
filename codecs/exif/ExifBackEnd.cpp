// Exif on Exiv2. Files are changed in memory and replaced whole; the picture data keeps its bytes.
#include "codecs/exif/ExifBackEnd.h"

#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>

#include <exiv2/exiv2.hpp>
#include <exiv2/webpimage.hpp>

namespace qv::codec {
namespace {

constexpr const char* kOrientation = "Exif.Image.Orientation";
constexpr const char* kDateTime = "Exif.Photo.DateTimeOriginal";
constexpr size_t kLargestFile = size_t{1} << 30;
constexpr long kMostWords = 65536; // of one maker note entry

// Exiv2 keeps process-wide tables that it fills without locks, and reports what it meets on standard error.
std::mutex& exivLock() {
    static auto* const lock = new std::mutex;
    return *lock;
}

// Exiv2 knows many formats more, some of them in code that overruns on damaged files: only these four reach
// it.
bool isTrusted(int type) {
    return type == Exiv2::ImageType::jpeg || type == Exiv2::ImageType::tiff ||
           type == Exiv2::ImageType::png || type == Exiv2::ImageType::webp;
}

// Runs `work` on the opened picture; whatever is thrown in there becomes a status.
template <class Work>
int32_t withPicture(const char* path, Work work) {
    const std::lock_guard guard(exivLock());
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    try {
        // Only files: a name such as "http://..." must never be fetched.
        Exiv2::BasicIo::AutoPtr file(new Exiv2::FileIo(path));
        if (file->open() != 0 || file->size() > kLargestFile ||
            !isTrusted(Exiv2::ImageFactory::getType(*file))) {
            return kFailed;
        }
        file->close();
        const auto image = Exiv2::ImageFactory::open(file);
        image->readMetadata();
        return work(*image);
    } catch (...) {
        return kFailed;
    }
}

int32_t isExif(const char* path, int* answer) {
    *answer = 0;
    return withPicture(path, [&](Exiv2::Image& image) {
        *answer = image.exifData().empty() ? 0 : 1;
        return kDone;
    });
}

int degreesOf(int orientation) {
    switch (orientation) {
    case 3: return 180;
    case 6: return 90;
    case 8: return 270;
    default: return 0;
    }
}

int32_t getOrientation(const char* path, int* orientation, int* degrees) {
    *orientation = *degrees = 0;
    return withPicture(path, [&](Exiv2::Image& image) {
        const auto& data = image.exifData();
        const auto found = data.findKey(Exiv2::ExifKey(kOrientation));
        if (found == data.end() || found->count() < 1) return kDone; // none: 0
        const long value = found->toLong();
        *orientation = value >= 0 && value <= 8 ? static_cast<int>(value) : 0;
        *degrees = degreesOf(*orientation);
        return kDone;
    });
}

// Whether the property reads back as it was set; damaged files may not hold what is put into them.
bool saysSo(const Exiv2::DataBuf& file, const Exiv2::ExifData& set, const char* key) {
    const auto image = Exiv2::ImageFactory::open(file.pData_, file.size_);
    image->readMetadata();
    const Exiv2::ExifData& found = image->exifData();
    const Exiv2::ExifKey name(key);
    const auto wanted = set.findKey(name), is = found.findKey(name);
    return wanted == set.end() || (is != found.end() && is->toString() == wanted->toString());
}

// Reads `source`, lets `change` alter its properties and puts the result in place of `target`.
template <class Change>
int32_t rewrite(const char* source, const char* target, Change change) {
    return withPicture(source, [&](Exiv2::Image& original) {
        Exiv2::BasicIo& file = original.io();
        if (file.open() != 0) return kFailed;
        Exiv2::DataBuf bytes = file.read(static_cast<long>(file.size()));
        file.close();
        const auto image = Exiv2::ImageFactory::open(bytes.pData_, bytes.size_);
        image->readMetadata();
        if (!change(*image)) return kFailed;
        image->writeMetadata();
        Exiv2::BasicIo& result = image->io();
        if (result.open() != 0) return kFailed;
        const Exiv2::DataBuf whole = result.read(static_cast<long>(result.size()));
        if (whole.size_ != static_cast<long>(result.size())) return kFailed;
        if (!saysSo(whole, image->exifData(), kOrientation) || !saysSo(whole, image->exifData(), kDateTime))
            return kFailed;
        AtomicFile out(target);
        return out.write(whole.pData_, static_cast<size_t>(whole.size_)) && out.commit() ? kDone : kFailed;
    });
}

int32_t setOrientation(const char* path, const char* target, uint16_t orientation) {
    return rewrite(path, target, [&](Exiv2::Image& image) {
        image.exifData()[kOrientation] = orientation;
        return true;
    });
}

bool isDate(const QVDATETIME& time) {
    return time.year >= 1 && time.year <= 9999 && time.month >= 1 && time.month <= 12 && time.day >= 1 &&
           time.day <= 31 && time.hour <= 23 && time.minute <= 59 && time.second <= 59;
}

int32_t setDateTime(const char* path, const QVDATETIME* time) {
    if (!isDate(*time)) return kInvalidArgument;
    char text[32];
    std::snprintf(text, sizeof text, "%04d:%02d:%02d %02d:%02d:%02d", time->year, time->month, time->day,
                  time->hour, time->minute, time->second);
    return rewrite(path, path, [&](Exiv2::Image& image) {
        image.exifData()[kDateTime] = std::string(text);
        return true;
    });
}

int32_t getDateTime(const char* path, QVDATETIME* time) {
    *time = {};
    return withPicture(path, [&](Exiv2::Image& image) {
        const auto& data = image.exifData();
        const auto found = data.findKey(Exiv2::ExifKey(kDateTime));
        if (found == data.end()) return kFailed;
        unsigned parts[6];
        if (std::sscanf(found->toString().c_str(), "%4u%*1[:]%2u%*1[:]%2u%*1[ ]%2u%*1[:]%2u%*1[:]%2u",
                        &parts[0], &parts[1], &parts[2], &parts[3], &parts[4], &parts[5]) != 6) {
            return kFailed; // blank, as some cameras leave it, or no date
        }
        uint16_t* words[] = {&time->year, &time->month,  &time->day,
                             &time->hour, &time->minute, &time->second};
        for (size_t i = 0; i < 6; ++i) *words[i] = static_cast<uint16_t>(parts[i]);
        if (isDate(*time)) return kDone;
        *time = {};
        return kFailed;
    });
}

// A text without the blanks and zeros that cameras fill their fields up with.
std::string textOf(const Exiv2::ExifData& data, const char* key) {
    const auto found = data.findKey(Exiv2::ExifKey(key));
    std::string text = found == data.end() ? std::string() : found->toString();
    text.resize(std::min(text.size(), text.find('\0')));
    const auto first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// Many models repeat their maker: "Canon", "Canon PowerShot S40".
int32_t getCamera(const char* path, char* text, int32_t size) {
    *text = 0;
    return withPicture(path, [&](Exiv2::Image& image) {
        const std::string maker = textOf(image.exifData(), "Exif.Image.Make");
        const std::string model = textOf(image.exifData(), "Exif.Image.Model");
        const std::string brand = maker.substr(0, maker.find(' '));
        const bool repeats = !model.empty() && model.compare(0, brand.size(), brand) == 0;
        const std::string camera = repeats || maker.empty() ? model
                                   : model.empty()          ? maker
                                                            : maker + " " + model;
        std::snprintf(text, static_cast<size_t>(size), "%s", camera.c_str());
        return kDone;
    });
}

// The maker's entries in file order: texts as "name: value" lines, 16-bit values as words, 32-bit values as
// dwords.
int32_t getMakerNote(const char* path, QVMAKERNOTESINK* sink) {
    return withPicture(path, [&](Exiv2::Image& image) {
        bool any = false;
        for (const auto& entry : image.exifData()) {
            if (!Exiv2::ExifTags::isMakerGroup(entry.groupName())) continue;
            any = true;
            const long count = std::min(entry.count(), kMostWords);
            switch (entry.typeId()) {
            case Exiv2::asciiString:
                if (sink->text)
                    sink->text(sink->context, (entry.tagName() + ": " + entry.toString() + "\n").c_str());
                break;
            case Exiv2::unsignedShort:
            case Exiv2::signedShort:
                for (long i = 0; sink->word && i < count; ++i)
                    sink->word(sink->context, static_cast<uint16_t>(entry.toLong(i)));
                break;
            case Exiv2::unsignedLong:
            case Exiv2::signedLong:
                for (long i = 0; sink->dword && i < count; ++i)
                    sink->dword(sink->context, static_cast<uint32_t>(entry.toLong(i)));
                break;
            default: break;
            }
        }
        return any ? kDone : kFailed;
    });
}

// Everything that is said about the picture, but for what describes the old pixels: size, thumbnail,
// orientation.
int32_t copyProperties(const char* from, const char* to, uint16_t orientation) {
    Exiv2::ExifData exif;
    Exiv2::IptcData iptc;
    Exiv2::XmpData xmp;
    const int32_t status = withPicture(from, [&](Exiv2::Image& image) {
        exif = image.exifData();
        iptc = image.iptcData();
        xmp = image.xmpData();
        return kDone;
    });
    if (status != kDone) return status;
    if (exif.empty() && iptc.empty() && xmp.empty()) return kDone;
    return rewrite(to, to, [&](Exiv2::Image& image) {
        Exiv2::ExifThumb(exif).erase();
        for (const char* key :
             {"Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension", "Exif.Image.ImageWidth",
              "Exif.Image.ImageLength", "Exif.Image.Compression", "Exif.Image.BitsPerSample",
              "Exif.Image.PhotometricInterpretation", "Exif.Image.StripOffsets", "Exif.Image.StripByteCounts",
              "Exif.Image.RowsPerStrip", "Exif.Image.SamplesPerPixel", "Exif.Image.PlanarConfiguration",
              "Exif.Image.Predictor", kOrientation}) {
            const auto found = exif.findKey(Exiv2::ExifKey(key));
            if (found != exif.end()) exif.erase(found);
        }
        // The target keeps what it says of its own pixels.
        for (const auto& entry : exif) image.exifData()[entry.key()] = entry.value();
        if (orientation) image.exifData()[kOrientation] = orientation;
        for (const auto& entry : iptc) image.iptcData().add(entry);
        for (const auto& entry : xmp) image.xmpData().add(entry);
        return true;
    });
}

constexpr ExifBackEnd kTable = {isExif,      getOrientation, setOrientation, setDateTime,
                                getDateTime, getMakerNote,   getCamera,      copyProperties};

} // namespace
} // namespace qv::codec

extern "C" QV_PLUGIN_EXPORT const void* qvExifBackEnd() { return &qv::codec::kTable; }
