#include "qvlibs/image/FrameTools.h"

#include "qvlibs/settings/ProfileCtrl.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// One column, from stored rows (the lowest first), before and after.
std::vector<int> column(std::vector<int> stored, CSize size, WORD mode, ULONG result = 0) {
    CQVDIB dib;
    const size_t bytes =
        static_cast<size_t>(CQVDIB::GetLineBytes(size.cx, 24)) * static_cast<size_t>(size.cy);
    dib.Init(size, 24, new unsigned char[bytes]());
    const int x = size.cx - 1;
    for (size_t i = 0; i < stored.size(); ++i) {
        dib.SetPixel(x, size.cy - 1 - static_cast<int>(i), static_cast<ULONG>(stored[i]));
    }
    EXPECT_EQ(QVTLInterToNoninter(&dib, mode), result);
    for (size_t i = 0; i < stored.size(); ++i) {
        stored[i] = static_cast<int>(dib.GetPixel(x, size.cy - 1 - static_cast<int>(i)));
    }
    return stored;
}

} // namespace

TEST(FrameTools, FramesFollowTheSystem) {
    EXPECT_TRUE(QVTLGetJustXYSize(-1) == CSize(720, 480));
    EXPECT_TRUE(QVTLGetJustXYSize(1) == CSize(720, 576));
    const std::unique_ptr<CQVDIB> frame(QVTLCreateColorBitmap(0xFF0001));
    ASSERT_TRUE(frame && frame->GetDimensions() == CSize(720, 480));
    EXPECT_EQ(frame->GetPixel(0, 0), 0xFF0001u);
    EXPECT_EQ(frame->GetPixel(719, 479), 0xFF0001u);
    EXPECT_EQ(frame->GetBitsAddress()[0], 0xFF); // blue comes first
}

TEST(FrameTools, FramesOfPal) {
    qv::test::restartWith([] { QVWriteProfileInt("Common", "SystemInfo", 1, 0); });
    EXPECT_TRUE(QVTLGetJustXYSize(-1) == CSize(720, 576));
    EXPECT_TRUE(QVTLGetJustXYSize(0) == CSize(720, 480));
    const std::unique_ptr<CQVDIB> frame(QVTLCreateColorBitmap(0));
    EXPECT_EQ(frame->GetHeight(), 576);
    EXPECT_EQ(column({0, 100, 0, 0}, {720, 480}, 4), (std::vector<int>{0, 100, 0, 0})); // not this system's
}

TEST(FrameTools, CombsAreTakenOut) {
    const struct {
        WORD mode;
        std::vector<int> before, after;
    } rows[] = {
        {0, {10, 20, 30, 41}, {10, 20, 30, 41}},
        {1, {10, 20, 30, 41}, {20, 20, 30, 41}}, // doubled, then the second row from the top is (20 + 41) / 2
        {0x11, {10, 20, 30, 41}, {20, 20, 30, 41}},
        {2, {10, 20, 30, 41}, {10, 10, 20, 30}}, // nothing moves here
        {0xF2, {10, 20, 30, 41}, {10, 10, 20, 30}},
        {4, {10, 20, 30, 41}, {10, 20, 30, 41}}, // no frame of the system
        {1, {10}, {10}},
    };
    for (const auto& row : rows) {
        const CSize size(3, static_cast<int>(row.before.size()));
        EXPECT_EQ(column(row.before, size, row.mode), row.after) << row.mode;
    }
    // The lowest row stands in for the one below it: (0 + 0 + 100 + 2) / 4 and so on.
    EXPECT_EQ(column({0, 100, 0, 0, 3}, {720, 480}, 4), (std::vector<int>{25, 50, 25, 1, 2}));
    for (const WORD mode : {3, 5, 15, 0x13}) column({10, 20, 30, 41}, {3, 4}, mode, 1);
    EXPECT_EQ(QVTLInterToNoninter(nullptr, 0), 1u);
    CQVDIB empty;
    EXPECT_EQ(QVTLInterToNoninter(&empty, 1), 0u);
}
