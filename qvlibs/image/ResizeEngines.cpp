#include "qvlibs/image/ResizeEngines.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/image/RawPicture.h"
#include "qvlibs/image/kernels/Resample.h"

#include <cstring>
#include <memory>
#include <new>

namespace qv {
namespace {

bool isSound(const RawResize& job) {
    return job.source && rawBytes(job.sourceSize) && rawBytes(job.destinationSize) &&
           isInside(job.sourcePart, job.sourceSize) && isInside(job.destinationPart, job.destinationSize);
}

ULONG resample(const RawResize& job, ResampleKernel kernel, const PixelView& to) {
    const bool done = resample24(kernel, rawView(job.source, job.sourceSize), rawRegion(job.sourcePart), to);
    return done ? QV_OK : QV_FAILED;
}

void clear(const RawResize& job) { std::memset(job.destination, 0, *rawBytes(job.destinationSize)); }

// Moves the result from the start of the buffer to its place. The limit counts three bytes a pixel and no
// padding, on purpose: with padded rows a part near the end stays at the start
// (ResizeEngines.PlacedPartsMove).
void moveIntoPlace(unsigned char* bits, SIZE size, RECT part) {
    const std::int64_t line = rawLine(size);
    const std::int64_t tail = (part.bottom - std::int64_t{1}) * line + part.right * std::int64_t{3};
    const std::int64_t shift = (std::int64_t{size.cy} - part.bottom) * line + part.left * std::int64_t{3};
    if (shift <= 0 || shift + tail > std::int64_t{size.cy} * size.cx * 3) return;
    std::memmove(bits + shift, bits, static_cast<size_t>(tail));
    std::memset(bits, 0, static_cast<size_t>(shift));
}

} // namespace

ULONG resizeSmooth(const RawResize& job) {
    if (!isSound(job) || !job.destination) return QV_FAILED;
    return resample(job, ResampleKernel::Triangle,
                    rawPart(job.destination, job.destinationSize, job.destinationPart));
}

ULONG resizePlaced(const RawResize& job, bool linear) {
    if (!isSound(job)) return QV_FAILED;
    if (!job.destination) {
        const size_t size = *rawBytes(job.destinationSize);
        if (size > *rawBytes(job.sourceSize)) return QV_FAILED;
        const std::unique_ptr<unsigned char[]> result(new (std::nothrow) unsigned char[size]());
        if (!result) return QV_FAILED;
        RawResize into = job;
        into.destination = result.get();
        const ULONG status = resizePlaced(into, linear);
        if (status == QV_OK) std::memcpy(job.source, result.get(), size);
        return status;
    }
    const RECT part = job.destinationPart;
    const RECT start{0, 0, part.right - part.left, part.bottom - part.top};
    if (!isWhole(part, job.destinationSize)) clear(job);
    const ULONG status = resample(job, linear ? ResampleKernel::Triangle : ResampleKernel::CatmullRom,
                                  rawPart(job.destination, job.destinationSize, start));
    moveIntoPlace(job.destination, job.destinationSize, part);
    return status;
}

ULONG resizeScaled(const RawResize& job, bool triangle) {
    if (!isSound(job) || !job.destination) return QV_FAILED;
    if (!isWhole(job.destinationPart, job.destinationSize)) clear(job);
    return resample(job, triangle ? ResampleKernel::Triangle : ResampleKernel::Lanczos3,
                    rawPart(job.destination, job.destinationSize, job.destinationPart));
}

} // namespace qv
