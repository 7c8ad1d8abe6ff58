// Settings as tables: one row says a key, the field that holds it, and its default, so that reading and
// writing walk the same rows.
#pragma once

#include "qvlibs/settings/ProfileCtrl.h"

#include <variant>

namespace qv {

// A 32-bit field stored as two numbers. Its high half stands before its low half in a table.
template <class Record>
struct HighHalf {
    DWORD Record::*field;
};
template <class Record>
struct LowHalf {
    DWORD Record::*field;
};

enum class Stored : int { Written, OnlyRead };

template <class Record>
struct SettingRow {
    const char* key;
    std::variant<int Record::*, WORD Record::*, CString Record::*, HighHalf<Record>, LowHalf<Record>> field;
    int number = 0; // the default of a number
    const char* text = "";
    Stored stored = Stored::Written;
};

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

template <class Record, size_t N>
void readRows(Record& record, const char* section, const SettingRow<Record> (&rows)[N]) {
    for (const auto& row : rows) {
        const auto number = [&] { return QVGetProfileInt(section, row.key, row.number); };
        std::visit(Overloaded{
                       [&](int Record::*field) { record.*field = static_cast<int>(number()); },
                       // 16 bits of whatever is stored
                       [&](WORD Record::*field) { record.*field = static_cast<WORD>(number()); },
                       [&](CString Record::*field) {
                           record.*field = QVGetProfileString(section, row.key, row.text);
                       },
                       [&](HighHalf<Record> half) { record.*half.field = number() << 16; },
                       [&](LowHalf<Record> half) { record.*half.field |= number() & 0xFFFF; },
                   },
                   row.field);
    }
}

// False when a row cannot be written; the later ones stay as they were.
template <class Record, size_t N>
bool writeRows(const Record& record, const char* section, unsigned short flags,
               const SettingRow<Record> (&rows)[N]) {
    for (const auto& row : rows) {
        if (row.stored == Stored::OnlyRead) continue;
        const auto write = [&](DWORD number) {
            return QVWriteProfileInt(section, row.key, static_cast<int>(number), flags);
        };
        const int done =
            std::visit(Overloaded{
                           [&](int Record::*field) { return write(static_cast<DWORD>(record.*field)); },
                           [&](WORD Record::*field) { return write(record.*field); },
                           [&](CString Record::*field) {
                               return QVWriteProfileString(section, row.key, record.*field, flags);
                           },
                           [&](HighHalf<Record> half) { return write(record.*half.field >> 16); },
                           [&](LowHalf<Record> half) { return write(record.*half.field & 0xFFFF); },
                       },
                       row.field);
        if (!done) return false;
    }
    return true;
}

// "Model" and 3 give "Model0003". Records are numbered from 0 to 9999: a longer number would be taken for
// another section.
constexpr int kMostRecords = 10000;
[[nodiscard]] inline bool isRecordIndex(int index) { return index >= 0 && index < kMostRecords; }
[[nodiscard]] inline CString recordSection(const char* prefix, int index) {
    CString section;
    section.Format("%s%04d", prefix ? prefix : "", index);
    return section;
}

} // namespace qv
