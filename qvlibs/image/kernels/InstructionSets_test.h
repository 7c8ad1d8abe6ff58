// Runs pixel loops as processors with fewer instructions would.
#pragma once

#include <hwy/targets.h>

#include <string>
#include <vector>

namespace qv::test {

struct InstructionSets {
    InstructionSets() {
        for (std::int64_t left = hwy::SupportedTargets(); left != 0; left &= left - 1)
            all.push_back(left & -left);
    }
    ~InstructionSets() { use(0); }
    InstructionSets(const InstructionSets&) = delete;
    InstructionSets& operator=(const InstructionSets&) = delete;

    // Everything dispatched after this runs as if the processor had this set only; 0 is the processor's own.
    void use(std::int64_t set) const {
        hwy::SetSupportedTargetsForTest(set);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }

    std::string names() const {
        std::string list;
        for (const std::int64_t set : all)
            list += std::string(list.empty() ? "" : ", ") + hwy::TargetName(set);
        return list;
    }

    std::vector<std::int64_t> all; // of this processor, each a target of Highway
};

} // namespace qv::test
