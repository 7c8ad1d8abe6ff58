/* The boundary between the library and its codec modules: plain C, nothing of the library inside.
 *
 * A module is a shared object in the library's own folder. Its extension says its kind:
 *     .vcp movies   .acp sounds   .tcp titles   .pcp pictures   .pbp picture properties
 * It exports the functions of its kind under the names below, with C linkage and default visibility. The
 * library looks a name up at the moment of each call and takes it only when it lies in the module itself. A
 * module may leave any function out: the library then answers 9 for it (0 where a stream, writer, picture or
 * pointer is due).
 *
 * Results: 0 is done, anything else travels to the caller untouched. Do not use 9 and 14 for failures of your
 * own: they mean "no such export" and "no module".
 *
 * Streams: QVSTREAM and QVWRITER are 32-bit tickets out of the module's own table, 0 = none; never a pointer
 * in disguise. A ticket that was closed, and ticket 0, must be refused.
 *
 * Text: UTF-8, zero-ended; paths are whatever bytes the file system has.
 *
 * Memory: what a module hands out stays the module's, valid until the next call on that stream. The one
 * exception is Decode, which hands a memory block over.
 *
 * Pixels: rows lie bottom first and are padded to 4 bytes; 24 bits a pixel are B, G, R.
 *
 * Threads: IsSupported, Investigate, Decode and GetStillImageInfo never overlap; the rest may, though never
 * two calls on one stream. A module must not start threads, or wait for any, while it is being loaded.
 *
 * Loading: must be cheap, so link nothing heavy. Map a codec library on the first call that needs it, after a
 * look at the name and the first bytes says that the file is yours. codecs/skeleton is the smallest module.
 */
#ifndef QVLIBS_PLUGIN_API_H
#define QVLIBS_PLUGIN_API_H

#include <stdint.h>
#include <string.h>

#define QV_PLUGIN_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t QVSTREAM;
typedef uint32_t QVWRITER;

enum {
    QV_PLUGIN_OK = 0,
    QV_PLUGIN_FAILED = 1,
    QV_PLUGIN_COMPRESSED = 6,  /* GetVideoParam: the frame is offered in compressed form */
    QV_PLUGIN_NO_EXPORT = 9,   /* answered by the library, not by modules */
    QV_PLUGIN_NO_MODULE = 14,  /* answered by the library, not by modules */
    QV_EXTENSION_SIZE = 32,    /* bytes of the text that GetSupportedExtention may write, with its zero */
    QV_DISPLAY_NAME_SIZE = 260 /* bytes of the text that file information 0 may write, with its zero */
};

/* Investigate: a type word with this value ("*FAU" in memory order) asks the library to reload the module. */
#define QV_TYPE_RELOAD 0x5541462Au

/* How movies are opened: QVTLAVIFileOpen passes its mode through. */
enum {
    QV_OPEN_NORMAL = 0,
    QV_OPEN_QUICK = 64 /* only headers, rates and lengths are wanted */
};

/* Flags of the frame calls. */
#define QV_FRAME_COMPRESSED 0x00000001u    /* the compressed form, when possible */
#define QV_FRAME_REPORT_CHANGE 0x00100000u /* report changes of streamValue */
#define QV_FRAME_FIELD_MODE_1 0x01000000u
#define QV_FRAME_FIELD_MODE_2 0x02000000u
#define QV_FRAME_SECOND_FIELD 0x20000000u
#define QV_FRAME_INTERLACED 0x40000000u /* wanted, or delivered: both fields are kept */

/* A request for one frame, 68 bytes. The library sets the fields up to `flags`, zeroes the rest and calls
 * GetVideoParam, which overwrites the record with what will be delivered. When only `size` is set (version 0)
 * the caller just wants to know dibType and streamParameter. The address of compressed data is held in two
 * halves, because the record is 4-aligned and its layout is fixed: use qvGetCompressedData and
 * qvSetCompressedData. */
typedef struct QVFRAMEREQUEST {
    uint32_t size;         /*  0  68 */
    uint32_t version;      /*  4  1 */
    int32_t width;         /*  8  wanted; then what is delivered */
    int32_t height;        /* 12 */
    uint32_t bitCount;     /* 16  24 */
    int32_t displayCx;     /* 20  size of the shown picture, for cropping */
    int32_t displayCy;     /* 24 */
    uint32_t decodeType;   /* 28 */
    uint32_t dibType;      /* 32  picture type 0 to 7, 0 = any */
    uint32_t fieldMode;    /* 36  0, 1 or 2 */
    uint32_t flags;        /* 40  QV_FRAME_*; QV_FRAME_INTERLACED set = the delivered picture is interlaced */
    uint32_t streamValue;  /* 44  a word for the caller */
    uint32_t streamValue2; /* 48  another one */
    uint32_t compressedSize;   /* 52  bytes of compressed data, when GetVideoParam answers 6 */
    uint32_t compressedDataLo; /* 56  their address, low half */
    uint32_t streamParameter;  /* 60  1 when the stream has the parameter property */
    uint32_t compressedDataHi; /* 64  their address, high half */
} QVFRAMEREQUEST;

static inline const void* qvGetCompressedData(const QVFRAMEREQUEST* request) {
    return (const void*)(uintptr_t)((uint64_t)request->compressedDataLo | (uint64_t)request->compressedDataHi
                                                                              << 32);
}
static inline void qvSetCompressedData(QVFRAMEREQUEST* request, const void* data) {
    const uint64_t address = (uint64_t)(uintptr_t)data;
    request->compressedDataLo = (uint32_t)address;
    request->compressedDataHi = (uint32_t)(address >> 32);
}

/* What GetStillImageInfo fills, 148 bytes. */
typedef struct QVPICTUREINFO {
    int32_t width;
    int32_t height;
    int32_t bitCount;
    int32_t extra; /* a word of the module's own, handed to the caller */
    int32_t reserved;
    char format[128]; /* "JPEG", "PNG 16 bit", ...; need not end in a zero */
} QVPICTUREINFO;

/* Date and time as eight 16-bit words. */
typedef struct QVDATETIME {
    uint16_t year, month, dayOfWeek, day, hour, minute, second, milliseconds;
} QVDATETIME;

/* Where GetMakerNoteValue puts what it found; every function may be called any number of times. */
typedef struct QVMAKERNOTESINK {
    uint32_t size; /* of this record */
    void* context; /* first argument of the functions */
    void (*text)(void* context, const char* text);
    void (*word)(void* context, uint16_t value);
    void (*dword)(void* context, uint32_t value);
} QVMAKERNOTESINK;

/* ---- Every kind of codec module ---- */

/* How many extensions the module handles; *error is 0. */
uint32_t GetNumOfSupportedExtentions(uint32_t* error);
/* Writes extension `index` (from 0) without its dot, at most QV_EXTENSION_SIZE bytes. 1 beyond the last one.
 */
uint32_t GetSupportedExtention(uint32_t index, char* text);
/* Sets *supported to 1 when this module can read the file, or write one of that name when there is none; else
 * leaves it 0. Every module is asked about every file, in the order of the folder. */
uint32_t IsSupported(const char* path, int* supported);
/* What the file is: attribute flags of the module, and a four-character code such as "dvsd", "MPG1", "MPG2";
 * code 0 = cannot tell. */
uint32_t Investigate(const char* path, int* attributes, uint32_t* type);

/* ---- Movies (.vcp) and sounds (.acp): reading ---- */

/* mode: QV_OPEN_* for movies; for sounds 1 on PAL, 0 on NTSC; for titles 0. 0 when the file cannot be opened.
 */
QVSTREAM OpenR(const char* path, uint32_t mode);
uint32_t CloseR(QVSTREAM stream);
uint32_t GetTotalFrames(QVSTREAM stream); /* frames, counted from 0 */
uint32_t GetMiliseconds(QVSTREAM stream); /* duration */
/* Sound samples (one for all channels together). vfw 1: the count as an AVI stream header gives it. */
uint32_t GetTotalSamples(QVSTREAM stream, int vfw);
/* A 40-byte bitmap header followed by the rows; flags: reduction 1, 2, 4, 8 (1 and 0 = full size). */
const void* GetVideo(QVSTREAM stream, int32_t frame, uint32_t flags);
/* The same rows into `bits`; flags as GetVideo. Failure is not 0. */
uint32_t GetVideoEx(QVSTREAM stream, int32_t frame, void* bits, uint32_t flags);
/* What GetDIBfromLastParam would deliver for the request. 6: compressed data is in the record. */
uint32_t GetVideoParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame);
/* The frame as the last GetVideoParam promised it, into `bits`, or into the module's own memory when that is
 * null. The address of the pixels, or null. */
const void* GetDIBfromLastParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame, void* bits);
/* The frame's DV data (120000 or 144000 bytes) and, where audio is not null, its sound as PCM; *audioLength
 * is in: room in bytes, out: bytes written. `reserved` is passed through. */
uint32_t GetDif(QVSTREAM stream, int32_t frame, void* dif, int32_t reserved, void* audio,
                int32_t* audioLength);
/* Movies: the sound of `count` frames from `first`; sounds: `count` samples from sample `first`. *length is
 * in: room in bytes (0 = enough), out: bytes written. */
uint32_t GetAudio(QVSTREAM stream, int32_t first, int32_t count, void* buffer, int32_t* length);
uint32_t GetFccHeader(QVSTREAM stream, uint32_t* code);                  /* of the video stream */
uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale); /* frames a second = rate / scale */
uint32_t GetAudioFormat(QVSTREAM stream, void* waveFormat);   /* 18 bytes; what GetAudio delivers */
uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader); /* 40 bytes */
uint32_t GetVideoCompressionRate(QVSTREAM stream);            /* bits a second */
uint32_t GetAudioCompressionRate(QVSTREAM stream);            /* bits a second */
uint32_t GetVideoAverageRate(QVSTREAM stream);                /* kilobits a second */

/* ---- Movies (.vcp): writing ---- */

QVWRITER OpenW(const char* path, int32_t mode); /* mode 1 PAL, 0 NTSC */
uint32_t Write(QVWRITER writer, const void* bitmapHeader, const void* bits, int32_t frame);
uint32_t Write2(QVWRITER writer, const void* bitmapHeader, uint32_t dibType, const void* bits, int32_t frame);
uint32_t WriteDif(QVWRITER writer, const void* dif, const void* audio, int32_t frame);
uint32_t WriteDif2(QVWRITER writer, const void* dif, uint32_t dibType, const void* audio, int32_t frame);
uint32_t CloseW(QVWRITER writer);
uint32_t SetParameters(QVWRITER writer, int32_t a, int32_t b, int32_t c);
uint32_t ResetCodec(QVWRITER writer);

/* ---- Sounds (.acp) ---- */

uint32_t SetTotalSample(QVSTREAM stream, int64_t samples, int32_t pal);
/* The codes of GetFileInfo and GetFileData, and what `data` is. */
enum {
    QV_FILE_NAME = 0,           /* char[QV_DISPLAY_NAME_SIZE], for people */
    QV_FILE_CRITICAL_FIRST = 1, /* three codes for critical frames: null */
    QV_FILE_CRITICAL_LAST = 3,
    QV_FILE_CLASSIFICATION = 4, /* uint32_t */
    QV_FILE_MINIMUM_LENGTH = 5  /* uint32_t: samples at 48000 a second */
};
uint32_t GetFileInfo(const char* path, uint32_t code, void* data);
uint32_t GetFileData(QVSTREAM stream, uint32_t code, void* data, uint32_t reserved);

/* ---- Titles (.tcp) ---- */

uint32_t GetDib(QVSTREAM stream, int32_t frame, void* bits); /* 24-bit rows at the size set */
/* A negative height asks for 32-bit rows with alpha (B, G, R, A), where the module can. */
uint32_t SetDibSize(QVSTREAM stream, int32_t width, int32_t height);

/* ---- Pictures (.pcp) ---- */

/* A movable memory block (GlobalAlloc) with a packed DIB: header, colour table, rows. Null on failure. The
 * caller owns it. */
void* Decode(const char* path);
/* Optional: as Decode, but a codec with a cheap reduced decode may deliver any smaller size that is still at
 * least `width` x `height` and shrinks further without visible loss. The library falls back to Decode. */
void* DecodeAtLeast(const char* path, int32_t width, int32_t height);
uint32_t GetStillImageInfo(const char* path, QVPICTUREINFO* info);
/* `picture` is a memory block with a packed DIB and stays the caller's. The file appears whole or not at all.
 */
uint32_t Encode(void* picture, const char* path, int32_t option1, int32_t option2);

/* ---- Picture properties (.pbp): results are 32-bit statuses, negative = failure ---- */

int32_t IsExifFile(const char* path, int* isExif);
/* The Exif orientation, 0 when there is none; *second: the clockwise turn in degrees that shows it upright
 * (0, 90, 180, 270; mirrored pictures give 0). */
int32_t GetOrientation(const char* path, int* orientation, int* second, int option);
/* Writes `target` as a copy of `path` with that orientation (1 to 8); both may be one file. */
int32_t SetOrientation(const char* path, const char* target, uint16_t orientation, int option);
int32_t SetDateTimeOriginal(const char* path, const QVDATETIME* time);
int32_t GetDateTimeOriginal(const char* path, QVDATETIME* time);
/* Optional: maker and model as the picture says them, in one text that ends in a zero; empty when it says none. */
int32_t GetCamera(const char* path, char* text, int32_t size);
/* The maker's entries in file order: texts as "name: value" lines, 16-bit values as words, 32-bit values as
 * dwords. */
int32_t GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink);
/* Optional: gives `to` what `from` says about itself, but for sizes and thumbnail; its orientation becomes
 * `orientation` (0 = none is written). */
int32_t CopyProperties(const char* from, const char* to, uint16_t orientation);

/* ---- Optional: called for every module of a folder "pbbin" beside a program that asks for it ---- */

void Initialize(void);
void Terminate(void);

#ifdef __cplusplus
}
#endif
#endif
