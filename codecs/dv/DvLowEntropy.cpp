// The first values of blocks, for small pictures.
#include <array>
#include <cstddef>
#include <cstdint>

#include "codecs/dv/DvCodes.h"
#include "codecs/dv/DvEntropy.h"
#include "codecs/dv/DvTables.h"

namespace qv::dv {
namespace {

// --- What is wanted of a block: positions in its scan of the values across, down, both, third across and third
// down; 0 for those that are not. Nothing is read behind the last of them.
struct LowScan {
    std::uint8_t positions[5];
    std::uint8_t last;
};
enum : std::size_t { kLuma, kColour };
constexpr LowScan kLowScans[2][2] = {{{{1, 2, 4, 0, 0}, 4}, {{2, 4, 8, 0, 0}, 8}},
                                     {{{1, 2, 4, 6, 9}, 9}, {{2, 4, 8, 18, 12}, 18}}};

std::int16_t* wantedAt(const LowScan& scan, int position, LowValues& values) {
    std::int16_t* const places[5] = {&values.across, &values.down, &values.both, &values.thirdAcross,
                                     &values.thirdDown};
    for (std::size_t i = 0; i < 5; ++i) {
        if (scan.positions[i] == position) return places[i];
    }
    return nullptr;
}

// --- Several codes at once. A state stands for a position in a scan; its page says what the next ten bits hold.
// An entry's bytes are: the values found (0 across, 1 down, 2 both, 4 third across, 5 third down), byte 3 the bits
// they take, bytes 6 and 7 where the next state's page starts. Values of entries that follow each other are in
// different bytes, so that they can be or-ed. The first page stands for a block of which nothing more is wanted.
constexpr int kNextShift = 48;
constexpr int kBitsShift = 24;
constexpr int kValueShifts[5] = {0, 8, 16, 32, 40};

class LowTable {
public:
    constexpr LowTable() {
        std::size_t page = 1;
        for (const std::size_t component : {kLuma, kColour}) {
            for (std::size_t mode = 0; mode < 2; ++mode) {
                const LowScan& scan = kLowScans[component][mode];
                first_[component][mode] = page * kShortCodes;
                for (int position = 0; position < scan.last; ++position, ++page) {
                    for (std::size_t bits = 0; bits < kShortCodes; ++bits)
                        entries_[page * kShortCodes + bits] =
                            entryFor(scan, first_[component][mode], position, bits);
                }
            }
        }
    }
    constexpr const std::uint64_t* entries() const { return entries_.data(); }
    constexpr std::uint64_t first(std::size_t component, std::size_t mode) const {
        return first_[component][mode];
    }

private:
    static constexpr std::uint64_t entryFor(const LowScan& scan, std::size_t first, int position,
                                            std::size_t bits) {
        // Past the last one all but one bit of the window are dropped: the first page is hardly touched.
        constexpr std::uint64_t kDone = std::uint64_t{63} << kBitsShift;
        std::uint64_t entry = 0;
        int used = 0;
        while (position < scan.last) {
            const std::size_t index = bits << used & (kShortCodes - 1);
            const Code& code = kCodes.at[index];
            if (index >= kLongFrom >> (64 - kShortBits) || code.length > kShortBits - used) {
                return entry | static_cast<std::uint64_t>(used) << kBitsShift |
                       (first + static_cast<std::size_t>(position) * kShortCodes) << kNextShift;
            }
            if (code.advance == 0) break;
            used += code.length;
            position += code.advance;
            for (std::size_t i = 0; i < 5; ++i) {
                if (scan.positions[i] == position)
                    entry |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(code.level))
                             << kValueShifts[i];
            }
        }
        return entry | kDone;
    }

    static constexpr std::size_t kPages = 1 + 4 + 8 + 9 + 18; // one for each position before a scan's last
    std::array<std::uint64_t, kPages * kShortCodes> entries_{};
    std::size_t first_[2][2] = {};
};

// Made by the compiler: a program that shows one picture would spend more time on the table than on the picture.
constexpr LowTable kLowTable;

// --- A block on its way through its scan.
struct LowLane {
    std::uint64_t window; // unread bits from the top
    std::uint64_t used;   // the lowest six bits count those that were read
    std::uint64_t next;   // page of the table, 0 when done
    std::uint64_t found;  // entries or-ed
};

QVDV_INLINE void step(LowLane& lane, const std::uint64_t* entries) {
    const std::uint64_t entry = entries[lane.next + (lane.window >> (64 - kShortBits))];
    const std::uint64_t bits = entry >> kBitsShift;
    lane.found |= entry;
    lane.window <<= bits & 63;
    lane.used += bits;
    lane.next = entry >> kNextShift;
}

// Goes on code after code, for what the table does not hold: long codes, and more codes than most blocks have.
// Those that do not lie in the first 64 bits are cut off.
[[gnu::noinline]] void readCodes(const LowLane& lane, const LowScan& scan, int position, LowValues& values) {
    std::uint64_t window = lane.window;
    int left = 64 - static_cast<int>(lane.used & 63);
    while (position < scan.last) {
        const Code& code = window < kLongFrom ? kCodes.at[window >> (64 - kShortBits)]
                                              : kCodes.at[kShortCodes + ((window >> 48) & 0x7FF)];
        if (code.advance == 0 || code.length > left) return;
        window <<= code.length;
        left -= code.length;
        position += code.advance;
        if (std::int16_t* const value = wantedAt(scan, position, values)) *value = code.level;
    }
}

// `count` blocks side by side. Two look-ups are all that most blocks need.
template <int count, std::size_t component>
QVDV_INLINE void readBlocks(const std::uint8_t* area, int quantisation, LowValues* out) {
    constexpr int kBytes = component == kLuma ? kLumaBytes : kColourBytes;
    LowLane lanes[count];
    for (int i = 0; i < count; ++i, area += kBytes) {
        const std::uint64_t head = big64(area);
        out[i].kind = kindOf(head, quantisation);
        out[i].dc = dcOf(head);
        lanes[i] = {head << kHeaderBits | static_cast<std::uint64_t>(area[8]) << 4 | area[9] >> 4, 0,
                    kLowTable.first(component, out[i].kind.fieldMode), 0};
    }
    // Answers whether any of them wants more.
    const auto steps = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            for (LowLane& lane : lanes) step(lane, kLowTable.entries());
        }
        std::uint64_t unfinished = 0;
        for (const LowLane& lane : lanes) unfinished |= lane.next;
        return unfinished != 0;
    };
    bool unfinished = steps(2);
    if (unfinished) unfinished = steps(2);
    for (int i = 0; i < count; ++i) {
        const auto value = [&](int shift) {
            return static_cast<std::int16_t>(static_cast<std::int8_t>(lanes[i].found >> shift));
        };
        out[i].across = value(kValueShifts[0]);
        out[i].down = value(kValueShifts[1]);
        out[i].both = value(kValueShifts[2]);
        out[i].thirdAcross = component == kColour ? value(kValueShifts[3]) : std::int16_t{0};
        out[i].thirdDown = component == kColour ? value(kValueShifts[4]) : std::int16_t{0};
    }
    if (!unfinished) return;
    for (int i = 0; i < count; ++i) {
        if (lanes[i].next == 0) continue;
        const std::size_t mode = out[i].kind.fieldMode;
        const auto position =
            static_cast<int>((lanes[i].next - kLowTable.first(component, mode)) / kShortCodes);
        readCodes(lanes[i], kLowScans[component][mode], position, out[i]);
    }
}

QVDV_INLINE bool readLowValuesIn(const std::uint8_t* block, std::array<LowValues, 6>& out) {
    if (isDamaged(block)) return false;
    const int quantisation = block[3] & 15;
    readBlocks<4, kLuma>(block + 4, quantisation, out.data());
    readBlocks<2, kColour>(block + 4 + 4 * kLumaBytes, quantisation, out.data() + 4);
    return true;
}

#ifdef QVDV_BMI2
QVDV_BMI2 bool readLowValuesBmi2(const std::uint8_t* block, std::array<LowValues, 6>& out) {
    return readLowValuesIn(block, out);
}
#endif

} // namespace

bool readLowValues(const std::uint8_t* block, std::array<LowValues, 6>& out) {
#ifdef QVDV_BMI2
    if (hasBmi2()) return readLowValuesBmi2(block, out);
#endif
    return readLowValuesIn(block, out);
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
