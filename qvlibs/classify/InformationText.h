// Lines of text about media files, for browsers: length, sound, picture size, aspect, bit rate.
//
// A file has a long text and a short one, kept in the support-check cache until the file changes:
//   movies    long   "長さ <length> , オーディオ <kHz> kHz, <bits> bit" and, on a second line,
//                    "<kind> <width>x<height> 画面比率 <aspect>", MPEG with its system bit rate behind
//             short  "<kind> <width>x<height> <length>/<bits> bit"
//   pictures  both   "<format> <width>x<height>"
//   sounds    long   "<seconds> 秒 , <kHz> kHz , <channels> , <bits>"
//             short  "<seconds> s"
// Parts about sound are left out where there is none. No function throws. One thread at a time.
#pragma once

#include "qvlibs/framework/Strings.h"
#include "qvlibs/image/DibTypes.h"
#include "qvlibs/timecode/QVTimecode.h"

// The long text, or the short one; "" for a missing file and where there is nothing to say.
QVLIBS_API CString QVTLGetInformationString(const char* path, int longForm);
// Makes the texts of a file that is in the cache again and answers the short one; "" when it is not in the cache, or
// there is nothing to say.
QVLIBS_API CString QVTLReplaceInformationString(const char* path);
// For a file that is not in the cache yet: keeps `text` as its short text and "sequence information" as the long one.
QVLIBS_API void QVTLSetInformationString(const char* path, const char* text);
// The text of an edit sequence, or of a tape file by its name: heading and length, then on a line each the aspect
// (sequences only), the number of clips and of pieces of music (sequences only). `layout` is the aspect: 2 wide, 3
// letterboxed, anything else 4:3.
QVLIBS_API CString QVTLGetInformationSequenceString(const char* path, CQVTimecode length, DIB_TYPE layout,
                                                    int clips, int bgms);
