// The shipped DV codec component: our own decoder. Frames are encoded by libavcodec, which the component
// beside it brings in when the first frame is to be encoded.
#include <string>

#include <dlfcn.h>

#include "codecs/dv/DvComponent.h"

namespace qv::dv {
namespace {

constexpr const char* kEncoderModule = "dvcodec-libav.so";

using Create = std::int32_t (*)(const char*, const char*, void**);

// The other component's factory, or null. The module stays mapped: codec libraries do not expect to be
// unmapped.
Create encoderFactory() {
    Dl_info own{};
    if (!dladdr(reinterpret_cast<const void*>(&encoderFactory), &own) || !own.dli_fname) return nullptr;
    const std::string path = own.dli_fname;
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    void* module = dlopen((folder + kEncoderModule).c_str(), RTLD_NOW | RTLD_LOCAL);
    return module ? reinterpret_cast<Create>(dlsym(module, "QVCreateComponent")) : nullptr;
}

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
            const Create create = encoderFactory();
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
