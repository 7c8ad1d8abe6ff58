#include "qvlibs/media/FieldRows.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

// Rows of one pixel (4 bytes with the padding), each holding its number.
std::vector<unsigned char> numbered(int rows) {
    std::vector<unsigned char> bits;
    for (int i = 0; i < rows; ++i) bits.insert(bits.end(), 4, static_cast<unsigned char>(i));
    return bits;
}

std::vector<int> rowsOf(const std::vector<unsigned char>& bits) {
    std::vector<int> rows;
    for (size_t i = 0; i < bits.size(); i += 4) rows.push_back(bits[i + 3]);
    return rows;
}

} // namespace

TEST(FieldRows, DoublingFillsOneFieldFromTheOther) {
    const struct {
        ULONG flags;
        std::vector<int> rows;
    } rows[] = {
        {0, {0, 0, 2, 2, 4, 4, 6}},
        {QV_FRAME_SECOND_FIELD, {1, 1, 3, 3, 5, 5, 6}},
        {QV_FRAME_INTERLACED, {0, 1, 2, 3, 4, 5, 6}},
    };
    for (const auto& row : rows) {
        auto bits = numbered(7);
        qv::doubleFieldRows(bits.data(), 1, 7, row.flags);
        EXPECT_EQ(rowsOf(bits), row.rows);
    }
    auto single = numbered(1);
    qv::doubleFieldRows(single.data(), 1, 1, 0);
    EXPECT_EQ(rowsOf(single), std::vector<int>{0});
}

TEST(FieldRows, PackingTheFirstFieldStartsOneRowLate) {
    const struct {
        ULONG flags;
        std::vector<int> firstHalf;
    } rows[] = {{0, {0, 0, 2}}, {QV_FRAME_SECOND_FIELD, {1, 3, 5}}, {QV_FRAME_INTERLACED, {0, 1, 2}}};
    for (const auto& row : rows) {
        auto bits = numbered(6);
        qv::packFieldRows(bits.data(), 1, 6, row.flags);
        auto packed = rowsOf(bits);
        packed.resize(3);
        EXPECT_EQ(packed, row.firstHalf);
    }
}
