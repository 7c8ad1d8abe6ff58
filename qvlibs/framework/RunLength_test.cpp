#include "qvlibs/framework/RunLength.h"

#include <gtest/gtest.h>

#include <random>

namespace {

std::vector<BYTE> decoded(const std::vector<BYTE>& data, int width, int height, int bits) {
    const size_t line = static_cast<size_t>((width * bits + 31) / 32 * 4);
    std::vector<BYTE> rows(line * static_cast<size_t>(height), 0xEE);
    qv::decodeRunLength(data, rows, line, width, height, bits);
    return rows;
}

} // namespace

TEST(RunLength, WhatIsWrittenIsRead) {
    std::mt19937 random(5);
    for (int round = 0; round < 500; ++round) {
        const int bits = round % 2 ? 8 : 4, width = 1 + static_cast<int>(random() % 600),
                  height = 1 + round % 4;
        const size_t line = static_cast<size_t>((width * bits + 31) / 32 * 4);
        std::vector<BYTE> rows(line * static_cast<size_t>(height));
        const int steadiness = static_cast<int>(random() % 20);
        for (int y = 0; y < height; ++y) {
            unsigned value = 0;
            for (int x = 0; x < width; ++x) {
                if (random() % 20 >= static_cast<unsigned>(steadiness)) value = random() % (1u << bits);
                BYTE& byte = rows[static_cast<size_t>(y) * line + static_cast<size_t>(bits == 8 ? x : x / 2)];
                byte = static_cast<BYTE>(bits == 8 ? value : x % 2 ? byte | value : value << 4);
            }
        }
        ASSERT_EQ(decoded(qv::encodeRunLength(rows, line, width, height, bits), width, height, bits), rows)
            << width << "x" << height << ", " << bits << " bits";
    }
}

TEST(RunLength, EveryKindOfRecord) {
    const struct {
        int bits, width, height;
        std::vector<BYTE> data, rows;
    } rows[] = {
        {8, 4, 1, {3, 7, 0, 0, 0, 1}, {7, 7, 7, 0}},
        {8, 4, 1, {0, 3, 1, 2, 3, 0, 1, 9}, {1, 2, 3, 9}},             // a literal, padded to words
        {8, 4, 2, {2, 5, 0, 2, 1, 1, 1, 6}, {5, 5, 0, 0, 0, 0, 0, 6}}, // moves right and up
        {8, 4, 2, {9, 5, 0, 0, 1, 6}, {5, 5, 5, 5, 6, 0, 0, 0}},       // past its row
        {8, 4, 1, {0, 0, 4, 5}, {0, 0, 0, 0}},                         // above the last row
        {8, 4, 1, {0, 1, 4, 5}, {0, 0, 0, 0}},                         // behind the end
        {8, 4, 1, {0, 4, 1, 2}, {1, 2, 0, 0}},                         // cut in a literal
        {8, 4, 1, {0, 2, 200}, {0, 0, 0, 0}},                          // cut in a move
        {8, 4, 1, {4}, {0, 0, 0, 0}},
        {4, 5, 1, {5, 0x12}, {0x12, 0x12, 0x10, 0}},
        {4, 5, 1, {1, 0x40, 0, 4, 0x12, 0x34}, {0x41, 0x23, 0x40, 0}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(decoded(row.data, row.width, row.height, row.bits), row.rows) << "row " << &row - rows;
    }
}

TEST(RunLength, ManyMovesStayInside) {
    std::vector<BYTE> data;
    for (int i = 0; i < 1000; ++i) data.insert(data.end(), {0, 2, 255, 0, 255, 1});
    EXPECT_EQ(decoded(data, 4, 1, 8), (std::vector<BYTE>{0, 0, 0, 0}));
}
