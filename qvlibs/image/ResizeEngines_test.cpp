#include "qvlibs/image/RawPicture.h"
#include "qvlibs/image/ResizeEngines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

struct Picture {
    Picture(LONG width, LONG height, int value)
        : size{width, height},
          bits(static_cast<size_t>(qv::rawLine(size) * height), static_cast<BYTE>(value)) {}
    BYTE at(int x, int row) const { return bits[static_cast<size_t>(row * qv::rawLine(size) + 3 * x)]; }
    // The rectangle of stored rows that is not 0, or an empty one.
    RECT filled() const {
        RECT found{size.cx, size.cy, 0, 0};
        for (LONG row = 0; row < size.cy; ++row) {
            for (LONG x = 0; x < size.cx; ++x) {
                if (!at(x, row)) continue;
                found = {std::min(found.left, x), std::min(found.top, row), std::max(found.right, x + 1),
                         std::max(found.bottom, row + 1)};
            }
        }
        return found;
    }
    SIZE size;
    std::vector<BYTE> bits;
};

qv::RawResize job(Picture& from, Picture& to, RECT part) {
    return {from.bits.data(), from.size, {0, 0, from.size.cx, from.size.cy}, to.bits.data(), to.size, part};
}

} // namespace

TEST(ResizeEngines, SmoothTouchesNothingOutside) {
    Picture from(8, 8, 200), to(9, 10, 3);
    EXPECT_EQ(qv::resizeSmooth(job(from, to, {2, 1, 5, 4})), 0u);
    EXPECT_EQ(to.at(2, 1), 200); // rows from the lowest
    EXPECT_EQ(to.at(4, 3), 200);
    EXPECT_EQ(to.at(5, 3), 3);
    EXPECT_EQ(std::count(to.bits.begin(), to.bits.end(), 200), 27);
    EXPECT_EQ(std::count(to.bits.begin(), to.bits.end(), 3), static_cast<long>(to.bits.size()) - 27);
}

TEST(ResizeEngines, ScaledClearsTheRest) {
    Picture from(8, 8, 200), to(9, 10, 3);
    EXPECT_EQ(qv::resizeScaled(job(from, to, {2, 1, 5, 4}), false), 0u);
    EXPECT_TRUE(to.filled() == (RECT{2, 1, 5, 4}));
    EXPECT_EQ(qv::resizeScaled(job(from, to, {0, 0, 9, 10}), true), 0u);
    EXPECT_EQ(to.at(8, 9), 200);
}

TEST(ResizeEngines, PlacedPartsMove) {
    const struct {
        LONG width, height;
        RECT part, stored;
    } rows[] = {
        {160, 121, {0, 15, 160, 105}, {0, 16, 160, 106}}, // rows from the top: one higher than from below
        {160, 120, {20, 0, 140, 120}, {20, 0, 140, 120}},
        {30, 20, {5, 0, 25, 20}, {0, 0, 20, 20}}, // padded rows: past the limit, so it stays at the start
        {32, 20, {0, 0, 32, 10}, {0, 10, 32, 20}},
        {32, 20, {0, 10, 32, 20}, {0, 0, 32, 10}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.width << "x" << row.height);
        Picture from(16, 16, 200), to(row.width, row.height, 3);
        EXPECT_EQ(qv::resizePlaced(job(from, to, row.part), true), 0u);
        const RECT filled = to.filled();
        EXPECT_TRUE(filled == row.stored)
            << filled.left << "," << filled.top << "," << filled.right << "," << filled.bottom;
    }
}

TEST(ResizeEngines, PlacedMayGoBackIntoTheSource) {
    Picture from(8, 8, 200), to(4, 4, 0);
    auto back = job(from, to, {0, 0, 4, 2});
    back.destination = nullptr;
    EXPECT_EQ(qv::resizePlaced(back, false), 0u);
    EXPECT_EQ(std::count(from.bits.begin(), from.bits.begin() + 48, 200), 24); // half of the result is bars
    EXPECT_EQ(from.bits[48], 200);                                             // the rest is as it was
    back.destinationSize = {9, 9};
    back.destinationPart = {0, 0, 9, 9};
    EXPECT_EQ(qv::resizePlaced(back, false), 1u); // would not fit
}

TEST(ResizeEngines, RefuseWhatIsNotInside) {
    Picture from(8, 8, 200), to(8, 8, 3);
    const RECT bad[] = {{0, 0, 9, 8}, {0, 0, 8, 9}, {-1, 0, 8, 8}, {0, -1, 8, 8}, {4, 4, 4, 8}, {5, 4, 4, 8}};
    for (const RECT& rect : bad) {
        auto wrong = job(from, to, rect), wrongSource = job(from, to, {0, 0, 8, 8});
        wrongSource.sourcePart = rect;
        for (const auto& each : {wrong, wrongSource}) {
            EXPECT_EQ(qv::resizeSmooth(each), 1u);
            EXPECT_EQ(qv::resizePlaced(each, true), 1u);
            EXPECT_EQ(qv::resizeScaled(each, true), 1u);
        }
    }
    auto none = job(from, to, {0, 0, 8, 8});
    none.source = nullptr;
    EXPECT_EQ(qv::resizeScaled(none, true), 1u);
    EXPECT_EQ(std::count(to.bits.begin(), to.bits.end(), 3), static_cast<long>(to.bits.size()));
}
