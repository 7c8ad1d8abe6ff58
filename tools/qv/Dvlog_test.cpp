// qv dvlog from the outside: what it prints, from where it reads, what it leaves behind.
#include "tests/support/TapeMaker.h"
#include "tests/support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

namespace {

fs::path written(const qv::test::Tape& tape, const std::string& name) {
    std::mt19937 random(1);
    std::vector<BYTE> bytes;
    std::string all;
    for (const auto& frame : tape.frames) {
        qv::test::makeFrame(frame, random, bytes);
        all.append(bytes.begin(), bytes.end());
    }
    fs::path path = qv::test::home() / name;
    qv::test::writeFile(path, all);
    return path;
}

// Two recordings with a pause between them; nothing is damaged, so that other programs copy it too.
fs::path makeTape() {
    qv::test::Tape tape = qv::test::makeSteadyTape(1, 60, 0);
    for (size_t i = 0; i < tape.frames.size(); ++i) {
        auto& frame = tape.frames[i];
        frame.corruptPacks = 0;
        if (i >= 25) frame.clock = *frame.clock + 600;
        frame.start = i == 25;
    }
    return written(tape, "tape.dv");
}

json logOf(const std::string& file) {
    const auto result = qv::test::runQv({"dvlog", "--json", "--frames", file});
    EXPECT_EQ(result.exitCode, 0) << file << result.err;
    return json::parse(result.out, nullptr, false);
}

} // namespace

TEST(DvlogCommand, OtherContainersHoldTheSameTape) {
    QV_NEEDS_PROGRAM("ffmpeg");
    if (!fs::exists(qv::test::buildFolder() / "lib/qvlibs/movie.vcp")) GTEST_SKIP() << "built without FFmpeg";
    const json tape = logOf(makeTape());
    ASSERT_EQ(tape["scenes"].size(), 2u);
    ASSERT_EQ(tape["scenes"][1]["reason"], "pause");
    for (const std::string kind : {"mov", "mkv", "mxf", "avi"}) {
        const auto movie = qv::test::home() / ("tape." + kind);
        const auto made = qv::test::run(
            {"ffmpeg", "-v", "error", "-i", qv::test::home() / "tape.dv", "-c:v", "copy", movie});
        ASSERT_EQ(made.exitCode, 0) << made.err;
        const json other = logOf(movie);
        EXPECT_EQ(other["frames"], tape["frames"]) << kind;
        EXPECT_EQ(other["scenes"], tape["scenes"]) << kind;
        const auto piped = qv::test::run(
            {"bash", "-c",
             "cat '" + movie.string() + "' | '" + qv::test::qvProgram() + "' dvlog --json --frames -"});
        EXPECT_EQ(json::parse(piped.out, nullptr, false)["scenes"], tape["scenes"]) << kind;
    }
    const auto movie = qv::test::home() / "other.mkv";
    const auto made = qv::test::run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                                     "testsrc=duration=3:rate=25", "-c:v", "mpeg2video", movie});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    EXPECT_THAT(qv::test::runQv({"dvlog", movie}).err, HasSubstr("holds no DV frames"));
}

TEST(DvlogCommand, AnInterruptionLeavesNothing) {
    QV_NEEDS_PROGRAM("bash");
    makeTape();
    // The pipe stays open behind the tape, so the program waits for more when the signal comes.
    const std::string script = "cd '" + qv::test::home().string() +
                               "' && mkfifo pipe && mkdir TERM HUP && for s in INT TERM HUP; do '" +
                               qv::test::qvProgram() +
                               "' dvlog pipe --split $s >log 2>said & exec 3>pipe; cat tape.dv >&3; "
                               "ls -A $s | wc -l; kill -$s $!; wait $!; echo $?; exec 3>&-; cat said; done; "
                               "ls -A | grep -c INT; ls -A TERM HUP | grep -c part; ls -A TERM | wc -l";
    const auto result = qv::test::run({"bash", "-c", script});
    const std::string once = "1\n130\nqv: interrupted\n";
    EXPECT_EQ(result.out, once + once + once + "0\n0\n0\n") << result.err;
}

TEST(DvlogCommand, FoldersAndPartsOfOthersStay) {
    const auto tape = makeTape();
    const auto parts = qv::test::home() / "parts";
    const std::vector<std::string> split{"dvlog", "--quiet", "--split", parts, tape};
    ASSERT_EQ(qv::test::runQv(split).exitCode, 0);
    std::string together;
    for (const char* name : {"2004-11-09_11-33-20_part001.dv", "2004-11-09_11-43-21_part002.dv"})
        together += qv::test::readFile(parts / name);
    EXPECT_TRUE(together == qv::test::readFile(tape));
    const auto again = qv::test::runQv(split);
    EXPECT_NE(again.exitCode, 0);
    EXPECT_THAT(again.err, HasSubstr("exists; nothing was written"));
    EXPECT_EQ(std::distance(fs::directory_iterator(parts), fs::directory_iterator()), 2);
    // Nobody reads the log; the scenes are made all the same, and the exit code tells of the log.
    const std::string script = "set -o pipefail; cd '" + qv::test::home().string() +
                               "'; (sleep 0.3; cat tape.dv) | '" + qv::test::qvProgram() +
                               "' dvlog - --frames --split unread | true; echo $?; ls -A unread | wc -l";
    EXPECT_EQ(qv::test::run({"bash", "-c", script}).out, "1\n2\n");
}

TEST(DvlogCommand, TheJsonHasTheDocumentedForm) {
    if (qv::test::run({"python3", "-c", "import jsonschema"}).exitCode != 0)
        GTEST_SKIP() << "python3-jsonschema is not installed";
    const auto check = [](const json& log) {
        qv::test::writeFile(qv::test::home() / "log.json", log.dump());
        const std::string judge = "import json, sys, jsonschema\n"
                                  "jsonschema.validate(*[json.load(open(name)) for name in sys.argv[1:]])";
        return qv::test::run({"python3", "-c", judge, qv::test::home() / "log.json", QV_TAPE_LOG_SCHEMA});
    };
    for (const unsigned seed : {4u, 3u}) { // the second has a clock that was never set
        json log = logOf(written(qv::test::makeMixedTape(seed), "mixed.dv"));
        json some; // the judge is slow
        for (size_t i = 0; i < log["frames"].size(); i += 13) some.push_back(log["frames"][i]);
        log["frames"] = some;
        const auto whole = check(log);
        EXPECT_EQ(whole.exitCode, 0) << whole.err.substr(0, 2000);
        if (seed != 4) continue;
        log["frames"][0]["timecode"] = "24:00:00:00";
        EXPECT_NE(check(log).exitCode, 0);
        log["frames"][0]["timecode"] = nullptr;
        EXPECT_NE(check(log).exitCode, 0) << "empty without a reason";
        log["frames"][0]["timecodeUnknown"] = "absent";
        EXPECT_EQ(check(log).exitCode, 0);
    }
    const std::string page = qv::test::readFile(QV_TAPE_LOG_PAGE);
    const json schema = json::parse(qv::test::readFile(QV_TAPE_LOG_SCHEMA));
    for (const char* kind : {"frame", "scene"}) {
        for (const auto& [name, unused] : schema["$defs"][kind]["properties"].items()) {
            if (name.ends_with("Unknown")) continue; // told once for all
            EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
        }
    }
}
