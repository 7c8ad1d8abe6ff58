// The registry's promises: what was acknowledged stays, whatever happens to processes, files and folders.
//
// QVLIBS_TEST_FULL in the environment runs the large counts.
#include "qvlibs/platform/Registry.h"

#include "qvlibs/framework/Messages.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <atomic>
#include <functional>
#include <random>
#include <thread>

namespace fs = std::filesystem;
using namespace qv::registry;
using qv::test::endOf;
using qv::test::inChild;
using qv::test::startChild;

namespace {

const bool kFull = std::getenv("QVLIBS_TEST_FULL") != nullptr;

fs::path store() { return qv::test::home() / "settings.db"; }

std::string bytesOf(int number) { return {reinterpret_cast<const char*>(&number), sizeof number}; }

std::string numbered(std::string text, int number) { return text.append(std::to_string(number)); }

bool put(const std::string& key, const std::string& name, int number) {
    return writeValue(HKEY_LOCAL_MACHINE, key, name, Type::Number, bytesOf(number)) == Done;
}

int get(const std::string& key, const std::string& name) {
    int number = -1;
    return readInto(HKEY_LOCAL_MACHINE, key, name, &number, sizeof number) == sizeof number ? number : -1;
}

template <class T>
T* shared() {
    void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) T{};
}

std::atomic<int> messages{0};
void countMessages(const char*, const char*, qv::MessageKind) { ++messages; }

int countFiles(const std::string& part) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(qv::test::home()))
        count += entry.path().filename().string().find(part) != std::string::npos;
    return count;
}

TEST(Registry, ManyWritersLoseNothing) {
    const int processes = kFull ? 16 : 4, writes = kFull ? 1000 : 150;
    std::vector<pid_t> children;
    for (int p = 0; p < processes; ++p) {
        children.push_back(startChild([&] {
            const std::string name = numbered("p", p);
            for (int i = 0; i < writes; ++i) { // the store itself is made by whoever comes first
                if (!put(numbered("Shared\\", i), name, i)) return 1;
                if (get(numbered("Shared\\", i), name) != i) return 2;
            }
            return 0;
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(endOf(child), 0);
    printf("%d processes at once, %d writes\n", processes, processes * writes);
    EXPECT_EQ(subKeys(HKEY_LOCAL_MACHINE, "Shared").size(), static_cast<size_t>(writes));
    for (int i = 0; i < writes; ++i)
        ASSERT_EQ(values(HKEY_LOCAL_MACHINE, numbered("Shared\\", i)).size(), static_cast<size_t>(processes));
}

// Two writers and a reader are killed at a random moment; every write that was acknowledged before is there.
TEST(Registry, KilledWritersLoseNothing) {
    struct Acknowledged {
        std::atomic<int> count[2];
        std::atomic<bool> readerFailed;
    };
    Acknowledged& acknowledged = *shared<Acknowledged>();
    std::mt19937 random(7);
    const int rounds = kFull ? 2000 : 40;
    const auto keyOf = [](int writer, int number) {
        return numbered("W", writer).append("\\").append(std::to_string(number / 200));
    };
    for (int round = 0; round < rounds; ++round) {
        std::vector<pid_t> children;
        for (int w = 0; w < 2; ++w) {
            children.push_back(startChild([&, w] {
                for (int i = acknowledged.count[w];; ++i) {
                    if (put(keyOf(w, i), numbered("v", i), i)) acknowledged.count[w] = i + 1;
                }
                return 0;
            }));
        }
        children.push_back(startChild([&] {
            for (;;) {
                const int known = acknowledged.count[0] - 1;
                if (known >= 0 && get(keyOf(0, known), numbered("v", known)) != known)
                    acknowledged.readerFailed = true;
            }
            return 0;
        }));
        usleep(3000 + random() % 12000);
        for (const pid_t child : children) kill(child, SIGKILL);
        for (const pid_t child : children) endOf(child);
        ASSERT_EQ(inChild([&] {
                      for (int w = 0; w < 2; ++w) {
                          const int all = acknowledged.count[w];
                          for (int i = std::max(0, all - 100); i < all; ++i)
                              if (get(keyOf(w, i), numbered("v", i)) != i) return 1;
                      }
                      return acknowledged.readerFailed ? 2 : 0;
                  }),
                  0)
            << "round " << round;
    }
    for (int w = 0; w < 2; ++w) {
        ASSERT_GT(acknowledged.count[w], rounds / 4); // the writers did get to write
        for (int i = 0; i < acknowledged.count[w]; ++i) ASSERT_EQ(get(keyOf(w, i), numbered("v", i)), i);
    }
    RecordProperty("writes", acknowledged.count[0] + acknowledged.count[1]);
    printf("%d acknowledged writes, %d kills\n", acknowledged.count[0] + acknowledged.count[1], rounds * 3);
}

TEST(Registry, TransactionsAreWhole) {
    ASSERT_TRUE(put("T", "old", 1));
    {
        Transaction all(Transaction::Writing);
        put("T", "old", 2);
        put("T\\deeper", "new", 3);
        EXPECT_EQ(get("T", "old"), 2);
    } // not committed
    EXPECT_EQ(get("T", "old"), 1);
    EXPECT_FALSE(keyExists(HKEY_LOCAL_MACHINE, "T\\deeper"));
    {
        Transaction all(Transaction::Writing);
        put("T", "old", 4);
        EXPECT_TRUE(all.commit());
    }
    {
        Transaction all(Transaction::Writing);
        put("T", "old", 9);
        EXPECT_EQ(writeValue(HKEY_LOCAL_MACHINE, std::string(300, 'x'), "", Type::Text, ""), BadName);
        EXPECT_FALSE(all.commit());
    }
    EXPECT_EQ(get("T", "old"), 4);
    // A process that dies inside one leaves nothing of it.
    EXPECT_EQ(inChild([] {
                  Transaction all(Transaction::Writing);
                  for (int i = 0; i < 100; ++i) put("T", numbered("n", i), i);
                  raise(SIGKILL);
                  return 0;
              }),
              128 + SIGKILL);
    EXPECT_EQ(values(HKEY_LOCAL_MACHINE, "T").size(), 1u);
    // A reading one sees one moment, though others write.
    std::atomic<int>& step = *shared<std::atomic<int>>();
    const pid_t other = startChild([&] {
        while (step == 0) usleep(100);
        const bool done = put("T", "old", 5);
        step = 2;
        return done ? 0 : 1;
    });
    {
        Transaction moment(Transaction::Reading);
        EXPECT_EQ(get("T", "old"), 4);
        EXPECT_FALSE(put("T", "old", 9)); // it would be lost
        EXPECT_FALSE(Transaction(Transaction::Writing).commit());
        step = 1;
        while (step == 1) usleep(100);
        EXPECT_EQ(get("T", "old"), 4);
    }
    EXPECT_EQ(endOf(other), 0);
    EXPECT_EQ(get("T", "old"), 5);
}

TEST(Registry, ForkedProcessesAndThreadsShareTheStore) {
    ASSERT_TRUE(put("F", "before", 1));
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                wrong += !put("F", numbered("t", t), i);
                wrong += get("F", "before") != 1;
            }
        });
    }
    std::vector<pid_t> children;
    for (int c = 0; c < 8; ++c) {
        children.push_back(startChild([c] {
            for (int i = 0; i < 50; ++i)
                if (get("F", "before") != 1 || !put("F", numbered("c", c), i)) return 1;
            return 0;
        }));
    }
    for (auto& thread : threads) thread.join();
    for (const pid_t child : children) EXPECT_EQ(endOf(child), 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(values(HKEY_LOCAL_MACHINE, "F").size(), 13u);
    for (int c = 0; c < 8; ++c) EXPECT_EQ(get("F", numbered("c", c)), 49);
}

TEST(Registry, AReplacedOrRemovedStoreIsNoticed) {
    ASSERT_TRUE(put("R", "v", 1));
    ASSERT_EQ(inChild([] { return put("R", "v", 2) ? 0 : 1; }), 0);
    EXPECT_EQ(get("R", "v"), 2);
    fs::rename(store(), qv::test::home() / "kept");
    EXPECT_EQ(get("R", "v"), -1);
    EXPECT_FALSE(fs::exists(store())); // reading makes nothing
    ASSERT_TRUE(put("R", "w", 3));
    EXPECT_EQ(get("R", "v"), -1);
    EXPECT_EQ(inChild([] { return get("R", "w"); }), 3);
}

// Whatever byte is damaged: every value is right, or the store is set aside as it is and one message says so.
// The process goes on, and the file is not lost.
TEST(Registry, ADamagedStoreIsSetAside) {
    ASSERT_EQ(inChild([] {
                  for (int i = 0; i < 400; ++i)
                      if (!put(numbered("Section", i % 40), numbered("value", i), i)) return 1;
                  exit(0); // an end of the process that leaves all in the one file
              }),
              0);
    const std::string good = qv::test::readFile(store());
    ASSERT_GT(good.size(), 4u * 4096);
    std::mt19937 random(11);
    enum : int { Messaged = 1, SomeWrong = 2, WriteFailed = 4 };
    const int rounds = kFull ? 2000 : 80;
    int setAside = 0, harmless = 0;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        for (const auto& entry : fs::directory_iterator(qv::test::home())) fs::remove_all(entry);
        std::string bad = good;
        const size_t at = random() % bad.size();
        if (round % 10 == 0)
            bad.resize(at);
        else if (round % 10 == 1)
            for (size_t i = at; i < std::min(bad.size(), at + 512); ++i) bad[i] = static_cast<char>(random());
        else
            bad[at] = static_cast<char>(bad[at] ^ static_cast<char>(1 + random() % 255));
        qv::test::writeFile(store(), bad);
        const int answer = inChild([] {
            qv::setMessageHandler(countMessages);
            int found = 0;
            for (int i = 0; i < 400; ++i)
                found += get(numbered("Section", i % 40), numbered("value", i)) == i;
            const bool written =
                put("After", "v", 5) && get("After", "v") == 5 && !subKeys(HKEY_LOCAL_MACHINE, "").empty();
            return (messages ? Messaged : 0) | (found < 400 ? SomeWrong : 0) | (written ? 0 : WriteFailed);
        });
        ASSERT_LT(answer, 8) << "killed by signal " << answer - 128;
        if (answer & (SomeWrong | WriteFailed)) {
            EXPECT_TRUE(answer & Messaged);
        }
        setAside += countFiles(".damaged-") > 0;
        harmless += answer == 0;
        for (const auto& entry : fs::directory_iterator(qv::test::home())) {
            const std::string name = entry.path().filename();
            if (name.starts_with("settings.db.damaged-") && !name.ends_with("-wal")) {
                EXPECT_EQ(qv::test::readFile(entry.path()).size(), bad.size());
            }
        }
    }
    printf("%d places: %d set aside, %d harmless\n", rounds, setAside, harmless);
    EXPECT_GT(setAside, 0);
}

TEST(Registry, WhatIsNoStoreIsKeptAndReplaced) {
    const struct {
        const char* what;
        std::string bytes;
    } rows[] = {{"text", std::string(5000, 't')}, {"nothing", ""}, {"a few bytes", "SQLite format 3"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        for (const auto& entry : fs::directory_iterator(qv::test::home())) fs::remove_all(entry);
        qv::test::writeFile(store(), row.bytes);
        EXPECT_EQ(inChild([] {
                      qv::setMessageHandler(countMessages);
                      const bool good = get("a", "b") == -1 && put("a", "b", 1) && get("a", "b") == 1;
                      return good ? messages.load() : 100;
                  }),
                  1);
        EXPECT_EQ(countFiles(".damaged-"), 1);
        for (const auto& entry : fs::directory_iterator(qv::test::home()))
            if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
                EXPECT_EQ(qv::test::readFile(entry.path()), row.bytes);
            }
    }
    // A store of a newer version is nobody's damage.
    ASSERT_EQ(inChild([]() -> int { exit(put("a", "b", 1) ? 0 : 1); }), 0);
    std::string newer = qv::test::readFile(store());
    newer[63] = 9;
    const XXH64_hash_t sum = XXH64(newer.data(), 4088, 1);
    for (int i = 0; i < 8; ++i) newer[static_cast<size_t>(4088 + i)] = static_cast<char>(sum >> 8 * i);
    qv::test::writeFile(store(), newer);
    EXPECT_EQ(inChild([] {
                  qv::setMessageHandler(countMessages);
                  return get("a", "b") == -1 && !put("a", "c", 1) ? messages.load() : 100;
              }),
              1);
    EXPECT_EQ(countFiles(".damaged-"), 1);
}

TEST(Registry, AReadOnlyHomeGivesWhatIsThereAndFailedWrites) {
    ASSERT_EQ(inChild([]() -> int { exit(put("a", "b", 6) ? 0 : 1); }), 0);
    ASSERT_FALSE(fs::exists(store().string() + "-wal"));
    const auto asOther = [](const std::function<int()>& work) {
        return inChild([&] {
            if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return 90;
            qv::setMessageHandler(countMessages);
            return work();
        });
    };
    chmod(store().c_str(), 0444);
    chmod(qv::test::home().c_str(), 0555);
    EXPECT_EQ(asOther([] { return get("a", "b") == 6 && !put("a", "b", 7) && get("a", "b") == 6 ? 0 : 1; }),
              0);
    chmod(store().c_str(), 0000); // not even readable: defaults, one message
    EXPECT_EQ(asOther([] {
                  return get("a", "b") == -1 && get("a", "b") == -1 && !put("a", "b", 7) ? messages.load()
                                                                                         : 100;
              }),
              1);
    chmod(qv::test::home().c_str(), 0755);
    fs::remove(store());
    chmod(qv::test::home().c_str(), 0555);
    EXPECT_EQ(asOther([] { return get("a", "b") == -1 && !put("a", "b", 7) ? 0 : 1; }), 0);
    chmod(qv::test::home().c_str(), 0755);
    EXPECT_FALSE(fs::exists(store()));
}

// Writing stops at some size, as on a full disk: what was acknowledged is there, the rest was refused.
TEST(Registry, AFullDiskRefusesWritesAndLosesNone) {
    int& acknowledged = *shared<int>();
    EXPECT_EQ(inChild([&] {
                  signal(SIGXFSZ, SIG_IGN);
                  const rlimit small{200000, 200000};
                  setrlimit(RLIMIT_FSIZE, &small);
                  for (int i = 0; i < 5000; ++i) {
                      if (!put("Full", numbered("v", i) + std::string(100, 'x'), i)) return 0;
                      acknowledged = i + 1;
                  }
                  return 1; // never full
              }),
              0);
    ASSERT_GT(acknowledged, 10);
    for (int i = 0; i < acknowledged; ++i)
        ASSERT_EQ(get("Full", numbered("v", i) + std::string(100, 'x')), i);
    EXPECT_TRUE(put("Full", "again", 1));
    EXPECT_EQ(countFiles(".damaged-"), 0);
}

TEST(Registry, WithoutSharedMemoryARollbackJournalServes) {
    fs::create_directory(store().string() + ".new-shm"); // the log's index cannot be made
    ASSERT_TRUE(put("J", "v", 1));
    EXPECT_EQ(qv::test::readFile(store())[18], 1);
    EXPECT_EQ(inChild([] {
                  for (int i = 0; i < 50; ++i)
                      if (!put("J", "w", i)) return 1;
                  raise(SIGKILL);
                  return 0;
              }),
              128 + SIGKILL);
    EXPECT_EQ(get("J", "w"), 49);
}

} // namespace
