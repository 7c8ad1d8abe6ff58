#include "qvlibs/settings/CaptureRecords.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

std::string listFile() { return (qv::test::home() / "lists").string(); }

QVCAPTUREDATA someLists() {
    QVCAPTUREDATA data;
    data.strFilePath = listFile();
    data.lstSecond.AddTail("abc");
    data.lstSecond.AddTail(std::string(300, 'x'));
    return data;
}

TEST(CaptureRecords, ListsHaveExactBytesAndAppend) {
    EXPECT_EQ(QVTLSetCaptureList(someLists()), 1);
    const std::string expected = std::string("\0\0\0\0\2\0\0\0\3abc\xFF\x2C\1", 15) + std::string(300, 'x');
    EXPECT_EQ(qv::test::readFile(listFile()), expected);
    QVCAPTUREDATA read;
    read.strFilePath = listFile();
    EXPECT_EQ(QVTLGetCaptureList(read), 1);
    EXPECT_EQ(QVTLGetCaptureList(read), 1);
    EXPECT_EQ(read.lstFirst.GetCount(), 0);
    ASSERT_EQ(read.lstSecond.GetCount(), 4);
    EXPECT_STREQ(read.lstSecond.GetAt(read.lstSecond.FindIndex(2)), "abc");
}

TEST(CaptureRecords, ADamagedListFileLosesNothing) {
    ASSERT_EQ(QVTLSetCaptureList(someLists()), 1);
    const std::string good = qv::test::readFile(listFile());
    QVCAPTUREDATA data = someLists();
    for (size_t size = 0; size < good.size(); ++size) {
        qv::test::writeFile(listFile(), good.substr(0, size));
        ASSERT_EQ(QVTLGetCaptureList(data), 0) << size;
        ASSERT_EQ(data.lstSecond.GetCount(), 2);
    }
    qv::test::writeFile(listFile(), std::string("\xFF\xFF\xFF\x7F", 4)); // a count without strings
    EXPECT_EQ(QVTLGetCaptureList(data), 0);
    qv::test::writeFile(listFile(),
                        std::string("\xFF\xFF\xFF\xFF\0\0\0\0", 8)); // a negative count reads none
    EXPECT_EQ(QVTLGetCaptureList(data), 1);
    data.strFilePath = "/nowhere/lists";
    EXPECT_EQ(QVTLGetCaptureList(data), 0);
    EXPECT_EQ(QVTLSetCaptureList(data), 0);
    data.strFilePath = qv::test::home().string();
    EXPECT_EQ(QVTLGetCaptureList(data), 0);
}

TEST(CaptureRecords, AListFileInUseStaysAsItIs) {
    qv::test::writeFile(listFile(), "old");
    CFile other;
    ASSERT_TRUE(other.Open(listFile().c_str(), CFile::modeRead | CFile::shareDenyWrite));
    EXPECT_EQ(QVTLSetCaptureList(someLists()), 0);
    EXPECT_EQ(qv::test::readFile(listFile()), "old");
    other.Close();
    EXPECT_EQ(QVTLSetCaptureList(someLists()), 1);
}

TEST(CaptureRecords, InfoIsSevenKeysAndOneArchiveRecord) {
    const QVCAPTUREINFO info{"/tapes", 1, 2, 3, -4, 5, "/lists"};
    EXPECT_EQ(QVTLSetCaptureInfo(info), 1);
    EXPECT_EQ(QVGetProfileInt("EasyCapture", "Resolve", 0), 2u);
    QVCAPTUREINFO read;
    EXPECT_EQ(QVTLGetCaptureInfo(read), 1);
    EXPECT_EQ(read.nDVHigh, -4);
    EXPECT_STREQ(read.strFolderPath, "/tapes");
    EXPECT_STREQ(read.strFileListPath, "/lists");

    CMemFile file;
    CArchive out(&file, CArchive::store);
    out << info;
    out.Close();
    const std::string expected("\6/tapes\1\0\0\0\2\0\0\0\3\0\0\0\xFC\xFF\xFF\xFF\5\0\0\0\6/lists", 34);
    EXPECT_EQ(std::string(file.Bytes().begin(), file.Bytes().end()), expected);
    file.Seek(0, CFile::begin);
    CArchive in(&file, CArchive::load);
    QVCAPTUREINFO back;
    in >> back;
    EXPECT_EQ(back.nDVLow, 5);
    EXPECT_STREQ(back.strFileListPath, "/lists");
}

// The first key that cannot be written ends it: the later ones keep their old values.
TEST(CaptureRecords, InfoStopsAtTheFirstFailure) {
    ASSERT_EQ(QVTLSetCaptureInfo({"/a", 1, 1, 1, 1, 1, "/a"}), 1);
    EXPECT_EQ(QVTLSetCaptureInfo({std::string(2 << 20, 'x'), 2, 2, 2, 2, 2, "/b"}), 0);
    EXPECT_EQ(QVGetProfileInt("EasyCapture", "Quality", 0), 1u);
    EXPECT_EQ(QVTLSetCaptureInfo({"/c", 3, 3, 3, 3, 3, std::string(2 << 20, 'x')}), 0);
    EXPECT_EQ(QVGetProfileInt("EasyCapture", "DVLow", 0), 3u);
    EXPECT_STREQ(QVGetProfileString("EasyCapture", "FileListPath", ""), "/a");
}

TEST(CaptureRecords, AppNamesAreBehindTheirFirstBlank) {
    const struct {
        const char *stored, *shown;
    } rows[] = {
        {"Studio Capture", "Capture"}, {"Studio Capture Pro", "Capture Pro"}, {"Studio", "Studio"}, {"", ""}};
    for (const auto& row : rows) {
        QVWriteProfileStringEx("Settings", "AppName", row.stored, 0, "Ferrosal STUDIO");
        EXPECT_STREQ(QVTLGetAppName(DVAPP_CALLER), row.shown);
    }
    EXPECT_FALSE(QVTLGetAppName(DVAPP_SUITE).IsEmpty());
    EXPECT_STREQ(QVTLGetAppName(static_cast<DVAPP_ENUM>(2)), "");
}

TEST(Clip, DurationCountsTheOutPoint) {
    const CQVTimecode in(0, 0, 0, 20, TCMODE_NDF), out(0, 0, 1, 5, TCMODE_NDF);
    CDEDUClip clip("a.avi", in, out, 7, in, 8, 9);
    EXPECT_EQ(clip.m_tsDuration.TotalFrame(TCMODE_NDF), 16);
    EXPECT_EQ(CDEDUClip("", in, in, 0, in, 0, 0).m_tsDuration.TotalFrame(TCMODE_NDF), 1);
    EXPECT_TRUE(clip.GetIn() == in);
    EXPECT_TRUE(clip.GetOut() == out);
    EXPECT_STREQ(clip.GetFileName(), "a.avi");
    const int values[] = {clip.m_nValue1, clip.m_nValue2, clip.m_nValue3,
                          clip.m_nValue4, clip.m_nValue5, clip.m_nValue6};
    const int expected[] = {7, 8, 9, 0, 1, -1};
    EXPECT_TRUE(std::equal(std::begin(values), std::end(values), expected));
}

TEST(Clip, CopiesKeepTheModeOfTheDuration) {
    const CQVTimecode in(0, 0, 0, 0, TCMODE_PAL), out(0, 0, 2, 0, TCMODE_PAL);
    CDEDUClip clip("a.avi", in, out, 0, in, 0, 0);
    const CDEDUClip copy(&clip);
    EXPECT_EQ(copy.m_tsDuration.TotalFrame(TCMODE_DEFAULT), 51); // 30 a second would make 61 of it
}

TEST(Clip, IsCreatedByName) {
    const auto* type = CRuntimeClass::FromName("CDEDUClip");
    ASSERT_TRUE(type);
    const std::unique_ptr<CObject> object(type->CreateObject());
    auto* const clip = dynamic_cast<CDEDUClip*>(object.get());
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->m_nValue3, 1);
    EXPECT_EQ(clip->m_nValue6, -1);
    EXPECT_EQ(clip->GetIn().GetYear(), 1971);
}

} // namespace
