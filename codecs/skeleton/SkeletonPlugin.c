/* The smallest working movie plug-in: a starting point for codec authors.
 *
 * It reads ".rawmovie" files: 16 bytes of header ("RAWM", then width, height and frame count as little-endian
 * 32-bit numbers), and one 24-bit picture after another, rows bottom first and padded to 4 bytes. They play
 * at 25 frames a second.
 *
 * Built as skeleton.vcp and put beside the library, it is found and used. plugin_api.h says what each export
 * has to do; what is left out here (sound, writing, ...) the library answers itself. */
#include "qvlibs/plugins/plugin_api.h"

#include <stdio.h>
#include <stdlib.h>

enum { FILES = 32, HEADER = 16, MAX_SIDE = 16384, RATE = 25 };

typedef struct Movie {
    QVSTREAM ticket; /* 0 = this place is free */
    FILE* file;
    int32_t width, height, frames;
    uint8_t* picture; /* what GetVideo hands out: a header and the rows */
} Movie;

static Movie movies[FILES];
static uint32_t opened; /* tickets carry a running number, so that a closed one never fits the next file */

static Movie* find(QVSTREAM ticket) {
    Movie* movie = &movies[ticket % FILES];
    return ticket != 0 && movie->ticket == ticket ? movie : NULL;
}

static int64_t rowBytes(const Movie* movie) { return ((int64_t)movie->width * 3 + 3) / 4 * 4; }
static int64_t pictureBytes(const Movie* movie) { return rowBytes(movie) * movie->height; }

static uint32_t littleEndian(const uint8_t* bytes) {
    return bytes[0] | (uint32_t)bytes[1] << 8 | (uint32_t)bytes[2] << 16 | (uint32_t)bytes[3] << 24;
}

/* Reads and checks the header: nothing that a file says is believed. */
static int readHeader(FILE* file, Movie* movie) {
    uint8_t header[HEADER];
    if (fread(header, 1, HEADER, file) != HEADER || memcmp(header, "RAWM", 4) != 0) return 0;
    const uint32_t width = littleEndian(header + 4), height = littleEndian(header + 8);
    const uint32_t frames = littleEndian(header + 12);
    if (width == 0 || width > MAX_SIDE || height == 0 || height > MAX_SIDE || frames > INT32_MAX) return 0;
    movie->width = (int32_t)width;
    movie->height = (int32_t)height;
    movie->frames = (int32_t)frames;
    return fseeko(file, 0, SEEK_END) == 0 && ftello(file) >= HEADER + pictureBytes(movie) * frames;
}

static int readFrame(const Movie* movie, int32_t frame, void* bits) {
    const int64_t size = pictureBytes(movie);
    if (frame < 0 || frame >= movie->frames) return 0;
    return fseeko(movie->file, HEADER + size * frame, SEEK_SET) == 0 &&
           fread(bits, 1, (size_t)size, movie->file) == (size_t)size;
}

static void fillHeader(const Movie* movie, void* bitmapHeader) {
    const uint32_t header[10] = {40, (uint32_t)movie->width,       (uint32_t)movie->height, 1 | 24u << 16,
                                 0,  (uint32_t)pictureBytes(movie)};
    memcpy(bitmapHeader, header, sizeof header);
}

QV_PLUGIN_EXPORT uint32_t GetNumOfSupportedExtentions(uint32_t* error) {
    *error = 0;
    return 1;
}

QV_PLUGIN_EXPORT uint32_t GetSupportedExtention(uint32_t index, char* text) {
    if (index != 0) return QV_PLUGIN_FAILED;
    strcpy(text, "rawmovie");
    return QV_PLUGIN_OK;
}

/* Every module is asked about every file, so the name goes first: it costs nothing. */
QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    const char* dot = strrchr(path, '.');
    Movie movie;
    FILE* file = dot && strcmp(dot, ".rawmovie") == 0 ? fopen(path, "rb") : NULL;
    if (!file) return QV_PLUGIN_OK;
    *supported = readHeader(file, &movie);
    fclose(file);
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT QVSTREAM OpenR(const char* path, uint32_t mode) {
    (void)mode;
    for (int tries = 0; tries < FILES; ++tries) {
        const QVSTREAM ticket = ++opened ? opened : ++opened;
        Movie* movie = &movies[ticket % FILES];
        if (movie->ticket != 0) continue;
        movie->file = fopen(path, "rb");
        if (!movie->file) return 0;
        movie->picture = readHeader(movie->file, movie) ? malloc(40 + (size_t)pictureBytes(movie)) : NULL;
        if (movie->picture) return movie->ticket = ticket;
        fclose(movie->file);
        return 0;
    }
    return 0; /* all places are taken */
}

QV_PLUGIN_EXPORT uint32_t CloseR(QVSTREAM stream) {
    Movie* movie = find(stream);
    if (!movie) return QV_PLUGIN_FAILED;
    fclose(movie->file);
    free(movie->picture);
    movie->ticket = 0;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetTotalFrames(QVSTREAM stream) {
    const Movie* movie = find(stream);
    return movie ? (uint32_t)movie->frames : 0;
}

QV_PLUGIN_EXPORT uint32_t GetMiliseconds(QVSTREAM stream) {
    const Movie* movie = find(stream);
    return movie ? (uint32_t)((int64_t)movie->frames * 1000 / RATE) : 0;
}

QV_PLUGIN_EXPORT uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale) {
    if (!find(stream)) return QV_PLUGIN_FAILED;
    *rate = RATE;
    *scale = 1;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader) {
    const Movie* movie = find(stream);
    if (!movie) return QV_PLUGIN_FAILED;
    fillHeader(movie, bitmapHeader);
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT const void* GetVideo(QVSTREAM stream, int32_t frame, uint32_t flags) {
    const Movie* movie = find(stream);
    (void)flags; /* a reduction may be asked for; delivering full size is allowed */
    if (!movie || !readFrame(movie, frame, movie->picture + 40)) return NULL;
    fillHeader(movie, movie->picture);
    return movie->picture;
}

/* What is wanted stands in the request; what will be delivered is written over it. */
QV_PLUGIN_EXPORT uint32_t GetVideoParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame) {
    const Movie* movie = find(stream);
    if (!movie || frame < 0 || frame >= movie->frames) return QV_PLUGIN_FAILED;
    request->width = movie->width;
    request->height = movie->height;
    request->bitCount = 24;
    request->displayCx = movie->width;
    request->displayCy = movie->height;
    request->flags &= ~QV_FRAME_INTERLACED;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT const void* GetDIBfromLastParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame,
                                                 void* bits) {
    const Movie* movie = find(stream);
    (void)request;
    if (!movie) return NULL;
    if (!bits) bits = movie->picture + 40;
    return readFrame(movie, frame, bits) ? bits : NULL;
}
