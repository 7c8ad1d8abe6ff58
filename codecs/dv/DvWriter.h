// A DV movie being written: DV frames, or pictures that the DV component encodes, into an AVI of type 2. The
// sound comes with the frames or out of them. One thread at a time.
#pragma once

#include "codecs/dv/AviWriter.h"

namespace qv {

class DvWriter {
public:
    // Null when the file cannot be made. One of that name keeps its content until the first frame.
    static std::unique_ptr<DvWriter> create(const char* path, bool pal);
    ~DvWriter(); // closes
    DvWriter(const DvWriter&) = delete;
    DvWriter& operator=(const DvWriter&) = delete;

    // What the sound handed to addDif() is: PCM of 16 bits, one or two channels. A rate of 0: it is not looked
    // at. Refused after the first frame.
    [[nodiscard]] bool setSound(std::int32_t rate, std::int32_t channels, std::int32_t bits);

    // Appends a frame of dvFrameSize(). A dibType of 1, 2 or 3 is written into it as its shape; others leave
    // it alone. `pcm` holds the frame's share of the sound: dvSamplesBefore() of the next frame less that of
    // this one. Without it, the sound inside the frame is taken. Whether the movie has sound, and which, the
    // first frame decides. False for a frame of the other system, and when the disk is full: the movie then
    // ends with the frame before and takes no more.
    [[nodiscard]] bool addDif(const std::uint8_t* dif, std::uint32_t dibType, const std::uint8_t* pcm);

    // Encodes and appends a picture of 720 x 480 or 576 with 24 bits a pixel, labelled with its place in the
    // movie.
    [[nodiscard]] bool addPicture(const BITMAPINFOHEADER& header, const std::uint8_t* bits,
                                  std::uint32_t dibType);
    // Lets go of the encoder; the next picture opens a new one.
    void resetEncoder();

    // Finishes the file. Without a frame a new one is removed, and one that was there stays as it was. False when
    // anything failed on the way.
    [[nodiscard]] bool close();

private:
    DvWriter(const char* path, bool pal) : path_(path), pal_(pal) {}
    bool begin(const std::uint8_t* dif, bool hasPcm);
    std::span<const std::uint8_t> soundOf(const std::uint8_t* dif, const std::uint8_t* pcm);

    std::string path_;
    bool pal_;
    std::unique_ptr<AviWriter> avi_; // from the first frame on
    std::optional<WAVEFORMATEX> given_;
    std::optional<WAVEFORMATEX> sound_; // of the movie
    std::uint64_t frames_ = 0;
    std::vector<std::uint8_t> dif_;
    std::vector<std::uint8_t> pcm_;
    void* encoder_ = nullptr;
    bool isNew_ = false;  // there was no file of the name
    bool failed_ = false; // there was no room to begin
    bool closed_ = false;
};

} // namespace qv
