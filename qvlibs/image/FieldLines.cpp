#include "qvlibs/image/FieldLines.h"

#include "qvlibs/image/kernels/Rows.h"

#include <cstring>
#include <vector>

namespace qv {

void keepOddLines(const StoredRows& rows) {
    for (int row = 0; row + 1 < rows.height; row += 2) {
        std::memcpy(rows.row(row), rows.row(row + 1), static_cast<size_t>(rows.lineBytes));
    }
}

void keepEvenLines(const StoredRows& rows) {
    for (int row = 0; row + 1 < rows.height; row += 2) {
        std::memcpy(rows.row(row + 1), rows.row(row), static_cast<size_t>(rows.lineBytes));
    }
}

void interpolateLines(const StoredRows& rows, int width) {
    for (int y = 1; y < rows.height - 1; y += 2) {
        const int stored = rows.height - 1 - y;
        averageRows(rows.row(stored), rows.row(stored + 1), rows.row(stored - 1),
                    3 * static_cast<size_t>(width));
    }
}

void blendFields(const StoredRows& rows, int width) {
    const size_t bytes = 3 * static_cast<size_t>(width);
    if (rows.height < 1) return;
    std::vector<BYTE> before(rows.row(0), rows.row(0) + bytes), current(bytes);
    for (int row = 0; row < rows.height; ++row) {
        BYTE* const to = rows.row(row);
        const BYTE* const after = row + 1 < rows.height ? rows.row(row + 1) : to;
        std::memcpy(current.data(), to, bytes);
        for (size_t i = 0; i < bytes; ++i) {
            to[i] = static_cast<BYTE>((before[i] + 2 * current[i] + after[i] + 2) / 4);
        }
        before.swap(current);
    }
}

} // namespace qv
