#include "qvlibs/framework/Strings.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
int position(size_t found) { return found == std::string::npos ? -1 : static_cast<int>(found); }
size_t count(int wanted) { return wanted < 0 ? 0 : static_cast<size_t>(wanted); }

} // namespace

namespace qv {

int compareNoCase(std::string_view a, std::string_view b) {
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i) {
        const int difference =
            static_cast<unsigned char>(lower(a[i])) - static_cast<unsigned char>(lower(b[i]));
        if (difference != 0) return difference;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

bool equalNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && compareNoCase(a, b) == 0;
}

std::string toLower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

} // namespace qv

CString::CString(const char* text) : text_(text ? text : "") {}
CString::CString(const char* text, int length)
    : text_(text ? std::string(text, count(length)) : std::string()) {}

CString& CString::operator+=(const CString& other) {
    text_ += other.text_;
    return *this;
}

CString& CString::operator+=(char character) {
    text_ += character;
    return *this;
}

CString operator+(const CString& a, const CString& b) { return {a.text_ + b.text_}; }
CString operator+(const CString& a, const char* b) { return {a.text_ + (b ? b : "")}; }
CString operator+(const char* a, const CString& b) { return {(a ? a : "") + b.text_}; }

CString CString::Left(int wanted) const { return {text_.substr(0, count(wanted))}; }

CString CString::Right(int wanted) const {
    const size_t size = std::min(count(wanted), text_.size());
    return {text_.substr(text_.size() - size)};
}

CString CString::Mid(int first) const { return {text_.substr(std::min(count(first), text_.size()))}; }

CString CString::Mid(int first, int wanted) const {
    return {text_.substr(std::min(count(first), text_.size()), count(wanted))};
}

int CString::Find(const char* text, int start) const {
    return position(text_.find(text ? text : "", count(start)));
}
int CString::Find(char character, int start) const { return position(text_.find(character, count(start))); }
int CString::ReverseFind(char character) const { return position(text_.rfind(character)); }

int CString::Replace(const char* from, const char* to) {
    const std::string_view old = from ? from : "";
    const std::string_view fresh = to ? to : "";
    if (old.empty()) return 0;
    int replaced = 0;
    for (size_t at = text_.find(old); at != std::string::npos; at = text_.find(old, at + fresh.size())) {
        text_.replace(at, old.size(), fresh);
        ++replaced;
    }
    return replaced;
}

void CString::MakeLower() { std::transform(text_.begin(), text_.end(), text_.begin(), lower); }
void CString::MakeUpper() { std::transform(text_.begin(), text_.end(), text_.begin(), upper); }
int CString::Compare(const char* other) const { return text_.compare(other ? other : ""); }
int CString::CompareNoCase(const char* other) const { return qv::compareNoCase(text_, other ? other : ""); }

void CString::Format(const char* format, ...) {
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int size = vsnprintf(nullptr, 0, format, arguments);
    std::string text(size < 0 ? 0 : static_cast<size_t>(size), '\0');
    if (size > 0) vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    text_ = std::move(text);
}

bool operator==(const CString& a, const CString& b) { return a.str() == b.str(); }
bool operator==(const CString& a, const char* b) { return a.str() == (b ? b : ""); }
bool operator<(const CString& a, const CString& b) { return a.str() < b.str(); }
