// Any bytes as a picture file of a user's: the library finds the module that takes it, decodes, turns it upright and
// reads what it says of itself.
#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"
#include "tests/fuzz/ByPath.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    qv::setMessageHandler([](const char*, const char*, qv::MessageKind) {});
    const qv::test::InputFile file(data, size);
    CQVDIB picture, small;
    BITMAPINFOHEADER header{};
    CString text;
    const bool known = picture.GetInfo(file.path(), &header, text) == QV_OK;
    if (picture.Load(file.path(), 0) == QV_OK) {
        // What is handed out is whole: every corner can be read.
        if (!known || picture.GetWidth() < 1 || picture.GetHeight() < 1) __builtin_trap();
        for (const int x : {0, picture.GetWidth() - 1}) {
            for (const int y : {0, picture.GetHeight() - 1}) picture.GetPixel(x, y);
        }
        picture.Empty();
        small.LoadAtLeast(file.path(), {2, 2}, 0);
    }
    SYSTEMTIME time;
    picture.GetDateTimeOriginal(file.path(), &time);
    CWordArray words;
    CDWordArray dwords;
    picture.GetMakerNoteValue(file.path(), text, words, dwords);
    return 0;
}
