// A thumbnail of a movie's first frame, as a caller writes it.
#include <qvlibs/qvlibs.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
    if (argc < 2) {
        CPluginEnumerator modules;
        int count = 0;
        for (CPluginInfo* module; (module = modules.Next("*.pcp *.vcp *.acp *.tcp")); delete module) ++count;
        return std::printf("%s, %d modules\n", CQVTimecode(LONG{1800}, TCMODE_DF).Format(nullptr), count) < 0;
    }
    void* movie = QVTLAVIFileOpen(argv[1], 0);
    if (!movie) return 1;
    std::vector<unsigned char> bits(180 * 3 * 120);
    const ULONG result =
        QVTLAVIGetNonCompressedStreamEx2(movie, 0, bits.data(), 180, 120, DIB_TYPE_AUTO, 0,
                                         MOVIE_DECODE_DEFAULT, RESIZE_METHOD_SCALER, 0, nullptr, nullptr);
    std::printf("%d frames, top middle pixel %d %d %d\n", QVTLAVIGetTotalFrames(movie), bits[110 * 540 + 270],
                bits[110 * 540 + 271], bits[110 * 540 + 272]);
    QVTLAVIFileClose(movie);
    return result == QV_OK ? 0 : 1;
}
