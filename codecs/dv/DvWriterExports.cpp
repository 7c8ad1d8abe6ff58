// The exports of dv.vcp for writing, on top of DvWriter. Frames are appended in the order of the calls; the
// frame number that callers send is not looked at.
#include "codecs/common/Tickets.h"
#include "codecs/dv/DvWriter.h"
#include "qvlibs/plugins/plugin_api.h"

namespace {

// Ready when the module is loaded and gone when it is unloaded.
constinit qv::Tickets<qv::DvWriter> writers;

// Done when action(writer) is true; failed when the ticket is refused or something is thrown.
template <class Action>
uint32_t withWriter(QVWRITER ticket, Action action) {
    return writers.with(ticket, false, action) ? QV_PLUGIN_OK : QV_PLUGIN_FAILED;
}

} // namespace

extern "C" {

// mode: 1 PAL, else NTSC.
QV_PLUGIN_EXPORT QVWRITER OpenW(const char* path, int32_t mode) {
    return qv::guarded(0u, [=] {
        std::shared_ptr<qv::DvWriter> writer = path ? qv::DvWriter::create(path, mode == 1) : nullptr;
        return writer ? writers.add(std::move(writer)) : 0;
    });
}

QV_PLUGIN_EXPORT uint32_t Write2(QVWRITER ticket, const void* bitmapHeader, uint32_t dibType,
                                 const void* bits, int32_t /*frame*/) {
    return withWriter(ticket, [=](qv::DvWriter& writer) {
        return bitmapHeader && bits &&
               writer.addPicture(*static_cast<const BITMAPINFOHEADER*>(bitmapHeader),
                                 static_cast<const std::uint8_t*>(bits), dibType);
    });
}

QV_PLUGIN_EXPORT uint32_t Write(QVWRITER ticket, const void* bitmapHeader, const void* bits, int32_t frame) {
    return Write2(ticket, bitmapHeader, 0, bits, frame);
}

QV_PLUGIN_EXPORT uint32_t WriteDif2(QVWRITER ticket, const void* dif, uint32_t dibType, const void* audio,
                                    int32_t /*frame*/) {
    return withWriter(ticket, [=](qv::DvWriter& writer) {
        return dif && writer.addDif(static_cast<const std::uint8_t*>(dif), dibType,
                                    static_cast<const std::uint8_t*>(audio));
    });
}

QV_PLUGIN_EXPORT uint32_t WriteDif(QVWRITER ticket, const void* dif, const void* audio, int32_t frame) {
    return WriteDif2(ticket, dif, 0, audio, frame);
}

// Rate, channels and bits of the sound that comes with the frames; a rate of 0: none does.
QV_PLUGIN_EXPORT uint32_t SetParameters(QVWRITER ticket, int32_t rate, int32_t channels, int32_t bits) {
    return withWriter(ticket, [=](qv::DvWriter& writer) { return writer.setSound(rate, channels, bits); });
}

QV_PLUGIN_EXPORT uint32_t ResetCodec(QVWRITER ticket) {
    return withWriter(ticket, [](qv::DvWriter& writer) {
        writer.resetEncoder();
        return true;
    });
}

QV_PLUGIN_EXPORT uint32_t CloseW(QVWRITER ticket) {
    return qv::guarded(uint32_t{QV_PLUGIN_FAILED}, [=] {
        const auto writer = writers.remove(ticket);
        return uint32_t{writer && writer->close() ? QV_PLUGIN_OK : QV_PLUGIN_FAILED};
    });
}

} // extern "C"
