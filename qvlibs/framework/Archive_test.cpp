#include "qvlibs/framework/Archive.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

namespace {

std::string bytesOf(const CMemFile& file) { return {file.Bytes().begin(), file.Bytes().end()}; }

} // namespace

TEST(Archive, WordsAreLittleEndianAndTimesAreFourBytes) {
    CMemFile file;
    CArchive out(&file, CArchive::store);
    out << BYTE{1} << WORD{0x0302} << DWORD{0x07060504} << LONG{-2} << CTime(5) << CTimeSpan(-1);
    out.Close();
    EXPECT_EQ(bytesOf(file), std::string("\1\2\3\4\5\6\7\xFE\xFF\xFF\xFF\5\0\0\0\xFF\xFF\xFF\xFF", 19));
}

TEST(Archive, StringLengthTakesOneThreeOrSevenBytes) {
    const struct {
        size_t size;
        std::string prefix;
    } rows[] = {
        {0, std::string(1, '\0')},
        {254, "\xFE"},
        {255, std::string("\xFF\xFF\0", 3)},
        {65533, "\xFF\xFD\xFF"},
        {65534, std::string("\xFF\xFF\xFF\xFE\xFF\0\0", 7)},
        {70000, std::string("\xFF\xFF\xFF\x70\x11\1\0", 7)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        const CString text = std::string(row.size, 'x');
        CMemFile file;
        CArchive out(&file, CArchive::store);
        out << text << LONG{7};
        out.Close();
        EXPECT_EQ(bytesOf(file).substr(0, row.prefix.size()), row.prefix);
        EXPECT_EQ(file.GetLength(), static_cast<__int64>(row.prefix.size() + row.size + 4));
        file.Seek(0, CFile::begin);
        CArchive in(&file, CArchive::load);
        CString back;
        LONG behind = 0;
        in >> back >> behind;
        EXPECT_EQ(back, text);
        EXPECT_EQ(behind, 7);
    }
}

TEST(Archive, EveryShortRecordThrowsAndNoLengthTakesMemory) {
    CMemFile whole;
    {
        CArchive out(&whole, CArchive::store);
        out << CString(std::string(300, 'y')) << DWORD{9};
    }
    for (size_t size = 0; size < whole.Bytes().size(); ++size) {
        CMemFile cut(whole.Bytes().data(), size);
        CArchive in(&cut, CArchive::load);
        CString text;
        DWORD word = 0;
        EXPECT_THROW(in >> text >> word, CArchiveException) << size;
    }
    CMemFile huge("\xFF\xFF\xFF\xF0\xFF\xFF\xFF"
                  "abc",
                  10);
    CArchive in(&huge, CArchive::load);
    CString text;
    EXPECT_THROW(in >> text, CArchiveException);
}

TEST(Archive, FlushGivesBackWhatWasReadAhead) {
    CMemFile file("abcdefgh", 8);
    CArchive in(&file, CArchive::load);
    BYTE byte = 0;
    in >> byte >> byte;
    EXPECT_EQ(in.BytesLeft(), 6);
    in.Flush();
    EXPECT_EQ(file.GetPosition(), 2);
    in >> byte;
    EXPECT_EQ(byte, 'c');
}

TEST(Archive, TheWrongDirectionIsRefused) {
    CMemFile file;
    CArchive in(&file, CArchive::load);
    EXPECT_THROW(in << LONG{1}, CArchiveException);
    CArchive out(&file, CArchive::store);
    LONG value = 0;
    EXPECT_THROW(out >> value, CArchiveException);
}

TEST(Archive, AFullDiskIsReportedOnceAndByClose) {
    CFile full;
    if (!full.Open("/dev/full", CFile::modeWrite)) GTEST_SKIP() << "no /dev/full";
    CArchive out(&full, CArchive::store);
    out << LONG{1};
    EXPECT_THROW(out.Close(), CFileException);
}
