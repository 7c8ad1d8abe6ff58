// Makes small AVI files in memory, right or wrong as a test wants them.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/util/Bytes.h"

#include <string>
#include <vector>

namespace qv::test {

// Chunks and lists nested as they are begun and ended; sizes are filled in at the end.
class RiffMaker {
public:
    void begin(const char* id, const char* listType = nullptr) {
        out_.bytes(id, 4);
        open_.push_back(out_.size());
        out_.u32(0);
        if (listType) out_.bytes(listType, 4);
    }
    void end() {
        out_.patch32(open_.back(), static_cast<std::uint32_t>(out_.size() - open_.back() - 4));
        open_.pop_back();
        if (out_.size() & 1) out_.u8(0);
    }
    // Where the data of the chunk begins.
    size_t chunk(const char* id, const std::string& data) {
        begin(id);
        const size_t at = out_.size();
        out_.bytes(data.data(), data.size());
        end();
        return at;
    }
    ByteWriter& out() { return out_; }
    std::string take() {
        const auto bytes = out_.take();
        return {bytes.begin(), bytes.end()};
    }

private:
    ByteWriter out_;
    std::vector<size_t> open_;
};

enum class AviIndex : int { None, Old, OldFromFileStart, OpenDml };

struct AviPlan {
    std::vector<std::string> frames;
    std::vector<std::string> sounds; // one for each frame, or none
    AviIndex index = AviIndex::Old;
    bool inRecLists = false;
    size_t segments = 1;
    const char* videoType = "vids";
    const char* handler = "dvsd";
    DWORD rate = 30000, scale = 1001, width = 720, height = 480;
};

// The file; when `positions` is given, it receives where the data of every frame lies.
std::string makeAvi(const AviPlan& plan, std::vector<size_t>* positions = nullptr);

} // namespace qv::test
