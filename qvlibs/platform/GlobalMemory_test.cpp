#include "qvlibs/platform/GlobalMemory.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(GlobalMemory, BlocksKeepTheirSizeAndCountTheirLocks) {
    const HGLOBAL block = GlobalAlloc(GHND, 54);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(GlobalSize(block), 54u);
    auto* bytes = static_cast<BYTE*>(GlobalLock(block));
    EXPECT_EQ(GlobalLock(block), bytes);
    EXPECT_EQ(bytes[53], 0);
    EXPECT_EQ(GlobalUnlock(block), 1);
    EXPECT_EQ(GlobalUnlock(block), 0);
    EXPECT_EQ(GlobalUnlock(block), 0) << "the count does not go below zero";
    EXPECT_EQ(GlobalFree(block), nullptr);
}

TEST(GlobalMemory, UnknownAndFreedHandlesAreRefused) {
    const HGLOBAL block = GlobalAlloc(GMEM_FIXED, 0);
    EXPECT_NE(GlobalLock(block), nullptr) << "an empty block is a block";
    EXPECT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(GlobalFree(block), block) << "freed once";
    EXPECT_EQ(GlobalLock(block), nullptr);
    EXPECT_EQ(GlobalSize(block), 0u);
    EXPECT_EQ(GlobalLock(nullptr), nullptr);
    EXPECT_EQ(GlobalAlloc(0, static_cast<size_t>(1) << 60), nullptr);
}

TEST(GlobalMemory, APhotosBlockMayComeBackButCleanWhenAskedFor) {
    constexpr size_t kSize = size_t{40} << 20;
    for (const size_t size : {kSize, kSize - 1, kSize + 1, kSize, kSize * 2, kSize}) {
        const HGLOBAL block = GlobalAlloc(GHND, size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(GlobalSize(block), size);
        auto* bytes = static_cast<BYTE*>(GlobalLock(block));
        EXPECT_EQ(bytes[0] | bytes[size / 2] | bytes[size - 1], 0) << size;
        std::memset(bytes, 0xAA, size);
        EXPECT_EQ(GlobalFree(block), nullptr);
        EXPECT_EQ(GlobalSize(block), 0u);
    }
}
