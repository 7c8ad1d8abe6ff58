// The shipped DV codec component: our own decoder. Frames are encoded by libavcodec, which the component
// beside it brings in when the first frame is to be encoded.
#include "codecs/common/BackEnd.h"
#include "codecs/dv/DvComponent.h"

namespace qv::dv {
namespace {

constexpr const char* kEncoderModule = "dvcodec-libav.so";

class OwnCodec : public Codec {
public:
    OwnCodec() = default;
    OwnCodec(const OwnCodec&) = delete;
    OwnCodec& operator=(const OwnCodec&) = delete;
    ~OwnCodec() override {
        if (encoder_) encoder_->table->release(encoder_);
    }

    bool decode(std::span<const std::uint8_t> dif, const DecodeOption& option,
                const PictureTarget& target) override {
        const DecodeStatus status = decoder_.decode(dif, option.reduction, target);
        return status == DecodeStatus::Done || status == DecodeStatus::Concealed;
    }

    bool encode(const PictureTarget& source, bool pal, std::span<std::uint8_t> dif) override {
        const std::uint32_t option = QV_DV_ENCODER | (pal ? QV_DV_PAL : QV_DV_NTSC) |
                                     (source.range == RgbRange::Studio ? QV_DV_STUDIO_RGB : 0);
        if (!encoder_) {
            const auto create = reinterpret_cast<decltype(&QVCreateComponent)>(
                codec::exportBeside(kEncoderModule, "QVCreateComponent"));
            void* made = nullptr;
            if (!create || create(QV_DV_CLASS, QV_DV_INTERFACE, &made) < 0) return false;
            encoder_ = static_cast<QVDVCOMPONENT*>(made);
        }
        if (encoder_->table->openEncoder(encoder_, option) < 0) return false;
        const QVDVBLOCK block{.pitch = static_cast<std::int32_t>(source.pitch), .reserved = {}};
        return encoder_->table->encode(encoder_, source.bits, dif.data(), option, &block) >= 0;
    }

private:
    Decoder decoder_;
    QVDVCOMPONENT* encoder_ = nullptr;
};

} // namespace

std::unique_ptr<Codec> makeCodec() { return std::make_unique<OwnCodec>(); }

} // namespace qv::dv
