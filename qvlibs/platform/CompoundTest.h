// For tests of structured storage: trees of names and content.
#pragma once

#include "qvlibs/platform/Held.h"
#include "qvlibs/platform/Storage.h"

#include <map>
#include <string>

namespace qv::test {

using qv::Held;
using Storage = Held<IStorage>;
using Stream = Held<IStream>;

constexpr DWORD kRead = STGM_READ | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kReadWrite = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
constexpr DWORD kReplace = STGM_CREATE | kReadWrite;

inline Storage createFile(const std::string& path, ULONG sectorSize = 512, DWORD flags = 0) {
    STGOPTIONS options;
    options.ulSectorSize = sectorSize;
    Storage root;
    StgCreateStorageEx(path.c_str(), kReplace | flags, &options, root.out());
    return root;
}

inline Storage openFile(const std::string& path, DWORD mode = kReadWrite) {
    Storage root;
    StgOpenStorage(path.c_str(), nullptr, mode, nullptr, 0, root.out());
    return root;
}

inline HRESULT writeStream(IStorage* storage, const std::string& name, const std::string& content) {
    Stream stream;
    const HRESULT created = storage->CreateStream(name.c_str(), kReplace, 0, 0, stream.out());
    if (created < 0) return created;
    return stream->Write(content.data(), static_cast<ULONG>(content.size()), nullptr);
}

// The content of a stream; "(failed)" where it cannot be had.
inline std::string readStream(IStorage* storage, const std::string& name) {
    Stream stream;
    STATSTG stat;
    if (storage->OpenStream(name.c_str(), nullptr, kRead, 0, stream.out()) < 0) return "(failed)";
    if (stream->Stat(&stat, STATFLAG_NONAME) < 0) return "(failed)";
    std::string content(stat.cbSize, '\0');
    ULONG got = 0;
    if (stream->Read(content.data(), static_cast<ULONG>(content.size()), &got) < 0) return "(failed)";
    content.resize(got);
    return content;
}

// Bytes that differ from place to place and from seed to seed.
inline std::string pattern(size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    std::uint32_t state = seed * 2654435761u + 12345;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

// Every stream by its path ("a/b"), storages by their path with a slash at the end.
using Content = std::map<std::string, std::string>;

inline void readAll(IStorage* storage, const std::string& prefix, Content& content) {
    Held<IEnumSTATSTG> elements;
    if (storage->EnumElements(0, nullptr, 0, elements.out()) < 0) {
        content[prefix + "(failed)"];
        return;
    }
    STATSTG element;
    while (elements->Next(1, &element, nullptr) == S_OK) {
        const std::string name = element.pwcsName.str();
        if (element.type == STGTY_STREAM) {
            content[prefix + name] = readStream(storage, name);
            continue;
        }
        Storage below;
        content[prefix + name + "/"];
        if (storage->OpenStorage(name.c_str(), nullptr, kRead, nullptr, 0, below.out()) >= 0)
            readAll(below.get(), prefix + name + "/", content);
    }
}

inline Content readAll(const std::string& path) {
    Content content;
    const Storage root = openFile(path, STGM_READ | STGM_SHARE_DENY_WRITE);
    if (root.get())
        readAll(root.get(), "", content);
    else
        content["(failed)"];
    return content;
}

} // namespace qv::test
