#include "qvlibs/media/DvSplit.h"

#include "tests/support/TapeMaker.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace fs = std::filesystem;
using qv::DvSplit;

namespace {

// Splits a tape; the bytes of all its frames.
std::string split(DvSplit& parts, unsigned seed) {
    const auto tape = qv::test::makeMixedTape(seed);
    qv::DvSceneFinder finder(
        {}, [&](const qv::DvScene& scene) { parts.name(scene); },
        [&](const qv::DvFrameInfo&, std::int64_t, std::int64_t, bool starts) { parts.decide(starts); });
    std::mt19937 random(5);
    std::vector<BYTE> bytes;
    std::string all;
    for (const auto& frame : tape.frames) {
        qv::test::makeFrame(frame, random, bytes);
        all.append(bytes.begin(), bytes.end());
        parts.keep(bytes);
        finder.add(*qv::readDvFrame(bytes));
    }
    finder.finish();
    return all;
}

size_t entries(const fs::path& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

} // namespace

TEST(DvSplit, PartsTogetherAreTheTape) {
    const auto folder = qv::test::home() / "parts";
    DvSplit parts(folder.c_str());
    const std::string tape = split(parts, 4);
    EXPECT_EQ(entries(folder), 1u); // nothing to be seen yet but the hidden folder
    ASSERT_TRUE(parts.finish()) << parts.error();
    ASSERT_GT(parts.parts().size(), 2u);
    std::string together;
    for (const auto& part : parts.parts()) {
        EXPECT_EQ(fs::file_size(folder / part.name.GetString()), static_cast<size_t>(part.bytes));
        together += qv::test::readFile(folder / part.name.GetString());
    }
    EXPECT_TRUE(together == tape);
    EXPECT_EQ(entries(folder), parts.parts().size());
    if (qv::test::hasProgram("xxh128sum")) {
        qv::test::writeFile(qv::test::home() / "whole", tape);
        const auto judged = qv::test::run({"xxh128sum", qv::test::home() / "whole"});
        EXPECT_EQ(judged.out.substr(0, 32), parts.checksum().GetString());
    }
}

TEST(DvSplit, NothingIsOverwrittenAndNothingIsLeftBehind) {
    const auto folder = qv::test::makeFolder("parts");
    std::vector<DvSplit::Part> first;
    {
        DvSplit parts(folder.c_str());
        split(parts, 4);
        ASSERT_TRUE(parts.finish());
        first = parts.parts();
    }
    for (const auto& part : first) fs::resize_file(folder / part.name.GetString(), 1);
    fs::remove(folder / first[0].name.GetString()); // the others are still there
    {
        DvSplit parts(folder.c_str());
        split(parts, 4);
        EXPECT_FALSE(parts.finish());
        EXPECT_EQ(parts.error(), EEXIST);
        EXPECT_STREQ(parts.errorPath(), (folder / first[1].name.GetString()).c_str());
    }
    EXPECT_EQ(entries(folder), first.size() - 1);
    EXPECT_EQ(fs::file_size(folder / first[1].name.GetString()), 1u);
    {
        DvSplit unfinished(folder.c_str());
        split(unfinished, 4);
    }
    EXPECT_EQ(entries(folder), first.size() - 1);
}

TEST(DvSplit, AFolderThatCannotBeMadeIsAnError) {
    DvSplit parts((qv::test::home() / "no/such/parent").c_str());
    EXPECT_EQ(parts.error(), ENOENT);
    split(parts, 4);
    EXPECT_FALSE(parts.finish());
}
