// CAVIFile: a movie to take thumbnails from. Opened for thumbnails, its format is reduced to at most 180
// columns and about 144 rows; opened at full size, frames come as they are.
//
// Copies share the open file; it is closed when the last of them lets go. One thread at a time.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/framework/Strings.h"
#include "qvlibs/image/DibTypes.h"

#include <memory>
#include <vector>

class QVLIBS_API CAVIFile {
public:
    // Opens at once when a path is given.
    CAVIFile(const char* path = nullptr, int fullSize = 0, int flag = 0);
    CAVIFile(const CAVIFile&) = default;
    CAVIFile& operator=(const CAVIFile&) = default;
    virtual ~CAVIFile() = default;

    // Closes what was open. flag not 0: only headers, rates and lengths are wanted. 1 done, 0 when no
    // plug-in opens the file.
    int Open(const char* path, int fullSize, int flag);
    int Close(); // always 1

    CString GetFilePath() const { return path; }
    operator void*() { return handle.get(); } // the movie handle; null when closed
    operator BITMAPINFOHEADER*() { return &format; }

    ULONG GetFccHeader();               // four-character code of the video stream
    BITMAPINFOHEADER* GetVideoFormat(); // asks the plug-in again: full size from here on
    int IsDVAVI() const;                // the code is "dvsd" or "DVSD"
    int IsMPEG2() const;                // the code is "mpg2" or "MPG2"
    LONG GetTotalFrames() const;
    LONG GetMiliseconds() const;
    LONG GetAudioRatio() const;            // samples a second, 0 without sound
    int GetVideoCompressionRate() const;   // the average rate, on purpose; kilobits a second
    DIB_TYPE GetDIBType(LONG frame) const; // 0 on failure

    // The frame at the size of `format`; a frame that cannot be read is replaced by the next one. With
    // `exact` DV frames are decoded at full size first. 1 done, 0 failed.
    int GetNonCompressedStream(LONG frame, unsigned char* buffer, int exact);
    // The frame resized into the given header's size. 0 done, 0x80004005 when it cannot be read.
    ULONG ResizeFilter(LONG frame, BITMAPINFOHEADER* header, unsigned char* bits, DIB_TYPE type);
    // Resizes 24-bit pictures by the rules of CQVDIB::ResizeFilter, all of the source shown. Always 0.
    static ULONG ResizeFilter(BITMAPINFOHEADER* sourceHeader, unsigned char* sourceBits,
                              BITMAPINFOHEADER* header, unsigned char* bits, DIB_TYPE sourceType,
                              DIB_TYPE type);

private:
    void reduceFormat();
    bool decode(LONG frame, unsigned char* buffer, ULONG flags) const;

    CString path;
    std::shared_ptr<void> handle;
    BITMAPINFOHEADER format{};
    ULONG scale = 1; // reduction asked of the decoder
    ULONG stepX = 1; // further reduction, by resizing
    ULONG stepY = 1;
    ULONG fcc = 0;
    std::vector<unsigned char> scratch; // a decoded frame
};
