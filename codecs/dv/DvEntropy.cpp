#include "codecs/dv/DvEntropy.h"

#include <cstring>

#include "codecs/dv/DvTables.h"

namespace qv::dv {
namespace {

// --- Look-up of codes. A code starts at the top of a 64-bit window. All codes up to 10 bits (sign included)
// do not start with 11111 and are found by 10 bits; the others by the 11 bits after those five ones. An entry
// holds from low to high: 6 bits length, 7 bits advance (zeros and the level itself), bit 15: end of block,
// 16 bits level. The end of a block has length 0, so that a lane that has reached it stays there.
constexpr int kShortBits = 10;
constexpr int kLongBits = 11;
constexpr std::uint64_t kLongFrom = std::uint64_t{0b11111} << 59;
constexpr std::uint32_t kEndFlag = 0x8000;
constexpr std::size_t kCodeEntries = (1u << kShortBits) + (1u << kLongBits);

struct CodeTable {
    std::array<std::uint32_t, kCodeEntries> entries{};

    constexpr void add(std::uint32_t bits, int length, int advance, int level, bool end) {
        const std::uint32_t entry = (end ? kEndFlag : static_cast<std::uint32_t>(length)) |
                                    static_cast<std::uint32_t>(advance) << 6 |
                                    static_cast<std::uint32_t>(static_cast<std::uint16_t>(level)) << 16;
        const std::uint32_t code = bits << (16 - length);
        const std::uint32_t last = code + (1u << (16 - length)) - 1;
        const bool isLong = code >> 11 == 0b11111;
        const std::uint32_t first = isLong ? (1u << kShortBits) + (code & 0x7FF) : code >> 6;
        const std::uint32_t end2 = isLong ? (1u << kShortBits) + (last & 0x7FF) : last >> 6;
        for (std::uint32_t i = first; i <= end2; ++i) entries[i] = entry;
    }
    constexpr CodeTable() {
        for (const RunCode& code : kRunCodes) {
            const bool hasSign = code.amplitude != 0;
            for (std::uint32_t sign = 0; sign < (hasSign ? 2u : 1u); ++sign) {
                add(hasSign ? code.bits * 2u + sign : code.bits, code.length + hasSign, code.run + 1,
                    sign ? -code.amplitude : code.amplitude, false);
            }
        }
        for (std::uint32_t run = 0; run < 64; ++run) {
            add(kZerosEscape << 6 | run, 13, static_cast<int>(run) + 1, 0, false);
        }
        for (std::uint32_t level = 0; level < 512; ++level) {
            const int amplitude = static_cast<int>(level >> 1);
            add(kLevelEscape << 9 | level, 16, 1, level & 1 ? -amplitude : amplitude, false);
        }
        add(kEndOfBlock, kEndOfBlockLength, 0, 0, true);
    }
};
constexpr CodeTable kCodes;

// --- Positions. A lane counts positions so that bit 7 is set as soon as one passes the last coefficient, and
// bit 8 tells the transform: 64 and 320 stand for the first AC coefficient, 127 and 383 come after the last
// one. What lies beyond goes to the end of the group.
constexpr std::int32_t kFirstPosition = 64;
constexpr std::int32_t kFieldModePositions = 256;
constexpr std::int32_t kPastEnd = 0x80;

struct PlaceTable {
    std::array<std::uint16_t, 2 * kFieldModePositions> at{};

    constexpr explicit PlaceTable(std::uint16_t beyond) { at.fill(beyond); }
    constexpr void set(int mode, int position, int place) {
        at[static_cast<std::size_t>(mode * kFieldModePositions + position)] =
            static_cast<std::uint16_t>(place);
    }
};
constexpr PlaceTable makePlaces() {
    PlaceTable table(8 * kColumnStride);
    for (int mode = 0; mode < 2; ++mode) {
        for (int i = 1; i < 64; ++i) {
            const int at = (mode ? kScan248 : kScan88)[static_cast<std::size_t>(i)];
            table.set(mode, kFirstPosition + i - 1, at % 8 * kColumnStride + at / 8);
        }
    }
    return table;
}
constexpr PlaceTable kPlaces = makePlaces();

// --- One code at a time.
[[gnu::always_inline]] inline std::uint32_t lookUp(std::uint64_t window) {
    const std::uint64_t shortIndex = window >> (64 - kShortBits);
    const std::uint64_t longIndex = (1u << kShortBits) + ((window >> 48) & 0x7FF);
    return kCodes.entries[window >= kLongFrom ? longIndex : shortIndex];
}

// A block on its way through the passes.
struct Lane {
    std::uint64_t window = 0; // unread bits from the top, zeros below
    std::uint64_t rest = 0;   // the bits of the block's own area after those
    std::int32_t left = 0;    // bits in window
    std::int32_t restLeft = 0;
    std::int32_t position = kFirstPosition;
    bool finished = true;
    std::int16_t* values = nullptr;
};

// Reads the code at the top of the window, if all of it is there. False: it is not, or it ends the block.
[[gnu::always_inline]] inline bool step(std::uint64_t& window, std::int32_t& left, std::int32_t& position,
                                        std::int16_t* values, const PlaceTable& places) {
    std::uint32_t entry = lookUp(window);
    const std::int32_t leftNow = left - static_cast<std::int32_t>(entry & 63);
    entry = leftNow < 0 ? 0u : entry;
    left = leftNow < 0 ? left : leftNow;
    window <<= entry & 63;
    const std::int32_t advance = static_cast<std::int32_t>((entry >> 6) & 0x7F);
    // Where nothing was read, a zero goes where the next level would go.
    const std::int32_t at = position + advance - (advance != 0);
    values[places.at[static_cast<std::size_t>(at)]] = static_cast<std::int16_t>(entry >> 16);
    position += advance;
    return entry & 63;
}

// After stepping: takes the end of the block if it is there.
void settle(Lane& lane) {
    if (lane.position & kPastEnd) {
        lane.position = kFirstPosition; // damaged: a code led past the last coefficient
        lane.finished = true;
    } else if (lane.left >= kEndOfBlockLength && (lookUp(lane.window) & kEndFlag)) {
        lane.window <<= kEndOfBlockLength;
        lane.left -= kEndOfBlockLength;
        lane.finished = true;
    }
}

void runLane(Lane& lane) {
    while (!(lane.position & kPastEnd) && step(lane.window, lane.left, lane.position, lane.values, kPlaces)) {
    }
    settle(lane);
}

// Reads codes of four blocks of one group side by side until each is at its end or out of whole codes. The
// four chains of dependent look-ups overlap, which makes this several times faster than block after block.
void runLanes(Lane (&lanes)[4]) {
    std::uint64_t window[4];
    std::int32_t left[4];
    std::int32_t position[4];
    for (int i = 0; i < 4; ++i) {
        // A finished block waits with no bits: nothing is ever read.
        window[i] = lanes[i].finished ? 0 : lanes[i].window;
        left[i] = lanes[i].finished ? 0 : lanes[i].left;
        position[i] = lanes[i].position;
    }
    std::int16_t* const values = lanes[0].values;
    bool moved = true;
    while (moved && !((position[0] | position[1] | position[2] | position[3]) & kPastEnd)) {
        moved = step(window[0], left[0], position[0], values, kPlaces);
        moved |= step(window[1], left[1], position[1], values + kBlockStride, kPlaces);
        moved |= step(window[2], left[2], position[2], values + 2 * kBlockStride, kPlaces);
        moved |= step(window[3], left[3], position[3], values + 3 * kBlockStride, kPlaces);
    }
    for (int i = 0; i < 4; ++i) {
        if (lanes[i].finished) continue;
        lanes[i].window = window[i];
        lanes[i].left = left[i];
        lanes[i].position = position[i];
        // Another block may have stopped the others half way by its damage.
        moved ? runLane(lanes[i]) : settle(lanes[i]);
    }
}

// --- What blocks leave free, strung together for those that need more.
class BitPool {
public:
    // The top `count` bits of `bits`; what lies below them must be 0.
    void append(std::uint64_t bits, std::int32_t count) {
        if (count == 0) return;
        const std::int32_t at = end_ & 63;
        std::uint64_t* word = &words_[static_cast<std::size_t>(end_ >> 6)];
        word[0] |= bits >> at;
        word[1] = at ? bits << (64 - at) : 0;
        end_ += count;
    }
    void append(const Lane& lane) {
        append(lane.window, lane.left);
        append(lane.rest, lane.restLeft);
    }
    void append(const BitPool& other) {
        for (BitPool from = other; from.left();) {
            const std::int32_t count = from.left() < 64 ? from.left() : 64;
            append(from.take(count), count);
        }
    }
    [[nodiscard]] std::int32_t left() const { return end_ - begin_; }
    // The next `count` bits, 1 to 64, at the top of the result.
    std::uint64_t take(std::int32_t count) {
        const std::int32_t at = begin_ & 63;
        const std::uint64_t* word = &words_[static_cast<std::size_t>(begin_ >> 6)];
        const std::uint64_t bits = at ? word[0] << at | word[1] >> (64 - at) : word[0];
        begin_ += count;
        return bits & ~std::uint64_t{0} << (64 - count);
    }
    void giveBack(std::int32_t count) { begin_ -= count; }

private:
    // 5 macroblocks of 4 x 100 and 2 x 68 bits; append always writes one word ahead.
    std::array<std::uint64_t, 44> words_{};
    std::int32_t begin_ = 0;
    std::int32_t end_ = 0;
};

// Goes on with a block in the bits that others left free.
void continueLane(Lane& lane, BitPool& pool) {
    if (lane.finished) return;
    while (!lane.finished && pool.left() > 0) {
        const std::int32_t room = 64 - lane.left;
        const std::int32_t count = pool.left() < room ? pool.left() : room;
        lane.window |= pool.take(count) >> lane.left;
        lane.left += count;
        runLane(lane);
    }
    if (!lane.finished) return;
    pool.giveBack(lane.left); // what is left of the window came from the pool
    lane.left = 0;
}

// --- The segment.
constexpr int kLumaBytes = 14;
constexpr int kColourBytes = 10;
constexpr int kHeaderBits = 12;

// Error codes of the status nibble: errors that the player could not hide. All others stand for data that can
// be used (0) or was replaced by the player (the even ones).
bool isDamaged(const std::uint8_t* block) {
    const int status = block[3] >> 4;
    const bool isVideo = block[0] >> 5 == 0b100;
    return !isVideo || status == 0x7 || status == 0xF;
}

std::uint64_t big64(const std::uint8_t* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap64(word);
}

// The DC value, the transform and the class are the first 12 bits of a block.
std::int16_t dcOf(std::uint64_t head) {
    return static_cast<std::int16_t>(static_cast<std::int64_t>(head) >> 55);
}
BlockKind kindOf(std::uint64_t head, int quantisation) {
    const unsigned blockClass = (head >> 52) & 3;
    return {.fieldMode = static_cast<std::uint8_t>((head >> 54) & 1),
            .step =
                static_cast<std::uint8_t>(quantisation + kClassOffset[blockClass] + (blockClass == 3) * 22)};
}

// Reads those and makes the lane ready for the rest of the block's own area.
void openBlock(const std::uint8_t* area, int bytes, int quantisation, Lane& lane, BlockKind& kind) {
    const std::uint64_t head = big64(area);
    const std::uint64_t tail = bytes == kLumaBytes ? big64(area + kLumaBytes - 8) << 16
                                                   : static_cast<std::uint64_t>(area[8]) << 56 |
                                                         static_cast<std::uint64_t>(area[9]) << 48;
    lane.values[0] = dcOf(head);
    kind = kindOf(head, quantisation);
    lane.window = head << kHeaderBits | tail >> (64 - kHeaderBits);
    lane.left = 64;
    lane.rest = tail << kHeaderBits;
    lane.restLeft = bytes * 8 - 64 - kHeaderBits;
    lane.position = kFirstPosition + kind.fieldMode * kFieldModePositions;
    lane.finished = false;
}

// First pass over a group: each block in its own area.
void readOwnAreas(Lane (&lanes)[4]) {
    runLanes(lanes);
    bool again = false;
    for (Lane& lane : lanes) {
        if (lane.finished) continue;
        lane.window |= lane.rest >> lane.left;
        const std::int32_t room = 64 - lane.left;
        const std::int32_t count = lane.restLeft < room ? lane.restLeft : room;
        lane.rest <<= count;
        lane.left += count;
        lane.restLeft -= count;
        again = true;
    }
    if (again) runLanes(lanes);
}

} // namespace

void readSegment(const std::uint8_t* dif, int sequence, int segment, SegmentLevels& out) {
    out.values.fill(0);
    out.kinds.fill({});
    Lane lanes[kGroups][4];
    bool anyDamage = false;
    for (int group = 0; group < kGroups; ++group) {
        for (int i = 0; i < 4; ++i) {
            lanes[group][i].values =
                &out.values[static_cast<std::size_t>(group * kGroupValues + i * kBlockStride)];
        }
    }
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        const std::uint8_t* block = dif + segmentBlockOffset(sequence, segment, m);
        const bool damaged = isDamaged(block);
        out.damaged[static_cast<std::size_t>(m)] = damaged;
        anyDamage |= damaged;
        if (damaged) continue;
        const std::uint8_t* area = block + 4;
        for (int component = 0; component < 6; ++component) {
            const int bytes = component < 4 ? kLumaBytes : kColourBytes;
            const int number = blockNumber(m, component);
            openBlock(area, bytes, block[3] & 15, lanes[number / 4][number % 4],
                      out.kinds[static_cast<std::size_t>(number)]);
            area += bytes;
        }
    }
    for (auto& group : lanes) readOwnAreas(group);

    // Second pass: blocks that are not finished go on in what the others of their macroblock left free.
    // Third pass: the same with the whole segment.
    BitPool segmentPool;
    bool allFinished = true;
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        BitPool pool;
        bool finished = true;
        for (int component = 0; component < 6; ++component) {
            const int number = blockNumber(m, component);
            const Lane& lane = lanes[number / 4][number % 4];
            if (lane.finished)
                pool.append(lane);
            else
                finished = false;
        }
        for (int component = 0; component < 6 && !finished; ++component) {
            const int number = blockNumber(m, component);
            Lane& lane = lanes[number / 4][number % 4];
            continueLane(lane, pool);
            allFinished &= lane.finished;
        }
        segmentPool.append(pool);
    }
    // Without one of the macroblocks nobody knows where in the pool the others' bits start.
    if (anyDamage || allFinished) return;
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        for (int component = 0; component < 6; ++component) {
            const int number = blockNumber(m, component);
            continueLane(lanes[number / 4][number % 4], segmentPool);
        }
    }
}

namespace {

// Positions in the scans (8x8, 2-4-8) of the values for a quarter of the size: across, down, both, third
// across, third down. A lane's first position is such that bit 7 is set behind the last one wanted; slot 6
// takes what is not.
constexpr int kLowScan[2][5] = {{1, 2, 4, 6, 9}, {2, 4, 8, 18, 12}};
constexpr PlaceTable makeLowPlaces(int wanted, const int (&last)[2]) {
    PlaceTable table(6);
    for (int mode = 0; mode < 2; ++mode) {
        for (int i = 0; i < wanted; ++i) table.set(mode, 127 - last[mode] + kLowScan[mode][i], i + 1);
    }
    return table;
}
struct LowScan {
    int last[2];
    PlaceTable places;
    constexpr LowScan(int wanted, int last88, int last248)
        : last{last88, last248}, places(makeLowPlaces(wanted, last)) {}
};
constexpr LowScan kLowLuma(3, 4, 8);
constexpr LowScan kLowColour(5, 9, 18);

// The first values of `count` blocks, side by side.
template <int count>
void readLow(const std::uint8_t* area, int bytes, int quantisation, const LowScan& scan, LowValues* out) {
    std::uint64_t window[count];
    std::int32_t left[count];
    std::int32_t position[count];
    std::int16_t values[count][8] = {};
    for (int i = 0; i < count; ++i, area += bytes) {
        const std::uint64_t head = big64(area);
        out[i].kind = kindOf(head, quantisation);
        values[i][0] = dcOf(head);
        window[i] = head << kHeaderBits | static_cast<std::uint64_t>(area[8]) << 4 | area[9] >> 4;
        left[i] = 64;
        const int mode = out[i].kind.fieldMode;
        position[i] = mode * kFieldModePositions + kPastEnd - scan.last[mode];
    }
    bool moved = true;
    while (moved) {
        moved = false;
#pragma GCC unroll 4
        for (int i = 0; i < count; ++i) {
            moved |= step(window[i], left[i], position[i], values[i], scan.places);
            left[i] = position[i] & kPastEnd ? 0 : left[i];
        }
    }
    for (int i = 0; i < count; ++i) {
        const std::int16_t* v = values[i];
        out[i] = {v[0], v[1], v[2], v[3], v[4], v[5], out[i].kind};
    }
}

} // namespace

bool readLowValues(const std::uint8_t* block, std::array<LowValues, 6>& out) {
    if (isDamaged(block)) return false;
    readLow<4>(block + 4, kLumaBytes, block[3] & 15, kLowLuma, out.data());
    readLow<2>(block + 4 + 4 * kLumaBytes, kColourBytes, block[3] & 15, kLowColour, out.data() + 4);
    return true;
}

bool readDcValues(const std::uint8_t* block, std::array<std::int16_t, 6>& out) {
    if (isDamaged(block)) return false;
    const std::uint8_t* area = block + 4;
    for (std::size_t component = 0; component < 6; ++component) {
        out[component] = static_cast<std::int16_t>(static_cast<std::int16_t>(area[0] << 8 | area[1]) >> 7);
        area += component < 4 ? kLumaBytes : kColourBytes;
    }
    return true;
}

} // namespace qv::dv
