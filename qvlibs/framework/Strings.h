// CString: a text value. Bytes are UTF-8 where they are text, and are carried unchanged where they are not.
// Copies are independent; a const char* taken from a string is valid until that string changes or dies.
#pragma once

#include "qvlibs/framework/Types.h"

#include <string>
#include <string_view>

class QVLIBS_API CString {
public:
    CString() = default;
    CString(const char* text); // null counts as empty
    CString(const char* text, int length);
    CString(std::string text) : text_(std::move(text)) {}
    CString(std::string_view text) : text_(text) {}

    operator const char*() const { return text_.c_str(); }
    const char* GetString() const { return text_.c_str(); }
    const std::string& str() const { return text_; }

    int GetLength() const { return static_cast<int>(text_.size()); } // in bytes
    int IsEmpty() const { return text_.empty() ? 1 : 0; }
    void Empty() { text_.clear(); }

    CString& operator+=(const CString& other);
    CString& operator+=(char character);
    friend QVLIBS_API CString operator+(const CString& a, const CString& b);
    friend QVLIBS_API CString operator+(const CString& a, const char* b);
    friend QVLIBS_API CString operator+(const char* a, const CString& b);

    CString Left(int count) const; // counts are cut to what is there
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    int Find(const char* text, int start = 0) const; // -1 when not found
    int Find(char character, int start = 0) const;
    int ReverseFind(char character) const;
    int Replace(const char* from, const char* to); // how many were replaced

    // ASCII letters only: no byte of a multi-byte character is touched.
    void MakeLower();
    void MakeUpper();
    int Compare(const char* other) const;       // bytes, unsigned: <0, 0, >0
    int CompareNoCase(const char* other) const; // the same with ASCII letters folded

    // printf's formats; the text replaces the old one. `long` is 64 bits wide here: use %d for LONG.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    std::string text_;
};

QVLIBS_API bool operator==(const CString& a, const CString& b);
QVLIBS_API bool operator==(const CString& a, const char* b);
QVLIBS_API bool operator<(const CString& a, const CString& b);

namespace qv {

// Comparison of names and extensions everywhere in the library: ASCII letters are folded, other bytes are
// equal only to themselves, the order is that of unsigned bytes.
QVLIBS_API int compareNoCase(std::string_view a, std::string_view b);
QVLIBS_API bool equalNoCase(std::string_view a, std::string_view b);
QVLIBS_API std::string toLower(std::string_view text);

} // namespace qv
