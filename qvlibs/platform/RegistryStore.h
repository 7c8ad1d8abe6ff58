// The file behind the registry: one connection for the process, with its prepared statements.
#pragma once

#include "qvlibs/platform/Registry.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <functional>
#include <mutex>

namespace qv::registry {

enum class Query : int {
    SelectValue, // hive, path, name -> type, data
    SelectKey,   // hive, path -> path as stored
    KeysBelow,   // hive, first, end -> path
    ValuesOf,    // hive, path -> name, type, data
    InsertKey,   // hive, path
    PutValue,    // hive, path, name, type, data; changes nothing when the key is missing
    DeleteValue, // hive, path, name
    DeleteKeys,  // hive, path, first, end
    DeleteUnder, // the same: the values of those keys
    BeginRead,
    BeginWrite,
    Commit,
    Rollback,
    Count
};

class Store {
public:
    static Store& instance();

    // Calls `work` with the file open, again when the file turned out to be damaged or to have been replaced
    // meanwhile. `work` returns an SQLite code: SQLITE_OK, _ROW and _DONE are good, and SQLITE_NOTFOUND is
    // an answer. Without a file, reading answers SQLITE_NOTFOUND and writing makes the file.
    template <class Work>
    int read(const Work& work) {
        const std::lock_guard guard(mutex_);
        for (int attempt = 0;; ++attempt) {
            if (!ready(false)) return SQLITE_NOTFOUND;
            if (const int code = work(); !failedBadly(code, attempt)) return code;
        }
    }
    int write(const std::function<int()>& work);
    // A write that was not even tried: the transaction it belongs to fails with it.
    void refuseWrite();

    // A statement of this file, kept for the next call. Reset it after use: it holds a lock until then.
    int prepare(Query query, sqlite3_stmt*& statement);
    // Runs a statement that has neither parameters nor rows.
    int runQuery(Query query);
    [[nodiscard]] int changes() const { return sqlite3_changes(db_); }

    // A transaction holds the mutex; one inside another only counts. The end of the outermost says whether
    // its writes are stored.
    void beginTransaction(bool writing);
    bool endTransaction(bool commit);
    [[nodiscard]] bool inTransaction() const { return depth_ > 0; }

    void closeForUnload();

private:
    Store();
    bool ready(bool create);
    int openFile();
    void close();
    [[nodiscard]] bool isOpenFile(const struct stat& now) const;
    [[nodiscard]] bool isStillThere() const;
    bool failedBadly(int code, int attempt);
    void setAside();
    void report(const std::string& text);
    static void beforeFork();
    static void afterForkInParent();
    static void afterForkInChild();

    std::recursive_mutex mutex_;
    const std::string path_;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* statements_[static_cast<int>(Query::Count)] = {};
    pid_t owner_ = 0;        // the process that opened it
    struct stat file_ = {};  // what is open
    bool immutable_ = false; // opened as a file that nobody writes
    int depth_ = 0;          // of nested transactions
    bool writing_ = false;   // what the transaction is for
    bool broken_ = false;    // a write of it failed, or its file went away
    bool damaged_ = false;   // its file is damaged
    std::string reported_;   // the last message, so that it is not said at every call
};

} // namespace qv::registry
