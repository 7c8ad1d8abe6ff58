// Any bytes as the packs of a DV frame: spread over every place that is read, in a block of the frame's size.
#include "qvlibs/timecode/DvFrameInfo.h"
#include "qvlibs/timecode/DvMetadata.h"
#include "qvlibs/timecode/DvScenes.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size < 5) return 0;
    std::vector<BYTE> frame(data[0] % 2 ? 120000 : 144000, 0xFF);
    size_t next = 1;
    for (size_t at = 0; at + 5 <= frame.size(); at += 80) {
        const size_t place = at / 80 % 150;
        const size_t packs = place < 1 ? 0 : place < 3 ? 6 : place < 6 ? 15 : (place - 6) % 16 == 0 ? 1 : 0;
        const size_t section = place < 1 ? 0 : place < 3 ? 1 : place < 6 ? 2 : packs ? 3 : 4;
        frame[at] = static_cast<BYTE>(section << 5 | 0x1F);
        frame[at + 1] = static_cast<BYTE>(at / 12000 << 4 | 7);
        frame[at + 2] = static_cast<BYTE>(section == 1   ? place - 1
                                          : section == 2 ? place - 3
                                          : section == 3 ? (place - 6) / 16
                                                         : (place - 6) / 16 * 15 + (place - 6) % 16 - 1);
        for (size_t i = 0; i < packs; ++i) {
            BYTE* pack = &frame[at + (section == 1 ? 6 + 8 * i : 3 + 5 * i)];
            for (size_t k = 0; k < 5; ++k, ++next) pack[k] = data[next % size];
        }
    }
    const auto info = qv::readDvFrame(frame);
    if (!info) __builtin_trap();
    if (info->timecode) {
        const auto& label = *info->timecode;
        const auto count = qv::dvLabelCount(label, info->system);
        if (count < 0 || qv::dvLabelOf(count, label.dropFrame, info->system) != label) __builtin_trap();
    }
    if (info->date &&
        (info->date->month < 1 || info->date->month > 12 || info->date->day < 1 || info->date->day > 31))
        __builtin_trap();

    // The settings' system decides what is read here, whatever the frame is: it is given a PAL frame's room.
    frame.resize(144000, 0xFF);
    CQVTimecode timecode, recorded;
    ULONG track = 0, sources[4] = {};
    QVTLDIF2Timecode(frame.data(), &timecode, &recorded, &track, &sources[0], &sources[1], &sources[2],
                     &sources[3]);
    if (!timecode.CheckTime(1971, 1, 1, timecode.GetHour(), timecode.GetMinute(), timecode.GetSecond(),
                            timecode.GetFrame()))
        __builtin_trap();

    qv::DvSceneFinder finder({}, [](const qv::DvScene&) {});
    for (int i = 0; i < 20; ++i) finder.add(*info);
    finder.finish();
    return 0;
}
