#include "qvlibs/media/DvTape.h"

#include "tests/support/TapeMaker.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <thread>

using qv::DvTape;
using qv::DvTapeError;

namespace {

std::string bytesOf(const qv::test::Tape& tape) {
    std::mt19937 random(5);
    std::vector<BYTE> bytes;
    std::string all;
    for (const auto& frame : tape.frames) {
        qv::test::makeFrame(frame, random, bytes);
        all.append(bytes.begin(), bytes.end());
    }
    return all;
}

qv::test::Tape steady(int frames) { return qv::test::makeSteadyTape(2, frames, 0); }

std::string number(size_t value) {
    std::string text(4, '\0');
    for (int i = 0; i < 4; ++i) text[static_cast<size_t>(i)] = static_cast<char>(value >> (8 * i));
    return text;
}
std::string chunk(const std::string& id, const std::string& data) {
    return id + number(data.size()) + data + (data.size() % 2 ? std::string(1, '\0') : "");
}
std::string list(const std::string& kind, const std::string& data) { return chunk("LIST", kind + data); }

// An AVI whose only truth is its chunks: headers and index are not needed to walk it.
std::string avi(const std::string& movi) {
    return chunk("RIFF", "AVI " + list("hdrl", chunk("avih", std::string(56, '\0'))) + list("movi", movi) +
                             chunk("idx1", std::string(32, '\xEE')));
}

struct Read {
    DvTapeError error = DvTapeError::None;
    std::string bytes;
    int frames = 0;
    DvTape::Losses losses;
};

Read drain(std::unique_ptr<DvTape> tape, DvTapeError error) {
    Read read{error, {}, 0, {}};
    if (!tape) return read;
    for (auto frame = tape->next(); !frame.empty(); frame = tape->next()) {
        read.bytes.append(frame.begin(), frame.end());
        ++read.frames;
    }
    EXPECT_TRUE(tape->next().empty());
    read.losses = tape->losses();
    return read;
}

Read readFile(const std::string& bytes) {
    const auto path = qv::test::home() / "tape with\nodd name.bin";
    qv::test::writeFile(path, bytes);
    DvTapeError error{};
    auto tape = DvTape::open(path.c_str(), error);
    return drain(std::move(tape), error);
}

Read readPipe(const std::string& bytes) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        for (size_t at = 0; at < bytes.size(); at += 50000) {
            const size_t part = std::min<size_t>(50000, bytes.size() - at);
            if (write(ends[1], bytes.data() + at, part) < 0) break;
        }
        close(ends[1]);
    });
    DvTapeError error{};
    auto tape = DvTape::open(ends[0], error);
    auto read = drain(std::move(tape), error);
    char rest[4096];
    while (::read(ends[0], rest, sizeof rest) > 0) {
    }
    writer.join();
    close(ends[0]);
    return read;
}

} // namespace

TEST(DvTape, RawFramesComeBackFromFilesAndPipes) {
    const std::string tape = bytesOf(qv::test::makeMixedTape(6));
    for (const Read& read : {readFile(tape), readPipe(tape)}) {
        EXPECT_EQ(read.error, DvTapeError::None);
        EXPECT_TRUE(read.bytes == tape);
        EXPECT_EQ(read.losses.skippedBytes, 0);
        EXPECT_FALSE(read.losses.endsEarly);
    }
}

TEST(DvTape, BothSystemsMayFollowEachOther) {
    const std::string ntsc = bytesOf(steady(7)), pal = bytesOf(qv::test::makeSteadyTape(1, 5, 0));
    const Read read = readFile(ntsc + pal + ntsc);
    EXPECT_EQ(read.frames, 19);
    EXPECT_EQ(read.bytes.size(), 2 * ntsc.size() + pal.size());
}

TEST(DvTape, LostBytesCostOneFrame) {
    const std::string tape = bytesOf(steady(10));
    // 1234 bytes are gone out of the middle of frame 4, and the tape begins within a frame.
    const Read read =
        readFile(tape.substr(70000, 4 * 120000 - 70000 + 60000) + tape.substr(4 * 120000 + 61234));
    EXPECT_EQ(read.error, DvTapeError::None);
    EXPECT_EQ(read.losses.skippedBytes % 120000, 120000 - 1234 + 120000 - 70000 - 120000);
    EXPECT_GE(read.frames, 8);
    EXPECT_TRUE(read.bytes.ends_with(tape.substr(6 * 120000)));
}

TEST(DvTape, FramesOfNothingStayFrames) {
    const std::string tape = bytesOf(steady(4));
    const std::string nothing(20 * 120000, '\0');
    const Read read = readFile(tape + nothing + tape);
    EXPECT_EQ(read.frames, 28);
    EXPECT_TRUE(read.bytes == tape + nothing + tape);
    EXPECT_EQ(read.losses.skippedBytes, 0);
}

TEST(DvTape, ATapeCutOffGivesItsWholeFrames) {
    const std::string tape = bytesOf(steady(3));
    for (const size_t size : {tape.size() - 1, size_t{2 * 120000 + 1}, size_t{2 * 120000 + 12000}}) {
        const Read read = readFile(tape.substr(0, size));
        EXPECT_EQ(read.frames, 2);
        EXPECT_TRUE(read.losses.endsEarly);
        EXPECT_EQ(readPipe(tape.substr(0, size)).frames, 2);
    }
    EXPECT_EQ(readFile(tape.substr(0, 119999)).error, DvTapeError::NoFrame);
}

TEST(DvTape, AviChunksAreWalkedInOrder) {
    const std::string tape = bytesOf(steady(4));
    const auto frame = [&](size_t i) { return tape.substr(i * 120000, 120000); };
    const std::string sound = chunk("01wb", std::string(6407, 's'));
    const std::string type2 =
        chunk("00dc", frame(0)) + sound + chunk("00dc", "") + chunk("00dc", frame(1)) + sound;
    const std::string inRecords = list("rec ", chunk("00__", frame(2))) +
                                  chunk("ix00", std::string(24, 'i')) + chunk("JUNK", "x") +
                                  chunk("00__", frame(3));
    const std::string segment = chunk("RIFF", "AVIX" + list("movi", inRecords));
    for (const Read& read : {readFile(avi(type2) + segment), readPipe(avi(type2) + segment)}) {
        EXPECT_EQ(read.frames, 4);
        EXPECT_TRUE(read.bytes == tape);
        EXPECT_EQ(read.losses.emptyFrames, 1);
        EXPECT_FALSE(read.losses.endsEarly);
    }
    // Cut anywhere: the whole frames before the cut.
    const std::string whole = avi(type2);
    for (size_t size = 100; size < whole.size(); size += 9973) {
        const Read read = readFile(whole.substr(0, size));
        EXPECT_LE(read.frames, 2) << size;
        EXPECT_TRUE(read.error == DvTapeError::None || read.error == DvTapeError::NoFrame) << size;
    }
}

// Long enough to be read ahead, before and behind a gap that is jumped over, and to be cut while it is.
TEST(DvTape, LongFilesAreReadLikePipes) {
    const std::string tape = bytesOf(steady(60));
    std::string movi;
    for (size_t at = 0; at < tape.size(); at += 120000) {
        movi += chunk("00dc", tape.substr(at, 120000)) + chunk("01wb", std::string(6407, 's'));
        if (at == 30 * 120000) movi += chunk("JUNK", std::string(2000001, 'j'));
    }
    const std::string whole = avi(movi);
    for (const size_t size : {whole.size(), whole.size() / 2 - 1200000, whole.size() - 3000000}) {
        const Read file = readFile(whole.substr(0, size)), piped = readPipe(whole.substr(0, size));
        EXPECT_TRUE(file.bytes == piped.bytes) << size;
        EXPECT_TRUE(tape.starts_with(file.bytes)) << size;
        EXPECT_EQ(file.frames, size == whole.size() ? 60 : piped.frames) << size;
        EXPECT_EQ(file.losses.endsEarly, size != whole.size()) << size;
    }
}

TEST(DvTape, WhatIsNoTapeSaysSo) {
    EXPECT_EQ(readFile("").error, DvTapeError::NoDv);
    EXPECT_EQ(readFile(std::string(300000, 'x')).error, DvTapeError::NoDv);
    std::string others;
    for (int i = 0; i < 100; ++i) others += chunk("00dc", std::string(5000, 'm'));
    EXPECT_EQ(readFile(avi(others)).error, DvTapeError::NoDv);
    EXPECT_EQ(readFile(avi(chunk("00dc", std::string(120000, 'm')))).error, DvTapeError::NoDv);
    EXPECT_EQ(readFile(avi("")).error, DvTapeError::NoFrame);
    DvTapeError error{};
    EXPECT_EQ(DvTape::open((qv::test::home() / "none").c_str(), error), nullptr);
    EXPECT_EQ(error, DvTapeError::NotFound);
    EXPECT_EQ(DvTape::open(qv::test::home().c_str(), error), nullptr);
    EXPECT_EQ(error, DvTapeError::NotReadable);
}

TEST(DvTape, RealFilesOfEveryContainerGiveTheSameFrames) {
    QV_NEEDS_MEDIA(media);
    const std::string raw = qv::test::readFile(media / "dv/dv-toolbox/camcorder_ntsc_frames0-1.dv");
    for (const char* name :
         {"avi_camcorder_s01_ff_t2.avi", "avi_camcorder_s01_t1.avi", "avi_camcorder_s01_t2.avi"}) {
        const Read read = readFile(qv::test::readFile(media / "dv/derived" / name));
        EXPECT_TRUE(read.bytes == raw) << name << ' ' << read.frames;
    }
}
