#include "qvlibs/media/SoundFile.h"

#include "qvlibs/media/AudioFamily.h"

CSoundFile::CSoundFile(const char* path) {
    format.cbSize = sizeof(WAVEFORMATEX);
    Open(path);
}

CSoundFile::~CSoundFile() { Close(); }

int CSoundFile::Open(const char* path) {
    Close();
    handle = QVTLAudioFileOpen(path);
    open_ = handle != nullptr;
    return open_ ? 1 : 0;
}

int CSoundFile::Close() {
    if (!open_) return 0;
    open_ = false; // the handle stays to be seen, so this remembers that it is gone
    return QVTLAudioFileClose(handle) == 0 ? 1 : 0;
}

WAVEFORMATEX* CSoundFile::GetWaveFormat() {
    return QVTLAudioGetWaveFormat(open_ ? handle : nullptr, &format) == 0 ? &format : nullptr;
}

LONG CSoundFile::GetTotalSamples() { return QVTLAudioGetTotalSamples(open_ ? handle : nullptr); }
