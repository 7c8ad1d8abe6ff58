// Writes the scenes of a tape as files of their own: raw DV, each frame byte for byte as it came.
//
// Parts are named by the recording date of their first dated frame and their number:
// "2005-12-24_12-34-56_part003.dv", "undated_part004.dv". While they are made they lie in a folder of their own
// inside the target folder; they appear under their names when all are complete and have been read back, and
// then all of them or none. No file that exists is ever overwritten.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/timecode/DvScenes.h"

#include <functional>
#include <vector>

namespace qv {

class QVLIBS_API DvSplit {
public:
    // Makes the folder where it is missing (its parent must be there).
    explicit DvSplit(const char* folder);
    // Removes what was not finished.
    ~DvSplit();
    DvSplit(const DvSplit&) = delete;
    DvSplit& operator=(const DvSplit&) = delete;

    // The errno of the first failure and the path that failed; 0 while there was none. EEXIST: a file of that
    // name is there already. EILSEQ: what was read back is not what was written.
    int error() const;
    CString errorPath() const;

    // To be called for every frame of the tape in its order, and from the scene finder's two sinks. Up to
    // DvSceneFinder::kAhead frames are kept in memory. After a failure they do nothing.
    void keep(std::span<const BYTE> frame);
    void decide(bool starts);
    void name(const DvScene& scene);

    struct Part {
        CString name; // in the folder
        std::int64_t frames;
        std::int64_t bytes;
    };
    // Reads all parts back, compares and puts them under their names. False on failure: then there are none.
    // `isStopped` is asked now and then while it reads: true ends it as a failure with EINTR.
    [[nodiscard]] bool finish(const std::function<bool()>& isStopped = {});
    const std::vector<Part>& parts() const; // in the order of the tape

    // XXH128 of all frames in the order of the tape, 32 hexadecimal digits; of the tape as it came and of the
    // parts as they were read back (which finish() has found equal). `cat PARTS | xxh128sum` gives the same.
    CString checksum() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace qv
