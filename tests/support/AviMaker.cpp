#include "tests/support/AviMaker.h"

namespace qv::test {
namespace {

struct Entry {
    size_t at;
    size_t size;
};

void addStream(RiffMaker& riff, const AviPlan& plan, bool video, size_t length, size_t& superIndexAt) {
    riff.begin("LIST", "strl");
    riff.begin("strh");
    ByteWriter& out = riff.out();
    out.bytes(video ? plan.videoType : "auds", 4);
    out.bytes(video ? plan.handler : "\0\0\0\0", 4);
    out.zeros(12);
    out.u32(video ? plan.scale : 4);
    out.u32(video ? plan.rate : 192000);
    out.u32(0);
    out.u32(static_cast<std::uint32_t>(length));
    out.zeros(8);
    out.u32(video ? 0 : 4);
    out.zeros(4);
    out.u16(static_cast<std::uint16_t>(plan.width));
    out.u16(static_cast<std::uint16_t>(plan.height));
    riff.end();
    riff.begin("strf");
    if (video) {
        out.u32(40);
        out.u32(plan.width);
        out.u32(plan.height);
        out.u16(1);
        out.u16(24);
        out.bytes(plan.handler, 4);
        out.zeros(20);
    } else {
        for (const std::uint16_t word : {1, 2}) out.u16(word);
        out.u32(48000);
        out.u32(192000);
        out.u16(4);
        out.u16(16);
    }
    riff.end();
    if (plan.index == AviIndex::OpenDml) {
        riff.begin("indx");
        out.u16(4);
        out.u16(0);
        out.u32(static_cast<std::uint32_t>(plan.segments));
        out.bytes(video ? "00dc" : "01wb", 4);
        out.zeros(12);
        superIndexAt = out.size();
        out.zeros(16 * plan.segments);
        riff.end();
    }
    riff.end();
}

void patch64(ByteWriter& out, size_t at, std::uint64_t value) {
    out.patch32(at, static_cast<std::uint32_t>(value));
    out.patch32(at + 4, static_cast<std::uint32_t>(value >> 32));
}

void addChunkIndex(RiffMaker& riff, const char* id, const char* of, const std::vector<Entry>& entries,
                   size_t superIndexEntry) {
    ByteWriter& out = riff.out();
    const size_t at = out.size();
    riff.begin(id);
    out.u16(2);
    out.u8(0);
    out.u8(1);
    out.u32(static_cast<std::uint32_t>(entries.size()));
    out.bytes(of, 4);
    out.u64(0);
    out.u32(0);
    for (const auto& entry : entries) {
        out.u32(static_cast<std::uint32_t>(entry.at));
        out.u32(static_cast<std::uint32_t>(entry.size));
    }
    riff.end();
    patch64(out, superIndexEntry, at);
    out.patch32(superIndexEntry + 8, static_cast<std::uint32_t>(out.size() - at));
    out.patch32(superIndexEntry + 12, static_cast<std::uint32_t>(entries.size()));
}

void addOldIndex(RiffMaker& riff, const std::vector<std::vector<Entry>>& entries, size_t base) {
    const char* ids[] = {"00dc", "01wb"};
    riff.begin("idx1");
    for (size_t i = 0; i < entries[0].size(); ++i) {
        for (size_t stream = 0; stream < 2; ++stream) {
            if (i >= entries[stream].size()) continue;
            riff.out().bytes(ids[stream], 4);
            riff.out().u32(0x10);
            riff.out().u32(static_cast<std::uint32_t>(entries[stream][i].at - 8 - base));
            riff.out().u32(static_cast<std::uint32_t>(entries[stream][i].size));
        }
    }
    riff.end();
}

} // namespace

std::string makeAvi(const AviPlan& plan, std::vector<size_t>* positions) {
    RiffMaker riff;
    size_t superIndex[2] = {0, 0};
    const size_t perSegment = (plan.frames.size() + plan.segments - 1) / plan.segments;
    for (size_t segment = 0; segment < plan.segments; ++segment) {
        riff.begin("RIFF", segment == 0 ? "AVI " : "AVIX");
        if (segment == 0) {
            riff.begin("LIST", "hdrl");
            riff.begin("avih");
            for (const DWORD word : {33367u, 0u, 0u, 0x10u, static_cast<DWORD>(perSegment), 0u, 2u, 0u,
                                     plan.width, plan.height, 0u, 0u, 0u, 0u})
                riff.out().u32(word);
            riff.end();
            addStream(riff, plan, true, plan.frames.size(), superIndex[0]);
            size_t samples = 0;
            for (const auto& sound : plan.sounds) samples += sound.size() / 4;
            if (!plan.sounds.empty()) addStream(riff, plan, false, samples, superIndex[1]);
            if (plan.index == AviIndex::OpenDml) {
                riff.begin("LIST", "odml");
                riff.begin("dmlh");
                riff.out().u32(static_cast<std::uint32_t>(plan.frames.size()));
                riff.end();
                riff.end();
            }
            riff.end();
        }
        riff.begin("LIST", "movi");
        const size_t moviWord = riff.out().size() - 4;
        std::vector<std::vector<Entry>> entries(2);
        for (size_t i = segment * perSegment; i < plan.frames.size() && i < (segment + 1) * perSegment; ++i) {
            if (plan.inRecLists) riff.begin("LIST", "rec ");
            entries[0].push_back({riff.chunk("00dc", plan.frames[i]), plan.frames[i].size()});
            if (positions) positions->push_back(entries[0].back().at);
            if (i < plan.sounds.size())
                entries[1].push_back({riff.chunk("01wb", plan.sounds[i]), plan.sounds[i].size()});
            if (plan.inRecLists) riff.end();
        }
        if (plan.index == AviIndex::OpenDml) {
            addChunkIndex(riff, "ix00", "00dc", entries[0], superIndex[0] + 16 * segment);
            if (superIndex[1]) addChunkIndex(riff, "ix01", "01wb", entries[1], superIndex[1] + 16 * segment);
        }
        riff.end();
        if (plan.index == AviIndex::Old) addOldIndex(riff, entries, moviWord);
        if (plan.index == AviIndex::OldFromFileStart) addOldIndex(riff, entries, 0);
        riff.end();
    }
    return riff.take();
}

} // namespace qv::test
