#include "qvlibs/platform/RegistryCheck.h"

#include "qvlibs/platform/Modules.h"
#include "qvlibs/platform/Registry.h"
#include "qvlibs/platform/RegistryFile.h"
#include "qvlibs/util/AtomicFile.h"

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>

namespace qv::registry {

namespace {

constexpr size_t kMostProblems = 20;
constexpr sqlite3_int64 kMostKeys = 1000000; // a damaged number may say anything

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

// Calls `take` with each row; the code of the end.
int eachRow(sqlite3* db, const char* query, const std::function<void(sqlite3_stmt*)>& take,
            sqlite3_int64 argument = 0) {
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(db, query, -1, &statement, nullptr);
    if (code != SQLITE_OK) return code;
    sqlite3_bind_int64(statement, 1, argument);
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) take(statement);
    sqlite3_finalize(statement);
    return code;
}

int countOf(sqlite3* db, const char* query) {
    int count = 0;
    eachRow(db, query, [&](sqlite3_stmt* row) { count = sqlite3_column_int(row, 0); });
    return count;
}

struct Rule {
    const char* what;
    const char* query; // rows that break it
};
constexpr Rule kRules[] = {
    {"a value belongs to no key", "SELECT name FROM vals WHERE key NOT IN (SELECT id FROM keys)"},
    {"a key has no key above it",
     "SELECT path FROM keys a WHERE instr(path, '\\') > 0 AND NOT EXISTS (SELECT 1 FROM keys b WHERE b.hive "
     "= "
     "a.hive AND b.path = substr(a.path, 1, length(rtrim(a.path, replace(a.path, '\\', ''))) - 1))"},
    {"a key is in no hive", "SELECT path FROM keys WHERE hive NOT IN (1, 2)"},
    {"a value has an unknown type", "SELECT name FROM vals WHERE type NOT IN (1, 3, 4)"},
};

void checkRows(sqlite3* db, StoreCheck& check) {
    const auto add = [&](const std::string& problem) {
        if (check.problems.size() < kMostProblems) check.problems.push_back(problem);
    };
    const int code = eachRow(db, "PRAGMA integrity_check(20)", [&](sqlite3_stmt* row) {
        if (const auto line = columnText(row, 0); line != "ok") add(line);
    });
    if (code != SQLITE_DONE) add(sqlite3_errstr(code));
    for (const Rule& rule : kRules) {
        const int end = eachRow(db, rule.query, [&](sqlite3_stmt* row) {
            add(std::string(rule.what).append(": ").append(columnText(row, 0)));
        });
        if (end != SQLITE_DONE && check.problems.empty()) add(sqlite3_errstr(end));
    }
    check.keys = countOf(db, "SELECT count(*) FROM keys");
    check.values = countOf(db, "SELECT count(*) FROM vals");
    eachRow(db, "PRAGMA journal_mode",
            [&](sqlite3_stmt* row) { check.logged = columnText(row, 0) == "wal"; });
}

std::vector<std::string> damagedStores(const std::string& path) {
    const auto slash = path.rfind('/');
    std::vector<std::string> found;
    for (auto& name : listFolder(path.substr(0, slash), path.substr(slash + 1) + ".damaged-*")) {
        if (!matchesPattern(name, "*-wal") && !matchesPattern(name, "*-journal") &&
            !matchesPattern(name, "*-shm"))
            found.push_back(path.substr(0, slash + 1) + name);
    }
    return found;
}

struct Found {
    int hive = 0;
    std::string path;
    std::vector<NamedValue> values;
};

// One key after the other, so that a damaged page costs only what lies on it.
std::vector<Found> readWhatIsThere(sqlite3* db) {
    sqlite3_int64 last = 0;
    eachRow(db, "SELECT max(id) FROM keys", [&](sqlite3_stmt* row) { last = sqlite3_column_int64(row, 0); });
    std::vector<Found> all;
    for (sqlite3_int64 id = 1; id <= std::min(last, kMostKeys); ++id) {
        Found key;
        const auto takeKey = [&](sqlite3_stmt* row) {
            key.hive = sqlite3_column_int(row, 0);
            key.path = columnText(row, 1);
        };
        eachRow(db, "SELECT hive, path FROM keys WHERE id = ?1", takeKey, id);
        if (key.hive != 1 && key.hive != 2) continue;
        const auto takeValue = [&](sqlite3_stmt* row) {
            key.values.push_back(
                {columnText(row, 0), {static_cast<Type>(sqlite3_column_int(row, 1)), columnText(row, 2)}});
        };
        eachRow(db, "SELECT name, type, data FROM vals WHERE key = ?1 AND type IN (1, 3, 4)", takeValue, id);
        all.push_back(std::move(key));
    }
    return all;
}

} // namespace

StoreCheck checkStore() {
    StoreCheck check;
    const std::string path = storePath();
    if (path.empty()) return check;
    check.setAside = damagedStores(path);
    check.writable = access(path.c_str(), W_OK) == 0;
    if (access(path.c_str(), F_OK) != 0) {
        check.writable = access(folderOf(path).c_str(), W_OK) == 0;
        return check;
    }
    sqlite3* raw = nullptr;
    int version = 0;
    bool immutable = false;
    const int code = openStoreFile(path, &raw, &version, &immutable);
    const Database db(raw);
    if (code != SQLITE_OK) {
        check.state = isDamage(code) ? StoreState::Damaged : StoreState::Unreadable;
        check.problems.emplace_back(sqlite3_errstr(code));
        return check;
    }
    check.state = StoreState::Newer;
    if (version > kStoreVersion) return check;
    checkRows(db.get(), check);
    check.state = check.problems.empty() ? StoreState::Sound : StoreState::Damaged;
    return check;
}

std::optional<int> salvageStore(const std::string& file) {
    sqlite3* raw = nullptr;
    if (sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(raw);
        return std::nullopt;
    }
    const Database db(raw);
    if (eachRow(db.get(), "SELECT 1 FROM keys LIMIT 1", [](sqlite3_stmt*) {}) != SQLITE_DONE)
        return std::nullopt;
    const auto found = readWhatIsThere(db.get());
    Transaction whole(Transaction::Writing);
    int written = 0;
    for (const Found& key : found) {
        const HKEY hive = key.hive == 1 ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
        createKey(hive, key.path);
        for (const auto& [name, value] : key.values) {
            if (readValue(hive, key.path, name)) continue;
            writeValue(hive, key.path, name, value.type, value.bytes);
            ++written;
        }
    }
    return whole.commit() ? std::optional(written) : std::nullopt;
}

std::string setStoreAside() {
    closeStore();
    const std::string path = storePath();
    struct stat now;
    if (path.empty() || stat(path.c_str(), &now) != 0) return {};
    return setStoreFileAside(path, now).value_or("");
}

} // namespace qv::registry
