// BMP streams, files and mapped files.
#include "qvlibs/framework/Archive.h"
#include "qvlibs/framework/DibPixels.h"
#include "qvlibs/framework/Trace.h"
#include "qvlibs/image/DibLayout.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/FileMapping.h"
#include "qvlibs/util/AtomicFile.h"

#include <algorithm>
#include <cstring>

#include <sys/stat.h>

namespace {

constexpr std::uint64_t kHeaderSize = sizeof(BITMAPINFOHEADER);

BITMAPINFOHEADER headerFrom(qv::ByteReader& in) {
    BITMAPINFOHEADER header{};
    header.biSize = in.u32();
    header.biWidth = in.i32();
    header.biHeight = in.i32();
    header.biPlanes = in.u16();
    header.biBitCount = in.u16();
    header.biCompression = in.u32();
    header.biSizeImage = in.u32();
    header.biXPelsPerMeter = in.i32();
    header.biYPelsPerMeter = in.i32();
    header.biClrUsed = in.u32();
    header.biClrImportant = in.u32();
    return header;
}

// 0 for a stream that is no BMP: the place of the pixels is never there in one.
DWORD pixelOffset(const BYTE* fileHeader) {
    qv::ByteReader in(fileHeader, qv::kBmpFileHeaderSize);
    const WORD type = in.u16();
    in.skip(8); // the file's size and two reserved words are not looked at
    const DWORD offset = in.u32();
    return type == qv::kBmpType ? offset : 0;
}

// A file that is about to be replaced must not be in use by anybody who holds it with a share mode.
bool mayReplace(const char* path, CFileException& error) {
    struct stat status {};
    if (path && ::stat(path, &status) != 0) return true;
    CFile probe;
    return probe.Open(path, CFile::modeReadWrite | CFile::shareExclusive, &error) != 0;
}

} // namespace

bool CQVDIB::readFrom(CFile& file, Pixels pixels) {
    BYTE fileHeader[qv::kBmpFileHeaderSize], info[kHeaderSize];
    if (file.Read(fileHeader, sizeof fileHeader) != sizeof fileHeader) return false;
    const std::uint64_t stored = std::uint64_t{pixelOffset(fileHeader)} - qv::kBmpFileHeaderSize;
    const __int64 left = file.GetLength() - file.GetPosition();
    if (stored < kHeaderSize || left < 0 || stored > static_cast<std::uint64_t>(left)) return false;
    if (file.Read(info, sizeof info) != sizeof info) return false;
    qv::ByteReader in(info, sizeof info);
    const BITMAPINFOHEADER header = headerFrom(in);
    if (!qv::isPlausible(header)) return false;
    // The masks of a picture without masks are counted, though the file does not hold them: they are zero.
    const std::uint64_t counted = kHeaderSize + 4 * qv::colorCount(header.biClrUsed, header.biBitCount);
    if (!allocateHeader(std::max(stored, counted))) return false;
    *header_ = header;
    const auto tableBytes = static_cast<unsigned>(stored - kHeaderSize);
    if (file.Read(reinterpret_cast<BYTE*>(header_) + kHeaderSize, tableBytes) != tableBytes) return false;
    ComputeMetrics();
    if (pixels == Pixels::AllThere && file.GetLength() - file.GetPosition() < __int64{imageSize_})
        return false;
    if (!allocatePixels()) return false;
    const unsigned got = file.Read(bits_, imageSize_);
    if (pixels == Pixels::AllThere && got < imageSize_) return false;
    std::memset(bits_ + got, 0, static_cast<size_t>(knownRoom_) - got);
    ComputePaletteSize(header_->biBitCount);
    MakePalette();
    return true;
}

int CQVDIB::Read(CFile* file) {
    QV_TRACE("CQVDIB");
    if (!file) return 0;
    Empty();
    try {
        if (readFrom(*file)) return 1;
    } catch (const std::exception&) { // the file's; its reason has no place in the result
    }
    Empty();
    return 0;
}

int CQVDIB::Write(CFile* file) {
    QV_TRACE("CQVDIB");
    if (!file || !header_ || (imageSize_ > 0 && !bits_)) return 0;
    try {
        const auto table = view().table;
        const auto start = qv::bmpFileHeader(static_cast<DWORD>(table.size()), imageSize_);
        file->Write(start.data(), static_cast<unsigned>(start.size()));
        file->Write(header_, sizeof *header_);
        file->Write(table.data(), static_cast<unsigned>(4 * table.size()));
        const auto there = static_cast<unsigned>(std::min<std::uint64_t>(imageSize_, pixelRoom()));
        file->Write(bits_, there);
        const std::vector<BYTE> missing(imageSize_ - there);
        file->Write(missing.data(), static_cast<unsigned>(missing.size()));
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

CQVDIB::BmpSaved CQVDIB::saveBmp(const char* path, CFileException& error) {
    if (!mayReplace(path, error)) return BmpSaved::notCreated;
    qv::AtomicFile target(path);
    CFile file;
    if (!target.isOpen() || !file.Open(target.pathForLibraries().c_str(),
                                       CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive)) {
        error = CFileException(target.error(), path);
        return BmpSaved::notCreated;
    }
    return Write(&file) && target.commit() ? BmpSaved::done : BmpSaved::notWritten;
}

int CQVDIB::Save(const char* path) {
    QV_TRACE("CQVDIB");
    CFileException error;
    const BmpSaved saved = saveBmp(path, error);
    if (saved == BmpSaved::notCreated) error.ReportError();
    return saved == BmpSaved::done ? 1 : 0;
}

void CQVDIB::Serialize(CArchive& archive) {
    archive.Flush();
    if (archive.IsLoading()) {
        Read(archive.GetFile());
    } else {
        Write(archive.GetFile());
    }
}

int CQVDIB::AttachMapFile(const char* path, int share) {
    QV_TRACE("CQVDIB");
    auto mapping = qv::FileMapping::openPrivate(path, share ? CFile::shareDenyWrite : CFile::shareExclusive);
    if (!mapping) return 0;
    const auto bytes = mapping->bytes();
    if (bytes.size() <= qv::kBmpFileHeaderSize || pixelOffset(bytes.data()) == 0) return 0;
    Empty();
    if (!adopt(bytes.data() + qv::kBmpFileHeaderSize, bytes.size() - qv::kBmpFileHeaderSize)) return 0;
    mapping_ = std::move(mapping);
    MakePalette();
    return 1;
}

int CQVDIB::CopyToMapFile(const char* path) {
    QV_TRACE("CQVDIB");
    if (!path || !header_ || (imageSize_ > 0 && !bits_)) return 0;
    if (!qv::isPlausible(*header_) || (mapping_ && mapping_->isFile(path))) return 0;
    CFileException ignored;
    if (!mayReplace(path, ignored)) return 0;
    // From here on the table is found by the header's rule, so the file gets that many colours.
    const DWORD colors = qv::colorCount(header_->biClrUsed, header_->biBitCount);
    const auto table = view().table.first(std::min<size_t>(view().table.size(), colors));
    const auto start = qv::bmpFileHeader(colors, imageSize_);
    const size_t before = kHeaderSize + 4 * size_t{colors};
    qv::AtomicFile target(path);
    auto mapping = target.isOpen()
                       ? qv::FileMapping::makeShared(target.descriptor(), start.size() + before + imageSize_)
                       : nullptr;
    if (!mapping) return 0;
    BYTE* const header = mapping->bytes().data() + start.size();
    std::memcpy(mapping->bytes().data(), start.data(), start.size());
    std::memcpy(header, header_, kHeaderSize);
    std::copy(table.begin(), table.end(), reinterpret_cast<RGBQUAD*>(header + kHeaderSize));
    std::memcpy(header + before, bits_,
                static_cast<size_t>(std::min<std::uint64_t>(imageSize_, pixelRoom())));
    if (!target.commit()) return 0;
    const DWORD size = imageSize_;
    Empty();
    header_ = reinterpret_cast<BITMAPINFOHEADER*>(header);
    bits_ = header + before;
    knownRoom_ = imageSize_ = size;
    ComputePaletteSize(header_->biBitCount);
    ComputeMetrics();
    mapping_ = std::move(mapping);
    MakePalette();
    return 1;
}

void CQVDIB::DetachMapFile() { mapping_.reset(); }
