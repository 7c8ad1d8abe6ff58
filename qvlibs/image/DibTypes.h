// The words of the resizers: what shape a picture has, how it is fitted, which engine does the work, which
// part of a frame is shown. Every enumeration keeps values that it does not name: they travel unchanged.
#pragma once

#include "qvlibs/framework/Types.h"

// Pixel shape and active area of a buffer. Any other value behaves as DIB_TYPE_SQUARE.
enum DIB_TYPE : int {
    DIB_TYPE_AUTO = 0,      // 1 for a size that is a video frame's, else 4
    DIB_TYPE_4_3 = 1,       // a frame shown as 4:3
    DIB_TYPE_16_9 = 2,      // a frame shown as 16:9
    DIB_TYPE_LETTERBOX = 3, // a 16:9 picture in a frame shown as 4:3: three quarters of the height
    DIB_TYPE_SQUARE = 4,    // square pixels, the whole buffer
    DIB_TYPE_AUTO_ANY = 5,  // as 0
    DIB_TYPE_NTSC_3_2 = 6,  // pixels 8:9, the height of a 3:2 picture
    DIB_TYPE_PAL_5_4 = 7,   // pixels 16:15, the height of a 5:4 picture
};

// How the source's picture is laid into the destination's. Any other value fails.
enum RESIZE_OPTION : int {
    RESIZE_OPTION_STRETCH = 0, // onto each other, whatever the shapes
    RESIZE_OPTION_FIT = 1,     // all of the source shows: bars in the destination
    RESIZE_OPTION_FILL = -1,   // all of the destination is covered: the source is cropped
};

// The engine. Values from 9 up are the own sampler, which then leaves bars as they were.
enum RESIZE_METHOD : int {
    RESIZE_METHOD_DEFAULT = 0,       // as 2
    RESIZE_METHOD_FAST = 1,          // own sampler (nearest); bars are not cleared
    RESIZE_METHOD_FAST_CLEARED = 2,  // own sampler; bars are black
    RESIZE_METHOD_SMOOTH = 3,        // triangle
    RESIZE_METHOD_SMOOTH_2 = 4,      // as 3
    RESIZE_METHOD_CUBIC = 5,         // cubic
    RESIZE_METHOD_LINEAR = 6,        // linear
    RESIZE_METHOD_SCALER = 7,        // Lanczos
    RESIZE_METHOD_SCALER_LINEAR = 8, // triangle
};

// Which columns of a frame are shown; only the canvas functions look at it.
enum DISP_TYPE : int {
    DISP_TYPE_NONE = 0,
    DISP_TYPE_720 = 1,     // the full width of 720 samples
    DISP_TYPE_704 = 2,     // the active width of 704: one 90th of the width is cut on each side
    DISP_TYPE_CROPPED = 3, // as 1, after a centred crop of the source to a given width
};

// How a movie's frame is wanted; handed to the codec module as it is. 0 = the module's own choice.
enum MOVIE_DECODE_TYPE : int {
    MOVIE_DECODE_DEFAULT = 0,
};
