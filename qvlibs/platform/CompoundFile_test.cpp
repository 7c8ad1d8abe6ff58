// Long runs of random changes against a model, the file looked through after each.
#include "qvlibs/platform/CompoundCheck.h"
#include "qvlibs/platform/CompoundNames.h"
#include "qvlibs/platform/CompoundTest.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using namespace qv::test;
using namespace qv::compound;

namespace {

// What is wrong with a file as it lies on disk; empty when nothing is.
std::string problemsOf(const std::string& path) {
    File file(std::make_unique<Disk>(::open(path.c_str(), O_RDONLY)));
    if (const HRESULT status = file.open(); status < 0) return "cannot be opened";
    CheckResult result;
    if (checkFile(file, result) < 0) return "cannot be read";
    std::string text;
    for (const auto& list : {result.problems, result.remarks}) {
        for (const auto& line : list) text += line + "\n";
    }
    if (!result.unsortedTrees.empty()) text += "a tree is not valid\n";
    if (result.unusedSectors) text += std::to_string(result.unusedSectors) + " sectors are lost\n";
    return text;
}

// Sizes near the places where something changes, and some between.
size_t randomSize(std::mt19937& random) {
    constexpr size_t kEdges[] = {0, 1, 63, 64, 65, 511, 512, 513, 4095, 4096, 4097, 8192};
    return random() % 2 ? kEdges[random() % std::size(kEdges)] : random() % 20000;
}

struct Model {
    std::mt19937 random;
    Content content;

    std::string pick(bool storage) {
        std::vector<std::string> names;
        for (const auto& [name, bytes] : content) {
            if ((name.back() == '/') == storage) names.push_back(name);
        }
        return names.empty() ? "" : names[random() % names.size()];
    }
    // A name whose length and letters vary, so that the order of names matters.
    std::string newName() {
        std::string name;
        for (unsigned i = 1 + random() % 8; i > 0; --i) name += "abXY\xC3\xA9"[random() % 4];
        return name;
    }
    bool has(const std::string& path) const {
        for (const auto& [name, bytes] : content) {
            std::string own = name.back() == '/' ? name.substr(0, name.size() - 1) : name;
            std::u16string a, b;
            if (toUtf16(own, a) && toUtf16(path, b) && compareNames(a, b) == 0) return true;
        }
        return false;
    }
    void erase(const std::string& name) {
        for (auto at = content.begin(); at != content.end();)
            at = at->first == name || (name.back() == '/' && at->first.starts_with(name)) ? content.erase(at)
                                                                                          : ++at;
    }
};

// Opens the storage that holds an element and leaves the element's own name.
struct Place {
    std::vector<Storage> storages;
    std::string name;
    Place(IStorage* root, std::string path) {
        if (path.back() == '/') path.pop_back();
        for (size_t slash; (slash = path.find('/')) != path.npos; path = path.substr(slash + 1)) {
            Storage below;
            IStorage* above = storages.empty() ? root : storages.back().get();
            EXPECT_EQ(above->OpenStorage(path.substr(0, slash).c_str(), nullptr, kReadWrite, nullptr, 0,
                                         below.out()),
                      S_OK);
            storages.push_back(std::move(below));
        }
        name = path;
        holder = storages.empty() ? root : storages.back().get();
    }
    ~Place() {
        while (!storages.empty()) storages.pop_back();
    }
    IStorage* holder;
};

void changeSomething(Model& model, IStorage* root) {
    auto& random = model.random;
    const std::string stream = model.pick(false), storage = model.pick(true);
    const std::string parent = random() % 3 ? "" : storage;
    const std::string path = parent + model.newName();
    const unsigned what = random() % 10;
    if (what < 4) {
        if (model.has(path)) return;
        const Place place(root, path);
        const std::string bytes = pattern(randomSize(random), random());
        ASSERT_EQ(writeStream(place.holder, place.name, bytes), S_OK) << path;
        model.content[path] = bytes;
    } else if (what == 4) {
        if (model.has(path) || path.size() > 60) return;
        const Place place(root, path);
        Storage below;
        ASSERT_EQ(place.holder->CreateStorage(place.name.c_str(), kReadWrite, 0, 0, below.out()), S_OK);
        model.content[path + "/"];
    } else if (what == 5 && !stream.empty()) {
        const Place place(root, stream);
        ASSERT_EQ(place.holder->DestroyElement(place.name.c_str()), S_OK) << stream;
        model.erase(stream);
    } else if (what == 6 && !storage.empty() && random() % 4 == 0) {
        const Place place(root, storage);
        ASSERT_EQ(place.holder->DestroyElement(place.name.c_str()), S_OK);
        model.erase(storage);
    } else if (what == 7 && !stream.empty()) {
        const Place place(root, stream);
        const std::string renamed = stream.substr(0, stream.size() - place.name.size()) + model.newName();
        if (model.has(renamed)) return;
        const std::string name = renamed.substr(stream.size() - place.name.size());
        ASSERT_EQ(place.holder->RenameElement(place.name.c_str(), name.c_str()), S_OK);
        model.content[renamed] = model.content[stream];
        model.content.erase(stream);
    } else if (!stream.empty()) {
        // A few writes and sizes within an existing stream.
        const Place place(root, stream);
        std::string& bytes = model.content[stream];
        Stream open;
        ASSERT_EQ(place.holder->OpenStream(place.name.c_str(), nullptr, kReadWrite, 0, open.out()), S_OK);
        for (unsigned i = random() % 4; i > 0; --i) {
            const size_t at = random() % (bytes.size() + 600);
            const std::string part = pattern(1 + randomSize(random) / 4, random());
            if (random() % 4 == 0) {
                ASSERT_EQ(open->SetSize(at), S_OK);
                bytes.resize(at);
                continue;
            }
            ASSERT_EQ(open->Seek(static_cast<std::int64_t>(at), STREAM_SEEK_SET, nullptr), S_OK);
            ASSERT_EQ(open->Write(part.data(), static_cast<ULONG>(part.size()), nullptr), S_OK);
            if (bytes.size() < at + part.size()) bytes.resize(at + part.size());
            bytes.replace(at, part.size(), part);
        }
    }
}

void runModel(unsigned seed, ULONG sectorSize, int steps, int checkEvery) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", sectors of " + std::to_string(sectorSize));
    const std::string path = (home() / "model.stg").string();
    Model model{std::mt19937(seed), {}};
    Storage root = createFile(path, sectorSize);
    for (int step = 0; step < steps; ++step) {
        ASSERT_NO_FATAL_FAILURE(changeSomething(model, root.get())) << "step " << step;
        if (step % checkEvery) continue;
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

TEST(CompoundFile, RandomChangesKeepTheFileWhole) {
    const char* wish = std::getenv("QVLIBS_STORAGE_ROUNDS");
    const unsigned rounds = wish ? static_cast<unsigned>(std::atoi(wish)) : 3;
    for (unsigned seed = 1; seed <= rounds; ++seed) {
        ASSERT_NO_FATAL_FAILURE(runModel(seed, 512, 400, 1));
        ASSERT_NO_FATAL_FAILURE(runModel(seed + 1000, 4096, 200, 1));
    }
}
