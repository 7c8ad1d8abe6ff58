// Makes small Windows modules with resources, byte by byte.
#pragma once

#include "qvlibs/framework/Types.h"
#include "qvlibs/util/Bytes.h"

#include <map>
#include <string>
#include <vector>

namespace qv::test {

struct PeResource {
    WORD type, id;
    std::string bytes;
};

constexpr size_t kPeResourceOffset = 0x200; // of the resource section in the file
constexpr DWORD kPeResourceAddress = 0x1000;

// `wide`: with the 64-bit form of the optional header.
inline std::vector<BYTE> peModule(const std::vector<PeResource>& resources, bool wide) {
    std::map<WORD, std::map<WORD, std::string>> tree;
    for (const auto& resource : resources) tree[resource.type][resource.id] = resource.bytes;
    ByteWriter section;
    const auto directory = [&](size_t count) {
        section.zeros(14);
        section.u16(static_cast<WORD>(count));
    };
    constexpr DWORD kDirectory = 0x80000000u;
    directory(tree.size());
    std::vector<std::pair<size_t, const std::map<WORD, std::string>*>> types;
    for (const auto& [type, names] : tree) {
        section.u32(type);
        types.emplace_back(section.size(), &names);
        section.u32(0);
    }
    std::vector<std::pair<size_t, const std::string*>> leaves;
    for (const auto& [at, names] : types) {
        section.patch32(at, static_cast<DWORD>(section.size()) | kDirectory);
        directory(names->size());
        std::vector<std::pair<size_t, const std::string*>> languages;
        for (const auto& [id, bytes] : *names) {
            section.u32(id);
            languages.emplace_back(section.size(), &bytes);
            section.u32(0);
        }
        for (const auto& [slot, bytes] : languages) {
            section.patch32(slot, static_cast<DWORD>(section.size()) | kDirectory);
            directory(1);
            section.u32(0x409);
            leaves.emplace_back(section.size(), bytes);
            section.u32(0);
        }
    }
    for (const auto& [slot, bytes] : leaves) {
        section.patch32(slot, static_cast<DWORD>(section.size()));
        section.u32(kPeResourceAddress + static_cast<DWORD>(section.size()) + 16);
        section.u32(static_cast<DWORD>(bytes->size()));
        section.zeros(8);
        section.bytes(bytes->data(), bytes->size());
    }
    ByteWriter out;
    out.text("MZ", 60);
    out.u32(64);
    out.u32(0x4550);
    out.u16(wide ? 0x8664 : 0x14C);
    out.u16(1); // sections
    out.zeros(12);
    const WORD optionalSize = wide ? 240 : 224;
    out.u16(optionalSize);
    out.u16(0);
    const size_t optional = out.size();
    out.u16(wide ? 0x20B : 0x10B);
    out.zeros((wide ? 108 : 92) - 2);
    out.u32(16);
    out.zeros(16);
    out.u32(kPeResourceAddress);
    out.u32(static_cast<DWORD>(section.size()));
    out.zeros(optionalSize - (out.size() - optional));
    out.text(".rsrc", 8);
    out.u32(static_cast<DWORD>(section.size()));
    out.u32(kPeResourceAddress);
    out.u32(static_cast<DWORD>(section.size()));
    out.u32(kPeResourceOffset);
    out.zeros(16);
    out.zeros(kPeResourceOffset - out.size());
    out.bytes(section.data().data(), section.size());
    return out.take();
}

} // namespace qv::test
