#include "qvlibs/media/DvTape.h"

#include "qvlibs/media/Qvavitools.h"
#include "qvlibs/media/TapeStream.h"
#include "qvlibs/plugins/StreamHandle.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {

struct DvTape::Source {
    virtual ~Source() = default;
    virtual std::span<const BYTE> next() = 0;
    virtual double share() const = 0;
    Losses losses;
};

namespace {

constexpr size_t kNtsc = dvFrameBytes(DvSystem::Ntsc), kPal = dvFrameBytes(DvSystem::Pal), kSequence = 12000;

// The first block of a sequence, by its address.
bool isSequenceHeader(const BYTE* block, int number) {
    return (block[0] & 0xF0) == 0x10 && block[1] >> 4 == number && block[2] == 0;
}

// Chunks of other sizes before the first frame, until it is clear that there will be none.
constexpr int kOddAtMost = 30;

bool isSize(std::uint64_t size) { return size == kNtsc || size == kPal; }

double shareOf(const TapeStream& stream) {
    if (!stream.length()) return -1;
    return std::min(1.0, static_cast<double>(stream.position()) / static_cast<double>(stream.length()));
}

// Any sequence of an NTSC frame's reach in its place.
bool isFrame(std::span<const BYTE> bytes) {
    for (int i = 0; i < 10 && static_cast<size_t>(i) * kSequence + 3 <= bytes.size(); ++i) {
        if (isSequenceHeader(bytes.data() + static_cast<size_t>(i) * kSequence, i)) return true;
    }
    return false;
}

// Where the next frame begins within reach, 1 byte on or later; 0 when nowhere.
size_t distanceToFrame(TapeStream& stream) {
    const auto bytes = stream.peek(TapeStream::kReach);
    for (size_t at = 1; at + kSequence + 3 <= bytes.size(); ++at) {
        if (isSequenceHeader(&bytes[at], 0) && isSequenceHeader(&bytes[at + kSequence], 1)) return at;
    }
    return 0;
}

} // namespace

// Frames without anything between them. Each announces its system; where bytes are missing the next frame is
// looked for.
struct DvTape::RawSource : Source {
    explicit RawSource(std::unique_ptr<TapeStream> source) : owned(std::move(source)) {}

    std::span<const BYTE> next() override {
        stream.skip(pending);
        pending = 0;
        auto bytes = stream.peek(dvFrameBytes(system));
        if (bytes.size() >= kNtsc && stream.position() >= frameFree && !isFrame(bytes)) {
            const size_t distance = distanceToFrame(stream);
            frameFree = stream.position() + (distance ? distance : TapeStream::kReach - 2 * kSequence);
            // Whole frames of nothing, as some capture programs write for lost ones, stay frames.
            if (distance % dvFrameBytes(system) != 0) {
                losses.skippedBytes += static_cast<std::int64_t>(distance);
                stream.skip(distance);
            }
            bytes = stream.peek(dvFrameBytes(system)); // looking further has moved them
        }
        if (bytes.size() >= kNtsc) system = dvSystemOf(bytes).value_or(system);
        const size_t size = dvFrameBytes(system);
        if (bytes.size() < size) bytes = stream.peek(size);
        if (bytes.size() < size) {
            losses.endsEarly = losses.endsEarly || !bytes.empty() || stream.failed();
            losses.skippedBytes += static_cast<std::int64_t>(bytes.size());
            stream.skip(bytes.size());
            return {};
        }
        pending = size;
        return bytes.first(size);
    }
    double share() const override { return shareOf(stream); }

    std::unique_ptr<TapeStream> owned;
    TapeStream& stream = *owned;
    size_t pending = 0;          // bytes of the frame handed out last
    std::uint64_t frameFree = 0; // no frame begins before this position: it has been searched
    DvSystem system = DvSystem::Ntsc;
};

// The chunks of one stream, in the order of the file. A type 1 stream carries frames just as a video stream
// does.
struct DvTape::AviSource : Source {
    explicit AviSource(std::unique_ptr<TapeStream> source) : owned(std::move(source)) {}

    std::span<const BYTE> next() override {
        stream.skip(pending);
        pending = 0;
        while (true) {
            const auto head = stream.peek(12);
            if (head.size() < 8) return end(!head.empty());
            const DWORD size = number(head, 4);
            const auto is = [&](const char* id) { return std::memcmp(head.data(), id, 4) == 0; };
            if (is("RIFF")) {
                stream.skip(12);
            } else if (is("LIST")) {
                const bool open = head.size() == 12 && (std::memcmp(&head[8], "movi", 4) == 0 ||
                                                        std::memcmp(&head[8], "rec ", 4) == 0);
                stream.skip(open ? 12 : padded(size));
            } else if (isOfStream(head)) {
                stream.skip(8);
                if (isSize(size)) {
                    const auto frame = stream.peek(size);
                    if (frame.size() < size) return end(true);
                    pending = size;
                    hasFrame = true;
                    return frame;
                }
                ++(size ? losses.oddFrames : losses.emptyFrames);
                if (!hasFrame && losses.oddFrames > kOddAtMost) return end(true); // no DV
                stream.skip(padded(size) - 8);
            } else if (isCode(head)) {
                stream.skip(padded(size));
            } else {
                return end(true); // no chunk begins here: the file was cut or overwritten
            }
        }
    }
    double share() const override { return shareOf(stream); }

    static DWORD number(std::span<const BYTE> bytes, size_t at) {
        return DWORD{bytes[at]} | DWORD{bytes[at + 1]} << 8 | DWORD{bytes[at + 2]} << 16 |
               DWORD{bytes[at + 3]} << 24;
    }
    static std::uint64_t padded(DWORD size) { return 8 + std::uint64_t{size} + size % 2; }
    static bool isCode(std::span<const BYTE> head) {
        return std::all_of(head.begin(), head.begin() + 4,
                           [](BYTE byte) { return byte >= 0x20 && byte < 0x7F; });
    }
    // "00dc", "00db", "00iv", "00__": all but sound, text and index chunks of the first stream that has frames.
    bool isOfStream(std::span<const BYTE> head) {
        const auto isDigit = [](BYTE byte) { return byte >= '0' && byte <= '9'; };
        if (!isDigit(head[0]) || !isDigit(head[1]) || std::memcmp(&head[2], "wb", 2) == 0 ||
            std::memcmp(&head[2], "tx", 2) == 0)
            return false;
        const int streamNumber = (head[0] - '0') * 10 + head[1] - '0';
        if (chosen < 0) chosen = streamNumber;
        return chosen == streamNumber;
    }
    std::span<const BYTE> end(bool early) {
        losses.endsEarly = losses.endsEarly || early || stream.failed();
        return {};
    }

    std::unique_ptr<TapeStream> owned;
    TapeStream& stream = *owned;
    std::uint64_t pending = 0;
    int chosen = -1;
    bool hasFrame = false;
};

// Any other movie whose plug-in hands out its DV frames.
struct DvTape::MovieSource : Source {
    explicit MovieSource(void* opened) : handle(opened), frames(QVTLAVIGetTotalFrames(opened)) {}
    ~MovieSource() override { QVTLAVIFileClose(handle); }

    std::span<const BYTE> next() override {
        auto* stream = static_cast<PluginStreamHandle*>(handle);
        while (at < frames) {
            std::fill(frame.begin(), frame.end(), BYTE{0});
            const ULONG result =
                stream->plugin->GetDif(stream->stream, at++, frame.data(), 0, nullptr, nullptr);
            if (result == QV_OK) {
                hasFrame = true;
                system = dvSystemOf(frame).value_or(system);
                return std::span(frame).first(dvFrameBytes(system));
            }
            if (result != QV_NO_EXPORT) { // no such frame; the number of them in a long movie is an estimate
                losses.endsEarly = at < frames;
                return {};
            }
            ++losses.oddFrames;
            if (!hasFrame && losses.oddFrames > kOddAtMost) return {}; // no DV
        }
        return {};
    }
    double share() const override { return frames > 0 ? static_cast<double>(at) / frames : -1; }

    void* handle;
    LONG frames, at = 0;
    bool hasFrame = false;
    DvSystem system = DvSystem::Ntsc;
    std::vector<BYTE> frame = std::vector<BYTE>(kPal);
};

DvTape::DvTape(std::unique_ptr<Source> source) : source_(std::move(source)) {
    first_ = source_->next();
    hasFirst_ = true;
}

DvTape::~DvTape() = default;

std::unique_ptr<DvTape> DvTape::open(std::unique_ptr<TapeStream> stream, const char* path,
                                     DvTapeError& error) {
    const auto bytes = stream->peek(dvFrameBytes(DvSystem::Pal));
    const bool isAvi = bytes.size() >= 12 && std::memcmp(bytes.data(), "RIFF", 4) == 0 &&
                       std::memcmp(&bytes[8], "AVI ", 4) == 0;
    const bool isRaw = startsDvFrame(bytes);
    void* const movie = isAvi || isRaw || !path ? nullptr : QVTLAVIFileOpen(path, 0);
    std::unique_ptr<Source> source;
    if (isAvi) {
        source = std::make_unique<AviSource>(std::move(stream));
    } else if (movie) {
        source = std::make_unique<MovieSource>(movie);
    } else if (isRaw || isFrame(bytes) ||
               distanceToFrame(*stream) > 0) { // a capture may begin within a frame
        source = std::make_unique<RawSource>(std::move(stream));
    } else {
        error = DvTapeError::NoDv;
        return nullptr;
    }
    std::unique_ptr<DvTape> tape(new DvTape(std::move(source)));
    error = !tape->first_.empty() && isFrame(tape->first_)      ? DvTapeError::None
            : tape->first_.empty() && !tape->losses().oddFrames ? DvTapeError::NoFrame
                                                                : DvTapeError::NoDv;
    if (error != DvTapeError::None) tape.reset();
    return tape;
}

std::unique_ptr<DvTape> DvTape::open(int descriptor, DvTapeError& error) {
    return open(std::make_unique<TapeStream>(descriptor, false), nullptr, error);
}

std::unique_ptr<DvTape> DvTape::open(const char* path, DvTapeError& error) {
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(descriptor);
        error = DvTapeError::NotReadable;
        errno = EISDIR;
        return nullptr;
    }
    if (descriptor < 0) {
        error = errno == ENOENT || errno == ENOTDIR ? DvTapeError::NotFound : DvTapeError::NotReadable;
        return nullptr;
    }
    return open(std::make_unique<TapeStream>(descriptor, true), path, error);
}

std::span<const BYTE> DvTape::next() {
    if (std::exchange(hasFirst_, false)) return std::exchange(first_, {});
    return source_->next();
}

double DvTape::share() const { return source_->share(); }
DvTape::Losses DvTape::losses() const { return source_->losses; }

} // namespace qv
