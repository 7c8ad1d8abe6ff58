// The DV frames of a tape, one after the other: from raw DIF files, DV AVI files of both types and any size,
// other movies whose plug-in hands out DV frames, and from a pipe (raw or AVI).
//
// The file is read once from its beginning to its end; memory does not grow with it. Its index is not needed,
// so a capture that was cut off is read to its last whole frame. A signal handler that was installed without
// SA_RESTART ends the wait for a slow pipe, and with it the tape. One thread at a time.
#pragma once

#include "qvlibs/timecode/DvFrameInfo.h"

#include <memory>

namespace qv {

class TapeStream;

enum class DvTapeError : int {
    None,
    NotFound,
    NotReadable, // the system's reason is in errno
    NoDv,        // what it is, it has no DV frames of 25 Mbit/s
    NoFrame,     // DV, but not one whole frame
};

class QVLIBS_API DvTape {
public:
    // Null on failure; `error` then says why.
    static std::unique_ptr<DvTape> open(const char* path, DvTapeError& error);
    // Reads from the descriptor's position on, a pipe too. It stays the caller's and must outlive the tape.
    static std::unique_ptr<DvTape> open(int descriptor, DvTapeError& error);
    ~DvTape();
    DvTape(const DvTape&) = delete;
    DvTape& operator=(const DvTape&) = delete;

    // The next frame's 120000 or 144000 bytes, good until the next call; empty at the end.
    std::span<const BYTE> next();

    // How much of the tape has been read, 0 to 1; below 0 when its length is not known.
    double share() const;
    // What of the tape so far was no frame: bytes between frames of a raw stream; frames that an AVI leaves
    // empty or that have another size; and whether it ends in the middle of a frame or was not readable to
    // its end.
    struct Losses {
        std::int64_t skippedBytes = 0;
        std::int64_t emptyFrames = 0;
        std::int64_t oddFrames = 0;
        bool endsEarly = false;
    };
    Losses losses() const;

private:
    struct Source;
    struct RawSource;
    struct AviSource;
    struct MovieSource;
    explicit DvTape(std::unique_ptr<Source> source);
    static std::unique_ptr<DvTape> open(std::unique_ptr<TapeStream> stream, const char* path,
                                        DvTapeError& error);

    std::unique_ptr<Source> source_;
    std::span<const BYTE> first_; // read when the tape was opened, not yet handed out
    bool hasFirst_ = false;
};

} // namespace qv
