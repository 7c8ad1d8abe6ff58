// The registry: trees of keys, each with subkeys and typed values, kept in one file of the user.
//
// The file is "settings.db" in $QVLIBS_HOME, or in $XDG_DATA_HOME/qvlibs (~/.local/share/qvlibs); it holds
// both hives and is made by the first write. Names of keys and values are bytes (UTF-8 where they are text);
// ASCII letters count as equal in both cases, and the first spelling is kept. Key paths are separated by "\".
//
// Every function goes to the file: nothing is remembered between two calls. A write that was acknowledged
// survives the death of the process, and processes may write at the same time. A file that is damaged is
// renamed, never deleted, one message says so (framework/Messages.h), and the registry goes on empty.
//
// Results: Done or a number of the classic interface. Reads of what is not there, or cannot be read, answer
// "nothing". All functions may be called from any thread; calls wait for each other.
#pragma once

#include "qvlibs/framework/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A key: one of the two hives, or a key that was opened. Handles of opened keys are released by closeKey().
extern QVLIBS_API QvKey__ qvLocalMachineHive;
extern QVLIBS_API QvKey__ qvCurrentUserHive;
inline constexpr HKEY HKEY_LOCAL_MACHINE = &qvLocalMachineHive; // settings of the suite
inline constexpr HKEY HKEY_CURRENT_USER = &qvCurrentUserHive;   // settings of the user's old versions

namespace qv::registry {

enum Result : int {
    Done = 0,
    NotFound = 2,
    Denied = 5,   // the file cannot be written
    BadName = 87, // an element of a key above 255 bytes, a value's name above 16383, data above 1 MiB
};

enum class Type : DWORD {
    Text = 1,   // the bytes of the text and a zero
    Binary = 3, // any bytes
    Number = 4, // 4 bytes, low byte first
};

struct Value {
    Type type = Type::Binary;
    std::string bytes;
    friend bool operator==(const Value&, const Value&) = default;
};
struct NamedValue {
    std::string name; // "" is the key's unnamed default value
    Value value;
};

// A handle for root\path: null when the key is not there (and `create` is false) or cannot be made. A
// handle is a name, not a lock: the key may vanish behind it.
[[nodiscard]] QVLIBS_API HKEY openKey(HKEY root, std::string_view path, bool create);
QVLIBS_API void closeKey(HKEY key);
[[nodiscard]] QVLIBS_API bool keyExists(HKEY root, std::string_view path);
// Makes root\path and every missing key above it.
QVLIBS_API Result createKey(HKEY root, std::string_view path);
// Removes root\path with everything below it. A hive itself is refused.
QVLIBS_API Result deleteTree(HKEY root, std::string_view path);

[[nodiscard]] QVLIBS_API std::optional<Value> readValue(HKEY root, std::string_view path,
                                                        std::string_view name);
// Copies a value of at most `room` bytes to `buffer`. Its size; -1 when there is none, or it is larger.
[[nodiscard]] QVLIBS_API int readInto(HKEY root, std::string_view path, std::string_view name, void* buffer,
                                      int room);
// Makes the key when it is missing.
QVLIBS_API Result writeValue(HKEY root, std::string_view path, std::string_view name, Type type,
                             std::string_view bytes);
QVLIBS_API Result removeValue(HKEY root, std::string_view path, std::string_view name);

// The names of the keys directly below root\path, and its values, each sorted by name without case.
[[nodiscard]] QVLIBS_API std::vector<std::string> subKeys(HKEY root, std::string_view path);
[[nodiscard]] QVLIBS_API std::vector<NamedValue> values(HKEY root, std::string_view path);

// While it lives, what this thread reads is the registry at one moment. What it writes takes effect as a whole at
// commit(), or not at all; a reading one refuses to write. Other threads of the process wait; other processes wait with
// writing. One inside another belongs to the outer one. A fork ends it without effect.
class QVLIBS_API Transaction {
public:
    enum Kind : int { Reading, Writing };
    explicit Transaction(Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    // Of a writing transaction: false when any of its writes failed or they cannot be stored; then none is.
    [[nodiscard]] bool commit();

private:
    bool open_ = false;
};

// The path of the file; "" when the user has no home. It need not exist.
[[nodiscard]] QVLIBS_API std::string storePath();

// Releases the file, which the next call opens again; for the unload of the library.
void closeStore();

} // namespace qv::registry
