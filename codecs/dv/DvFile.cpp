#include "codecs/dv/DvFile.h"

#include "qvlibs/framework/OpenWithoutWaiting.h"
#include "qvlibs/util/Bytes.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace qv {
namespace {

constexpr DWORD kVids = makeFourCC('v', 'i', 'd', 's');
constexpr DWORD kIavs = makeFourCC('i', 'a', 'v', 's');
constexpr DWORD kAuds = makeFourCC('a', 'u', 'd', 's');
constexpr size_t kChunkHead = 8;
constexpr size_t kDifBlock = 80;

constexpr bool saysPal(const std::uint8_t* frame) { return frame[3] & 0x80; }

// Whether these are the first blocks of a DIF frame that the decoder reads: a header block, subcode, video
// auxiliary data; 25 Mbit/s. PAL in 4:1:1 is another codec's.
bool isDifStart(const std::uint8_t* bytes, size_t size) {
    if (size < 6 * kDifBlock) return false;
    const bool header = bytes[0] == 0x1F && bytes[1] == 0x07 && bytes[2] == 0 && (bytes[3] & 0x7F) == 0x3F;
    const bool blocks = bytes[kDifBlock] >> 5 == 1 && bytes[3 * kDifBlock] >> 5 == 2;
    const std::uint8_t signal = bytes[5 * kDifBlock + 51]; // low bits of the video source pack: the signal
    const bool isDv25 = (signal & 0x1F) == 0 || (signal & 0x1F) == 0x1F;
    const bool is411Pal = saysPal(bytes) && (bytes[4] & 7) == 1;
    return header && blocks && isDv25 && !is411Pal;
}

bool isDvHandler(DWORD handler) {
    return handler == makeFourCC('d', 'v', 's', 'd') || handler == makeFourCC('D', 'V', 'S', 'D');
}

DWORD compressionOf(const AviStream& stream) {
    ByteReader in(stream.format);
    in.skip(16);
    return in.u32();
}

// The stream that holds the frames, or -1.
int findDvStream(const AviHeader& header) {
    const int mixed = header.find(kIavs);
    if (mixed >= 0) return isDvHandler(header.streams[static_cast<size_t>(mixed)].handler) ? mixed : -1;
    const int video = header.find(kVids);
    if (video < 0) return -1;
    const AviStream& stream = header.streams[static_cast<size_t>(video)];
    return isDvHandler(stream.handler) || isDvHandler(compressionOf(stream)) ? video : -1;
}

std::array<std::uint8_t, 6 * kDifBlock> firstBytes(const AviBytes& bytes, size_t& size) {
    std::array<std::uint8_t, 6 * kDifBlock> start{};
    size = bytes.read(0, start.data(), start.size());
    return start;
}

} // namespace

std::optional<DvContainer> sniffDvFile(const char* path) {
    const int descriptor = openWithoutWaiting(path, O_RDONLY);
    if (descriptor < 0) return std::nullopt;
    std::optional<DvContainer> found;
    const AviBytes bytes = aviBytesOf(descriptor);
    if (bytes.read) {
        size_t size = 0;
        const auto start = firstBytes(bytes, size);
        if (isDifStart(start.data(), size)) {
            if (bytes.size >= dvFrameSize(saysPal(start.data()))) found = DvContainer::Raw;
        } else if (const auto header = readAviHeader(bytes)) {
            const int stream = findDvStream(*header);
            if (stream >= 0)
                found = header->streams[static_cast<size_t>(stream)].type == kIavs ? DvContainer::AviType1
                                                                                   : DvContainer::AviType2;
        }
    }
    close(descriptor);
    return found;
}

DvFile::DvFile(int descriptor) : descriptor_(descriptor), bytes_(aviBytesOf(descriptor)) {}

DvFile::~DvFile() { close(descriptor_); }

std::unique_ptr<DvFile> DvFile::open(const char* path) {
    const int descriptor = openWithoutWaiting(path, O_RDONLY);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<DvFile> file(new DvFile(descriptor));
    if (!file->bytes_.read) return nullptr;
    const auto header = readAviHeader(file->bytes_);
    const bool opened = header ? file->openAvi(*header) : file->openRaw();
    return opened ? std::move(file) : nullptr;
}

bool DvFile::openRaw() {
    size_t size = 0;
    const auto start = firstBytes(bytes_, size);
    if (!isDifStart(start.data(), size)) return false;
    pal_ = saysPal(start.data());
    count_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes_.size / dvFrameSize(pal_), INT32_MAX));
    rate_ = pal_ ? 25 : 30000;
    scale_ = pal_ ? 1 : 1001;
    return count_ > 0;
}

AviChunk DvFile::chunk(std::uint32_t number) const {
    if (container_ != DvContainer::Raw) return frames_[number];
    const size_t size = dvFrameSize(pal_);
    return {std::uint64_t{number} * size, static_cast<std::uint32_t>(size)};
}

bool DvFile::openAvi(const AviHeader& header) {
    stream_ = findDvStream(header);
    if (stream_ < 0) return false;
    const AviStream& stream = header.streams[static_cast<size_t>(stream_)];
    container_ = stream.type == kIavs ? DvContainer::AviType1 : DvContainer::AviType2;
    handler_ = isDvHandler(stream.handler) ? stream.handler : compressionOf(stream);
    frames_ = readAviIndex(bytes_, header, stream_);
    count_ = static_cast<std::uint32_t>(frames_.size());
    if (!learnSystem()) return false;
    const bool hasRate = stream.rate != 0;
    rate_ = hasRate ? stream.rate : pal_ ? 25 : 30000;
    scale_ = hasRate ? std::max<DWORD>(stream.scale, 1) : pal_ ? 1 : 1001;
    if (container_ == DvContainer::AviType2) openSound(header);
    return true;
}

// The size of the first frame tells the system. Frames left empty at the start show nothing and are kept.
bool DvFile::learnSystem() {
    for (const auto& chunk : frames_) {
        if (chunk.size == 0) continue;
        pal_ = chunk.size >= kDvFramePal;
        return chunk.size >= kDvFrameNtsc;
    }
    return false;
}

void DvFile::openSound(const AviHeader& header) {
    soundStream_ = header.find(kAuds);
    if (soundStream_ < 0) return;
    const AviStream& stream = header.streams[static_cast<size_t>(soundStream_)];
    ByteReader in(stream.format);
    sound_.wFormatTag = in.u16();
    sound_.nChannels = in.u16();
    sound_.nSamplesPerSec = in.u32();
    sound_.nAvgBytesPerSec = in.u32();
    sound_.nBlockAlign = in.u16();
    sound_.wBitsPerSample = in.u16();
    const bool isPcm = sound_.wFormatTag == WAVE_FORMAT_PCM && sound_.nChannels >= 1 &&
                       sound_.nChannels <= 8 && (sound_.wBitsPerSample == 8 || sound_.wBitsPerSample == 16) &&
                       sound_.nBlockAlign == sound_.nChannels * sound_.wBitsPerSample / 8 &&
                       sound_.nSamplesPerSec >= 1000 && sound_.nSamplesPerSec <= 192000;
    if (in.failed() || !isPcm) return;
    soundLength_ = stream.length;
    for (const auto& chunk : readAviIndex(bytes_, header, soundStream_)) {
        if (chunk.size == 0) continue;
        soundBlocks_.push_back({soundBytes_, chunk});
        soundBytes_ += chunk.size;
    }
}

const std::uint8_t* DvFile::frame(std::uint32_t number) {
    if (number >= count_) return nullptr;
    while (chunk(number).size == 0) {
        if (number == 0) return nullptr;
        --number;
    }
    if (buffered_ == number) return buffer_.data() + kChunkHead;
    buffered_ = -1;
    const AviChunk wanted = chunk(number);
    const size_t size = dvFrameSize(pal_);
    if (wanted.size < size) return nullptr;
    buffer_.resize(kChunkHead + size);
    if (container_ == DvContainer::Raw) {
        if (bytes_.read(wanted.position, buffer_.data() + kChunkHead, size) != size) return nullptr;
    } else {
        const std::uint64_t head = wanted.position - kChunkHead;
        if (bytes_.read(head, buffer_.data(), buffer_.size()) != buffer_.size()) return nullptr;
        // The index is held against every chunk that is used: no frame under another one's number.
        if (!isAviChunkHead(buffer_.data(), wanted, stream_)) return nullptr;
    }
    buffered_ = number;
    return buffer_.data() + kChunkHead;
}

size_t DvFile::readSound(std::uint64_t position, void* buffer, size_t count) {
    auto block = std::upper_bound(soundBlocks_.begin(), soundBlocks_.end(), position,
                                  [](std::uint64_t at, const SoundBlock& b) { return at < b.begin; });
    size_t done = 0;
    if (block != soundBlocks_.begin()) --block;
    for (; block != soundBlocks_.end() && done < count; ++block) {
        const std::uint64_t inside = position + done - block->begin;
        if (inside >= block->chunk.size) break;
        const size_t wanted =
            static_cast<size_t>(std::min<std::uint64_t>(block->chunk.size - inside, count - done));
        const size_t got =
            bytes_.read(block->chunk.position + inside, static_cast<std::uint8_t*>(buffer) + done, wanted);
        done += got;
        if (got < wanted) break;
    }
    return done;
}

} // namespace qv
