#include "qvlibs/platform/AviHeader.h"

#include "qvlibs/util/Bytes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace qv {
namespace {

constexpr DWORD kRiff = makeFourCC('R', 'I', 'F', 'F');
constexpr DWORD kList = makeFourCC('L', 'I', 'S', 'T');
constexpr DWORD kAvi = makeFourCC('A', 'V', 'I', ' ');
constexpr DWORD kAvix = makeFourCC('A', 'V', 'I', 'X');
constexpr DWORD kMovi = makeFourCC('m', 'o', 'v', 'i');
constexpr DWORD kRec = makeFourCC('r', 'e', 'c', ' ');
constexpr DWORD kHdrl = makeFourCC('h', 'd', 'r', 'l');
constexpr DWORD kStrl = makeFourCC('s', 't', 'r', 'l');
constexpr DWORD kOdml = makeFourCC('o', 'd', 'm', 'l');

constexpr size_t kChunkHead = 8;
constexpr size_t kMaxStreams = 100;        // chunk ids hold two digits
constexpr size_t kMaxFormat = 64 * 1024;   // bytes of a stream format
constexpr size_t kMaxChunks = 4'000'000;   // per stream and per walk: 37 hours at 30 a second
constexpr size_t kIndexBlock = 512 * 1024; // bytes of an index read at a time

struct Chunk {
    DWORD id = 0;
    DWORD listType = 0; // of RIFF and LIST
    std::uint64_t data = 0;
    std::uint64_t end = 0;  // cut to the list that holds it
    std::uint32_t size = 0; // as the file says
};

// Steps through the chunks of a list. Ends at the list's end, at an unreadable head, or at one whose id is
// not text: what follows is no longer a list of chunks.
class ChunkWalk {
public:
    ChunkWalk(const AviBytes& file, std::uint64_t begin, std::uint64_t end)
        : file_(file), at_(begin), end_(std::min(end, file.size)) {}

    std::optional<Chunk> next() {
        std::array<std::uint8_t, 12> head{};
        if (at_ > end_ || end_ - at_ < kChunkHead || ++steps_ > kMaxChunks) return std::nullopt;
        const size_t wanted = static_cast<size_t>(std::min<std::uint64_t>(head.size(), end_ - at_));
        const size_t got = file_.read(at_, head.data(), wanted);
        if (got < kChunkHead || !isText(head)) return std::nullopt;
        ByteReader in(head.data(), got);
        Chunk chunk;
        chunk.id = in.u32();
        chunk.size = in.u32();
        chunk.data = at_ + kChunkHead;
        std::uint64_t size = chunk.size;
        if (chunk.id == kRiff || chunk.id == kList) {
            chunk.listType = in.u32();
            // Writers put the size in when they are done: a list of size 0 reaches to the end.
            if (size < 4) size = end_ - chunk.data;
        }
        chunk.end = std::min(chunk.data + size, end_);
        at_ = chunk.data + size + (size & 1);
        return chunk;
    }

    // Goes on inside the list just given.
    void enter(const Chunk& list) { at_ = list.data + 4; }

private:
    static bool isText(const std::array<std::uint8_t, 12>& head) {
        return std::all_of(head.begin(), head.begin() + 4, [](std::uint8_t c) { return c >= 32 && c < 127; });
    }

    const AviBytes& file_;
    std::uint64_t at_;
    std::uint64_t end_;
    size_t steps_ = 0;
};

std::vector<std::uint8_t> contents(const AviBytes& file, const Chunk& chunk, size_t limit) {
    const std::uint64_t size = chunk.end > chunk.data ? chunk.end - chunk.data : 0;
    std::vector<std::uint8_t> bytes(static_cast<size_t>(std::min<std::uint64_t>(size, limit)));
    bytes.resize(file.read(chunk.data, bytes.data(), bytes.size()));
    return bytes;
}

void readMainHeader(const std::vector<std::uint8_t>& bytes, AviHeader& header) {
    ByteReader in(bytes);
    header.microsecondsPerFrame = in.u32();
    in.skip(12);
    header.totalFrames = in.u32();
    in.skip(12);
    header.width = in.u32();
    header.height = in.u32();
}

void readStreamHeader(const std::vector<std::uint8_t>& bytes, AviStream& stream) {
    ByteReader in(bytes);
    stream.type = in.u32();
    stream.handler = in.u32();
    in.skip(12);
    stream.scale = in.u32();
    stream.rate = in.u32();
    in.skip(4);
    stream.length = in.u32();
    in.skip(8);
    stream.sampleSize = in.u32();
    stream.frame.left = static_cast<std::int16_t>(in.u16());
    stream.frame.top = static_cast<std::int16_t>(in.u16());
    stream.frame.right = static_cast<std::int16_t>(in.u16());
    stream.frame.bottom = static_cast<std::int16_t>(in.u16());
}

AviStream readStream(const AviBytes& file, const Chunk& list) {
    AviStream stream;
    ChunkWalk walk(file, list.data + 4, list.end);
    while (const auto chunk = walk.next()) {
        if (chunk->id == makeFourCC('s', 't', 'r', 'h')) {
            readStreamHeader(contents(file, *chunk, 64), stream);
        } else if (chunk->id == makeFourCC('s', 't', 'r', 'f')) {
            stream.format = contents(file, *chunk, kMaxFormat);
        } else if (chunk->id == makeFourCC('i', 'n', 'd', 'x')) {
            stream.indexAt = chunk->data;
            stream.indexSize = static_cast<std::uint32_t>(chunk->end - chunk->data);
        }
    }
    return stream;
}

void readHeaderList(const AviBytes& file, const Chunk& list, AviHeader& header) {
    ChunkWalk walk(file, list.data + 4, list.end);
    while (const auto chunk = walk.next()) {
        if (chunk->id == makeFourCC('a', 'v', 'i', 'h')) {
            readMainHeader(contents(file, *chunk, 56), header);
        } else if (chunk->listType == kStrl && header.streams.size() < kMaxStreams) {
            header.streams.push_back(readStream(file, *chunk));
        } else if (chunk->listType == kOdml) {
            walk.enter(*chunk);
        } else if (chunk->id == makeFourCC('d', 'm', 'l', 'h')) {
            const auto bytes = contents(file, *chunk, 4);
            header.openDmlFrames = ByteReader(bytes).u32();
        }
    }
}

void readSegment(const AviBytes& file, const Chunk& riff, AviHeader& header) {
    ChunkWalk walk(file, riff.data + 4, riff.end);
    while (const auto chunk = walk.next()) {
        if (chunk->listType == kHdrl && header.streams.empty()) {
            readHeaderList(file, *chunk, header);
        } else if (chunk->listType == kMovi) {
            header.movi.push_back({chunk->data + 4, chunk->end});
        } else if (chunk->id == makeFourCC('i', 'd', 'x', '1') && header.oldIndex.end == 0) {
            header.oldIndex = {chunk->data, chunk->end};
        }
    }
}

// "00dc", "01wb", "00__": two digits and a kind. Palette changes and indexes are no data.
bool belongsTo(DWORD id, int stream) {
    const auto digit = [](DWORD character) { return static_cast<int>(character & 0xFF) - '0'; };
    const DWORD kind = id >> 16;
    const bool isData = kind != ('p' | 'c' << 8) && kind != ('i' | 'x' << 8);
    return isData && digit(id) == stream / 10 && digit(id >> 8) == stream % 10;
}

// The chunks that an index names. One entry that cannot be true makes the whole index worthless: without it
// every later frame would stand under a wrong number.
class ChunkList {
public:
    explicit ChunkList(const AviBytes& file) : file_(file) {}

    // False when there is no use in going on.
    bool add(std::uint64_t position, std::uint32_t size) {
        const bool inside = position >= kChunkHead && position <= file_.size && size <= file_.size - position;
        if (!inside || position <= last_ || chunks_.size() >= kMaxChunks) return refuse();
        last_ = position;
        chunks_.push_back({position, size});
        return true;
    }
    bool refuse() {
        refused_ = true;
        return false;
    }

    // The list when it can be trusted: the ends and some entries between are looked up in the file, which is
    // where a cut or shifted file shows.
    std::vector<AviChunk> take(int stream) {
        if (refused_ || chunks_.empty()) return {};
        for (const size_t part : {0, 1, 2, 4}) {
            if (!isAviChunk(file_, chunks_[(chunks_.size() - 1) * part / 4], stream)) return {};
        }
        return std::move(chunks_);
    }

private:
    const AviBytes& file_;
    std::vector<AviChunk> chunks_;
    std::uint64_t last_ = 0;
    bool refused_ = false;
};

// Calls visit(reader) for each record of `recordSize` bytes between two positions, until it says false.
template <class Visit>
void forEachRecord(const AviBytes& file, std::uint64_t begin, std::uint64_t end, size_t recordSize,
                   Visit visit) {
    std::vector<std::uint8_t> block;
    while (begin < end && end - begin >= recordSize) {
        const size_t whole = kIndexBlock / recordSize * recordSize;
        block.resize(static_cast<size_t>(std::min<std::uint64_t>(whole, end - begin)));
        const size_t got = file.read(begin, block.data(), block.size()) / recordSize * recordSize;
        if (got == 0) return;
        ByteReader in(block.data(), got);
        while (in.left() >= recordSize) {
            ByteReader record(in.bytes(recordSize));
            if (!visit(record)) return;
        }
        begin += got;
    }
}

constexpr std::uint8_t kIndexOfIndexes = 0;
constexpr std::uint8_t kIndexOfChunks = 1;

struct IndexHead {
    size_t wordsPerEntry = 0;
    std::uint8_t kind = 0;
    std::uint32_t entries = 0;
    DWORD chunkId = 0;
    std::uint64_t base = 0;
};
constexpr size_t kIndexHead = 24;

std::optional<IndexHead> readIndexHead(const AviBytes& file, std::uint64_t at) {
    std::array<std::uint8_t, kIndexHead> bytes{};
    if (file.read(at, bytes.data(), bytes.size()) != bytes.size()) return std::nullopt;
    ByteReader in(bytes.data(), bytes.size());
    IndexHead head;
    head.wordsPerEntry = in.u16();
    in.skip(1); // sub-type: fields
    head.kind = in.u8();
    head.entries = in.u32();
    head.chunkId = in.u32();
    head.base = in.u64();
    return head;
}

// One index of chunks; `end` bounds it.
bool readChunkIndex(const AviBytes& file, std::uint64_t at, std::uint64_t end, int stream,
                    ChunkList& chunks) {
    const auto head = readIndexHead(file, at);
    if (!head || head->kind != kIndexOfChunks || !belongsTo(head->chunkId, stream)) return chunks.refuse();
    if (head->wordsPerEntry < 2 || head->wordsPerEntry > 16) return chunks.refuse();
    const size_t record = head->wordsPerEntry * 4;
    const std::uint64_t begin = at + kIndexHead;
    const std::uint64_t wanted = begin + static_cast<std::uint64_t>(head->entries) * record;
    if (wanted > end) return chunks.refuse();
    bool good = true;
    forEachRecord(file, begin, wanted, record, [&](ByteReader& in) {
        const std::uint64_t offset = in.u32();
        return good = chunks.add(head->base + offset, in.u32() & 0x7FFFFFFF); // top bit: no key frame
    });
    return good;
}

// The index in a stream's header: of the chunks themselves, or of the indexes that stand among them.
std::vector<AviChunk> readOpenDmlIndex(const AviBytes& file, const AviStream& stream, int number) {
    const auto head = stream.indexAt ? readIndexHead(file, stream.indexAt) : std::nullopt;
    if (!head) return {};
    ChunkList chunks(file);
    if (head->kind == kIndexOfChunks) {
        readChunkIndex(file, stream.indexAt, stream.indexAt + stream.indexSize, number, chunks);
        return chunks.take(number);
    }
    if (head->kind != kIndexOfIndexes || head->wordsPerEntry != 4) return {};
    const std::uint64_t begin = stream.indexAt + kIndexHead;
    const std::uint64_t end =
        std::min(begin + static_cast<std::uint64_t>(head->entries) * 16, stream.indexAt + stream.indexSize);
    std::uint64_t reach = 0; // they come in order and apart, so that all together are read once
    forEachRecord(file, begin, end, 16, [&](ByteReader& in) {
        const std::uint64_t at = in.u64();
        if (at < reach) return chunks.refuse();
        const auto chunk = ChunkWalk(file, at, file.size).next();
        if (!chunk) return chunks.refuse();
        reach = chunk->end;
        return readChunkIndex(file, chunk->data, chunk->end, number, chunks);
    });
    return chunks.take(number);
}

// The offsets of the old index count from the word "movi", or, by some writers, from the start of the file.
std::vector<AviChunk> readOldIndex(const AviBytes& file, const AviHeader& header, int stream) {
    if (header.movi.empty()) return {};
    ChunkList chunks(file);
    std::optional<std::uint64_t> base;
    forEachRecord(file, header.oldIndex.begin, header.oldIndex.end, 16, [&](ByteReader& in) {
        const DWORD id = in.u32();
        in.skip(4); // flags
        const std::uint64_t data = in.u32() + std::uint64_t{kChunkHead};
        const std::uint32_t size = in.u32();
        if (!belongsTo(id, stream)) return true;
        if (!base) base = isAviChunk(file, {data, size}, stream) ? 0 : header.movi.front().begin - 4;
        return chunks.add(*base + data, size);
    });
    return chunks.take(stream);
}

// Adds the chunks of the stream that lie at `from` or behind it.
void walkFrom(const AviBytes& file, const AviHeader& header, int stream, std::uint64_t from,
              std::vector<AviChunk>& chunks) {
    for (const auto& list : header.movi) {
        if (list.end <= from) continue;
        ChunkWalk walk(file, std::max(list.begin, from), list.end);
        while (const auto chunk = walk.next()) {
            if (chunk->listType == kRec || chunk->listType == kMovi || chunk->listType == kAvix) {
                walk.enter(*chunk);
            } else if (belongsTo(chunk->id, stream) && chunk->end - chunk->data == chunk->size &&
                       chunks.size() < kMaxChunks) {
                chunks.push_back({chunk->data, chunk->size});
            }
        }
    }
}

} // namespace

AviBytes aviBytesOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    const auto read = [descriptor](std::uint64_t position, void* buffer, size_t count) {
        size_t done = 0;
        while (done < count) {
            const ssize_t got = pread(descriptor, static_cast<char*>(buffer) + done, count - done,
                                      static_cast<off_t>(position + done));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            done += static_cast<size_t>(got);
        }
        return done;
    };
    return {read, static_cast<std::uint64_t>(status.st_size)};
}

int AviHeader::find(DWORD type) const {
    for (size_t i = 0; i < streams.size(); ++i) {
        if (streams[i].type == type) return static_cast<int>(i);
    }
    return -1;
}

DWORD AviHeader::length(int stream) const {
    const AviStream& wanted = streams.at(static_cast<size_t>(stream));
    const bool isPicture = wanted.type != makeFourCC('a', 'u', 'd', 's');
    return isPicture ? std::max(wanted.length, openDmlFrames) : wanted.length;
}

std::optional<AviHeader> readAviHeader(const AviBytes& file) {
    AviHeader header;
    ChunkWalk walk(file, 0, file.size);
    auto riff = walk.next();
    if (!riff || riff->id != kRiff || riff->listType != kAvi) return std::nullopt;
    readSegment(file, *riff, header);
    while ((riff = walk.next()) && riff->id == kRiff && riff->listType == kAvix) {
        readSegment(file, *riff, header);
    }
    if (header.streams.empty()) return std::nullopt;
    return header;
}

bool isAviChunkHead(const std::uint8_t* head, const AviChunk& chunk, int stream) {
    ByteReader in(head, kChunkHead);
    const DWORD id = in.u32();
    return belongsTo(id, stream) && in.u32() == chunk.size;
}

bool isAviChunk(const AviBytes& file, const AviChunk& chunk, int stream) {
    std::array<std::uint8_t, kChunkHead> head{};
    if (chunk.position < kChunkHead || chunk.position > file.size) return false;
    if (file.read(chunk.position - kChunkHead, head.data(), head.size()) != head.size()) return false;
    return isAviChunkHead(head.data(), chunk, stream);
}

std::vector<AviChunk> walkAviChunks(const AviBytes& file, const AviHeader& header, int stream) {
    std::vector<AviChunk> chunks;
    walkFrom(file, header, stream, 0, chunks);
    return chunks;
}

std::vector<AviChunk> readAviIndex(const AviBytes& file, const AviHeader& header, int stream) {
    if (stream < 0 || static_cast<size_t>(stream) >= header.streams.size()) return {};
    auto chunks = readOpenDmlIndex(file, header.streams[static_cast<size_t>(stream)], stream);
    if (chunks.empty()) chunks = readOldIndex(file, header, stream);
    if (chunks.empty()) return walkAviChunks(file, header, stream);
    // A writer that was killed has indexed its full segments only; what it wrote since follows.
    const std::uint64_t end = chunks.back().position + chunks.back().size;
    walkFrom(file, header, stream, end + (end & 1), chunks);
    const AviStream& info = header.streams[static_cast<size_t>(stream)];
    if (info.type != makeFourCC('a', 'u', 'd', 's') && chunks.size() < header.length(stream)) {
        auto walked = walkAviChunks(file, header, stream);
        if (walked.size() > chunks.size()) return walked; // the index leaves frames out
    }
    return chunks;
}

} // namespace qv
