#include "qvlibs/classify/MediaTypes.h"

#include "qvlibs/classify/FilterStrings.h"
#include "qvlibs/settings/ProfileCtrl.h"

#include <gtest/gtest.h>

TEST(MediaTypes, NamesAreTakenByTheirLastExtension) {
    const struct {
        const char* path;
        ULONG type;
    } rows[] = {
        {"CLIP.AVI", QV_FILE_AVI},    {"clip.Dv", QV_FILE_AVI},     {"x.dvf", QV_FILE_AVI},
        {"x.avi.bak", QV_FILE_OTHER}, {"a.mpg", QV_FILE_MPEG},      {"a.mpeg", QV_FILE_OTHER},
        {"a.wav", QV_FILE_SOUND},     {"a.sbg", QV_FILE_SOUND},     {"a.asf", QV_FILE_OTHER},
        {"a.tte", QV_FILE_OTHER},     {"dir.avi/x", QV_FILE_OTHER}, {"avi", QV_FILE_OTHER},
        {".avi", QV_FILE_AVI},        {"", QV_FILE_OTHER},          {nullptr, QV_FILE_OTHER},
        {"a.jpg", QV_FILE_OTHER},
    };
    for (const auto& row : rows)
        EXPECT_EQ(QVTLGetFileType(row.path), row.type) << (row.path ? row.path : "null");
    EXPECT_EQ(QVTLCheckExtensionTAP("a.TAP"), 1);
    EXPECT_EQ(QVTLCheckExtensionEPG("a.epg"), 1);
    EXPECT_EQ(QVTLCheckExtensionMTV("a.gwm"), 0);
}

TEST(MediaTypes, EveryBitOfMpegAloneMatches) {
    for (const ULONG bit : {0x2u, 0x4u, 0x8u}) EXPECT_EQ(QVTLCheckExtensions("a.mpg", bit), 1);
    EXPECT_STREQ(QVTLGetSupportExtensions(0x1000)[0], "jpg");
    EXPECT_EQ(QVTLGetSupportExtensions(0x1000)[1], nullptr);
}

// The one exception of the interface, and only when the walk comes to the bit.
TEST(MediaTypes, BitsWithoutAListThrowZero) {
    const auto thrown = [](auto&& call) {
        try {
            call();
        } catch (int value) {
            return value;
        }
        return -1;
    };
    for (const ULONG bits : {0u, 0x3u, 0x20000u, 0x04000000u, 0x80000000u}) {
        EXPECT_EQ(thrown([&] { QVTLGetSupportExtensions(bits); }), 0) << bits;
    }
    EXPECT_EQ(QVTLCheckExtensions("a.avi", 0x20001), 1);
    EXPECT_EQ(thrown([] { QVTLCheckExtensions("a.bmp", 0x20001); }), 0);
    EXPECT_EQ(QVTLCheckExtensions("a.avi", 0), 0);
}

TEST(MediaTypes, PicturesAreThoseThatTheSettingsListWithoutAGap) {
    EXPECT_EQ(QVTLCheckExtensionPicture("a.jpg"), 0) << "an empty store knows none";
    QVWriteProfileString("Sequence", "ImageExtention0001", "JPG", 0);
    QVWriteProfileString("Sequence", "ImageExtention0003", "png", 0);
    EXPECT_EQ(QVTLCheckExtensionPicture("a.jpg"), 1);
    EXPECT_EQ(QVTLCheckExtensionPicture("a.png"), 0) << "behind a gap";
    QVWriteProfileString("Sequence", "ImageExtention0002", "jpe", 0);
    EXPECT_EQ(QVTLCheckExtensionPicture("a.PNG"), 1);
    EXPECT_EQ(QVTLCheckExtensionPicture("a.jpe"), 0) << "listed, but not built in";
    EXPECT_EQ(QVTLGetFileType("a.jpg"), QV_FILE_PICTURE);
}

TEST(FilterStrings, EntriesComeInTheirOrder) {
    EXPECT_STREQ(QVTLGetFilterString(0x3, 1),
                 "Windows BMP ファイル (*.bmp)|*.bmp|JPEG ファイル (*.jpg,*.jpeg)|*.jpg;*.jpeg|"
                 "All files (*.bmp,*.jpg,*.jpeg)|*.bmp;*.jpg;*.jpeg||");
    EXPECT_STREQ(QVTLGetFilterString(0x1, 0), "Windows BMP ファイル (*.bmp)|*.bmp||");
    EXPECT_STREQ(QVTLGetFilterString(0x181, 0), "アニメーションファイル (*.ptg)|*.ptg|Windows BMP ファイル "
                                                "(*.bmp)|*.bmp|編集クリップ情報 (*.seq)|*.seq||");
    EXPECT_STREQ(QVTLGetFilterString(0, 1), "");
    EXPECT_STREQ(QVTLGetFilterString(0x20, 1), "") << "MPEG1 has no entry";
}

TEST(FilterStrings, KindNamesJoinWithoutATrailingSeparator) {
    EXPECT_STREQ(QVTLGetFileEnumString(0x11, ", "), "BMP, AVI");
    EXPECT_STREQ(QVTLGetFileEnumString(0x1FF, "/"), "BMP/JPEG/TIFF/PNG/AVI/MPEG2/SEQ");
    EXPECT_STREQ(QVTLGetFileEnumString(0x120, ", "), "");
    EXPECT_STREQ(QVTLGetFileypeString(0x20), "MPEG1");
    EXPECT_STREQ(QVTLGetFileypeString(0x100), "");
    EXPECT_STREQ(QVTLGetFileypeString(0x3), "");
    EXPECT_STREQ(QVTLGetFileSizeUnit(FILESIZE_GB), "GB");
    EXPECT_STREQ(QVTLGetFileSizeUnit(static_cast<FILESIZE_UNIT>(4)), "");
    EXPECT_STREQ(QVTLGetFileSizeUnit(static_cast<FILESIZE_UNIT>(-1)), "");
}

TEST(FilterStrings, OnlyFiveExtensionsAreLookedForInDefaults) {
    for (const ULONG type : {QV_DIALOG_AVI, QV_DIALOG_BMP, QV_DIALOG_MPEG2, QV_DIALOG_JPEG}) {
        EXPECT_EQ(QVTLGetDefaultFilterType(QVTLGetFilterString(type, 0)), type);
    }
    for (const ULONG type : {QV_DIALOG_PNG, QV_DIALOG_TIFF, QV_DIALOG_SEQ, QV_DIALOG_PTG}) {
        EXPECT_EQ(QVTLGetDefaultFilterType(QVTLGetFilterString(type, 0)), 0u);
    }
    EXPECT_EQ(QVTLGetDefaultFilterType("bmp or avi|*.bmp"), QV_DIALOG_AVI) << "the order of the rows";
    EXPECT_EQ(QVTLGetDefaultFilterType("AVI"), 0u) << "letter case counts";
    EXPECT_EQ(QVTLGetDefaultFilterType("no bar: *.jpg"), QV_DIALOG_JPEG);
}
