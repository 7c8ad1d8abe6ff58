// A DV movie as the exports show it: frames of 720 x 480 or 576 and their reductions, sound as PCM, and the
// DV data itself.
#pragma once

#include "codecs/common/MovieStream.h"
#include "codecs/dv/DvDecoder.h"
#include "codecs/dv/DvFile.h"

namespace qv {

class DvStream : public codec::MovieStream {
public:
    explicit DvStream(std::unique_ptr<DvFile> file) : file_(std::move(file)) {}

    std::uint32_t frames() override { return file_->frames(); }
    std::uint32_t samples(bool asHeaderSays) override;
    std::uint32_t fourCharacters() override { return file_->handler(); }
    void rate(std::uint32_t& rate, std::uint32_t& scale) override;
    Size size(std::uint32_t reduction) override;
    bool decode(std::int32_t frame, std::uint32_t reduction, std::uint8_t* bits) override;
    std::uint32_t param(QVFRAMEREQUEST& request, std::int32_t frame) override;
    const void* pictureOfLastParam(std::int32_t frame, void* bits) override;
    std::uint32_t dif(std::int32_t frame, void* dif, void* audio, std::int32_t* audioLength) override;
    std::uint32_t audio(std::int32_t first, std::int32_t count, void* buffer, std::int32_t* length) override;
    bool audioFormat(WAVEFORMATEX& format) override;
    std::uint32_t videoBits() override;
    std::uint32_t audioBits() override;

private:
    const std::uint8_t* frameAt(std::int32_t frame);
    std::uint64_t samplesBefore(std::uint64_t frame, std::uint32_t rate) const;
    size_t soundOfStream(std::uint64_t first, std::uint64_t count, std::uint8_t* buffer, size_t room);
    size_t soundOfFrames(std::uint64_t first, std::uint64_t count, std::uint8_t* buffer, size_t room);

    std::unique_ptr<DvFile> file_;
    dv::Decoder decoder_;
    std::int64_t decoded_ = -1;            // the last frame decoded
    std::uint32_t reduction_ = 0;          // at which
    std::uint32_t promised_ = 1;           // reduction of the last param()
    std::vector<std::uint8_t> picture_;    // lent by pictureOfLastParam()
    std::vector<std::uint8_t> compressed_; // lent by param()
    std::optional<WAVEFORMATEX> inFrames_; // of the sound inside the frames, once known
    bool looked_ = false;
};

} // namespace qv
