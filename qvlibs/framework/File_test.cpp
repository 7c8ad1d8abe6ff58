#include "qvlibs/framework/File.h"

#include "qvlibs/framework/Messages.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>

using qv::test::home;

TEST(File, AFileInUseKeepsItsBytes) {
    const auto path = home() / "clip.bin";
    qv::test::writeFile(path, "whole");
    CFile reader;
    ASSERT_EQ(reader.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite), 1);
    CFile writer;
    CFileException error;
    EXPECT_EQ(
        writer.Open(path.c_str(), CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive, &error),
        0);
    EXPECT_EQ(error.osError, ETXTBSY);
    EXPECT_EQ(qv::test::readFile(path), "whole");
    CFile second;
    EXPECT_EQ(second.Open(path.c_str(), CFile::modeRead | CFile::shareDenyWrite), 1) << "readers share";
    reader.Close();
    second.Close();
    EXPECT_EQ(writer.Open(path.c_str(), CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive), 1);
    EXPECT_EQ(writer.GetLength(), 0);
}

TEST(File, OpeningReportsWhy) {
    CFile file;
    CFileException error;
    EXPECT_EQ(file.Open((home() / "missing").c_str(), CFile::modeRead, &error), 0);
    EXPECT_EQ(error.osError, ENOENT);
    EXPECT_EQ(file.Open(home().c_str(), CFile::modeRead, &error), 0);
    EXPECT_EQ(error.osError, EISDIR);
    EXPECT_EQ(file.Open(nullptr, CFile::modeRead, &error), 0);
    const auto pipe = home() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(file.Open(pipe.c_str(), CFile::modeRead), 1) << "without waiting for a writer";
    static std::string shown;
    qv::setMessageHandler([](const char* text, const char*, qv::MessageKind) { shown = text; });
    CFileException(ENOENT, "a.bmp").ReportError();
    EXPECT_EQ(shown, "a.bmp: No such file or directory");
}

TEST(File, MemoryAndDiskBehaveAlike) {
    const auto path = home() / "same.bin";
    CFile disk;
    ASSERT_EQ(disk.Open(path.c_str(), CFile::modeCreate | CFile::modeReadWrite), 1);
    CMemFile memory;
    for (CFile* file : {static_cast<CFile*>(&disk), static_cast<CFile*>(&memory)}) {
        file->Write("abcdef", 6);
        file->Seek(2, CFile::begin);
        file->Write("XY", 2);
        EXPECT_EQ(file->Seek(-1, CFile::end), 5);
        char bytes[4] = {};
        EXPECT_EQ(file->Read(bytes, 4), 1u);
        EXPECT_EQ(bytes[0], 'f');
        file->SetLength(3);
        EXPECT_EQ(file->GetLength(), 3);
        EXPECT_EQ(file->Read(bytes, 4), 0u) << "behind the end";
        EXPECT_THROW(file->Seek(-9, CFile::begin), CFileException);
        EXPECT_THROW(file->Seek(INT64_MAX, CFile::current), CFileException);
        file->Seek(5, CFile::begin);
        file->Write("z", 1);
        EXPECT_EQ(file->GetLength(), 6);
        file->Seek(0, CFile::begin);
        char all[6];
        EXPECT_EQ(file->Read(all, 6), 6u);
        EXPECT_EQ(std::string(all, 6), std::string("abX\0\0z", 6));
    }
}
