#include "qvlibs/util/Bytes.h"

#include <gtest/gtest.h>

TEST(Bytes, AReaderNeverPassesItsEndAndRemembers) {
    const std::uint8_t bytes[] = {1, 2, 3, 4, 5, 6};
    qv::ByteReader in(bytes, sizeof bytes);
    EXPECT_EQ(in.u16(), 0x0201);
    EXPECT_EQ(in.u16(), 0x0403);
    EXPECT_EQ(in.u32(), 0u) << "two bytes are left";
    EXPECT_TRUE(in.failed());
    EXPECT_EQ(in.u8(), 0) << "a failed reader answers 0 for good";
    EXPECT_TRUE(in.bytes(1).empty());
}

TEST(Bytes, HugeCountsAndPositionsFail) {
    const std::uint8_t bytes[4] = {};
    qv::ByteReader in(bytes, sizeof bytes);
    in.skip(1);
    in.skip(SIZE_MAX);
    EXPECT_TRUE(in.failed());
    qv::ByteReader again(bytes, sizeof bytes);
    again.seek(4);
    EXPECT_FALSE(again.failed());
    again.seek(5);
    EXPECT_TRUE(again.failed());
}

TEST(Bytes, TextFieldsGoRoundWithAndWithoutTheirZero) {
    qv::ByteWriter out;
    out.text("abc", 5);
    out.text("abcdefgh", 5);
    out.i32(-2);
    out.patch32(10, 7);
    qv::ByteReader in(out.data());
    EXPECT_EQ(in.text(5), "abc");
    EXPECT_EQ(in.text(5), "abcde");
    EXPECT_EQ(in.i32(), 7);
    EXPECT_FALSE(in.failed());
}
