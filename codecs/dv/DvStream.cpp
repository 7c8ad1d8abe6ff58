#include "codecs/dv/DvStream.h"

#include "qvlibs/media/DvAspect.h"

#include <algorithm>
#include <cstring>

namespace qv {
namespace {

constexpr std::int32_t kFramesAsked = 10; // for their sound
constexpr std::uint32_t kReductions[] = {8, 4, 2, 1};
// Which columns the decoded picture shows: an eighth leaves out what lies outside the 704 active samples.
constexpr std::uint32_t kAll720 = 1;
constexpr std::uint32_t kActive704 = 2;

// The pack that tells how a frame is shown stands at the same place in every second sequence.
constexpr size_t kControlPack = 453;
constexpr std::uint8_t kControlId = 0x61;
constexpr std::uint8_t kInterlacedBit = 0x10;

struct Display {
    DIB_TYPE dibType = DIB_TYPE_4_3;
    bool interlaced = true;
};

// Frames that do not tell, or tell what nobody laid down, are interlaced and shown as 4:3.
Display readDisplay(const std::uint8_t* frame, bool pal) {
    Display display;
    for (size_t at = kControlPack; at < dvFrameSize(pal); at += 2 * dv::kDifSequenceBytes) {
        const std::uint8_t* pack = frame + at;
        if (pack[0] != kControlId) continue;
        display.interlaced = pack[3] & kInterlacedBit;
        if (const DIB_TYPE shape = dvShapeOf(pack + 1)) display.dibType = shape;
        break;
    }
    return display;
}

WAVEFORMATEX stereo16(std::uint32_t rate) { return {WAVE_FORMAT_PCM, 2, rate, rate * 4, 4, 16, 0}; }

} // namespace

const std::uint8_t* DvStream::frameAt(std::int32_t frame) {
    return frame < 0 ? nullptr : file_->frame(static_cast<std::uint32_t>(frame));
}

void DvStream::rate(std::uint32_t& rate, std::uint32_t& scale) {
    rate = file_->rate();
    scale = file_->scale();
}

codec::MovieStream::Size DvStream::size(std::uint32_t reduction) {
    if (std::find(std::begin(kReductions), std::end(kReductions), reduction) == std::end(kReductions))
        return {};
    const auto size = dv::pictureSize(file_->isPal(), static_cast<dv::Reduction>(reduction));
    return {size.width, size.height};
}

bool DvStream::decode(std::int32_t frame, std::uint32_t reduction, std::uint8_t* bits) {
    const std::uint8_t* data = frameAt(frame);
    if (!data) return false;
    const std::span<const std::uint8_t> dif(data, dvFrameSize(file_->isPal()));
    const auto layout = dv::identifyFrame(dif);
    if (!layout || layout->pal() != file_->isPal()) return false;
    // Damage is filled from the frame before, or from the same once more, never from one further away.
    const bool goesOn = reduction == reduction_ && (frame == decoded_ || frame == decoded_ + 1);
    if (!goesOn) decoder_.forget();
    decoded_ = frame;
    reduction_ = reduction;
    dv::PictureTarget target;
    target.bits = bits;
    target.pitch = -static_cast<std::ptrdiff_t>(size(reduction).width) * 3;
    const auto status = decoder_.decode(dif, static_cast<dv::Reduction>(reduction), target);
    return status == dv::DecodeStatus::Done || status == dv::DecodeStatus::Concealed;
}

// The smallest picture that is not smaller than what is wanted, so that it is only ever scaled down; with
// both fields kept, the whole frame. Compressed data is offered where the frame is wanted at its own size.
std::uint32_t DvStream::param(QVFRAMEREQUEST& request, std::int32_t frame) {
    const std::uint8_t* data = frameAt(frame);
    if (!data) return QV_PLUGIN_FAILED;
    const Display display = readDisplay(data, file_->isPal());
    request.dibType = display.dibType;
    request.streamParameter = 0;
    const Size full = size(1);
    const bool isPlain = request.version == 0; // only the type is asked for
    const bool keepFields = request.flags & QV_FRAME_INTERLACED;
    const bool wantsData = request.flags & QV_FRAME_COMPRESSED && !isPlain && request.width == full.width &&
                           request.height == full.height;
    promised_ = 1;
    if (!isPlain && !keepFields) {
        const auto fits = [&](std::uint32_t reduction) {
            const Size offered = size(reduction);
            return offered.width >= request.width && offered.height >= request.height;
        };
        const auto* const found = std::find_if(std::begin(kReductions), std::end(kReductions), fits);
        if (found != std::end(kReductions)) promised_ = *found;
    }
    const Size size = this->size(promised_);
    request.width = request.displayCx = size.width;
    request.height = request.displayCy = size.height;
    request.bitCount = 24;
    if (request.fieldMode != 0) request.fieldMode = promised_ == 8 ? kActive704 : kAll720;
    request.flags &= ~static_cast<std::uint32_t>(QV_FRAME_INTERLACED);
    // Reductions blend the fields.
    if (promised_ == 1 && display.interlaced) request.flags |= QV_FRAME_INTERLACED;
    request.streamValue = request.streamValue2 = 0;
    if (!wantsData) return QV_PLUGIN_OK;
    compressed_.assign(data, data + dvFrameSize(file_->isPal()));
    request.compressedSize = static_cast<std::uint32_t>(compressed_.size());
    qvSetCompressedData(&request, compressed_.data());
    return QV_PLUGIN_COMPRESSED;
}

const void* DvStream::pictureOfLastParam(std::int32_t frame, void* bits) {
    if (!bits) {
        picture_.resize(codec::pictureBytes(size(promised_)));
        bits = picture_.data();
    }
    return decode(frame, promised_, static_cast<std::uint8_t*>(bits)) ? bits : nullptr;
}

std::uint32_t DvStream::dif(std::int32_t frame, void* dif, void* audio, std::int32_t* audioLength) {
    const std::uint8_t* data = frameAt(frame);
    if (!data) return QV_PLUGIN_FAILED;
    std::memcpy(dif, data, dvFrameSize(file_->isPal()));
    if (!audio || !audioLength) return QV_PLUGIN_OK;
    WAVEFORMATEX format{};
    if (!audioFormat(format)) { // silent movies have data all the same
        *audioLength = 0;
        return QV_PLUGIN_OK;
    }
    return this->audio(frame, 1, audio, audioLength);
}

bool DvStream::audioFormat(WAVEFORMATEX& format) {
    if (const WAVEFORMATEX* stream = file_->sound()) {
        format = *stream;
        return true;
    }
    // A tape may begin with frames that say nothing of it.
    for (std::int32_t i = 0; i < kFramesAsked && !looked_ && !inFrames_; ++i) {
        const std::uint8_t* data = frameAt(i);
        const auto sound = data ? findDvSound(data, file_->isPal()) : std::nullopt;
        if (sound) inFrames_ = stereo16(sound->rate);
    }
    looked_ = true;
    if (inFrames_) format = *inFrames_;
    return inFrames_.has_value();
}

std::uint64_t DvStream::samplesBefore(std::uint64_t frame, std::uint32_t rate) const {
    const auto whole = static_cast<unsigned __int128>(frame) * rate * file_->scale() / file_->rate();
    return static_cast<std::uint64_t>(whole);
}

std::uint32_t DvStream::samples(bool asHeaderSays) {
    WAVEFORMATEX format{};
    if (!audioFormat(format)) return 0;
    std::uint64_t count = samplesBefore(file_->frames(), format.nSamplesPerSec);
    if (file_->sound())
        count = asHeaderSays ? file_->soundLength() : file_->soundBytes() / format.nBlockAlign;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX));
}

std::uint32_t DvStream::audio(std::int32_t first, std::int32_t count, void* buffer, std::int32_t* length) {
    WAVEFORMATEX format{};
    if (!audioFormat(format) || *length < 0) return QV_PLUGIN_FAILED;
    const auto begin = static_cast<std::uint64_t>(first);
    if (begin > file_->frames()) return QV_PLUGIN_FAILED;
    const auto number = std::min<std::uint64_t>(static_cast<std::uint64_t>(count), file_->frames() - begin);
    const size_t room = *length == 0 ? INT32_MAX : static_cast<size_t>(*length);
    auto* const bytes = static_cast<std::uint8_t*>(buffer);
    const size_t done = file_->sound() ? soundOfStream(begin, number, bytes, room)
                                       : soundOfFrames(begin, number, bytes, room);
    *length = static_cast<std::int32_t>(done);
    return QV_PLUGIN_OK;
}

size_t DvStream::soundOfStream(std::uint64_t first, std::uint64_t count, std::uint8_t* buffer, size_t room) {
    const WAVEFORMATEX& format = *file_->sound();
    const std::uint64_t from = samplesBefore(first, format.nSamplesPerSec) * format.nBlockAlign;
    const std::uint64_t to = samplesBefore(first + count, format.nSamplesPerSec) * format.nBlockAlign;
    const std::uint64_t whole = room / format.nBlockAlign * format.nBlockAlign;
    return file_->readSound(from, buffer, static_cast<size_t>(std::min<std::uint64_t>(to - from, whole)));
}

// Frames whose sound is missing, or of another rate, are silent for as long as they last: what follows stays
// in step.
size_t DvStream::soundOfFrames(std::uint64_t first, std::uint64_t count, std::uint8_t* buffer, size_t room) {
    const std::uint32_t rate = inFrames_->nSamplesPerSec;
    std::int16_t pairs[2 * kDvMaxSamples];
    size_t done = 0;
    for (std::uint64_t frame = first; frame < first + count; ++frame) {
        const std::uint8_t* data = file_->frame(static_cast<std::uint32_t>(frame));
        auto sound = data ? findDvSound(data, file_->isPal()) : std::nullopt;
        size_t samples = 0;
        if (sound && sound->rate == rate) {
            readDvSound(data, file_->isPal(), *sound, pairs);
            samples = sound->samples;
        } else {
            const std::uint64_t nominal = samplesBefore(frame + 1, rate) - samplesBefore(frame, rate);
            samples = static_cast<size_t>(std::min<std::uint64_t>(nominal, kDvMaxSamples));
            std::fill_n(pairs, 2 * samples, std::int16_t{0});
        }
        const size_t bytes = std::min(4 * samples, (room - done) / 4 * 4);
        std::memcpy(buffer + done, pairs, bytes);
        done += bytes;
        if (bytes < 4 * samples) break;
    }
    return done;
}

std::uint32_t DvStream::videoBits() {
    const double bits = static_cast<double>(dvFrameSize(file_->isPal())) * 8 * file_->rate() / file_->scale();
    return static_cast<std::uint32_t>(std::min(bits, 4294967295.0));
}

std::uint32_t DvStream::audioBits() {
    WAVEFORMATEX format{};
    return audioFormat(format) ? format.nSamplesPerSec * format.nBlockAlign * 8 : 0;
}

} // namespace qv
