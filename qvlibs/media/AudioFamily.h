// Reading sound files through the sound plug-ins ("*.acp"). A handle lives from open to close and serves one
// thread at a time. Every function that takes a handle returns 1 for a null one, those that return counts
// too.
//
// Results are 0 for done. Where the plug-in's own result is returned, 9 means that it lacks the function.
// Counts are counted in samples, one for all channels together; a plug-in without a counter gives 9 samples.
//
// Frames are those of the television system in force, QVIsPal(): 25 a second on PAL, 29.97 on NTSC, except
// that minimum lengths count 30 on NTSC.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"

// The first sound plug-in that supports the file opens it. Null when there is none, or it fails.
QVLIBS_API void* QVTLAudioFileOpen(const char* path);
// Frees the handle; the plug-in's result.
QVLIBS_API ULONG QVTLAudioFileClose(void* handle);

// Samples and the file's own rate as frames, rounded; 0 when the rate is unknown.
QVLIBS_API LONG QVTLAudioGetTotalFrames(void* handle);
QVLIBS_API LONG QVTLAudioGetTotalSamples(void* handle);
// The format of what QVTLAudioGetAudioFormat delivers. The plug-in's result.
QVLIBS_API ULONG QVTLAudioGetWaveFormat(void* handle, WAVEFORMATEX* format);
// Reads `count` samples from sample `first`. *length: in, the room in bytes (0 = enough); out, the bytes
// written, fewer at the end. The plug-in's result.
QVLIBS_API ULONG QVTLAudioGetAudioFormat(void* handle, LONG first, LONG count, unsigned char* buffer,
                                         LONG* length);
// Both are 0 when the plug-in fails; the result is 0 all the same.
QVLIBS_API ULONG QVTLAudioGetAudioChannelsAndBits(void* handle, int* channels, int* bits);
QVLIBS_API ULONG QVTLAudioGetAudioRatio(void* handle, LONG* rate);
// Makes the sound as long as this many frames of the system that `pal` names, whatever the current one is.
// The plug-in is given samples of 48000 a second; its result.
QVLIBS_API ULONG QVTLAudioSetTotalFrame(void* handle, __int64 frames, int pal);

// What a plug-in tells about a file, by path or on an open one. By path, a file that no plug-in supports
// gives 0 and leaves the output alone. `name` has room for 260 bytes.
QVLIBS_API LONG QVTLAudioGetMinimumLength(const char* path); // in frames
QVLIBS_API LONG QVTLAudioGetMinimumLength(void* handle);
QVLIBS_API ULONG QVTLAudioDisplayName(const char* path, char* name);
QVLIBS_API ULONG QVTLAudioDisplayName(void* handle, char* name);
QVLIBS_API ULONG QVTLAudioClassification(const char* path, ULONG* classification);
QVLIBS_API ULONG QVTLAudioClassification(void* handle, ULONG* classification);
// Asks the three parts of the critical-frame query. On purpose neither the frame nor the flag reaches the
// plug-in, and nothing comes back but 0.
QVLIBS_API ULONG QVTLAudioGetCriticalFrame(void* handle, LONG frame, int flag);
