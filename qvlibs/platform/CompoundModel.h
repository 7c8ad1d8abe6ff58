// For tests of structured storage: random changes, made to a file and to a model of what it must hold.
#pragma once

#include "qvlibs/platform/CompoundCheck.h"
#include "qvlibs/platform/CompoundNames.h"
#include "qvlibs/platform/CompoundTest.h"

#include <iterator>
#include <random>
#include <vector>

#include <fcntl.h>

namespace qv::test {

// What is wrong with a file as it lies on disk; empty when nothing is.
inline std::string problemsOf(const std::string& path) {
    compound::File file(std::make_unique<compound::Disk>(::open(path.c_str(), O_RDONLY)));
    if (file.open() < 0) return "cannot be opened";
    const compound::CheckResult result = compound::checkFile(file);
    std::string text;
    for (const auto& list : {result.problems, result.remarks}) {
        for (const auto& line : list) text += line + "\n";
    }
    if (!result.unsortedTrees.empty()) text += "a tree is not valid\n";
    if (result.unusedSectors) text += std::to_string(result.unusedSectors) + " sectors are lost\n";
    return text;
}

struct Change {
    enum Kind { Nothing, Put, MakeStorage, Remove, Rename, Edit } kind = Nothing;
    struct Part { // of an edit: bytes at a place, or a new size when there are none
        size_t at;
        std::string bytes;
    };
    std::string path; // storages end with a slash
    std::string newName;
    std::string bytes;
    std::vector<Part> parts;
};

class Model {
public:
    explicit Model(unsigned seed) : random(seed) {}

    std::mt19937 random;
    Content content;

    // The next change; the model has made it already.
    Change next() {
        Change change;
        const std::string stream = pick(false), storage = pick(true);
        const std::string path = (random() % 3 ? "" : storage) + newName();
        const unsigned what = random() % 10;
        if (what < 4 && !has(path)) {
            change = {Change::Put, path, "", pattern(randomSize(), static_cast<unsigned>(random())), {}};
            content[path] = change.bytes;
        } else if (what == 4 && !has(path) && path.size() < 60) {
            change = {Change::MakeStorage, path + "/", "", "", {}};
            content[change.path];
        } else if (what == 5 && !stream.empty()) {
            change = {Change::Remove, stream, "", "", {}};
            erase(stream);
        } else if (what == 6 && !storage.empty() && random() % 4 == 0) {
            change = {Change::Remove, storage, "", "", {}};
            erase(storage);
        } else if (what == 7 && !stream.empty()) {
            const size_t slash = stream.rfind('/') + 1; // 0 where there is none
            const std::string name = newName();
            if (has(stream.substr(0, slash) + name)) return {};
            change = {Change::Rename, stream, name, "", {}};
            content[stream.substr(0, slash) + name] = content[stream];
            content.erase(stream);
        } else if (what > 7 && !stream.empty()) {
            change = {Change::Edit, stream, "", "", {}};
            for (unsigned i = random() % 4; i > 0; --i) edit(change, content[stream]);
        }
        return change;
    }

private:
    // Sizes near the places where something changes, and some between.
    size_t randomSize() {
        constexpr size_t kEdges[] = {0, 1, 63, 64, 65, 511, 512, 513, 4095, 4096, 4097, 8192};
        return random() % 2 ? kEdges[random() % std::size(kEdges)] : random() % 20000;
    }
    std::string pick(bool storage) {
        std::vector<std::string> names;
        for (const auto& [name, bytes] : content) {
            if ((name.back() == '/') == storage) names.push_back(name);
        }
        return names.empty() ? "" : names[random() % names.size()];
    }
    // A name whose length and letters vary, so that the order of names matters.
    std::string newName() {
        constexpr const char* kLetters[] = {"a", "b", "X", "Y", "\xC3\xA9"};
        std::string name;
        for (unsigned i = 1 + random() % 8; i > 0; --i) name += kLetters[random() % std::size(kLetters)];
        return name;
    }
    bool has(const std::string& path) const {
        std::u16string wanted, own;
        if (!compound::toUtf16(path, wanted)) return true;
        for (const auto& [name, bytes] : content) {
            if (compound::toUtf16(name.back() == '/' ? name.substr(0, name.size() - 1) : name, own) &&
                compound::compareNames(own, wanted) == 0)
                return true;
        }
        return false;
    }
    void erase(const std::string& name) {
        std::erase_if(content, [&](const auto& item) {
            return item.first == name || (name.back() == '/' && item.first.starts_with(name));
        });
    }
    void edit(Change& change, std::string& bytes) {
        const size_t at = random() % (bytes.size() + 600);
        change.parts.push_back(
            {at, random() % 4 ? pattern(1 + randomSize() / 4, static_cast<unsigned>(random())) : ""});
        const std::string& part = change.parts.back().bytes;
        if (part.empty() || bytes.size() < at + part.size()) bytes.resize(at + part.size());
        bytes.replace(at, part.size(), part);
    }
};

inline HRESULT applyEdit(const Change& change, IStorage* storage, const std::string& name) {
    Stream stream;
    HRESULT status = storage->OpenStream(name.c_str(), nullptr, kReadWrite, 0, stream.out());
    for (const auto& part : change.parts) {
        if (status >= 0 && part.bytes.empty()) status = stream->SetSize(part.at);
        if (status < 0 || part.bytes.empty()) continue;
        status = stream->Seek(static_cast<std::int64_t>(part.at), STREAM_SEEK_SET, nullptr);
        if (status >= 0)
            status = stream->Write(part.bytes.data(), static_cast<ULONG>(part.bytes.size()), nullptr);
    }
    return status;
}

// Makes a change to a file; the path is taken apart on the way down.
inline HRESULT apply(const Change& change, IStorage* storage, std::string path) {
    const size_t slash = path.find('/');
    if (slash != path.npos && slash + 1 < path.size()) {
        Storage below;
        const std::string name = path.substr(0, slash);
        const HRESULT status =
            storage->OpenStorage(name.c_str(), nullptr, kReadWrite, nullptr, 0, below.out());
        return status < 0 ? status : apply(change, below.get(), path.substr(slash + 1));
    }
    if (slash != path.npos) path.resize(slash);
    Storage made;
    switch (change.kind) {
    case Change::Put: return writeStream(storage, path, change.bytes);
    case Change::MakeStorage: return storage->CreateStorage(path.c_str(), kReadWrite, 0, 0, made.out());
    case Change::Remove: return storage->DestroyElement(path.c_str());
    case Change::Rename: return storage->RenameElement(path.c_str(), change.newName.c_str());
    case Change::Edit: return applyEdit(change, storage, path);
    default: return S_OK;
    }
}
inline HRESULT apply(const Change& change, IStorage* root) { return apply(change, root, change.path); }

} // namespace qv::test
