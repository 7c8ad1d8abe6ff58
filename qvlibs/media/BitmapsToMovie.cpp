// QVTLCreateAVIFromBitmaps: pictures become a DV movie.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/FrameTools.h"
#include "qvlibs/media/DvBridge.h"
#include "qvlibs/media/MovieWriter.h"
#include "qvlibs/timecode/DvMetadata.h"

#include <memory>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr ULONG kBlue = 0xFF0000; // 0x00BBGGRR
constexpr ULONG kPlacedWords = 0x80004800;
// Where a frame word goes in each pair of DIF sequences: into the recording data of both.
constexpr size_t kTwoSequences = 24000;
constexpr size_t kWordPlaces[] = {454, 12249};

// The next element of a list, or `otherwise` where there is no list or it has ended.
class Walk {
public:
    Walk(CList<ULONG, ULONG>* list, ULONG otherwise)
        : list_(list), position_(list ? list->GetHeadPosition() : nullptr), otherwise_(otherwise) {}
    ULONG next() { return position_ ? list_->GetNext(position_) : otherwise_; }

private:
    CList<ULONG, ULONG>* list_;
    POSITION position_;
    ULONG otherwise_;
};

void encodePlain(unsigned char* dif) {
    const std::unique_ptr<CQVDIB> plain(QVTLCreateColorBitmap(kBlue));
    if (plain) DEDVDIBtoDIF(plain.get(), dif);
}

void encodePicture(const char* path, ULONG option, DIB_TYPE dibType, unsigned char* dif) {
    CQVDIB picture;
    if (picture.Load(path, 1) != QV_OK || picture.IsEmpty()) return encodePlain(dif);
    picture.RecolorFilter(24, nullptr);
    if (dibType == DIB_TYPE_AUTO) {
        picture.ResizeFilter(QVTLGetJustXYSize(-1), nullptr, static_cast<int>(option), DIB_TYPE_AUTO,
                             DIB_TYPE_AUTO, RESIZE_METHOD_DEFAULT);
    }
    // The encoder takes nothing but whole frames.
    if (DEDVDIBtoDIF(&picture, dif) != QV_OK) encodePlain(dif);
}

void placeWord(std::vector<unsigned char>& dif, ULONG word) {
    if (!(word & kPlacedWords)) return;
    for (size_t pair = 0; pair < dif.size(); pair += kTwoSequences) {
        for (const size_t place : kWordPlaces) {
            for (size_t i = 0; i < 4; ++i)
                dif[pair + place + i] = static_cast<unsigned char>(word >> (8 * i));
        }
    }
}

// False when no writer opens.
bool writeAll(CStringList* files, const CString& output, CList<ULONG, ULONG>* frameWords,
              CList<ULONG, ULONG>* resizeOptions, DIB_TYPE dibType) {
    const bool pal = QVIsPal() != 0;
    void* const movie = QVTLAVIInitCreateAVI(output, pal ? 1 : 0);
    if (!movie) return false;
    std::vector<unsigned char> dif(pal ? 144000 : 120000);
    Walk words(frameWords, 0);
    Walk options(resizeOptions, 1);
    POSITION position = files ? files->GetHeadPosition() : nullptr;
    while (position) {
        const CString path = files->GetNext(position);
        encodePicture(path, options.next(), dibType, dif.data());
        placeWord(dif, words.next());
        // The frame's number is 0 in every call, on purpose: writers append (BitmapsToMovie.OneFrameEach).
        if (QVTLAVIWriteDIF2(movie, dif.data(), dibType, nullptr, 0) != QV_OK) break;
    }
    QVTLAVICloseCreateAVI(movie);
    return true;
}

} // namespace

// An empty file is written again and again, on purpose: a writer that shares its disk with a capture may need
// more than one try (BitmapsToMovie.AnEmptyFileIsWrittenAgain). It ends where there is no file at all.
void QVTLCreateAVIFromBitmaps(CStringList* files, CString& output,
                              ULONG (* /*progress*/)(ULONG, void*, void*), CList<ULONG, ULONG>* frameWords,
                              CList<ULONG, ULONG>* resizeOptions, DIB_TYPE dibType) {
    QVTL_TRACE();
    struct stat status {};
    do {
        if (!writeAll(files, output, frameWords, resizeOptions, dibType)) return;
    } while (stat(output, &status) == 0 && status.st_size == 0);
}
