#include "qvlibs/platform/Resources.h"

#include <gtest/gtest.h>

TEST(Resources, TextsAreUtf8AndUnknownNumbersAreEmpty) {
    EXPECT_STREQ(qv::resourceText(30028),
                 "Windows AVI \xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\xAB (*.avi)|*.avi|");
    EXPECT_STREQ(qv::resourceText(30002), "");
    EXPECT_STREQ(qv::resourceText(-1), "");
}

TEST(Resources, FormatsTakeLongsDoublesAndTexts) {
    EXPECT_STREQ(qv::formatResource(30001, "JPEG", 640L, 480L), "JPEG 640x480");
    EXPECT_STREQ(qv::formatResource(30034, "*.bmp,*.jpg", "*.bmp;*.jpg"),
                 "All files (*.bmp,*.jpg)|*.bmp;*.jpg|");
    EXPECT_STREQ(qv::formatResource(30057, 8.125), " , システムビットレート 8.12 Mbps");
    EXPECT_STREQ(qv::formatResource(99), "");
}
