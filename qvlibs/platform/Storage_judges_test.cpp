// Files written here as other programs read them, and files of others as they are read here.
#include "qvlibs/platform/CompoundTest.h"
#include "qvlibs/platform/StorageCheck.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

using namespace qv::test;

namespace {

std::uint32_t crc32(const std::string& bytes) {
    static const auto kTable = [] {
        std::array<std::uint32_t, 256> table{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            table[i] = i;
            for (int bit = 0; bit < 8; ++bit) table[i] = table[i] >> 1 ^ (table[i] & 1 ? 0xEDB88320u : 0);
        }
        return table;
    }();
    std::uint32_t crc = ~0u;
    for (const char byte : bytes) crc = crc >> 8 ^ kTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
    return ~crc;
}

// The interpreter that has olefile; empty when none has.
std::string pythonWithOlefile() {
    for (const char* program : {"/usr/bin/python3", "python3"}) {
        if (run({program, "-c", "import olefile"}).exitCode == 0) return program;
    }
    return "";
}

// What the three readers must find; the list and the verdict.
class Judges {
public:
    void expect(const std::string& file, const Content& content) {
        for (const auto& [path, bytes] : content) {
            list_ << file << '\t' << path;
            if (path.back() != '/')
                list_ << '\t' << bytes.size() << '\t' << std::hex << crc32(bytes) << std::dec;
            list_ << '\n';
        }
        if (content.empty()) list_ << file << "\t\n";
    }
    RunResult ask(const std::string& python, const std::vector<std::string>& options = {}) const {
        const auto path = home() / "expected.tsv";
        writeFile(path, list_.str());
        std::vector<std::string> command{python, QV_SOURCE_DIR "/tests/storage_judges.py", path.string()};
        command.insert(command.end(), options.begin(), options.end());
        return run(command, {"LC_ALL=C.UTF-8"}, 3000);
    }

private:
    std::ostringstream list_;
};

#define QV_NEEDS_JUDGES(python)                                                                              \
    const std::string python = pythonWithOlefile();                                                          \
    if (python.empty() || !(hasProgram("7zz") || hasProgram("7z")) || !hasProgram("gsf"))                    \
    GTEST_SKIP() << "olefile, 7-Zip or libgsf is not installed"

size_t randomSize(std::mt19937& random) {
    constexpr size_t kEdges[] = {0, 1, 63, 64, 65, 127, 128, 511, 512, 513, 4095, 4096, 4097, 65536};
    const unsigned kind = random() % 20;
    return kind < 9 ? kEdges[random() % std::size(kEdges)] : kind == 9 ? random() % 300000 : random() % 9000;
}

std::string randomName(std::mt19937& random) {
    // Letters whose capitals lie in other rows of the table, of one, two, three and four bytes.
    constexpr const char* kLetters[] = {"a",
                                        "B",
                                        "c",
                                        "Z",
                                        "0",
                                        " x",
                                        ".y",
                                        "\xC3\xA4",
                                        "\xC3\x96",
                                        "\xD0\xB6",
                                        "\xD0\x96",
                                        "\xCF\x82",
                                        "\xE3\x81\x82",
                                        "\xEF\xBD\x81",
                                        "\xF0\x9F\x8E\xAC"};
    std::string name = std::to_string(random() % 10);
    for (unsigned i = random() % 13; i > 0; --i) name += kLetters[random() % std::size(kLetters)];
    return name;
}

void growTree(std::mt19937& random, IStorage* storage, int depth) {
    for (unsigned i = random() % (depth == 0 ? 14 : 6); i > 0; --i) {
        const std::string name = randomName(random);
        if (random() % 4 == 0 && depth < 4) {
            Storage below;
            if (storage->CreateStorage(name.c_str(), kReadWrite, 0, 0, below.out()) == S_OK)
                growTree(random, below.get(), depth + 1);
        } else {
            writeStream(storage, name, pattern(randomSize(random), random()));
        }
        // Some of it goes again, so that what comes later finds gaps.
        Held<IEnumSTATSTG> elements;
        STATSTG element;
        if (random() % 5 == 0 && storage->EnumElements(0, nullptr, 0, elements.out()) == S_OK &&
            elements->Skip(random() % 4) == S_OK && elements->Next(1, &element, nullptr) == S_OK)
            storage->DestroyElement(element.pwcsName);
    }
}

std::string problemsOf(const std::string& path) {
    qv::StorageReport report;
    if (qv::checkStorageFile(path.c_str(), report) < 0) return "cannot be checked";
    std::string text;
    for (const auto* list : {&report.problems, &report.remarks}) {
        for (auto at = list->GetHeadPosition(); at;) text += list->GetNext(at).str() + "\n";
    }
    return report.lostBytes ? text + "space is lost" : text;
}

std::uint32_t wordAt(const std::string& path, size_t offset) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(offset));
    std::uint32_t word = 0;
    in.read(reinterpret_cast<char*>(&word), sizeof word);
    return word;
}

// The reference tables write letters as \xNN and \uNNNN. A name ends at its first zero.
std::string unescape(const std::string& text) {
    std::string name;
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t digits = text[i] != '\\' || i + 1 == text.size() ? 0
                              : text[i + 1] == 'x'                    ? 2
                              : text[i + 1] == 'u'                    ? 4
                                                                      : 0;
        if (digits == 0) {
            name += text[i];
            continue;
        }
        const auto code = static_cast<unsigned>(std::stoul(text.substr(i + 2, digits), nullptr, 16));
        i += 1 + digits;
        if (code == 0) break;
        if (code < 0x80) {
            name += static_cast<char>(code);
        } else if (code < 0x800) {
            name += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
        } else {
            name += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                     static_cast<char>(0x80 | (code & 0x3F))};
        }
    }
    return name;
}

// Damaged streams and names that are deliberately not read the same.
constexpr struct {
    const char* file;
    const char* path;
} kReadOtherwise[] = {
    // olefile joins what comes behind pieces that are missing; here a stream ends where it is broken.
    {"compound/poi/fuzz_POIHSLFFuzzer-5018229722382336.ppt", "Current User"},
    {"compound/poi/fuzz_POIHSLFFuzzer-5018229722382336.ppt", "\x05"
                                                             "DocumentSummaryInformation"},
    {"compound/poi/fuzz_POIHSLFFuzzer-6192650357112832.ppt", "Current User"},
    {"compound/poi/fuzz_POIHSLFFuzzer-6192650357112832.ppt", "\x05"
                                                             "DocumentSummaryInformation"},
    // A name with half a letter too much.
    {"compound/poi/fuzz_POIHSSFFuzzer-5786329142919168.xls", "Workbook"},
    {"compound/poi/fuzz_POIHSSFFuzzer-5786329142919168.xls", "Workbook\xEF\xBF\xBD"},
    // Two streams of one name: one of them can be had.
    {"compound/rust-cfb/loop_in_minichain.cfb", "VBA/__SRP_2"},
};

} // namespace

// QVLIBS_STORAGE_TREES trees; the full run takes 10000.
TEST(StorageJudges, RandomTreesAreReadAlikeByAll) {
    QV_NEEDS_JUDGES(python);
    const char* wish = std::getenv("QVLIBS_STORAGE_TREES");
    const int trees = wish ? std::atoi(wish) : 30;
    for (int first = 0; first < trees; first += 500) {
        Judges judges;
        const auto folder = makeFolder("trees" + std::to_string(first));
        for (int i = first; i < std::min(trees, first + 500); ++i) {
            const std::string path = (folder / (std::to_string(i) + ".stg")).string();
            std::mt19937 random(static_cast<unsigned>(i));
            {
                const Storage root = createFile(path, i % 3 ? 512 : 4096, i % 2 ? 0 : STGM_TRANSACTED);
                growTree(random, root.get(), 0);
                ASSERT_EQ(root->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE), S_OK);
            }
            ASSERT_EQ(problemsOf(path), "") << path;
            judges.expect(path, readAll(path));
        }
        const RunResult verdict = judges.ask(python);
        ASSERT_EQ(verdict.exitCode, 0) << verdict.out << verdict.err;
        std::printf("%s", verdict.out.c_str());
        std::filesystem::remove_all(folder);
    }
}

TEST(StorageJudges, SizesAtTheLimits) {
    QV_NEEDS_JUDGES(python);
    Judges judges;
    for (const ULONG sectorSize : {512u, 4096u}) {
        const std::string path = (home() / ("sizes" + std::to_string(sectorSize))).string();
        Content content;
        {
            const Storage root = createFile(path, sectorSize);
            for (const size_t size :
                 {0, 1, 63, 64, 65, 511, 512, 513, 4095, 4096, 4097, 12163482 /* 11.6 MB */}) {
                const std::string name = std::to_string(size);
                content[name] = pattern(size, static_cast<unsigned>(size));
                ASSERT_EQ(writeStream(root.get(), name, content[name]), S_OK);
            }
        }
        ASSERT_EQ(readAll(path), content);
        ASSERT_EQ(problemsOf(path), "");
        judges.expect(path, content);
    }
    // Tables that just fit into the header's 109 places and into the 127 of an index sector, and that just
    // do not.
    for (const std::uint32_t tables : {108u, 109u, 110u, 235u, 236u, 237u}) {
        const std::string path = (home() / ("tables" + std::to_string(tables))).string();
        Content content;
        // The table may grow by more than one sector at once; then again, beginning with less.
        for (std::uint32_t less = 3; less < 10 && (content.empty() || wordAt(path, 0x2C) != tables); ++less) {
            const Storage root = createFile(path, 512, STGM_TRANSACTED);
            content = {{"stream", pattern((tables - less) * 65536, tables)}};
            ASSERT_EQ(writeStream(root.get(), "stream", content["stream"]), S_OK);
            for (int i = 0; i < 200 && wordAt(path, 0x2C) < tables; ++i) {
                const std::string name = "more" + std::to_string(i);
                ASSERT_EQ(writeStream(root.get(), name, content[name] = pattern(5000, tables)), S_OK);
                ASSERT_EQ(root->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE), S_OK);
            }
        }
        EXPECT_EQ(wordAt(path, 0x2C), tables);
        EXPECT_EQ(wordAt(path, 0x48), tables <= 109 ? 0u : tables <= 236 ? 1u : 2u) << tables;
        ASSERT_EQ(readAll(path), content);
        ASSERT_EQ(problemsOf(path), "");
        judges.expect(path, content);
    }
    const RunResult verdict = judges.ask(python);
    EXPECT_EQ(verdict.exitCode, 0) << verdict.out << verdict.err;
    std::printf("%s", verdict.out.c_str());
}

TEST(StorageJudges, StreamsBeyondTwoGigabytes) {
    constexpr std::uint64_t kSize = 0x80000000ull + 70000000;
    const std::string path = (home() / "large.stg").string();
    const std::string start = pattern(5000, 1), end = pattern(5000, 2);
    {
        const Storage root = createFile(path, 4096);
        Stream stream;
        ASSERT_EQ(root->CreateStream("large", kReplace, 0, 0, stream.out()), S_OK);
        ASSERT_EQ(stream->SetSize(kSize), S_OK);
        ASSERT_EQ(stream->Write(start.data(), 5000, nullptr), S_OK);
        ASSERT_EQ(stream->Seek(-5000, STREAM_SEEK_END, nullptr), S_OK);
        ASSERT_EQ(stream->Write(end.data(), 5000, nullptr), S_OK);
        stream.reset();
        ASSERT_EQ(writeStream(root.get(), "behind", end), S_OK); // lies past 2 GiB
    }
    EXPECT_EQ(problemsOf(path), "");
    Storage root = openFile(path, STGM_READ | STGM_SHARE_DENY_WRITE);
    Stream stream;
    ASSERT_EQ(root->OpenStream("large", nullptr, kRead, 0, stream.out()), S_OK);
    for (const auto& [at, bytes] : {std::pair{std::uint64_t{0}, start}, std::pair{kSize - 5000, end}}) {
        std::string got(5000, '\0');
        ASSERT_EQ(stream->Seek(static_cast<std::int64_t>(at), STREAM_SEEK_SET, nullptr), S_OK);
        ASSERT_EQ(stream->Read(got.data(), 5000, nullptr), S_OK);
        EXPECT_TRUE(got == bytes) << at;
    }
    EXPECT_EQ(readStream(root.get(), "behind"), end);
    if (hasProgram("7zz")) {
        const RunResult listed = run({"7zz", "l", "-slt", "-tCompound", path});
        EXPECT_EQ(listed.exitCode, 0) << listed.out;
        EXPECT_NE(listed.out.find("Size = " + std::to_string(kSize) + "\n"), std::string::npos) << listed.out;
    }
    // Files with small sectors end there.
    root = createFile((home() / "small.stg").string());
    ASSERT_EQ(root->CreateStream("large", kReplace, 0, 0, stream.out()), S_OK);
    EXPECT_EQ(stream->SetSize(kSize), STG_E_MEDIUMFULL);
}

// The sizes and checksums that olefile found, for every file that it could read.
TEST(StorageJudges, FilesOfOthersAreReadAsOlefileReadsThem) {
    QV_NEEDS_MEDIA(media);
    QV_NEEDS_PROGRAM("md5sum");
    std::map<std::string, std::map<std::string, std::pair<std::string, std::string>>> expected;
    for (const char* table :
         {"compound/expected_streams.tsv", "malformed/reference_readers_compound_streams.tsv"}) {
        const std::string folder = std::string(table).substr(0, std::string(table).find('/') + 1);
        for (const auto& cells : readTable(media / table)) { // file, path, type, size, md5 by olefile ...
            if (cells[0] == "file") continue;
            expected[folder + cells[0]][unescape(cells[1]) + (cells[2] == "storage" ? "/" : "")] = {cells[3],
                                                                                                    cells[4]};
        }
    }
    int streams = 0;
    for (auto& [file, elements] : expected) {
        SCOPED_TRACE(file);
        std::map<std::string, std::pair<std::string, std::string>> found;
        for (const auto& [path, bytes] : readAll((media / file).string())) {
            auto& entry = found[path];
            if (path.back() == '/') continue;
            if (bytes == "(failed)") { // nothing of it can be had: olefile gives no bytes
                entry = elements.count(path) && elements.at(path).first == "0" ? elements.at(path) : entry;
                continue;
            }
            writeFile(home() / "content", bytes);
            entry = {std::to_string(bytes.size()),
                     run({"md5sum", (home() / "content").string()}).out.substr(0, 32)};
            ++streams;
        }
        for (const auto& row : kReadOtherwise) {
            if (file == row.file) found.erase(row.path), elements.erase(row.path);
        }
        EXPECT_EQ(found, elements);
    }
    std::printf("%zu files, %d streams\n", expected.size(), streams);
}

// Of the files that 7-Zip can open.
TEST(StorageJudges, FilesOfOthersAreReadAs7ZipReadsThem) {
    QV_NEEDS_MEDIA(media);
    QV_NEEDS_JUDGES(python);
    Judges judges;
    for (const auto& cells : readTable(media / "compound/expected_files.tsv")) {
        const std::string file = (media / "compound" / cells[0]).string();
        if (cells[0] != "file") judges.expect(file, readAll(file));
    }
    const RunResult verdict = judges.ask(python, {"--foreign"});
    EXPECT_EQ(verdict.exitCode, 0) << verdict.out << verdict.err;
    std::printf("%s", verdict.out.c_str());
}
