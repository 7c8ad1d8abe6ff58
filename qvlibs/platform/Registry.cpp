#include "qvlibs/platform/Registry.h"

#include "qvlibs/framework/Strings.h"
#include "qvlibs/platform/RegistryFile.h"
#include "qvlibs/platform/RegistryStore.h"
#include "qvlibs/platform/UserFolders.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// A key handle: the hive, and the path below it (null for the hive itself).
struct QvKey__ {
    int hive;
    char* path;
};

constinit QvKey__ qvLocalMachineHive{1, nullptr};
constinit QvKey__ qvCurrentUserHive{2, nullptr};

namespace qv::registry {

namespace {

constexpr size_t kMostInElement = 255;
constexpr size_t kMostInName = 16383;
constexpr size_t kMostInValue = 1024 * 1024;
constexpr char kSeparator = '\\';

struct KeyName {
    int hive = 0;
    std::string path;
    bool valid = false;
};

// The full path with single separators; what stands between two of them is an element.
KeyName nameOf(HKEY root, std::string_view path) {
    KeyName name;
    if (!root) return name;
    name.hive = root->hive;
    name.valid = true;
    if (root->path) name.path = root->path;
    name.path.reserve(name.path.size() + path.size() + 1);
    while (!path.empty()) {
        const auto end = std::min(path.find(kSeparator), path.size());
        if (end > kMostInElement) name.valid = false;
        if (end > 0) {
            if (!name.path.empty()) name.path += kSeparator;
            name.path += path.substr(0, end);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return name;
}

// The range that holds the paths of all keys below one.
struct Range {
    std::string first, end;
};
Range below(const std::string& path) {
    if (path.empty()) return {std::string(1, '\x01'), std::string(1, '\xFF')};
    return {path + kSeparator, path + static_cast<char>(kSeparator + 1)};
}

void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
    // A null pointer would bind NULL instead of the empty text.
    sqlite3_bind_text(statement, index, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                      SQLITE_STATIC);
}

// A statement in use: bound, stepped, and reset at the end, because it holds a lock until then.
class Running {
public:
    Running(Query query, int hive, std::initializer_list<std::string_view> texts) {
        code_ = Store::instance().prepare(query, statement_);
        if (code_ != SQLITE_OK) return;
        sqlite3_bind_int(statement_, 1, hive);
        int index = 2;
        for (const auto text : texts) bindText(statement_, index++, text);
    }
    ~Running() { finish(); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    sqlite3_stmt* operator*() const { return statement_; }
    // SQLITE_ROW, SQLITE_DONE or what went wrong.
    int step() { return code_ == SQLITE_OK ? sqlite3_step(statement_) : code_; }
    // Runs to the end: SQLITE_DONE or what went wrong.
    int run() {
        int code = step();
        while (code == SQLITE_ROW) code = sqlite3_step(statement_);
        finish();
        return code;
    }
    [[nodiscard]] std::string text(int column) const { return columnText(statement_, column); }

private:
    void finish() {
        if (!statement_) return;
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
        statement_ = nullptr;
    }

    sqlite3_stmt* statement_ = nullptr;
    int code_ = SQLITE_OK;
};

Result resultOf(int code) {
    if (code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW) return Done;
    return code == SQLITE_NOTFOUND ? NotFound : Denied;
}

Result refused() {
    Store::instance().refuseWrite();
    return BadName;
}

// SQLITE_ROW when the key is there (its path as it is spelt in `stored`), else SQLITE_DONE.
int findKey(int hive, const std::string& path, std::string* stored) {
    Running select(Query::SelectKey, hive, {path});
    const int code = select.step();
    if (code == SQLITE_ROW && stored) *stored = select.text(0);
    return code;
}

// Makes the key and those above it, which keep the spelling they have.
int makeKey(int hive, std::string& path) {
    if (const int code = findKey(hive, path, &path); code != SQLITE_DONE) return code;
    if (const auto slash = path.rfind(kSeparator); slash != std::string::npos) {
        std::string parent = path.substr(0, slash);
        const int code = makeKey(hive, parent);
        if (code != SQLITE_DONE && code != SQLITE_ROW) return code;
        path.replace(0, slash, parent);
    }
    return Running(Query::InsertKey, hive, {path}).run();
}

// Runs several statements as one; inside a transaction they are part of it.
template <class Work>
int together(const Work& work) {
    Store& store = Store::instance();
    if (store.inTransaction()) return work();
    if (const int code = store.runQuery(Query::BeginWrite); code != SQLITE_OK) return code;
    int code = work();
    if (resultOf(code) == Done) {
        if (const int end = store.runQuery(Query::Commit); end != SQLITE_OK) code = end;
    }
    if (resultOf(code) != Done) store.runQuery(Query::Rollback);
    return code;
}

int putValue(const KeyName& key, std::string_view name, Type type, std::string_view bytes) {
    Running put(Query::PutValue, key.hive, {key.path, name});
    if (*put) {
        sqlite3_bind_int(*put, 4, static_cast<int>(type));
        sqlite3_bind_blob(*put, 5, bytes.empty() ? "" : bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC);
    }
    const int code = put.run();
    return code == SQLITE_DONE && Store::instance().changes() == 0 ? SQLITE_NOTFOUND : code;
}

int readRow(const KeyName& key, std::string_view name, const auto& take) {
    return Store::instance().read([&] {
        Running select(Query::SelectValue, key.hive, {key.path, name});
        const int code = select.step();
        if (code == SQLITE_ROW) take(select);
        return code;
    });
}

template <class Entry, class NameOf>
void sortByName(std::vector<Entry>& entries, const NameOf& nameOfEntry) {
    std::sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        return compareNoCase(nameOfEntry(a), nameOfEntry(b)) < 0;
    });
}

} // namespace

std::string storePath() {
    const std::string folder = storeFolder();
    return folder.empty() ? folder : folder + "/settings.db";
}

void closeStore() { Store::instance().closeForUnload(); }

HKEY openKey(HKEY root, std::string_view path, bool create) {
    if (create ? createKey(root, path) != Done : !keyExists(root, path)) return nullptr;
    const KeyName name = nameOf(root, path);
    return new QvKey__{name.hive, name.path.empty() ? nullptr : strdup(name.path.c_str())};
}

void closeKey(HKEY key) {
    if (!key || key == HKEY_LOCAL_MACHINE || key == HKEY_CURRENT_USER) return;
    std::free(key->path);
    delete key;
}

bool keyExists(HKEY root, std::string_view path) {
    const KeyName key = nameOf(root, path);
    if (!key.valid || key.path.empty()) return key.valid; // a hive is always there
    return Store::instance().read([&] { return findKey(key.hive, key.path, nullptr); }) == SQLITE_ROW;
}

Result createKey(HKEY root, std::string_view path) {
    const KeyName key = nameOf(root, path);
    if (!key.valid) return refused();
    return resultOf(Store::instance().write([&] {
        std::string made = key.path;
        return together([&] { return makeKey(key.hive, made); });
    }));
}

Result deleteTree(HKEY root, std::string_view path) {
    const KeyName key = nameOf(root, path);
    if (!key.valid) return BadName;
    if (key.path.empty()) return Denied;
    if (!keyExists(root, path)) return NotFound;
    const Range range = below(key.path);
    return resultOf(Store::instance().write([&] {
        return together([&] {
            const auto all = {std::string_view(key.path), std::string_view(range.first),
                              std::string_view(range.end)};
            const int code = Running(Query::DeleteUnder, key.hive, all).run();
            return code == SQLITE_DONE ? Running(Query::DeleteKeys, key.hive, all).run() : code;
        });
    }));
}

std::optional<Value> readValue(HKEY root, std::string_view path, std::string_view name) {
    const KeyName key = nameOf(root, path);
    Value value;
    const int code = key.valid ? readRow(key, name,
                                         [&](const Running& row) {
                                             value.type = static_cast<Type>(sqlite3_column_int(*row, 0));
                                             value.bytes = row.text(1);
                                         })
                               : SQLITE_NOTFOUND;
    return code == SQLITE_ROW ? std::optional(std::move(value)) : std::nullopt;
}

int readInto(HKEY root, std::string_view path, std::string_view name, void* buffer, int room) {
    const KeyName key = nameOf(root, path);
    if (!key.valid) return -1;
    int size = -1;
    readRow(key, name, [&](const Running& row) {
        const void* bytes = sqlite3_column_blob(*row, 1);
        size = sqlite3_column_bytes(*row, 1);
        if (size > room) size = -1;
        if (size > 0) std::memcpy(buffer, bytes, static_cast<size_t>(size));
    });
    return size;
}

Result writeValue(HKEY root, std::string_view path, std::string_view name, Type type,
                  std::string_view bytes) {
    const KeyName key = nameOf(root, path);
    if (!key.valid || name.size() > kMostInName || bytes.size() > kMostInValue) return refused();
    return resultOf(Store::instance().write([&] {
        const int code = putValue(key, name, type, bytes);
        if (code != SQLITE_NOTFOUND) return code;
        return together([&] {
            std::string made = key.path;
            const int end = makeKey(key.hive, made);
            return resultOf(end) == Done ? putValue(key, name, type, bytes) : end;
        });
    }));
}

Result removeValue(HKEY root, std::string_view path, std::string_view name) {
    const KeyName key = nameOf(root, path);
    if (!key.valid) return BadName;
    if (!readValue(root, path, name)) return NotFound;
    return resultOf(Store::instance().write([&] {
        return Running(Query::DeleteValue, key.hive, {key.path, name}).run();
    }));
}

std::vector<std::string> subKeys(HKEY root, std::string_view path) {
    const KeyName key = nameOf(root, path);
    const Range range = below(key.path);
    std::vector<std::string> names;
    Store::instance().read([&] {
        names.clear();
        Running select(Query::KeysBelow, key.hive, {range.first, range.end});
        int code = SQLITE_DONE;
        while ((code = select.step()) == SQLITE_ROW) {
            std::string name = select.text(0).substr(key.path.empty() ? 0 : key.path.size() + 1);
            if (name.find(kSeparator) == std::string::npos) names.push_back(std::move(name));
        }
        return code;
    });
    sortByName(names, [](const std::string& name) -> std::string_view { return name; });
    return names;
}

std::vector<NamedValue> values(HKEY root, std::string_view path) {
    const KeyName key = nameOf(root, path);
    std::vector<NamedValue> all;
    Store::instance().read([&] {
        all.clear();
        Running select(Query::ValuesOf, key.hive, {key.path});
        int code = SQLITE_DONE;
        while ((code = select.step()) == SQLITE_ROW) {
            all.push_back(
                {select.text(0), {static_cast<Type>(sqlite3_column_int(*select, 1)), select.text(2)}});
        }
        return code;
    });
    sortByName(all, [](const NamedValue& value) -> std::string_view { return value.name; });
    return all;
}

Transaction::Transaction(Kind kind) : open_(true) { Store::instance().beginTransaction(kind == Writing); }

Transaction::~Transaction() {
    if (open_) Store::instance().endTransaction(false);
}

bool Transaction::commit() {
    if (!open_) return false;
    open_ = false;
    return Store::instance().endTransaction(true);
}

} // namespace qv::registry
