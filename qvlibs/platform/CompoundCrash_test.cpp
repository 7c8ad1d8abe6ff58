// Files after a death or a full disk at any moment: the writes of this program go through the functions below,
// which can stop the process at each of them.
#include "qvlibs/platform/CompoundModel.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace qv::test;

namespace {

constexpr int kStopped = 9;
constexpr DWORD kShared = STGM_READWRITE | STGM_SHARE_DENY_NONE | STGM_TRANSACTED;
constexpr int kNever = std::numeric_limits<int>::max();
int writesLeft = kNever;   // until the process ends
bool cutLastWrite = false; // the last one gets to its first page boundary
off_t diskEnd = std::numeric_limits<off_t>::max();

// A kill takes effect between two pages of a write.
size_t upToPage(off_t offset, size_t count) {
    const size_t toBoundary = 4096 - static_cast<size_t>(offset % 4096);
    return toBoundary < count ? toBoundary : 0;
}

} // namespace

// The names that the library's calls are compiled to.
extern "C" ssize_t pwrite64(int file, const void* bytes, size_t count, off_t offset) {
    if (writesLeft-- == 0) {
        if (cutLastWrite) syscall(SYS_pwrite64, file, bytes, upToPage(offset, count), offset);
        _exit(kStopped);
    }
    if (offset + static_cast<off_t>(count) > diskEnd) {
        if (offset >= diskEnd) {
            errno = ENOSPC;
            return -1;
        }
        count = static_cast<size_t>(diskEnd - offset);
    }
    return syscall(SYS_pwrite64, file, bytes, count, offset);
}

extern "C" int ftruncate64(int file, off_t length) noexcept {
    if (writesLeft-- == 0) _exit(kStopped);
    return static_cast<int>(syscall(SYS_ftruncate, file, length));
}

namespace {

// Makes one change to a file of these bytes again and again, stopped one write later each time, until it gets
// through.
void stopEverywhere(const std::string& path, const std::string& whole, const Change& change,
                    const Content& before, const Content& after, DWORD mode, bool cut, int& stops) {
    for (int writes = 0;; ++writes) {
        writeFile(path, whole);
        const int code = inChild([&] {
            cutLastWrite = cut;
            writesLeft = writes;
            const Storage root = openFile(path, mode);
            return apply(change, root.get()) < 0 || root->Commit(STGC_DEFAULT) < 0 ? 1 : 0;
        });
        ASSERT_TRUE(code == 0 || code == kStopped) << code;
        ASSERT_EQ(problemsOf(path), "") << "stopped at write " << writes;
        const Content found = readAll(path);
        ASSERT_TRUE(found == after || (found == before && code == kStopped)) << "stopped at write " << writes;
        if (code == 0) return;
        ++stops;
    }
}

std::string crashPath() { return (home() / "crash.stg").string(); }

} // namespace

TEST(CompoundCrash, OldOrNewAtEveryWrite) {
    const char* wish = std::getenv("QVLIBS_STORAGE_ROUNDS");
    const unsigned rounds = wish ? static_cast<unsigned>(std::atoi(wish)) : 1;
    int stops = 0;
    for (unsigned seed = 1; seed <= rounds; ++seed) {
        for (const ULONG sectorSize : {512u, 4096u}) {
            Model model(seed);
            { const Storage root = createFile(crashPath(), sectorSize); }
            for (int step = 0; step < 40; ++step) {
                const Content before = model.content;
                const Change change = model.next();
                const std::string whole = readFile(crashPath());
                SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
                for (const bool cut : {false, true})
                    ASSERT_NO_FATAL_FAILURE(stopEverywhere(crashPath(), whole, change, before, model.content,
                                                           step % 4 ? kReadWrite : kShared, cut, stops));
            }
        }
    }
    EXPECT_GT(stops, 200);
    std::printf("%d stops between two writes or within one\n", stops);
}

// QVLIBS_STORAGE_KILLS real kills, at moments that nobody chose.
TEST(CompoundCrash, OldOrNewAfterKills) {
    const char* wish = std::getenv("QVLIBS_STORAGE_KILLS");
    const int kills = wish ? std::atoi(wish) : 40;
    auto* done = static_cast<volatile int*>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::mt19937 random(7);
    int changes = 0;
    for (int kill = 0; kill < kills; ++kill) {
        const unsigned seed = 5000 + static_cast<unsigned>(kill);
        { const Storage root = createFile(crashPath(), kill % 2 ? 512 : 4096); }
        *done = 0;
        const pid_t child = startChild([&] {
            Model model(seed);
            Storage root = openFile(crashPath());
            while (apply(model.next(), root.get()) >= 0) *done = *done + 1;
            return 1;
        });
        ::usleep(static_cast<useconds_t>(random() % 20000));
        ::kill(child, SIGKILL);
        ASSERT_EQ(endOf(child), 128 + SIGKILL);
        Model model(seed);
        for (int i = 0; i < *done; ++i) model.next();
        const Content before = model.content;
        model.next();
        ASSERT_EQ(problemsOf(crashPath()), "") << "kill " << kill;
        const Content found = readAll(crashPath());
        ASSERT_TRUE(found == before || found == model.content) << "kill " << kill << " after " << *done;
        changes += *done;
    }
    std::printf("%d kills, %d changes acknowledged before them\n", kills, changes);
}

// A disk with room for so many bytes: what does not fit is taken back, and there is room again after
// something was removed.
TEST(CompoundCrash, FullDiskTakesNothingAway) {
    for (const ULONG sectorSize : {512u, 4096u}) {
        const std::string path = crashPath();
        const Content before{
            {"large", pattern(20000, 1)}, {"other", pattern(9000, 2)}, {"small", pattern(100, 3)}};
        {
            const Storage root = createFile(path, sectorSize);
            for (const auto& [name, bytes] : before) ASSERT_EQ(writeStream(root.get(), name, bytes), S_OK);
        }
        const std::string whole = readFile(path);
        Content after = before;
        after["large"] = pattern(30000, 4);
        int refused = 0;
        for (off_t room = 0;; room += 512) {
            writeFile(path, whole);
            diskEnd = static_cast<off_t>(whole.size()) + room;
            Storage root = openFile(path);
            Stream stream;
            ASSERT_EQ(root->CreateStream("large", kReplace, 0, 0, stream.out()), S_OK);
            HRESULT status = stream->Write(after["large"].data(), 30000, nullptr);
            if (status >= 0) status = stream->Commit(STGC_DEFAULT);
            stream.reset();
            ASSERT_TRUE(status == S_OK || status == STG_E_MEDIUMFULL) << std::hex << status;
            Content found;
            readAll(root.get(), "", found);
            ASSERT_TRUE(found == (status < 0 ? before : after)) << room;
            // Room is made by removing, even on a full disk, and used.
            ASSERT_EQ(root->DestroyElement("other"), S_OK) << room;
            ASSERT_EQ(writeStream(root.get(), "again", pattern(8000, 5)), S_OK);
            root.reset();
            Content last = status < 0 ? before : after;
            last.erase("other");
            last["again"] = pattern(8000, 5);
            ASSERT_TRUE(readAll(path) == last) << room;
            ASSERT_EQ(problemsOf(path), "") << room;
            diskEnd = std::numeric_limits<off_t>::max();
            if (status >= 0) break;
            ++refused;
        }
        EXPECT_GT(refused, 10);
        std::printf("%d sizes of a full disk, sectors of %u bytes\n", refused, sectorSize);
    }
}
