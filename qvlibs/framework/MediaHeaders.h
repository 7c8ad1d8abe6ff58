// The published headers of bitmaps and sounds, byte for byte: little-endian, packed where the format is.
// Files are read and written through util/Bytes.h; these records are what the interface passes in memory.
#pragma once

#include "qvlibs/framework/Types.h"

constexpr DWORD BI_RGB = 0;
constexpr DWORD BI_RLE8 = 1;
constexpr DWORD BI_RLE4 = 2;
constexpr DWORD BI_BITFIELDS = 3;

// A picture's header. Rows follow bottom first, padded to 4 bytes; biHeight is positive. In a mapped file it
// lies at byte 14, so it asks for an alignment of 2 only.
#pragma pack(push, 2)
struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
#pragma pack(pop)
static_assert(sizeof(BITMAPINFOHEADER) == 40);

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};
static_assert(sizeof(RGBQUAD) == 4);

#pragma pack(push, 1)
struct BITMAPFILEHEADER {
    WORD bfType; // 0x4D42, "BM"
    DWORD bfSize;
    WORD bfReserved1;
    WORD bfReserved2;
    DWORD bfOffBits;
};

struct WAVEFORMATEX {
    WORD wFormatTag; // 1 = PCM
    WORD nChannels;
    DWORD nSamplesPerSec;
    DWORD nAvgBytesPerSec;
    WORD nBlockAlign;
    WORD wBitsPerSample;
    WORD cbSize;
};
#pragma pack(pop)
static_assert(sizeof(BITMAPFILEHEADER) == 14);
static_assert(sizeof(WAVEFORMATEX) == 18);

constexpr WORD WAVE_FORMAT_PCM = 1;

// A four-character code as it lies in memory: makeFourCC('d','v','s','d').
constexpr DWORD makeFourCC(char a, char b, char c, char d) {
    return static_cast<DWORD>(static_cast<BYTE>(a)) | static_cast<DWORD>(static_cast<BYTE>(b)) << 8 |
           static_cast<DWORD>(static_cast<BYTE>(c)) << 16 | static_cast<DWORD>(static_cast<BYTE>(d)) << 24;
}
