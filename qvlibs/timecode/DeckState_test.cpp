#include "qvlibs/timecode/DeckState.h"

#include <gtest/gtest.h>

TEST(DeckState, TransportBytes) {
    // Every operand of the three opcodes: runs of operand and state, up to the next row.
    const struct {
        BYTE opcode, from;
        int state;
    } runs[] = {
        {0xC2, 0x00, 0},  {0xC2, 0x75, 14}, {0xC2, 0x76, 0},  {0xC2, 0x7D, 23}, {0xC2, 0x7E, 0},
        {0xC3, 0x00, 0},  {0xC3, 0x30, 12}, {0xC3, 0x31, 10}, {0xC3, 0x38, 1},  {0xC3, 0x39, 8},
        {0xC3, 0x40, 13}, {0xC3, 0x41, 11}, {0xC3, 0x48, 2},  {0xC3, 0x49, 9},  {0xC3, 0x50, 0},
        {0xC3, 0x65, 2},  {0xC3, 0x66, 0},  {0xC3, 0x6D, 3},  {0xC3, 0x6E, 0},  {0xC3, 0x75, 1},
        {0xC3, 0x76, 0},  {0xC3, 0x7D, 3},  {0xC3, 0x7E, 0},  {0xC4, 0x00, 0},  {0xC4, 0x60, 4},
        {0xC4, 0x61, 0},  {0xC4, 0x65, 7},  {0xC4, 0x66, 0},  {0xC4, 0x75, 6},  {0xC4, 0x76, 0},
        {0xC5, 0x00, 0},
    };
    for (size_t i = 0; i < std::size(runs); ++i) {
        const bool last = i + 1 == std::size(runs) || runs[i + 1].opcode != runs[i].opcode;
        for (int operand = runs[i].from; operand < (last ? 0x100 : runs[i + 1].from); ++operand) {
            unsigned char data[] = {runs[i].opcode, static_cast<unsigned char>(operand)};
            EXPECT_EQ(QVTLTranslateRawDataToTransportStatus(data), runs[i].state)
                << std::hex << int{data[0]} << ' ' << operand;
        }
    }
    EXPECT_EQ(QVTLTranslateRawDataToTransportStatus(nullptr), DEFU_NONE);
}

TEST(DeckState, MediumBytes) {
    const struct {
        unsigned char data[2];
        ULONG info;
    } rows[] = {{{0x00, 0x00}, 1}, {{0x00, 0x31}, 3},  {{0x60, 0x00}, 5},     {{0x60, 0x31}, 7},
                {{0x31, 0x00}, 9}, {{0x31, 0x31}, 11}, {{0x7E, 0x00}, 0x401}, {{0x7E, 0x31}, 0x403}};
    for (auto row : rows) EXPECT_EQ(QVTLTranslateRawDataToMediaInfo(row.data), row.info) << int{row.data[0]};
}
