/* A codec library whose names happen to be those of plug-in exports. */
#define STRAY __attribute__((visibility("default")))

STRAY unsigned strayVersion(void) { return 3; }
STRAY unsigned Write(void) { return 77; }
STRAY unsigned Write2(void) { return 77; }
STRAY unsigned Encode(void) { return 77; }
STRAY unsigned GetTotalFrames(void) { return 77; }
STRAY void* GetVideo(void) { return (void*)77; }
