#include "qvlibs/framework/Archive.h"
#include "qvlibs/framework/Messages.h"
#include "qvlibs/image/PixelLimit.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/util/Bytes.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <map>

namespace fs = std::filesystem;
using qv::test::makeFolder;
using qv::test::readFile;
using qv::test::writeFile;

namespace {

struct Bmp {
    int width = 2, height = 2;
    unsigned bits = 24, compression = BI_RGB, sizeImage = 0, colorsUsed = 0, type = 0x4D42;
    unsigned offset = 54;
    unsigned fileBytes = 70;
};

std::vector<BYTE> bytesOf(const Bmp& bmp) {
    qv::ByteWriter out;
    out.u16(static_cast<WORD>(bmp.type));
    out.u32(0x12345678); // the file's size is not looked at
    out.u32(0);
    out.u32(bmp.offset);
    out.u32(40);
    out.i32(bmp.width);
    out.i32(bmp.height);
    out.u16(1);
    out.u16(static_cast<WORD>(bmp.bits));
    out.u32(bmp.compression);
    out.u32(bmp.sizeImage);
    out.u64(0);
    out.u32(bmp.colorsUsed);
    out.u32(0);
    while (out.size() < bmp.fileBytes) out.u8(static_cast<BYTE>(out.size()));
    return out.take();
}

const Bmp kGood[] = {{},
                     {.bits = 8, .offset = 54 + 1024, .fileBytes = 54 + 1024 + 8},
                     {.bits = 8, .colorsUsed = 2, .offset = 62, .fileBytes = 70},
                     {.bits = 1, .offset = 62, .fileBytes = 70},
                     {.bits = 16, .compression = BI_BITFIELDS, .offset = 66, .fileBytes = 74}};

int readFrom(CQVDIB& dib, const std::vector<BYTE>& bytes) {
    CMemFile file(bytes.data(), bytes.size());
    return dib.Read(&file);
}

std::vector<BYTE> written(CQVDIB& dib) {
    CMemFile file;
    EXPECT_EQ(dib.Write(&file), 1);
    return file.Bytes();
}

} // namespace

TEST(DibFile, WritesWhatItReads) {
    for (const Bmp& bmp : kGood) {
        SCOPED_TRACE(bmp.bits);
        CQVDIB dib;
        auto bytes = bytesOf(bmp);
        ASSERT_EQ(readFrom(dib, bytes), 1);
        for (size_t i = 0; i < 4; ++i) bytes[2 + i] = static_cast<BYTE>(bytes.size() >> (8 * i));
        EXPECT_EQ(written(dib), bytes);
    }
}

TEST(DibFile, MasksThatTheFileDoesNotHoldAreZero) {
    CQVDIB dib, again;
    ASSERT_EQ(readFrom(dib, bytesOf({.bits = 32, .fileBytes = 70})), 1);
    EXPECT_EQ(dib.GetSizeHeader(), 52u);
    const auto bytes = written(dib);
    EXPECT_EQ(bytes[10], 66); // so the file grows by them
    EXPECT_EQ(std::vector<BYTE>(12), std::vector<BYTE>(bytes.begin() + 54, bytes.begin() + 66));
    ASSERT_EQ(readFrom(again, bytes), 1);
    EXPECT_EQ(again.GetPixel(1, 1), dib.GetPixel(1, 1));
}

TEST(DibFile, EveryPrefix) {
    size_t prefixes = 0;
    for (const Bmp& bmp : kGood) {
        const auto whole = bytesOf(bmp);
        for (size_t size = 0; size <= whole.size(); ++size, ++prefixes) {
            SCOPED_TRACE(testing::Message() << bmp.bits << " bits, " << size << " bytes");
            CQVDIB dib(CSize(3, 3), 24);
            const int result =
                readFrom(dib, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
            EXPECT_EQ(result, size >= bmp.offset ? 1 : 0);
            EXPECT_EQ(dib.IsEmpty(), 1 - result); // what was there before is gone either way
            for (size_t i = bmp.offset; result && i < whole.size(); ++i)
                EXPECT_EQ(dib.GetBitsAddress()[i - bmp.offset], i < size ? whole[i] : 0) << "at " << i;
        }
    }
    printf("%zu prefixes of %zu good BMP files: the headers whole or refused, missing pixels black\n",
           prefixes, std::size(kGood));
}

TEST(DibFile, DamagedHeaders) {
    const std::map<std::string, std::pair<Bmp, int>> rows = {
        {"no BM", {{.type = 0x4D43}, 0}},
        {"pixels inside the file header", {{.offset = 10}, 0}},
        {"pixels inside the header", {{.offset = 53}, 0}},
        {"pixels behind the file", {{.offset = 71}, 0}},
        {"pixels far behind the file", {{.offset = 0xFFFFFFFF}, 0}},
        {"pixels at the end of the file", {{.offset = 70}, 1}},
        {"top-down", {{.height = -2}, 0}},
        {"width below zero", {{.width = -2}, 0}},
        {"nothing wide", {{.width = 0}, 1}},
        {"nothing wide, endlessly high", {{.width = 0, .height = 0x7FFFFFFF}, 0}},
        {"larger than the limit", {{.width = 30000, .height = 30000}, 0}},
        {"overflowing", {{.width = 0x7FFFFFFF, .height = 0x7FFFFFFF, .bits = 0xFFFF}, 0}},
        {"no such depth", {{.bits = 7}, 1}},
        {"2^31 colors", {{.bits = 8, .colorsUsed = 0x80000000}, 0}},
        {"more colors than the depth", {{.bits = 8, .colorsUsed = 300}, 1}},
        {"huge image size", {{.sizeImage = 0xFFFFFFF0}, 0}},
        {"image size below the rows", {{.sizeImage = 7}, 1}},
    };
    for (const auto& [name, row] : rows) {
        SCOPED_TRACE(name);
        CQVDIB dib;
        EXPECT_EQ(readFrom(dib, bytesOf(row.first)), row.second);
        if (row.second) {
            for (int y = 0; y < dib.GetHeight(); ++y) {
                for (int x = 0; x < dib.GetWidth(); ++x) dib.GetPixel(x, y); // a sanitizer watches
            }
            written(dib);
        }
    }
    qv::setPixelLimit(100); // bounds what lies before the pixels as well
    CQVDIB dib;
    EXPECT_EQ(readFrom(dib, bytesOf({.offset = 154, .fileBytes = 170})), 1);
    EXPECT_EQ(readFrom(dib, bytesOf({.offset = 155, .fileBytes = 171})), 0);
    printf("%zu headers out of the ordinary, each refused or read as it should\n", rows.size());
}

TEST(DibFile, ColorsUsedWinAtEveryDepth) {
    CQVDIB dib;
    ASSERT_EQ(readFrom(dib, bytesOf({.colorsUsed = 5, .fileBytes = 90})), 1);
    EXPECT_EQ(dib.GetSizeHeader(), 60u);
    ASSERT_EQ(readFrom(dib, bytesOf({.sizeImage = 7})), 1);
    EXPECT_EQ(dib.GetSizeImage(), 7u); // believed, though the rows take 16
}

TEST(DibFile, SaveReplacesWholeFilesAndReportsFailures) {
    static int reports;
    qv::setMessageHandler([](const char*, const char*, qv::MessageKind) { ++reports; });
    const fs::path folder = makeFolder("out"), path = folder / "a.bmp";
    CQVDIB dib, back;
    ASSERT_EQ(readFrom(dib, bytesOf({})), 1);
    EXPECT_EQ(dib.Save((folder / "none" / "a.bmp").c_str()), 0);
    EXPECT_EQ(reports, 1);
    writeFile(path, "old");
    EXPECT_EQ(CQVDIB().Save(path.c_str()), 0); // nothing to write: the old file stays
    EXPECT_EQ(readFile(path), "old");
    {
        CFile other;
        ASSERT_EQ(other.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite), 1);
        EXPECT_EQ(dib.Save(path.c_str()), 0); // in use
        EXPECT_EQ(reports, 2);
    }
    ASSERT_EQ(dib.Save(path.c_str()), 1);
    CFile file;
    ASSERT_EQ(file.Open(path.c_str(), CFile::modeRead), 1);
    EXPECT_EQ(back.Load(&file), 1);
    EXPECT_EQ(written(back), written(dib));
}

TEST(DibFile, ArchivesHoldThePictureBetweenOtherData) {
    CMemFile file;
    CQVDIB dib, back;
    ASSERT_EQ(readFrom(dib, bytesOf({})), 1);
    CArchive out(&file, CArchive::store);
    out << DWORD{17};
    dib.Serialize(out);
    out << DWORD{18};
    out.Close();
    file.Seek(0, CFile::begin);
    CArchive in(&file, CArchive::load);
    DWORD before = 0, behind = 0;
    in >> before;
    back.Serialize(in);
    in >> behind;
    EXPECT_EQ(before, 17u);
    EXPECT_EQ(behind, 18u);
    EXPECT_EQ(written(back), written(dib));
}

TEST(DibFile, MappedPicturesLiveInTheirFile) {
    const fs::path path = makeFolder("maps") / "a.bmp";
    CQVDIB dib, other;
    ASSERT_EQ(readFrom(dib, bytesOf({})), 1);
    ASSERT_EQ(dib.CopyToMapFile(path.c_str()), 1);
    EXPECT_EQ(other.AttachMapFile(path.c_str(), 1), 0); // held exclusively
    EXPECT_EQ(dib.SetPixel(0, 0, 0x112233), 1);
    EXPECT_EQ(dib.CopyToMapFile(path.c_str()), 0); // its own file
    EXPECT_EQ(dib.GetPixel(0, 0), 0x112233u);
    dib.Empty();
    ASSERT_EQ(other.AttachMapFile(path.c_str(), 1), 1);
    EXPECT_EQ(other.GetPixel(0, 0), 0x112233u);
    EXPECT_EQ(dib.AttachMapFile(path.c_str(), 1), 1); // readers share
    EXPECT_EQ(other.SetPixel(0, 0, 0), 1);
    EXPECT_EQ(dib.GetPixel(0, 0), 0x112233u); // changes stay in memory
    EXPECT_EQ(readFile(path).size(), 70u);
}

TEST(DibFile, MappedFilesMustHoldThePicture) {
    const fs::path path = makeFolder("maps") / "a.bmp";
    const struct {
        Bmp bmp;
        int result;
    } rows[] = {
        {{}, 1},
        {{.fileBytes = 69}, 0},
        {{.type = 0x4D43}, 0},
        {{.offset = 60, .fileBytes = 76}, 1}, // pixels are taken to start at 54
        {{.offset = 0}, 1},
        {{.bits = 32, .fileBytes = 70}, 0}, // three masks are counted that are not there
        {{.bits = 32, .fileBytes = 82}, 1},
        {{.height = -2}, 0},
        {{.fileBytes = 20}, 0},
    };
    for (const auto& row : rows) {
        auto bytes = bytesOf(row.bmp);
        bytes.resize(row.bmp.fileBytes);
        writeFile(path, {bytes.begin(), bytes.end()});
        CQVDIB dib;
        EXPECT_EQ(dib.AttachMapFile(path.c_str(), 1), row.result)
            << row.bmp.bits << ", " << row.bmp.fileBytes;
        if (row.result) {
            EXPECT_EQ(dib.GetBitsAddress()[0], bytes[row.bmp.bits == 24 ? 54 : 66]);
        }
    }
    EXPECT_EQ(CQVDIB().AttachMapFile((path.string() + "x").c_str(), 1), 0);
}
