#include "qvlibs/framework/File.h"
#include "qvlibs/platform/CompoundTest.h"
#include "qvlibs/platform/Storage.h"
#include "qvlibs/platform/StorageCheck.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

using namespace qv::test;

namespace {

std::string somePath() { return (home() / "some.stg").string(); }

constexpr DWORD kDenyWrite = STGM_READ | STGM_SHARE_DENY_WRITE;
constexpr DWORD kShared = STGM_READWRITE | STGM_SHARE_DENY_NONE | STGM_TRANSACTED;

HRESULT tryOpen(const std::string& path, DWORD mode) {
    Storage root;
    return StgOpenStorage(path.c_str(), nullptr, mode, nullptr, 0, root.out());
}

HRESULT openStream(IStorage* storage, const char* name, DWORD mode) {
    Stream stream;
    return storage->OpenStream(name, nullptr, mode, 0, stream.out());
}

// With sectors of 512 and of 4096 bytes.
class BothVersions : public testing::TestWithParam<ULONG> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Storage, BothVersions, testing::Values(512, 4096));

TEST(Storage, OpeningAndMaking) {
    const std::string path = somePath(), text = (home() / "text").string(),
                      folder = makeFolder("folder").string();
    writeFile(text, "no compound file");
    writeFile(home() / "old", "\x0E\x11\xFC\x0D\xD0\xCF\x11\x0E");
    EXPECT_EQ(tryOpen(path, kReadWrite), STG_E_FILENOTFOUND);
    EXPECT_EQ(tryOpen(home() / "no/where", kReadWrite), STG_E_PATHNOTFOUND);
    EXPECT_EQ(tryOpen(text, kReadWrite), STG_E_INVALIDHEADER);
    EXPECT_EQ(tryOpen(home() / "old", kReadWrite), STG_E_OLDFORMAT);
    EXPECT_EQ(tryOpen(folder, kReadWrite), STG_E_ACCESSDENIED);
    EXPECT_EQ(tryOpen(folder, kDenyWrite), STG_E_INVALIDHEADER);
    EXPECT_EQ(StgIsStorageFile(path.c_str()), STG_E_FILENOTFOUND);
    EXPECT_EQ(StgIsStorageFile(text.c_str()), S_FALSE);
    for (const DWORD mode : {STGM_READ, STGM_READWRITE | STGM_SHARE_DENY_WRITE, kReadWrite | 0x80u,
                             kReadWrite | STGM_CREATE, STGM_WRITE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE})
        EXPECT_EQ(tryOpen(path, mode), STG_E_INVALIDFLAG) << std::hex << mode;

    Storage root;
    EXPECT_EQ(StgCreateDocfile(path.c_str(), kReadWrite, 0, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(StgCreateDocfile(path.c_str(), kRead, 0, root.out()), STG_E_INVALIDFLAG);
    EXPECT_EQ(StgCreateDocfile((home() / "no/where").c_str(), kReadWrite, 0, root.out()), STG_E_PATHNOTFOUND);
    EXPECT_EQ(StgCreateDocfile(text.c_str(), kReadWrite, 0, root.out()), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(readFile(text), "no compound file");
    ASSERT_EQ(StgCreateDocfile(path.c_str(), kReadWrite, 0, root.out()), S_OK);
    EXPECT_EQ(std::filesystem::file_size(path), 1536u);
    ASSERT_EQ(writeStream(root.get(), "a", "1"), S_OK);
    Storage other;
    EXPECT_EQ(StgCreateDocfile(path.c_str(), kReplace, 0, other.out()), STG_E_SHAREVIOLATION); // in use
    root.reset();
    EXPECT_EQ(StgIsStorageFile(path.c_str()), S_OK);
    ASSERT_EQ(StgCreateDocfile(path.c_str(), kReplace, 0, root.out()), S_OK);
    root.reset();
    EXPECT_EQ(readAll(path), Content());
    std::filesystem::current_path(home());
    ASSERT_EQ(StgCreateDocfile("some.stg", kReplace | STGM_DELETEONRELEASE, 0, root.out()), S_OK);
    std::filesystem::current_path("/");
    root.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    // A link is followed, also for replacing.
    std::filesystem::create_symlink("text", path);
    ASSERT_EQ(StgCreateDocfile(path.c_str(), kReplace, 0, root.out()), S_OK);
    root.reset();
    EXPECT_EQ(StgIsStorageFile(text.c_str()), S_OK);
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    int leftovers = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home()))
        leftovers += entry.path().filename().string()[0] == '.';
    EXPECT_EQ(leftovers, 0);
}

TEST_P(BothVersions, StatusesOfElements) {
    const Storage root = createFile(somePath(), GetParam());
    Storage below;
    Stream stream;
    ASSERT_EQ(writeStream(root.get(), "stream", "12345"), S_OK);
    ASSERT_EQ(root->CreateStorage("storage", kReadWrite, 0, 0, below.out()), S_OK);
    below.reset();

    EXPECT_EQ(openStream(root.get(), "missing", kRead), STG_E_FILENOTFOUND);
    EXPECT_EQ(openStream(root.get(), "storage", kRead), STG_E_FILENOTFOUND); // of the other kind
    EXPECT_EQ(root->OpenStorage("stream", nullptr, kRead, nullptr, 0, below.out()), STG_E_FILENOTFOUND);
    EXPECT_EQ(root->CreateStream("STREAM", kReadWrite, 0, 0, stream.out()), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(root->CreateStorage("stream", kReadWrite, 0, 0, below.out()), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(root->CreateStream(nullptr, kReadWrite, 0, 0, stream.out()), STG_E_INVALIDPOINTER);
    EXPECT_EQ(root->CreateStream("x", kReadWrite, 1, 0, stream.out()), STG_E_INVALIDPARAMETER);
    for (const DWORD mode : {STGM_READWRITE, STGM_READ | STGM_SHARE_DENY_WRITE, kReadWrite | STGM_TRANSACTED})
        EXPECT_EQ(openStream(root.get(), "stream", mode), STG_E_INVALIDFLAG) << std::hex << mode;
    for (const char* name : {"", "a/b", "a\\b", "a:b", "a!b", "12345678901234567890123456789012", "\xFF"})
        EXPECT_EQ(writeStream(root.get(), name, ""), STG_E_INVALIDNAME) << name;
    EXPECT_EQ(writeStream(root.get(), "1234567890123456789012345678901", ""), S_OK);

    EXPECT_EQ(root->RenameElement("missing", "x"), STG_E_FILENOTFOUND);
    EXPECT_EQ(root->RenameElement("stream", "storage"), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(root->RenameElement("stream", "Stream"), S_OK); // the same name in other letters
    EXPECT_EQ(root->RenameElement("Stream", "stream"), S_OK);
    EXPECT_EQ(root->DestroyElement("missing"), STG_E_FILENOTFOUND);

    // In use: opened once already.
    ASSERT_EQ(root->OpenStream("stream", nullptr, kRead, 0, stream.out()), S_OK);
    EXPECT_EQ(openStream(root.get(), "stream", kRead), STG_E_ACCESSDENIED);
    EXPECT_EQ(writeStream(root.get(), "stream", ""), STG_E_ACCESSDENIED);
    EXPECT_EQ(root->RenameElement("stream", "x"), STG_E_ACCESSDENIED);
    char byte;
    EXPECT_EQ(stream->Write("x", 1, nullptr), STG_E_ACCESSDENIED);
    EXPECT_EQ(stream->Seek(-1, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(stream->Seek(INT64_MIN, STREAM_SEEK_CUR, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(stream->Seek(INT64_MAX, STREAM_SEEK_END, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(stream->Seek(INT64_MAX, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(root->DestroyElement("stream"), S_OK); // ends what is open on it
    EXPECT_EQ(stream->Read(&byte, 1, nullptr), STG_E_REVERTED);
    stream.reset();
    EXPECT_EQ(openStream(root.get(), "stream", kRead), STG_E_FILENOTFOUND);
}

TEST_P(BothVersions, AccessIsWithinTheStoragesOwn) {
    Storage root = createFile(somePath(), GetParam()), below;
    Stream stream;
    ASSERT_EQ(writeStream(root.get(), "stream", "12345"), S_OK);
    ASSERT_EQ(root->CreateStorage("storage", STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, below.out()), S_OK);
    EXPECT_EQ(writeStream(below.get(), "a", ""), STG_E_ACCESSDENIED); // it asks for reading too
    EXPECT_EQ(below->CreateStream("a", STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, stream.out()), S_OK);
    char byte;
    EXPECT_EQ(stream->Read(&byte, 1, nullptr), STG_E_ACCESSDENIED);
    Held<IEnumSTATSTG> elements;
    EXPECT_EQ(below->EnumElements(0, nullptr, 0, elements.out()), STG_E_ACCESSDENIED);
    stream.reset();
    below.reset();
    root.reset();
    root = openFile(somePath(), kDenyWrite);
    EXPECT_EQ(openStream(root.get(), "stream", kRead), S_OK);
    EXPECT_EQ(openStream(root.get(), "stream", kReadWrite), STG_E_ACCESSDENIED);
    EXPECT_EQ(writeStream(root.get(), "x", ""), STG_E_ACCESSDENIED);
    EXPECT_EQ(root->DestroyElement("stream"), STG_E_ACCESSDENIED);
    EXPECT_EQ(root->RenameElement("stream", "x"), STG_E_ACCESSDENIED);
    EXPECT_EQ(root->SetClass({}), STG_E_ACCESSDENIED);
    EXPECT_EQ(root->Commit(0), S_OK); // nothing to do
    const std::string other = (home() / "other.stg").string();
    EXPECT_EQ(root->MoveElementTo("stream", createFile(other).get(), "x", STGMOVE_MOVE), STG_E_ACCESSDENIED);
    EXPECT_EQ(readAll(other), Content());
}

TEST(Storage, ShareModesBetweenOpenersOfOneProcessAndOfTwo) {
    const DWORD kModes[] = {kReadWrite,
                            kRead,
                            kDenyWrite,
                            kShared,
                            STGM_READ | STGM_SHARE_DENY_NONE | STGM_TRANSACTED,
                            STGM_READWRITE | STGM_SHARE_DENY_WRITE | STGM_TRANSACTED,
                            STGM_WRITE | STGM_SHARE_DENY_READ | STGM_TRANSACTED};
    // Two go together when neither does what the other denies.
    constexpr char kTogether[][8] = {"       ", "       ", "  + +  ", "   ++  ",
                                     "  ++++ ", "    +  ", "      +"};
    { const Storage root = createFile(somePath()); }
    for (size_t i = 0; i < std::size(kModes); ++i) {
        for (size_t k = 0; k < std::size(kModes); ++k) {
            const Storage root = openFile(somePath(), kModes[i]);
            ASSERT_TRUE(root.get());
            const HRESULT expected = kTogether[i][k] == ' ' ? STG_E_SHAREVIOLATION : S_OK;
            EXPECT_EQ(tryOpen(somePath(), kModes[k]), expected) << i << " " << k;
            EXPECT_EQ(inChild([&] { return tryOpen(somePath(), kModes[k]) == expected; }), 1)
                << i << " " << k;
        }
    }
    // Plain files of this library keep and see the same modes.
    CFile file;
    {
        const Storage root = openFile(somePath());
        EXPECT_EQ(file.Open(somePath().c_str(), CFile::modeRead | CFile::shareDenyWrite), 0);
    }
    ASSERT_EQ(file.Open(somePath().c_str(), CFile::modeReadWrite | CFile::shareExclusive), 1);
    EXPECT_EQ(tryOpen(somePath(), kDenyWrite), STG_E_SHAREVIOLATION);
    file.Close();
    // A lease, as the question whether a file is in use takes it for a moment, is waited for.
    const int asking = ::open(somePath().c_str(), O_RDONLY);
    ::fcntl(asking, F_SETSIG, SIGURG);
    ASSERT_EQ(::fcntl(asking, F_SETLEASE, F_WRLCK), 0);
    std::thread end([asking] {
        ::usleep(20000);
        ::close(asking);
    });
    EXPECT_EQ(tryOpen(somePath(), kReadWrite), S_OK);
    end.join();
}

TEST_P(BothVersions, TransactionsTakeEffectAtCommitOnly) {
    const std::string path = somePath();
    { const Storage root = createFile(path, GetParam()); }
    {
        const Storage root = openFile(path, kShared);
        ASSERT_EQ(writeStream(root.get(), "a", "first"), S_OK);
        ASSERT_EQ(root->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(writeStream(root.get(), "a", pattern(30000, 1)), S_OK);
        ASSERT_EQ(writeStream(root.get(), "b", "lost"), S_OK);
        Stream stream;
        ASSERT_EQ(root->OpenStream("b", nullptr, kRead, 0, stream.out()), S_OK);
        ASSERT_EQ(root->Revert(), S_OK);
        char byte;
        EXPECT_EQ(stream->Read(&byte, 1, nullptr), STG_E_REVERTED);
        EXPECT_EQ(readStream(root.get(), "a"), "first");
        EXPECT_EQ(readStream(root.get(), "b"), "(failed)");
        ASSERT_EQ(writeStream(root.get(), "c", "lost too"), S_OK);
    }
    EXPECT_EQ(readAll(path), (Content{{"a", "first"}}));
    EXPECT_LE(std::filesystem::file_size(path), 16u * GetParam()); // nothing stays of what was not committed
}

// Of every kind of content: in small pieces, in sectors, and pieces that became free and are wanted again.
TEST_P(BothVersions, ReadersKeepTheStateTheyOpened) {
    const std::string path = somePath();
    const auto size = [](unsigned round, int i) { return round % 2 == 0 ? 3000u : i % 4 ? 2900u : 6000u; };
    {
        const Storage root = createFile(path, GetParam());
        for (int i = 0; i < 20; ++i)
            ASSERT_EQ(writeStream(root.get(), std::to_string(i), pattern(3000, 99)), S_OK);
    }
    const DWORD reading = STGM_READ | STGM_SHARE_DENY_NONE | STGM_TRANSACTED;
    const Storage reader = openFile(path, reading), writer = openFile(path, kShared);
    for (unsigned round = 0; round < 10; ++round) {
        for (int i = 0; i < 20; i += 2)
            ASSERT_EQ(writeStream(writer.get(), std::to_string(i), pattern(size(round, i), round)), S_OK);
        ASSERT_EQ(writer->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE), S_OK);
        for (int i = 0; i < 20; ++i)
            ASSERT_TRUE(readStream(openFile(path, reading).get(), std::to_string(i)) ==
                        (i % 2 ? pattern(3000, 99) : pattern(size(round, i), round)))
                << round << " " << i;
    }
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(readStream(reader.get(), std::to_string(i)) == pattern(3000, 99)) << i;
}

// Two that write at the same time: the first commit stands, whatever the other has written before or writes after.
TEST_P(BothVersions, OfTwoWritersTheFirstCommitStands) {
    const std::string path = somePath();
    Content expected{{"old", pattern(20000, 1)}};
    {
        const Storage root = createFile(path, GetParam());
        ASSERT_EQ(writeStream(root.get(), "old", expected["old"]), S_OK);
        ASSERT_EQ(writeStream(root.get(), "gone", pattern(30000, 2)), S_OK);
        ASSERT_EQ(root->DestroyElement("gone"), S_OK); // leaves room that both may want
    }
    {
        const Storage first = openFile(path, kShared), second = openFile(path, kShared);
        Stream late;
        ASSERT_EQ(second->CreateStream("late", kReplace, 0, 0, late.out()), S_OK);
        ASSERT_EQ(late->Write(pattern(50000, 3).data(), 50000, nullptr), S_OK);
        ASSERT_EQ(writeStream(first.get(), "a", expected["a"] = pattern(50000, 4)), S_OK);
        ASSERT_EQ(writeStream(first.get(), "small", expected["small"] = pattern(500, 5)), S_OK);
        ASSERT_EQ(late->Write(pattern(50000, 6).data(), 50000, nullptr), S_OK);
        ASSERT_EQ(first->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(late->Write(pattern(50000, 7).data(), 50000, nullptr), S_OK);
        late.reset();
        EXPECT_TRUE(readStream(second.get(), "late").substr(50000) == pattern(50000, 6) + pattern(50000, 7));
        ASSERT_EQ(writeStream(second.get(), "tiny", "x"), S_OK);
        EXPECT_EQ(second->Commit(STGC_DEFAULT), STG_E_NOTCURRENT);
        EXPECT_TRUE(readStream(first.get(), "a") == expected["a"]);
    }
    EXPECT_TRUE(readAll(path) == expected);
    qv::StorageReport report;
    ASSERT_EQ(qv::checkStorageFile(path.c_str(), report), S_OK);
    EXPECT_EQ(report.problems.GetCount() + report.remarks.GetCount(), 0);
    EXPECT_EQ(report.lostBytes, 0u);
}

TEST_P(BothVersions, ChangesWaitForWhatIsOpen) {
    const std::string path = somePath();
    Storage root = createFile(path, GetParam()), element;
    ASSERT_EQ(root->CreateStorage("element", kReadWrite, 0, 0, element.out()), S_OK);
    ASSERT_EQ(writeStream(element.get(), "one", "1"), S_OK);
    const std::string copy = (home() / "copy").string();
    std::filesystem::copy_file(path, copy);
    EXPECT_EQ(readAll(copy), Content()); // on disk there is nothing yet
    ASSERT_EQ(writeStream(element.get(), "two", "2"), S_OK);
    ASSERT_EQ(element->Commit(STGC_DEFAULT), S_OK);
    writeFile(copy, readFile(path));
    EXPECT_EQ(readAll(copy), (Content{{"element/", ""}, {"element/one", "1"}, {"element/two", "2"}}));
    // A root that goes ends what is beneath, and keeps it.
    Stream stream;
    ASSERT_EQ(element->CreateStream("three", kReplace, 0, 0, stream.out()), S_OK);
    ASSERT_EQ(stream->Write("3", 1, nullptr), S_OK);
    root.reset();
    EXPECT_EQ(stream->Write("3", 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(element->Commit(STGC_DEFAULT), STG_E_REVERTED);
    EXPECT_EQ(element->CopyTo(0, nullptr, nullptr, element.get()), STG_E_REVERTED);
    EXPECT_EQ(readAll(path).at("element/three"), "3");
}

TEST_P(BothVersions, WhatElementsCarry) {
    const CLSID id{0x00020906, 1, 2, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const FILETIME then{0x12345678, 0x01C00000}, later{1, 0x01D00000};
    {
        const Storage root = createFile(somePath(), GetParam());
        Storage below;
        ASSERT_EQ(root->CreateStorage("below", kReadWrite, 0, 0, below.out()), S_OK);
        ASSERT_EQ(writeStream(below.get(), "stream", "12345"), S_OK);
        ASSERT_EQ(below->SetClass(id), S_OK);
        ASSERT_EQ(below->SetStateBits(0xFF, 0x0F), S_OK);
        ASSERT_EQ(below->SetStateBits(0x00, 0x01), S_OK);
        ASSERT_EQ(root->SetClass(id), S_OK);
        below.reset();
        ASSERT_EQ(root->SetElementTimes("below", &then, nullptr, &later), S_OK);
        ASSERT_EQ(writeStream(root.get(), "stream", ""), S_OK);
        EXPECT_EQ(root->SetElementTimes("stream", &then, nullptr, nullptr), STG_E_INVALIDFUNCTION);
        EXPECT_EQ(root->SetElementTimes(nullptr, &then, nullptr, nullptr), STG_E_INVALIDFUNCTION);
    }
    const Storage root = openFile(somePath(), kDenyWrite);
    Storage below;
    STATSTG stat;
    ASSERT_EQ(root->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(stat.pwcsName, somePath().c_str());
    EXPECT_EQ(stat.type, STGTY_STORAGE);
    EXPECT_EQ(stat.clsid, id);
    EXPECT_GT(stat.mtime.dwHighDateTime, 0x01D00000u); // the file's
    EXPECT_EQ(stat.grfMode, kDenyWrite);
    ASSERT_EQ(root->OpenStorage("below", nullptr, kRead, nullptr, 0, below.out()), S_OK);
    ASSERT_EQ(below->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_TRUE(stat.pwcsName.IsEmpty());
    EXPECT_EQ(stat.clsid, id);
    EXPECT_EQ(stat.grfStateBits, 0x0Eu);
    EXPECT_EQ(stat.ctime.dwLowDateTime, then.dwLowDateTime);
    EXPECT_EQ(stat.mtime.dwHighDateTime, later.dwHighDateTime);
    Stream stream;
    ASSERT_EQ(below->OpenStream("stream", nullptr, kRead, 0, stream.out()), S_OK);
    ASSERT_EQ(stream->Stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(stat.pwcsName, "stream");
    EXPECT_EQ(stat.type, STGTY_STREAM);
    EXPECT_EQ(stat.cbSize, 5u);
}

TEST_P(BothVersions, EnumerationsAndClones) {
    const Storage root = createFile(somePath(), GetParam());
    for (const char* name : {"bb", "a", "CCC", "B"}) ASSERT_EQ(writeStream(root.get(), name, name), S_OK);
    Held<IEnumSTATSTG> elements, copy;
    STATSTG found[5];
    ULONG count = 0;
    ASSERT_EQ(root->EnumElements(0, nullptr, 0, elements.out()), S_OK);
    EXPECT_EQ(elements->Next(2, found, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(elements->Skip(1), S_OK);
    ASSERT_EQ(elements->Clone(copy.out()), S_OK);
    EXPECT_EQ(elements->Next(5, found, &count), S_FALSE);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(found[0].pwcsName, "B");
    EXPECT_EQ(found[1].pwcsName, "bb");
    EXPECT_EQ(found[2].pwcsName, "CCC");
    EXPECT_EQ(elements->Skip(1), S_FALSE);
    EXPECT_EQ(elements->Reset(), S_OK);
    EXPECT_EQ(elements->Next(1, found, nullptr), S_OK);
    EXPECT_EQ(found[0].pwcsName, "a");
    EXPECT_EQ(copy->Next(1, found, nullptr), S_OK);
    EXPECT_EQ(found[0].pwcsName, "B");

    // Clones of a stream have positions of their own and one content.
    Stream stream, clone;
    ASSERT_EQ(root->OpenStream("CCC", nullptr, kReadWrite, 0, stream.out()), S_OK);
    ASSERT_EQ(stream->Seek(1, STREAM_SEEK_SET, nullptr), S_OK);
    ASSERT_EQ(stream->Clone(clone.out()), S_OK);
    ASSERT_EQ(stream->Write("xyz", 3, nullptr), S_OK);
    stream.reset();
    char bytes[8] = {};
    ULONG got = 0;
    ASSERT_EQ(clone->Read(bytes, 8, &got), S_OK);
    EXPECT_EQ(std::string(bytes, got), "xyz");
    EXPECT_EQ(openStream(root.get(), "CCC", kRead), STG_E_ACCESSDENIED);
    clone.reset();
    EXPECT_EQ(readStream(root.get(), "CCC"), "Cxyz");
}

TEST_P(BothVersions, StreamsGrowWithZerosShrinkAndCopy) {
    const Storage root = createFile(somePath(), GetParam());
    Stream stream, target;
    ULONG got = 0;
    std::uint64_t position = 0, read = 0, written = 0;
    ASSERT_EQ(root->CreateStream("stream", kReplace, 0, 0, stream.out()), S_OK);
    std::string expected;
    // Across the limit of small streams and back; what is cut off comes back as zeros.
    for (const size_t size : {100, 5000, 70000, 60, 4096, 4095, 9000, 0, 3000}) {
        ASSERT_EQ(stream->SetSize(size), S_OK);
        expected.resize(size);
        const std::string mark = pattern(30, static_cast<unsigned>(size));
        ASSERT_EQ(stream->Seek(static_cast<std::int64_t>(size) + 7, STREAM_SEEK_SET, &position), S_OK);
        EXPECT_EQ(position, size + 7);
        ASSERT_EQ(stream->Write(mark.data(), 30, &got), S_OK);
        expected += std::string(7, '\0') + mark;
        std::string found(expected.size() + 1, '?');
        ASSERT_EQ(stream->Seek(0, STREAM_SEEK_SET, nullptr), S_OK);
        ASSERT_EQ(stream->Read(found.data(), static_cast<ULONG>(found.size()), &got), S_OK);
        EXPECT_EQ(got, expected.size());
        ASSERT_TRUE(found.substr(0, got) == expected) << size;
    }
    ASSERT_EQ(stream->Seek(-100, STREAM_SEEK_END, nullptr), S_OK);
    ASSERT_EQ(root->CreateStream("target", kReplace, 0, 0, target.out()), S_OK);
    ASSERT_EQ(stream->CopyTo(target.get(), 60, &read, &written), S_OK);
    EXPECT_EQ(read + written, 120u);
    ASSERT_EQ(stream->CopyTo(target.get(), ~std::uint64_t{0}, &read, &written), S_OK);
    EXPECT_EQ(read + written, 80u);
    target.reset();
    EXPECT_TRUE(readStream(root.get(), "target") == expected.substr(expected.size() - 100));
}

TEST_P(BothVersions, CopiesAndMoves) {
    const CLSID id{7, 0, 0, {}};
    const Storage root = createFile(somePath(), GetParam());
    {
        Storage from, deeper;
        ASSERT_EQ(root->CreateStorage("from", kReadWrite, 0, 0, from.out()), S_OK);
        ASSERT_EQ(from->CreateStorage("deeper", kReadWrite, 0, 0, deeper.out()), S_OK);
        ASSERT_EQ(writeStream(from.get(), "large", pattern(100000, 1)), S_OK);
        ASSERT_EQ(writeStream(from.get(), "not", "this"), S_OK);
        ASSERT_EQ(writeStream(deeper.get(), "small", "1"), S_OK);
        ASSERT_EQ(from->SetClass(id), S_OK);
    }
    const std::string other = (home() / "other.stg").string();
    {
        const Storage target = createFile(other, GetParam() ^ 512 ^ 4096);
        Storage from;
        ASSERT_EQ(writeStream(target.get(), "deeper", "a stream gives way"), S_OK);
        ASSERT_EQ(writeStream(target.get(), "kept", "2"), S_OK);
        ASSERT_EQ(root->OpenStorage("from", nullptr, kRead, nullptr, 0, from.out()), S_OK);
        const char* const exclude[] = {"NOT", nullptr};
        ASSERT_EQ(from->CopyTo(0, nullptr, exclude, target.get()), S_OK);
        STATSTG stat;
        ASSERT_EQ(target->Stat(&stat, STATFLAG_NONAME), S_OK);
        EXPECT_EQ(stat.clsid, id);
        from.reset();
        ASSERT_EQ(root->MoveElementTo("from", target.get(), "moved", STGMOVE_MOVE), S_OK);
        EXPECT_EQ(root->MoveElementTo("from", target.get(), "moved", STGMOVE_MOVE), STG_E_FILENOTFOUND);
    }
    const Content expected{{"deeper/", ""},
                           {"deeper/small", "1"},
                           {"kept", "2"},
                           {"large", pattern(100000, 1)},
                           {"moved/", ""},
                           {"moved/deeper/", ""},
                           {"moved/deeper/small", "1"},
                           {"moved/large", pattern(100000, 1)},
                           {"moved/not", "this"}};
    EXPECT_EQ(readAll(other), expected);
    Content left;
    readAll(root.get(), "", left);
    EXPECT_EQ(left, Content());
}

// Trees as other writers leave them: a list instead of a balanced tree, out of order, without the mark of a
// change by this library. They are read as they are and put in order by the first change.
TEST(Storage, TreesOfOtherWriters) {
    QV_NEEDS_PROGRAM("gsf");
    const auto folder = makeFolder("content");
    std::vector<std::string> command{"gsf", "createole", somePath()};
    Content expected;
    for (int i = 0; i < 40; ++i) {
        const std::string name = "Element" + std::to_string(i * 7919 % 1000);
        writeFile(folder / name,
                  expected[name] = pattern(static_cast<size_t>(i) * 300, static_cast<unsigned>(i)));
        command.push_back((folder / name).string());
    }
    ASSERT_EQ(run(command).exitCode, 0);
    ASSERT_EQ(readAll(somePath()), expected);
    {
        const Storage root = openFile(somePath());
        EXPECT_EQ(readStream(root.get(), "eLEMENT0"), expected["Element0"]);
        ASSERT_EQ(writeStream(root.get(), "Element0", "changed"), S_OK);
        ASSERT_EQ(root->DestroyElement("Element919"), S_OK);
    }
    expected["Element0"] = "changed";
    expected.erase("Element919");
    EXPECT_EQ(readAll(somePath()), expected);
    qv::StorageReport report;
    ASSERT_EQ(qv::checkStorageFile(somePath().c_str(), report), S_OK);
    EXPECT_EQ(report.problems.GetCount(), 0);
    EXPECT_EQ(report.remarks.GetCount(), 0);
    EXPECT_EQ(report.elements, expected.size());
}

TEST(Storage, ChecksNameWhatIsWrong) {
    const std::string path = somePath();
    {
        const Storage root = createFile(path);
        ASSERT_EQ(writeStream(root.get(), "large", pattern(6000, 1)), S_OK);
        ASSERT_EQ(writeStream(root.get(), "small", pattern(60, 1)), S_OK);
        ASSERT_EQ(writeStream(root.get(), "other", pattern(6000, 2)), S_OK);
    }
    const std::string whole = readFile(path);
    // In the directory's one sector: older ones of it are still in the file.
    const size_t directory = (static_cast<unsigned char>(whole[0x30]) + 1ul) * 512;
    const size_t entry = whole.find(std::string("l\0a\0r\0g\0e\0", 10), directory);
    const struct {
        const char* what;
        size_t offset;
        std::string bytes;
        const char* problem;
    } rows[] = {
        {"nothing", 0, "", ""},
        {"a last small piece cut short", directory + 120, std::string("\x3C\0", 2), ""},
        {"a start outside the file", entry + 116, std::string("\0\0\x01\0", 4),
         "stream \"/large\": leads outside the file"},
        {"a size beyond the chain", entry + 120, std::string("\0\0\x01\0", 4),
         "stream \"/large\": it is cut short"},
        {"a chain of another", entry + 116, std::string("\1\0\0\0", 4), "stream \"/large\": shares space"},
        {"the name of another", entry, std::string("s\0m\0a\0l\0l\0", 10), "two elements have one name"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::string bytes = whole;
        bytes.replace(row.offset, row.bytes.size(), row.bytes);
        writeFile(path, bytes);
        qv::StorageReport report;
        ASSERT_EQ(qv::checkStorageFile(path.c_str(), report), S_OK);
        EXPECT_EQ(report.problems.GetCount() > 0, *row.problem != 0);
        if (report.problems.GetCount() > 0) {
            EXPECT_NE(report.problems.GetHead().Find(row.problem), -1)
                << report.problems.GetHead().GetString();
        }
    }
    qv::StorageReport report;
    EXPECT_EQ(qv::checkStorageFile((home() / "none").c_str(), report), STG_E_FILENOTFOUND);
    // The last of them as the work of another program: not changed, and what is open stays open.
    writeFile(path, readFile(path).replace(0x34, 4, 4, '\0'));
    const Storage root = openFile(path);
    Stream stream;
    std::string bytes(6000, '\0');
    ASSERT_EQ(root->OpenStream("other", nullptr, kRead, 0, stream.out()), S_OK);
    ASSERT_EQ(stream->Read(bytes.data(), 10, nullptr), S_OK);
    EXPECT_EQ(root->SetClass({}), STG_E_DOCFILECORRUPT);
    ASSERT_EQ(stream->Read(bytes.data() + 10, 5990, nullptr), S_OK);
    EXPECT_TRUE(bytes == pattern(6000, 2));
}
