// The resources of a Windows program or library file, read as data: nothing of it runs. The format is the published
// PE/COFF one; resources form a tree of type, name and language.
#pragma once

#include "qvlibs/framework/Types.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace qv {

class PeResources {
public:
    static constexpr WORD kIcon = 3;
    static constexpr WORD kGroupIcon = 14;

    // Null when the file cannot be read, is larger than 256 MiB or is not a PE module.
    static std::unique_ptr<PeResources> load(const char* path);
    // The same from bytes.
    static std::unique_ptr<PeResources> parse(std::vector<BYTE> bytes);

    // The resource of this type and number in the first language that is there; empty when there is none. The bytes
    // stay this object's.
    std::span<const BYTE> find(WORD type, WORD id) const;
    // All resources of the type in the order of the tree, named ones first.
    std::vector<std::span<const BYTE>> all(WORD type) const;

private:
    struct Leaf {
        WORD type;
        std::optional<WORD> id; // nothing for named resources
        std::span<const BYTE> bytes;
    };
    struct Walk;

    bool readTree();

    std::vector<BYTE> bytes_;
    std::vector<Leaf> leaves_;
};

const PeResources* moduleData(HINSTANCE module); // null for an unknown handle; valid until freed

} // namespace qv
