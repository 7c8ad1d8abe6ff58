#include "codecs/dv/DvWriter.h"

#include "codecs/dv/DvSound.h"
#include "qvlibs/media/DvBridge.h"
#include "qvlibs/plugins/dv_component.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/timecode/DvStamp.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace qv {
namespace {

constexpr LONG kWidth = 720;
constexpr LONG heightOf(bool pal) { return pal ? 576 : 480; }
constexpr DvSystem systemOf(bool pal) { return pal ? DvSystem::Pal : DvSystem::Ntsc; }

WAVEFORMATEX pcmFormat(std::uint32_t rate, WORD channels) {
    const auto align = static_cast<WORD>(2 * channels);
    return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, 16, 0};
}

// The colour range that the user has chosen, as everywhere where frames are encoded.
ULONG colourOption() { return QVGetProfileInt("Common", "ComplusionDR219RGB", 0); }

} // namespace

std::unique_ptr<DvWriter> DvWriter::create(const char* path, bool pal) {
    // The headers wait for the first frame, which tells of the sound; that the file can be made shows now. A file that
    // is there keeps its content until then.
    const bool isNew = access(path, F_OK) != 0;
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0) return nullptr;
    ::close(descriptor);
    std::unique_ptr<DvWriter> writer(new DvWriter(path, pal));
    writer->isNew_ = isNew;
    writer->given_ = pcmFormat(48000, 2);
    return writer;
}

DvWriter::~DvWriter() {
    resetEncoder();
    if (!closed_) static_cast<void>(close());
}

bool DvWriter::setSound(std::int32_t rate, std::int32_t channels, std::int32_t bits) {
    constexpr std::int32_t kMostRate = 192000;
    if (avi_ || rate < 0 || rate > kMostRate) return false;
    if (rate == 0) {
        given_.reset();
        return true;
    }
    if (channels < 1 || channels > 2 || bits != 16) return false;
    given_ = pcmFormat(static_cast<std::uint32_t>(rate), static_cast<WORD>(channels));
    return true;
}

bool DvWriter::begin(const std::uint8_t* dif, bool hasPcm) {
    if (hasPcm) {
        sound_ = given_;
    } else if (const auto inside = findDvSound(dif, pal_)) {
        sound_ = pcmFormat(inside->rate, 2);
    }
    AviFormat format;
    format.handler = makeFourCC('d', 'v', 's', 'd');
    format.width = kWidth;
    format.height = heightOf(pal_);
    format.rate = static_cast<DWORD>(dvRate(systemOf(pal_)).numerator);
    format.scale = static_cast<DWORD>(dvRate(systemOf(pal_)).denominator);
    format.frameBytes = static_cast<DWORD>(dvFrameSize(pal_));
    format.sound = sound_;
    avi_ = AviWriter::create(path_.c_str(), format);
    return avi_ != nullptr;
}

// Every frame brings as much sound as it lasts, silence where it has none.
std::span<const std::uint8_t> DvWriter::soundOf(const std::uint8_t* dif, const std::uint8_t* pcm) {
    if (!sound_) return {};
    const std::uint32_t rate = sound_->nSamplesPerSec;
    const auto samples = dvSamplesBefore(frames_ + 1, rate, pal_) - dvSamplesBefore(frames_, rate, pal_);
    const size_t bytes = static_cast<size_t>(samples) * sound_->nBlockAlign;
    if (pcm) return {pcm, bytes};
    const auto inside = findDvSound(dif, pal_);
    if (!inside || inside->rate != rate || sound_->nChannels != 2) {
        pcm_.assign(bytes, 0);
        return pcm_;
    }
    std::int16_t pairs[2 * kDvMaxSamples];
    readDvSound(dif, pal_, *inside, pairs);
    pcm_.resize(inside->samples * sizeof(std::int16_t[2]));
    std::memcpy(pcm_.data(), pairs, pcm_.size());
    return pcm_;
}

bool DvWriter::addDif(const std::uint8_t* dif, std::uint32_t dibType, const std::uint8_t* pcm) {
    const size_t size = dvFrameSize(pal_);
    // Frames that are nothing but damage belong to a tape, but no movie can begin with one. A frame of the other
    // system would have another size.
    const auto system = dvSystemOf({dif, size});
    if (failed_ || (system ? *system != systemOf(pal_) : !avi_)) return false;
    if (!given_) pcm = nullptr;
    if (dibType >= DIB_TYPE_4_3 && dibType <= DIB_TYPE_LETTERBOX) {
        if (dif_.data() != dif) dif_.assign(dif, dif + size);
        DEDVSetAspect(dif_.data(), static_cast<DIB_TYPE>(dibType), pal_ ? 1 : 0);
        dif = dif_.data();
    }
    if (!avi_ && !begin(dif, pcm != nullptr)) {
        failed_ = true;
        return false;
    }
    if (!avi_->add({dif, size}, soundOf(dif, pcm))) return false;
    ++frames_;
    return true;
}

bool DvWriter::addPicture(const BITMAPINFOHEADER& header, const std::uint8_t* bits, std::uint32_t dibType) {
    const bool fits = header.biWidth == kWidth && header.biHeight == heightOf(pal_) &&
                      header.biBitCount == 24 && header.biCompression == BI_RGB;
    if (!fits) return false;
    const ULONG open = QV_DV_ENCODER | QV_DV_FAST_CPU | (pal_ ? QV_DV_PAL : QV_DV_NTSC);
    if (!encoder_ && DEDVOpenDVCEncoder(open, &encoder_) != 0) return false;
    dif_.resize(dvFrameSize(pal_));
    // The encoder only reads the picture.
    if (DEDVDVCEncode(encoder_, colourOption(), dif_.data(), const_cast<std::uint8_t*>(bits)) != 0)
        return false;
    DvStamp stamp;
    stamp.label = dvLabelOf(static_cast<std::int64_t>(frames_), !pal_, systemOf(pal_));
    stamp.soundSamples = dvLockedSamples(static_cast<std::int64_t>(frames_), systemOf(pal_));
    return stampDvFrame(dif_, stamp) && addDif(dif_.data(), dibType, nullptr);
}

void DvWriter::resetEncoder() {
    if (encoder_) DEDVCloseDVCEncoder(encoder_);
    encoder_ = nullptr;
}

bool DvWriter::close() {
    closed_ = true;
    if (avi_) return avi_->close();
    // Nothing was written: nothing stays, and nothing is lost.
    return !failed_ && (!isNew_ || unlink(path_.c_str()) == 0);
}

} // namespace qv
