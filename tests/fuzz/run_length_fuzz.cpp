// Run-length data: unpacking stays inside the rows, and what it gives survives packing.
#include "qvlibs/framework/RunLength.h"
#include "qvlibs/util/Bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    qv::ByteReader in(data, size);
    const int bits = in.u8() % 2 ? 8 : 4;
    const int width = in.u8() + 1, height = in.u8() % 16 + 1;
    const size_t line = static_cast<size_t>((width * bits + 31) / 32 * 4);
    std::vector<BYTE> rows(line * static_cast<size_t>(height)), again = rows;
    qv::decodeRunLength(in.bytes(in.left()), rows, line, width, height, bits);
    qv::decodeRunLength(qv::encodeRunLength(rows, line, width, height, bits), again, line, width, height,
                        bits);
    if (rows != again) __builtin_trap();
    return 0;
}
