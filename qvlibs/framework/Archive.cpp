#include "qvlibs/framework/Archive.h"

#include <algorithm>
#include <cstring>
#include <utility>

const char* CArchiveException::what() const noexcept {
    switch (m_cause) {
    case endOfFile: return "the archive ends too early";
    case badSchema: return "the archive holds a record of another version";
    case readOnly:
    case writeOnly: return "the archive goes the other way";
    default: return "the archive is damaged";
    }
}

CArchive::CArchive(CFile* file, unsigned mode, int bufferSize)
    : file_(file), mode_(mode & load), room_(static_cast<size_t>(std::max(bufferSize, 128))) {}

CArchive::~CArchive() {
    try {
        Close();
    } catch (const std::exception&) { // said at the declaration
    }
}

void CArchive::Flush() {
    if (!file_) return;
    if (IsStoring()) {
        // Taken out first: a failed write is reported once, not again by the destructor.
        const std::vector<BYTE> bytes = std::exchange(buffer_, {});
        if (!bytes.empty()) file_->Write(bytes.data(), static_cast<unsigned>(bytes.size()));
        file_->Flush();
    } else {
        const size_t ahead = buffer_.size() - next_;
        buffer_.clear();
        next_ = 0;
        if (ahead) file_->Seek(-static_cast<__int64>(ahead), CFile::current);
    }
}

void CArchive::Close() {
    Flush();
    file_ = nullptr;
}

unsigned CArchive::Read(void* buffer, unsigned count) {
    if (!IsLoading()) throw CArchiveException(CArchiveException::writeOnly, file_->GetFilePath());
    unsigned done = 0;
    while (done < count) {
        if (next_ == buffer_.size()) {
            buffer_.resize(room_);
            next_ = 0;
            buffer_.resize(file_->Read(buffer_.data(), static_cast<unsigned>(room_)));
            if (buffer_.empty()) break;
        }
        const size_t part = std::min<size_t>(count - done, buffer_.size() - next_);
        std::memcpy(static_cast<BYTE*>(buffer) + done, buffer_.data() + next_, part);
        next_ += part;
        done += static_cast<unsigned>(part);
    }
    return done;
}

void CArchive::Write(const void* buffer, unsigned count) {
    if (!IsStoring()) throw CArchiveException(CArchiveException::readOnly, file_->GetFilePath());
    const BYTE* bytes = static_cast<const BYTE*>(buffer);
    buffer_.insert(buffer_.end(), bytes, bytes + count);
    if (buffer_.size() >= room_) {
        const std::vector<BYTE> full = std::exchange(buffer_, {});
        file_->Write(full.data(), static_cast<unsigned>(full.size()));
    }
}

__int64 CArchive::BytesLeft() const {
    return file_->GetLength() - file_->GetPosition() + static_cast<__int64>(buffer_.size() - next_);
}

template <class Word>
void CArchive::put(Word value) {
    BYTE bytes[sizeof(Word)];
    for (size_t i = 0; i < sizeof(Word); ++i)
        bytes[i] = static_cast<BYTE>(static_cast<DWORD>(value) >> (8 * i));
    Write(bytes, sizeof bytes);
}

template <class Word>
Word CArchive::get() {
    BYTE bytes[sizeof(Word)];
    if (Read(bytes, sizeof bytes) != sizeof bytes) {
        throw CArchiveException(CArchiveException::endOfFile, file_->GetFilePath());
    }
    DWORD value = 0;
    for (size_t i = 0; i < sizeof(Word); ++i) value |= static_cast<DWORD>(bytes[i]) << (8 * i);
    return static_cast<Word>(value);
}

CArchive& CArchive::operator<<(BYTE value) { return put(value), *this; }
CArchive& CArchive::operator<<(WORD value) { return put(value), *this; }
CArchive& CArchive::operator<<(DWORD value) { return put(value), *this; }
CArchive& CArchive::operator<<(LONG value) { return put(value), *this; }
CArchive& CArchive::operator<<(CTime time) { return put(time.GetTime()), *this; }
CArchive& CArchive::operator<<(CTimeSpan span) { return put(span.GetTotalSeconds()), *this; }
CArchive& CArchive::operator>>(BYTE& value) { return value = get<BYTE>(), *this; }
CArchive& CArchive::operator>>(WORD& value) { return value = get<WORD>(), *this; }
CArchive& CArchive::operator>>(DWORD& value) { return value = get<DWORD>(), *this; }
CArchive& CArchive::operator>>(LONG& value) { return value = get<LONG>(), *this; }
CArchive& CArchive::operator>>(CTime& time) { return time = CTime(get<LONG>()), *this; }
CArchive& CArchive::operator>>(CTimeSpan& span) { return span = CTimeSpan(get<LONG>()), *this; }

CArchive& CArchive::operator<<(const CString& text) {
    const DWORD size = static_cast<DWORD>(text.GetLength());
    if (size < 0xFF) {
        put(static_cast<BYTE>(size));
    } else {
        put(BYTE{0xFF});
        if (size < 0xFFFE) { // FFFE marks another kind of string in this form
            put(static_cast<WORD>(size));
        } else {
            put(WORD{0xFFFF});
            put(size);
        }
    }
    Write(text.GetString(), size);
    return *this;
}

CArchive& CArchive::operator>>(CString& text) {
    DWORD size = get<BYTE>();
    if (size == 0xFF) size = get<WORD>();
    if (size == 0xFFFF) size = get<DWORD>();
    if (size > buffer_.size() - next_ && size > BytesLeft())
        throw CArchiveException(CArchiveException::endOfFile, file_->GetFilePath());
    std::string bytes(size, '\0');
    if (Read(bytes.data(), size) != size) {
        throw CArchiveException(CArchiveException::endOfFile, file_->GetFilePath());
    }
    text = CString(std::move(bytes));
    return *this;
}
