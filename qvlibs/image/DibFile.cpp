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

// A file that is about to be replaced must not be in use by anybody who holds it with a share mode.
bool mayReplace(const char* path, CFileException& error) {
    struct stat status {};
    if (path && ::stat(path, &status) != 0) return true;
    CFile probe;
    return probe.Open(path, CFile::modeReadWrite | CFile::shareExclusive, &error) != 0;
}

} // namespace

bool CQVDIB::readFrom(CFile& file, Pixels pixels) {
    constexpr DWORD kStart = qv::kBmpFileHeaderSize + kHeaderSize;
    const auto start = qv::readBmpStart(file);
    if (!start || start->pixelOffset < kStart || !qv::isPlausible(start->header)) return false;
    const DWORD tableBytes = start->pixelOffset - kStart;
    // The masks of a picture without masks are counted, though the file does not hold them: they are zero.
    const DWORD counted = 4 * qv::colorCount(start->header.biClrUsed, start->header.biBitCount);
    if (tableBytes > std::max<std::uint64_t>(counted, qv::pixelLimit())) return false;
    if (tableBytes > file.GetLength() - file.GetPosition()) return false;
    if (!allocateHeader(kHeaderSize + std::max(tableBytes, counted))) return false;
    *header_ = start->header;
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
    if (bytes.size() <= qv::kBmpFileHeaderSize || qv::ByteReader(bytes).u16() != qv::kBmpType) return 0;
    Empty();
    if (!adopt(bytes.data() + qv::kBmpFileHeaderSize, bytes.size() - qv::kBmpFileHeaderSize)) return 0;
    mapping_ = std::move(mapping);
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
    std::copy_n(bits_, std::min<std::uint64_t>(imageSize_, pixelRoom()), header + before);
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
