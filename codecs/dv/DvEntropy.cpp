#include "codecs/dv/DvEntropy.h"

#include <algorithm>
#include <array>
#include <bit>

#include "codecs/dv/DvCodes.h"
#include "codecs/dv/DvTables.h"

// Keeps the compiler from mixing the steps of several lanes, for which there are not enough registers; the
// processor overlaps them by itself.
#define QVDV_IN_ORDER() __asm__ volatile("" ::: "memory")

namespace qv::dv {
namespace {

// --- The short codes for the quick steps: how a code moves a lane (below) and its level. What a step cannot read (long
// codes, the end of a block) seems to be longer than any window and so stops the lane.
constexpr std::uint32_t kStop = 0x4000;
struct StepTable {
    std::array<std::uint32_t, kShortCodes> moves{};
    std::array<std::int16_t, kShortCodes> levels{};
    constexpr StepTable() {
        for (std::size_t i = 0; i < kShortCodes; ++i) {
            const Code& code = kCodes.at[i];
            const bool readable = code.advance != 0 && i < kLongFrom >> (64 - kShortBits);
            moves[i] = readable ? static_cast<std::uint32_t>(code.length << 16 | code.advance) : kStop << 16;
            levels[i] = code.level;
        }
    }
};
constexpr StepTable kSteps;

// --- For a lane that runs alone: up to three codes by one look-up. How far each leads from the first position, and
// its level; where there are fewer, the last one is repeated. No code at all: more bits than any window has.
constexpr int kSeveralBits = 11;
constexpr std::uint8_t kNoCode = 127;
struct SeveralCodes { // read as one word, from the lowest byte up
    std::uint8_t length = kNoCode;
    std::uint8_t advances[3] = {};
    std::int8_t levels[4] = {};
};
struct SeveralTable {
    std::array<SeveralCodes, std::size_t{1} << kSeveralBits> at{};

    SeveralTable() {
        for (std::size_t bits = 0; bits < at.size(); ++bits) at[bits] = codesIn(bits);
    }
    static SeveralCodes codesIn(std::size_t bits) {
        SeveralCodes found;
        int used = 0;
        int advance = 0;
        for (int i = 0; i < 3 && used < kSeveralBits; ++i) {
            const std::size_t window = bits << (used + 64 - kSeveralBits);
            const Code& code = kCodes.at[window >> (64 - kShortBits)];
            if (window >= kLongFrom || code.advance == 0 || code.length > kSeveralBits - used) break;
            used += code.length;
            advance += code.advance;
            for (int k = i; k < 3; ++k) {
                found.advances[k] = static_cast<std::uint8_t>(advance);
                found.levels[k] = static_cast<std::int8_t>(code.level);
            }
        }
        if (used) found.length = static_cast<std::uint8_t>(used);
        return found;
    }
};
const SeveralTable& severalTable() {
    static const SeveralTable table;
    return table;
}

// --- A lane's state is one word. Its low half is the position: 64 for the DC value, 127 for the last one, so that
// bit 7 is set as soon as a code leads past the end; bit 8 tells the transform. Its high half counts bits so
// that the sign is set as soon as a code takes more than there are.
constexpr std::uint32_t kFirstPosition = 64;
constexpr std::uint32_t kFieldModePositions = 256;
constexpr std::uint32_t kPastEnd = 0x80;

template <std::size_t kCount>
struct PlaceTable {
    std::array<std::uint16_t, kCount> places{};

    constexpr explicit PlaceTable(std::uint16_t beyond) { places.fill(beyond); }
    constexpr void set(std::size_t position, int place) {
        places[position] = static_cast<std::uint16_t>(place);
    }
    // The last entry is one of those beyond the end: all bits set lead there.
    constexpr std::uint16_t at(std::uint32_t state) const { return places[state % kCount]; }
};
constexpr auto makePlaces() {
    PlaceTable<2 * kFieldModePositions> table(8 * kColumnStride);
    for (std::size_t mode = 0; mode < 2; ++mode) {
        for (std::size_t i = 1; i < 64; ++i) {
            const int at = (mode ? kScan248 : kScan88)[i];
            table.set(mode * kFieldModePositions + kFirstPosition + i, at % 8 * kColumnStride + at / 8);
        }
    }
    return table;
}
constexpr auto kPlaces = makePlaces();

// A block on its way through the passes.
struct Lane {
    std::uint64_t window; // unread bits from the top, zeros below
    std::uint64_t rest;   // the bits of the block's own area after those
    std::uint32_t state;
    std::int32_t restLeft;
    std::int16_t* values;

    std::int32_t left() const { return 0x7FFF - static_cast<std::int32_t>(state >> 16); }
    void setLeft(std::int32_t bits) {
        state = (state & 0xFFFF) | static_cast<std::uint32_t>(0x7FFF - bits) << 16;
    }
    // Stands at the end of the block, all of it there.
    bool finished() const { return window >> 60 == kEndOfBlock && left() >= kEndOfBlockLength; }
    // A damaged code has led past the last value: as if the block ended here and left nothing free.
    void endDamaged() {
        window = std::uint64_t{kEndOfBlock} << 60;
        state = kFirstPosition;
        setLeft(kEndOfBlockLength);
        restLeft = 0;
    }
    // Moves bits of the own area into the window, as many as it takes.
    void refill() {
        const std::int32_t have = left();
        const std::int32_t count = restLeft < 64 - have ? restLeft : 64 - have;
        window |= have < 64 ? rest >> have : 0;
        rest <<= count;
        restLeft -= count;
        setLeft(have + count);
    }
    // Behind the end of the block, to what it leaves free.
    void passEnd() {
        window <<= kEndOfBlockLength;
        state += kEndOfBlockLength << 16;
    }
};

// Reads the code at the top of the window, if it can. Free of branches, so that several lanes overlap. The
// result is 0 when nothing was read; a level is then written where it does no harm.
template <class Places>
QVDV_INLINE std::uint32_t step(std::uint64_t& window, std::uint32_t& state, std::int16_t* values,
                               const Places& places) {
    const std::size_t index = window >> (64 - kShortBits);
    std::uint32_t move = kSteps.moves[index];
    const auto stopped = static_cast<std::uint32_t>(static_cast<std::int32_t>(state + move) >> 31);
    move &= ~stopped;
    state += move;
    window <<= (move >> 16) & 63;
    values[places.at(state | stopped)] = kSteps.levels[index];
    QVDV_IN_ORDER();
    return move;
}

// Reads one of the long codes, which steps cannot, if it is there.
template <class Places>
QVDV_INLINE bool readLongCode(Lane& lane, const Places& places) {
    if (lane.window < kLongFrom) return false;
    const Code& code = kCodes.at[kShortCodes + ((lane.window >> 48) & 0x7FF)];
    if (code.length > lane.left()) return false;
    lane.state += static_cast<std::uint32_t>(code.length << 16 | code.advance);
    lane.window <<= code.length;
    lane.values[places.at(lane.state)] = code.level;
    return true;
}

// Reads codes of four blocks of one group side by side until each is at its end or out of whole codes. The
// four chains of dependent look-ups overlap, which makes this several times faster than block after block.
QVDV_INLINE void runLanes(Lane* lanes) {
    std::int16_t* const values = lanes[0].values;
    bool again = true;
    while (again) {
        std::uint64_t window[4];
        std::uint32_t state[4];
        for (int i = 0; i < 4; ++i) {
            window[i] = lanes[i].window;
            state[i] = lanes[i].state;
        }
        std::uint32_t moved;
        do {
            moved = step(window[0], state[0], values, kPlaces);
            moved |= step(window[1], state[1], values + kBlockStride, kPlaces);
            moved |= step(window[2], state[2], values + 2 * kBlockStride, kPlaces);
            moved |= step(window[3], state[3], values + 3 * kBlockStride, kPlaces);
        } while (moved && !((state[0] | state[1] | state[2] | state[3]) & kPastEnd));
        again = false;
        for (int i = 0; i < 4; ++i) {
            lanes[i].window = window[i];
            lanes[i].state = state[i];
            again |= readLongCode(lanes[i], kPlaces);
        }
        if (moved) [[unlikely]] { // a damaged block has stopped the others half way
            again = true;
            for (int i = 0; i < 4; ++i) {
                if (lanes[i].state & kPastEnd) lanes[i].endDamaged();
            }
        }
    }
}

// --- What blocks leave free, strung together for those that need more.
class BitPool {
public:
    BitPool() { words_[0] = 0; } // append clears one word ahead

    // The top `count` bits of `bits`; what lies below them must be 0.
    void append(std::uint64_t bits, std::int32_t count) {
        const std::int32_t at = end_ & 63;
        std::uint64_t* word = &words_[static_cast<std::size_t>(end_ >> 6)];
        word[0] |= bits >> at;
        word[1] = bits << 1 << (63 - at);
        end_ += count;
    }
    void append(BitPool& other) {
        while (const std::int32_t left = other.left()) {
            const std::int32_t count = left < 64 ? left : 64;
            append(other.take(count), count);
        }
    }
    std::int32_t left() const { return end_ - begin_; }
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
    // 5 macroblocks of 4 x 100 and 2 x 68 bits.
    std::uint64_t words_[44];
    std::int32_t begin_ = 0;
    std::int32_t end_ = 0;
};

// Moves bits of the pool into the lane's window, as many as it takes. False: there are none.
QVDV_INLINE bool topUp(std::uint64_t& window, std::int32_t& left, BitPool& pool) {
    const std::int32_t count = std::min(64 - left, pool.left());
    if (count <= 0) return false;
    window |= pool.take(count) >> left;
    left += count;
    return true;
}

// Reads several codes at once, until there are no more bits or it meets what the table does not hold.
QVDV_INLINE void runSeveral(Lane& lane, BitPool& pool, const SeveralTable& several) {
    std::int16_t* const values = lane.values;
    std::uint64_t window = lane.window;
    std::uint32_t position = lane.state & 0xFFFF;
    std::int32_t left = lane.left();
    while (!(position & kPastEnd)) {
        const auto codes = std::bit_cast<std::uint64_t>(several.at[window >> (64 - kSeveralBits)]);
        const auto length = static_cast<std::int32_t>(codes & 0xFF);
        if (length > left) {
            if (length == kNoCode || !topUp(window, left, pool)) break;
            continue;
        }
        window <<= codes & 63;
        left -= length;
        for (int i = 0; i < 3; ++i) {
            const std::uint32_t advance = codes >> (8 + 8 * i) & 0xFF;
            const auto level = static_cast<std::int64_t>(codes << (24 - 8 * i)) >> 56;
            values[kPlaces.at(position + advance)] = static_cast<std::int16_t>(level);
        }
        position += codes >> 24 & 0xFF;
    }
    lane.window = window;
    lane.state = position;
    lane.setLeft(left);
}

// Goes on with a block in the bits that others left free. Answers whether it is finished then.
QVDV_INLINE bool continueLane(Lane& lane, BitPool& pool, const SeveralTable& several) {
    std::int32_t left = lane.left();
    while (topUp(lane.window, left, pool)) {
        lane.setLeft(left);
        do {
            runSeveral(lane, pool, several);
            while (!(lane.state & kPastEnd) && step(lane.window, lane.state, lane.values, kPlaces)) {
            }
            if (lane.state & kPastEnd) lane.endDamaged();
        } while (readLongCode(lane, kPlaces));
        if (lane.finished()) {
            pool.giveBack(lane.left() - kEndOfBlockLength); // what follows came from the pool
            return true;
        }
        left = lane.left();
    }
    return false;
}

// Reads the header of a block and makes its lane ready for the rest of the block's own area.
QVDV_INLINE void openBlock(const std::uint8_t* area, int bytes, int quantisation, Lane& lane,
                           BlockKind& kind) {
    const std::uint64_t head = big64(area);
    const std::uint64_t tail = bytes == kLumaBytes ? big64(area + kLumaBytes - 8) << 16
                                                   : static_cast<std::uint64_t>(area[8]) << 56 |
                                                         static_cast<std::uint64_t>(area[9]) << 48;
    kind = kindOf(head, quantisation);
    lane.values[0] = dcOf(head);
    lane.window = head << kHeaderBits | tail >> (64 - kHeaderBits);
    lane.rest = tail << kHeaderBits;
    lane.restLeft = bytes * 8 - 64 - kHeaderBits;
    lane.state = kFirstPosition + kind.fieldMode * kFieldModePositions;
    lane.setLeft(64);
}

// First pass over a group: each block in its own area. A bit for each block that is not finished.
QVDV_INLINE unsigned readOwnAreas(Lane* lanes) {
    const auto unfinished = [&] {
        unsigned bits = 0;
        for (int i = 0; i < 4; ++i) bits |= static_cast<unsigned>(!lanes[i].finished()) << i;
        return bits;
    };
    runLanes(lanes);
    if (unfinished() == 0) return 0;
    for (int i = 0; i < 4; ++i) lanes[i].refill();
    runLanes(lanes);
    return unfinished();
}

// Blocks of the segment by bits.
constexpr unsigned blocksOf(int macroblock) {
    return 0xFu << (macroblock * 4) | 0x3u << (20 + macroblock * 2);
}

QVDV_INLINE void appendFree(BitPool& pool, Lane* lanes, unsigned blocks) {
    for (; blocks; blocks &= blocks - 1) {
        Lane& lane = lanes[std::countr_zero(blocks)];
        lane.passEnd();
        pool.append(lane.window, lane.left());
        pool.append(lane.rest, lane.restLeft);
    }
}

// Which of `blocks` are still not finished after going on in the pool, in the order of the stream.
QVDV_INLINE unsigned continueBlocks(BitPool& pool, Lane* lanes, unsigned blocks) {
    const SeveralTable& several = severalTable();
    unsigned unfinished = blocks;
    for (; blocks; blocks &= blocks - 1) {
        const int number = std::countr_zero(blocks);
        if (continueLane(lanes[number], pool, several)) unfinished &= ~(1u << number);
    }
    return unfinished;
}

// Second pass: blocks that are not finished go on in what the others of their macroblock left free. Third pass:
// the same with what is left in the whole segment.
QVDV_INLINE void share(Lane* lanes, unsigned unfinished, bool everyMacroblock) {
    BitPool pools[kMacroblocksPerSegment];
    unsigned needed = unfinished;
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        const unsigned blocks = unfinished & blocksOf(m);
        if (blocks == 0) continue;
        appendFree(pools[m], lanes, blocksOf(m) & ~blocks);
        needed &= ~blocks | continueBlocks(pools[m], lanes, blocks);
    }
    // Without one of the macroblocks nobody knows where in the pool the others' bits start.
    if (needed == 0 || !everyMacroblock) return;
    BitPool all;
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        if (unfinished & blocksOf(m))
            all.append(pools[m]);
        else
            appendFree(all, lanes, blocksOf(m));
    }
    for (int m = 0; m < kMacroblocksPerSegment; ++m) continueBlocks(all, lanes, needed & blocksOf(m));
}

QVDV_INLINE void readSegmentIn(const std::uint8_t* const* blocks, SegmentLevels& out) {
    out.values.fill(0);
    Lane lanes[kGroups * 4];
    for (int number = 0; number < kGroups * 4; ++number) {
        Lane& lane = lanes[number];
        const int at = number / 4 * kGroupValues + number % 4 * kBlockStride;
        lane.values = &out.values[static_cast<std::size_t>(at)];
        if (number >= kBlocksPerSegment) lane.endDamaged(); // the last group is half empty
    }
    bool everyMacroblock = true;
    for (int m = 0; m < kMacroblocksPerSegment; ++m) {
        const bool damaged = isDamaged(blocks[m]);
        out.damaged[static_cast<std::size_t>(m)] = damaged;
        everyMacroblock &= !damaged;
        const std::uint8_t* area = blocks[m] + 4;
        for (int component = 0; component < 6; ++component) {
            const int bytes = component < 4 ? kLumaBytes : kColourBytes;
            const int number = blockNumber(m, component);
            openBlock(area, bytes, blocks[m][3] & 15, lanes[number],
                      out.kinds[static_cast<std::size_t>(number)]);
            if (damaged) lanes[number].endDamaged();
            area += bytes;
        }
    }
    unsigned unfinished = 0;
    for (int group = 0; group < kGroups; ++group)
        unfinished |= readOwnAreas(lanes + group * 4) << (group * 4);
    if (unfinished) share(lanes, unfinished, everyMacroblock);
}

#ifdef QVDV_BMI2
QVDV_BMI2 void readSegmentBmi2(const std::uint8_t* const* blocks, SegmentLevels& out) {
    readSegmentIn(blocks, out);
}
#endif

} // namespace

void readSegment(const std::uint8_t* const* blocks, SegmentLevels& out) {
#ifdef QVDV_BMI2
    if (hasBmi2()) return readSegmentBmi2(blocks, out);
#endif
    readSegmentIn(blocks, out);
}

} // namespace qv::dv
