// Long runs of random changes against a model, the file looked through after each.
#include "qvlibs/platform/CompoundModel.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace qv::test;
using namespace qv::compound;

namespace {

void runModel(unsigned seed, ULONG sectorSize, int steps) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", sectors of " + std::to_string(sectorSize));
    const std::string path = (home() / "model.stg").string();
    Model model(seed);
    Storage root = createFile(path, sectorSize);
    for (int step = 0; step < steps; ++step) {
        const Change change = model.next();
        ASSERT_EQ(apply(change, root.get()), S_OK) << "step " << step;
        // The file is whole on disk after every change, whoever reads it.
        ASSERT_EQ(problemsOf(path), "") << "step " << step;
        Content content;
        readAll(root.get(), "", content);
        ASSERT_TRUE(content == model.content) << "step " << step;
        if (model.random() % 3 == 0) {
            root.reset();
            ASSERT_TRUE(readAll(path) == model.content) << "step " << step;
            root = openFile(path);
            ASSERT_TRUE(root.get());
        }
    }
}

} // namespace

// QVLIBS_STORAGE_ROUNDS rounds of 600 changes.
TEST(CompoundFile, RandomChangesKeepTheFileWhole) {
    const char* wish = std::getenv("QVLIBS_STORAGE_ROUNDS");
    const unsigned rounds = wish ? static_cast<unsigned>(std::atoi(wish)) : 3;
    for (unsigned seed = 1; seed <= rounds; ++seed) {
        ASSERT_NO_FATAL_FAILURE(runModel(seed, 512, 400));
        ASSERT_NO_FATAL_FAILURE(runModel(seed + 1000, 4096, 200));
    }
}

// What is removed is used again: a store whose elements come and go does not grow without end.
TEST(CompoundFile, FreeSectorsAreUsedAgain) {
    for (const ULONG sectorSize : {512u, 4096u}) {
        const std::string path = (home() / "reuse.stg").string();
        const auto put = [](IStorage* root, int i, unsigned seed) {
            ASSERT_EQ(writeStream(root, "element" + std::to_string(i), pattern(10000 + seed % 5000, seed)),
                      S_OK);
        };
        {
            const Storage root = createFile(path, sectorSize);
            for (int i = 0; i < 200; ++i) put(root.get(), i, static_cast<unsigned>(i));
        }
        const auto size = std::filesystem::file_size(path);
        std::mt19937 random(1);
        for (int i = 0; i < 2000; ++i) { // a session for each
            const Storage root = openFile(path);
            put(root.get(), static_cast<int>(random() % 200), static_cast<unsigned>(random()));
        }
        EXPECT_LT(std::filesystem::file_size(path), size * 3 / 2) << sectorSize;
        EXPECT_EQ(problemsOf(path), "");
    }
}

TEST(CompoundNames, OrderAndLetters) {
    const char16_t* const inOrder[] = {u"b",  u"Z",  u"\u00E4", u"\u0431",
                                       u"AA", u"ab", u"AAA",    u"\u00FF\u00FF\u00FF"};
    for (size_t i = 0; i < std::size(inOrder); ++i) {
        for (size_t k = 0; k < std::size(inOrder); ++k) {
            const int order = compareNames(inOrder[i], inOrder[k]);
            EXPECT_EQ((order > 0) - (order < 0), (i > k) - (i < k)) << i << " " << k;
        }
    }
    const struct {
        char16_t small, capital;
    } rows[] = {{u'z', u'Z'},
                {u'_', u'_'},
                {0x00B5, 0x039C},
                {0x00DF, 0x00DF},
                {0x00F7, 0x00F7},
                {0x00FF, 0x0178},
                {0x0131, u'I'},
                {0x0133, 0x0132},
                {0x0132, 0x0132},
                {0x01C6, 0x01C4},
                {0x03C2, 0x03A3},
                {0x0451, 0x0401},
                {0x1F71, 0x1FBB},
                {0x24D0, 0x24B6},
                {0xFF5A, 0xFF3A},
                {0x019E, 0x019E},
                /* its capital came later than the order of names */ {0x0501, 0x0501}};
    for (const auto& row : rows) EXPECT_EQ(upperCase(row.small), row.capital) << std::hex << int{row.small};
}

TEST(CompoundNames, Utf8) {
    std::u16string units;
    for (const char* bad :
         {"\x80", "\xC0\x80", "\xC3", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "a\xFF"})
        EXPECT_FALSE(toUtf16(bad, units)) << bad;
    for (const std::u16string text :
         {u"\x05Summary", u"\u00E9\u65E5", u"\U0001F3AC", u"\xD800", u"\xDC00\xD800"}) {
        ASSERT_TRUE(toUtf16(toUtf8(text), units));
        EXPECT_EQ(units, text);
    }
    EXPECT_EQ(toUtf8(u"\U0001F3AC"), "\xF0\x9F\x8E\xAC");
}
