#include "qvlibs/image/QVStreamFile.h"
#include "qvlibs/platform/CompoundTest.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace qv::test;

namespace {

std::string filePath() { return (home() / "file.stg").string(); }

void writeThrough(unsigned flags, const std::string& bytes) {
    CQVStreamFile file(filePath().c_str(), flags);
    ASSERT_EQ(file.GetLastError(), 0u);
    ASSERT_TRUE(file.GetStorage());
    EXPECT_EQ(file.GetFilePath(), filePath().c_str());
    file.Write(bytes.data(), static_cast<unsigned>(bytes.size()));
    file.Close();
    EXPECT_FALSE(file.GetStream());
}

} // namespace

TEST(QVStreamFile, WritingKeepsOtherStreamsUnlessItCreates) {
    { // write alone makes the file too
        ASSERT_NO_FATAL_FAILURE(writeThrough(CFile::modeWrite, "first, and rather long"));
        EXPECT_EQ(readAll(filePath()), (Content{{"data", "first, and rather long"}}));
    }
    {
        const Storage root = openFile(filePath());
        ASSERT_EQ(writeStream(root.get(), "other", "kept"), S_OK);
    }
    ASSERT_NO_FATAL_FAILURE(writeThrough(CFile::modeWrite, "second"));
    EXPECT_EQ(readAll(filePath()), (Content{{"data", "second"}, {"other", "kept"}}));
    ASSERT_NO_FATAL_FAILURE(writeThrough(CFile::modeWrite | CFile::modeCreate, "third"));
    EXPECT_EQ(readAll(filePath()), (Content{{"data", "third"}}));
}

TEST(QVStreamFile, ReadsAsAFile) {
    ASSERT_NO_FATAL_FAILURE(writeThrough(CFile::modeWrite, "0123456789"));
    CQVStreamFile file(filePath().c_str(), CFile::modeRead);
    char bytes[16] = {};
    EXPECT_EQ(file.GetLength(), 10);
    EXPECT_EQ(file.Seek(-4, CFile::end), 6);
    EXPECT_EQ(file.Read(bytes, sizeof bytes), 4u);
    EXPECT_STREQ(bytes, "6789");
    EXPECT_EQ(file.GetPosition(), 10);
    EXPECT_EQ(file.Read(bytes, sizeof bytes), 0u);
    EXPECT_THROW(file.Seek(-1, CFile::begin), CFileException);
    EXPECT_THROW(file.SetLength(3), CFileException); // opened for reading
    file.Write("x", 1);
    EXPECT_EQ(file.GetLastError(), 0x84030005u);
    file.Close();
    EXPECT_EQ(file.GetLastError(), 0u);
    EXPECT_THROW(file.Read(bytes, 1), CFileException);
}

TEST(QVStreamFile, FailuresAreKeptNotThrown) {
    CQVStreamFile missing(filePath().c_str(), CFile::modeRead);
    EXPECT_EQ(missing.GetLastError(), 0x84030002u);
    EXPECT_FALSE(missing.GetStream());
    EXPECT_FALSE(missing.GetStorage());
    missing.Write("nothing happens", 15);
    missing.Close();
    EXPECT_EQ(missing.GetLastError(), 0u);

    { const Storage root = createFile(filePath()); }
    const CQVStreamFile empty(filePath().c_str(), CFile::modeRead); // a file without "data"
    EXPECT_EQ(empty.GetLastError(), 0x84030002u);
    EXPECT_FALSE(empty.GetStorage());

    writeFile(filePath(), "no compound file");
    const CQVStreamFile wrong(filePath().c_str(), CFile::modeWrite);
    EXPECT_EQ(wrong.GetLastError(), 0x840300FBu);
    EXPECT_EQ(readFile(filePath()), "no compound file");
    const CQVStreamFile none(nullptr, CFile::modeRead);
    EXPECT_EQ(none.GetLastError(), 0x84030009u);
}

TEST(QVStreamFile, TakesStreamsAndIsMadeByName) {
    Storage root = createFile(filePath());
    IStream* stream = nullptr;
    ASSERT_EQ(root->CreateStream("data", kReplace, 0, 0, &stream), S_OK);
    {
        CQVStreamFile file(stream, nullptr);
        file.Write("abc", 3);
    }
    EXPECT_EQ(readStream(root.get(), "data"), "abc");

    const CRuntimeClass* type = CRuntimeClass::FromName("CQVStreamFile");
    ASSERT_TRUE(type);
    const std::unique_ptr<CObject> object(type->CreateObject());
    EXPECT_TRUE(object->IsKindOf(&CQVStreamFile::classCQVStreamFile));
    EXPECT_FALSE(dynamic_cast<CQVStreamFile&>(*object).GetStream());
}
