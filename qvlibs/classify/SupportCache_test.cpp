#include "qvlibs/classify/SupportCache.h"

#include "qvlibs/settings/ProfileCtrl.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

using qv::SupportCache;
using qv::SupportElement;
using qv::test::home;
using qv::test::readFile;
using qv::test::writeFile;

namespace {

SupportElement element(const std::string& path, int number) {
    SupportElement made;
    made.identity.fullPath = path;
    made.identity.lastWriteTime = number;
    made.identity.sizeLow = static_cast<ULONG>(number * 7);
    made.identity.sizeHigh = 1;
    made.identity.attributes = 3;
    made.longText = "long " + std::to_string(number);
    made.shortText = "短い";
    made.result = 0x200001;
    made.data.kind = 4;
    made.attributes = -5;
    made.fourcc = 0x3247504D;
    made.status = 9;
    return made;
}

bool same(const SupportElement& a, const SupportElement& b) {
    return a.identity.fullPath == b.identity.fullPath &&
           a.identity.lastWriteTime == b.identity.lastWriteTime && a.identity.sizeLow == b.identity.sizeLow &&
           a.identity.attributes == b.identity.attributes && a.longText == b.longText &&
           a.shortText == b.shortText && a.result == b.result && a.data.kind == b.data.kind &&
           a.attributes == b.attributes && a.fourcc == b.fourcc && a.status == b.status;
}

constexpr int kFiles = 12;
const char* const kChecks[] = {"QVTLCheckSupportMpeg1", "QVTLCheckSupportMpeg2", "QVTLGetGWData"};

std::string savedCache(const std::string& path) {
    SupportCache cache;
    for (const char* check : kChecks) {
        for (int i = 0; i < kFiles; ++i)
            cache.insert(check, element("/clips/" + std::to_string(i) + ".mpg", i));
    }
    cache.save(path);
    return readFile(path);
}

// How many elements there are; every one of them must be as it was stored.
int trusted(const std::string& path) {
    SupportCache cache;
    cache.open(path);
    int found = 0;
    for (const char* check : kChecks) {
        for (int i = 0; i < kFiles; ++i) {
            const auto wanted = element("/clips/" + std::to_string(i) + ".mpg", i);
            const SupportElement* known = cache.find(check, wanted.identity);
            if (!known) continue;
            EXPECT_TRUE(same(*known, wanted));
            ++found;
        }
    }
    EXPECT_LE(static_cast<size_t>(found), cache.size());
    return found;
}

} // namespace

TEST(SupportCache, AFileIsItsPathWriteTimeAndSize) {
    SupportCache cache;
    cache.insert("check", element("/a", 1));
    auto identity = element("/a", 1).identity;
    identity.creationTime = identity.lastAccessTime = 99;
    identity.attributes = 0;
    EXPECT_TRUE(cache.find("check", identity));
    EXPECT_FALSE(cache.find("other", identity));
    for (const int change : {0, 1, 2, 3}) {
        auto other = identity;
        if (change == 0) other.fullPath = "/A";
        if (change == 1) ++other.lastWriteTime;
        if (change == 2) ++other.sizeLow;
        if (change == 3) ++other.sizeHigh;
        EXPECT_FALSE(cache.find("check", other)) << change;
    }
    auto second = element("/a", 1);
    second.result = 0;
    EXPECT_EQ(cache.insert("check", second).result, 0x200001) << "the one that is there stays";
}

TEST(SupportCache, GoesRoundThroughItsFile) {
    const std::string path = home() / "cache";
    savedCache(path);
    EXPECT_EQ(trusted(path), 3 * kFiles);
    SupportCache cache;
    cache.open(path);
    cache.clear();
    cache.save(path);
    EXPECT_EQ(readFile(path), std::string("\0\0\0\0\3\0\0\0\0\0\0\0", 12)) << "system, version, no checks";
    EXPECT_EQ(trusted(path), 0);
}

TEST(SupportCache, AnElementTooLargeForItsFileCostsNoOther) {
    const std::string path = home() / "cache";
    SupportCache cache;
    auto large = element("/large", 1);
    large.shortText = std::string(1 << 16, 'x');
    cache.insert("check", large);
    cache.insert("check", element("/small", 2));
    cache.save(path);
    SupportCache again;
    again.open(path);
    EXPECT_FALSE(again.find("check", large.identity));
    EXPECT_TRUE(again.find("check", element("/small", 2).identity));
    EXPECT_FALSE(again.isChanged()) << "asking is no reason to write";
    again.insert("check", element("/new", 3));
    EXPECT_TRUE(again.isChanged());
}

TEST(SupportCache, OtherVersionsAndSystemsAreEmpty) {
    const std::string path = home() / "cache";
    const std::string good = savedCache(path);
    for (const size_t at : {size_t{0}, size_t{4}}) {
        std::string bytes = good;
        bytes[at] = static_cast<char>(bytes[at] ^ 1);
        writeFile(path, bytes);
        EXPECT_EQ(trusted(path), 0);
    }
}

TEST(SupportCache, CutAnywhereItKeepsWhatIsWhole) {
    const std::string path = home() / "cache";
    const std::string good = savedCache(path);
    int last = 0, cuts = 0;
    for (size_t size = 0; size < good.size(); size += 101) {
        writeFile(path, good.substr(0, size));
        const int found = trusted(path);
        EXPECT_GE(found, last);
        last = found;
        ++cuts;
        SupportCache cache;
        cache.open(path);
        cache.size();
        EXPECT_EQ(cache.isChanged(), size >= 8) << "a damaged file is to be written again";
    }
    EXPECT_EQ(last, 3 * kFiles - 1);
    std::printf("%d cuts, one at every 101st byte of %zu\n", cuts, good.size());
}

TEST(SupportCache, FlippedBytesNeverGiveAnotherAnswer) {
    const std::string path = home() / "cache";
    const std::string good = savedCache(path);
    std::mt19937 random(5);
    const int flips = std::getenv("QVLIBS_TEST_FULL") ? 10000 : 500;
    int kept = 0;
    for (int i = 0; i < flips; ++i) {
        std::string bytes = good;
        bytes[random() % bytes.size()] = static_cast<char>(random());
        writeFile(path, bytes);
        kept += trusted(path); // whatever is found is as it was stored
    }
    std::printf("%d flips: %d of %d elements kept, none changed\n", flips, kept, flips * 3 * kFiles);
}

TEST(SupportCache, OnlyTheMainApplicationWrites) {
    EXPECT_FALSE(qv::isMainApplication());
    QVWriteProfileString("Common", "MainApplication", "CLASSIFY_internal", 0);
    EXPECT_TRUE(qv::isMainApplication()) << "part of this program's name, any case";
    QVWriteProfileString("Common", "MainApplication", "", 0);
    EXPECT_FALSE(qv::isMainApplication()) << "empty means the usual name, not every program";
}
