#include "codecs/dv/AviWriter.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace qv {
namespace {

constexpr size_t kMaxSegments = 256;
constexpr size_t kIndexHead = 24;
constexpr size_t kSuperEntry = 16;
constexpr size_t kSuperIndex = kIndexHead + kMaxSegments * kSuperEntry;
constexpr size_t kHeaderSize = 10240; // headers and the space kept for the indexes of segments
constexpr std::uint32_t kHasIndex = 0x10;
constexpr std::uint32_t kInterleaved = 0x100;
constexpr std::uint32_t kTrustKeyFrames = 0x800;
constexpr std::uint32_t kKeyFrame = 0x10;

// Begins a chunk or, with a type, a list; end it with endChunk(out, begun).
size_t beginChunk(ByteWriter& out, const char* id, const char* listType = nullptr) {
    out.bytes(id, 4);
    out.u32(0);
    const size_t begun = out.size();
    if (listType) out.bytes(listType, 4);
    return begun;
}

void endChunk(ByteWriter& out, size_t begun) {
    out.patch32(begun - 4, static_cast<std::uint32_t>(out.size() - begun));
    if (out.size() & 1) out.u8(0);
}

} // namespace

std::unique_ptr<AviWriter> AviWriter::create(const char* path, const AviFormat& format) {
    const int descriptor = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<AviWriter> writer(new AviWriter(descriptor, path, format));
    return writer->beginSegment() ? std::move(writer) : nullptr;
}

AviWriter::AviWriter(int descriptor, const char* path, const AviFormat& format)
    : descriptor_(descriptor), path_(path), format_(format) {
    tracks_.push_back({.chunkId = "00dc", .indexId = "ix00"});
    if (format.sound) tracks_.push_back({.chunkId = "01wb", .indexId = "ix01"});
}

AviWriter::~AviWriter() { static_cast<void>(close()); }

bool AviWriter::append(const void* bytes, size_t count) {
    if (!patch(end_, bytes, count)) return false;
    end_ += count;
    return true;
}

bool AviWriter::patch(std::uint64_t position, const void* bytes, size_t count) {
    const auto* from = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t done = pwrite(descriptor_, from, count, static_cast<off_t>(position));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        from += done;
        position += static_cast<std::uint64_t>(done);
        count -= static_cast<size_t>(done);
    }
    return true;
}

// What lies behind is the rest of a write that failed. Where it cannot be cut off, it reads as no chunk.
void AviWriter::cutTo(std::uint64_t end) {
    end_ = end;
    if (ftruncate(descriptor_, static_cast<off_t>(end)) != 0) failed_ = true;
}

// Gives a list the size that it has now.
bool AviWriter::patchSize(std::uint64_t listAt) {
    ByteWriter size;
    size.u32(static_cast<std::uint32_t>(end_ - listAt - 8));
    return patch(listAt + 4, size.data().data(), 4);
}

void AviWriter::putStream(ByteWriter& out, size_t number) const {
    const Track& track = tracks_[number];
    const bool isVideo = number == 0;
    const WAVEFORMATEX sound = format_.sound.value_or(WAVEFORMATEX{});
    const std::uint32_t unit = isVideo ? 1 : sound.nBlockAlign;
    const size_t list = beginChunk(out, "LIST", "strl");

    const size_t head = beginChunk(out, "strh");
    out.bytes(isVideo ? "vids" : "auds", 4);
    out.u32(isVideo ? format_.handler : 0);
    out.zeros(12); // flags, priority and language, initial frames
    out.u32(isVideo ? format_.scale : unit);
    out.u32(isVideo ? format_.rate : sound.nAvgBytesPerSec);
    out.u32(0); // start
    out.u32(static_cast<std::uint32_t>(track.length / unit));
    out.u32(isVideo ? format_.frameBytes : sound.nAvgBytesPerSec / 10);
    out.i32(-1); // quality: the codec's own
    out.u32(isVideo ? 0 : unit);
    out.zeros(4);
    out.u16(static_cast<std::uint16_t>(isVideo ? format_.width : 0));
    out.u16(static_cast<std::uint16_t>(isVideo ? format_.height : 0));
    endChunk(out, head);

    const size_t body = beginChunk(out, "strf");
    if (isVideo) {
        out.u32(sizeof(BITMAPINFOHEADER));
        out.i32(format_.width);
        out.i32(format_.height);
        out.u16(1);
        out.u16(24);
        out.u32(format_.handler);
        out.u32(format_.frameBytes);
        out.zeros(16);
    } else {
        out.u16(sound.wFormatTag);
        out.u16(sound.nChannels);
        out.u32(sound.nSamplesPerSec);
        out.u32(sound.nAvgBytesPerSec);
        out.u16(sound.nBlockAlign);
        out.u16(sound.wBitsPerSample);
        out.u16(0);
    }
    endChunk(out, body);

    const size_t index = beginChunk(out, "indx");
    out.u16(kSuperEntry / 4);
    out.u16(0); // an index of indexes
    out.u32(static_cast<std::uint32_t>(track.finished.size()));
    out.bytes(track.chunkId, 4);
    out.zeros(12);
    for (const auto& entry : track.finished) {
        out.u64(entry.position);
        out.u32(entry.size);
        out.u32(entry.duration);
    }
    out.zeros(index + kSuperIndex - out.size());
    endChunk(out, index);
    endChunk(out, list);
}

// Everything in front of the first movi list.
std::vector<std::uint8_t> AviWriter::header() const {
    ByteWriter out;
    const size_t riff = beginChunk(out, "RIFF", "AVI ");
    out.patch32(riff - 4, firstSize_);
    const size_t list = beginChunk(out, "LIST", "hdrl");
    const size_t main = beginChunk(out, "avih");
    out.u32(static_cast<std::uint32_t>(std::uint64_t{format_.scale} * 1000000 / format_.rate));
    out.u32(0); // bytes a second at most
    out.u32(0); // padding
    out.u32(kHasIndex | kInterleaved | kTrustKeyFrames);
    out.u32(firstFrames_);
    out.u32(0);
    out.u32(static_cast<std::uint32_t>(tracks_.size()));
    out.u32(format_.frameBytes);
    out.i32(format_.width);
    out.i32(format_.height);
    out.zeros(16);
    endChunk(out, main);
    for (size_t i = 0; i < tracks_.size(); ++i) putStream(out, i);
    const size_t extended = beginChunk(out, "LIST", "odml");
    const size_t total = beginChunk(out, "dmlh");
    out.u32(static_cast<std::uint32_t>(tracks_[0].length));
    out.zeros(244);
    endChunk(out, total);
    endChunk(out, extended);
    endChunk(out, list);
    const size_t rest = beginChunk(out, "JUNK");
    out.zeros(kHeaderSize - out.size());
    endChunk(out, rest);
    return out.take();
}

bool AviWriter::beginSegment() {
    segmentAt_ = end_;
    ByteWriter out;
    if (end_ == 0) {
        const auto bytes = header();
        out.bytes(bytes.data(), bytes.size());
    } else {
        beginChunk(out, "RIFF", "AVIX");
    }
    moviAt_ = end_ + out.size();
    beginChunk(out, "LIST", "movi");
    for (auto& track : tracks_) {
        track.entries.clear();
        track.lengthBefore = track.length;
    }
    isOpen_ = append(out.data().data(), out.size());
    if (!isOpen_) cutTo(segmentAt_);
    return isOpen_;
}

bool AviWriter::isFull(size_t bytes) const {
    const std::uint64_t entries = tracks_[0].entries.size() + 1;
    const std::uint64_t indexes = entries * tracks_.size() * (8 + kSuperEntry) + 1024;
    return end_ - segmentAt_ + bytes + indexes > format_.segmentLimit;
}

bool AviWriter::add(std::span<const std::uint8_t> frame, std::span<const std::uint8_t> sound) {
    if (failed_) return false;
    const size_t bytes = frame.size() + sound.size() + 32;
    if (isFull(bytes) && !tracks_[0].entries.empty()) {
        if (tracks_[0].finished.size() + 1 >= kMaxSegments || !endSegment() || !beginSegment()) {
            failed_ = true;
            return false;
        }
    }
    ByteWriter chunks;
    std::vector<Entry> added;
    const std::span<const std::uint8_t> parts[] = {frame, sound};
    for (size_t i = 0; i < tracks_.size(); ++i) {
        const size_t begun = beginChunk(chunks, tracks_[i].chunkId);
        const auto offset = static_cast<std::uint32_t>(end_ + begun - segmentAt_);
        added.push_back({offset, static_cast<std::uint32_t>(parts[i].size())});
        chunks.bytes(parts[i].data(), parts[i].size());
        endChunk(chunks, begun);
    }
    if (!append(chunks.data().data(), chunks.size())) {
        // Back to the last whole frame; what is there can still be finished.
        failed_ = true;
        cutTo(end_);
        return false;
    }
    for (size_t i = 0; i < tracks_.size(); ++i) {
        tracks_[i].entries.push_back(added[i]);
        tracks_[i].length += i == 0 ? 1 : parts[i].size();
    }
    return true;
}

// The index of each stream in this segment, at the end of its movi list.
bool AviWriter::putIndexes() {
    for (size_t i = 0; i < tracks_.size(); ++i) {
        Track& track = tracks_[i];
        ByteWriter out;
        const size_t begun = beginChunk(out, track.indexId);
        out.u16(2);
        out.u8(0);
        out.u8(1); // an index of chunks
        out.u32(static_cast<std::uint32_t>(track.entries.size()));
        out.bytes(track.chunkId, 4);
        out.u64(segmentAt_);
        out.u32(0);
        for (const auto& entry : track.entries) {
            out.u32(entry.offset);
            out.u32(entry.size);
        }
        endChunk(out, begun);
        const std::uint64_t position = end_;
        if (!append(out.data().data(), out.size())) return false;
        const std::uint64_t unit = i == 0 ? 1 : format_.sound->nBlockAlign;
        const auto duration = static_cast<std::uint32_t>((track.length - track.lengthBefore) / unit);
        track.finished.push_back({position, static_cast<std::uint32_t>(out.size()), duration});
    }
    return true;
}

// Offsets count from the word "movi".
bool AviWriter::putOldIndex() {
    ByteWriter out;
    const size_t begun = beginChunk(out, "idx1");
    const auto moviWord = static_cast<std::uint32_t>(moviAt_ + 8 - segmentAt_);
    for (size_t n = 0; n < tracks_[0].entries.size(); ++n) {
        for (const Track& track : tracks_) {
            const Entry& entry = track.entries[n];
            out.bytes(track.chunkId, 4);
            out.u32(kKeyFrame);
            out.u32(entry.offset - 8 - moviWord);
            out.u32(entry.size);
        }
    }
    endChunk(out, begun);
    return append(out.data().data(), out.size());
}

// Where there is no room for indexes, the segment ends without: readers walk it then.
bool AviWriter::endSegment() {
    isOpen_ = false;
    const bool isFirst = segmentAt_ == 0;
    const std::uint64_t bare = end_;
    bool done = putIndexes() && patchSize(moviAt_) && (!isFirst || putOldIndex());
    if (!done) {
        for (auto& track : tracks_) {
            if (!track.finished.empty() && track.finished.back().position >= bare) track.finished.pop_back();
        }
        cutTo(bare);
        patchSize(moviAt_);
        failed_ = true;
    }
    if (isFirst) {
        firstFrames_ = static_cast<std::uint32_t>(tracks_[0].length);
        firstSize_ = static_cast<std::uint32_t>(end_ - 8);
    }
    const auto bytes = header();
    done = patch(0, bytes.data(), bytes.size()) && done;
    return (isFirst || patchSize(segmentAt_)) && done;
}

bool AviWriter::close() {
    if (descriptor_ < 0) return false;
    bool done = !failed_;
    if (tracks_[0].length == 0) {
        unlink(path_.c_str());
    } else if (isOpen_) {
        done = endSegment() && done;
    }
    done = ::close(descriptor_) == 0 && done;
    descriptor_ = -1;
    return done;
}

} // namespace qv
