// An open sound file that closes itself. One thread at a time.
#pragma once

#include "qvlibs/framework/MediaHeaders.h"

class QVLIBS_API CSoundFile {
public:
    explicit CSoundFile(const char* path);
    virtual ~CSoundFile();
    CSoundFile(const CSoundFile&) = delete;
    CSoundFile& operator=(const CSoundFile&) = delete;

    // 1 when the file is open now. A file that was open before is closed first.
    int Open(const char* path);
    // 1 when the file was open and the plug-in closed it, else 0. The handle keeps its value but must not be
    // used any more.
    int Close();
    // The format of the sound, or null when it cannot be told; the object's own.
    WAVEFORMATEX* GetWaveFormat();
    LONG GetTotalSamples();
    operator void*() const { return handle; }

    void* handle = nullptr;
    // Before it is asked for: zero but for the extra size, which says 18.
    WAVEFORMATEX format{};

private:
    bool open_ = false;
};
