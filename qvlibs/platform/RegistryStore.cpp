#include "qvlibs/platform/RegistryStore.h"

#include "qvlibs/framework/Messages.h"
#include "qvlibs/platform/RegistryFile.h"
#include "qvlibs/platform/RegistryPages.h"
#include "qvlibs/platform/UserFolders.h"

#include <pthread.h>
#include <unistd.h>

#include <new>

namespace qv::registry {

namespace {

constexpr int kAttempts = 4;

constexpr const char* kQueries[] = {
    "SELECT v.type, v.data FROM keys k JOIN vals v ON v.key = k.id "
    "WHERE k.hive = ?1 AND k.path = ?2 AND v.name = ?3",
    "SELECT path FROM keys WHERE hive = ?1 AND path = ?2",
    "SELECT path FROM keys WHERE hive = ?1 AND path >= ?2 AND path < ?3",
    "SELECT v.name, v.type, v.data FROM keys k JOIN vals v ON v.key = k.id "
    "WHERE k.hive = ?1 AND k.path = ?2 ORDER BY v.name",
    "INSERT INTO keys (hive, path) VALUES (?1, ?2)",
    "INSERT INTO vals (key, name, type, data) SELECT id, ?3, ?4, ?5 FROM keys WHERE hive = ?1 AND path = ?2 "
    "ON CONFLICT (key, name) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM vals WHERE name = ?3 AND key = (SELECT id FROM keys WHERE hive = ?1 AND path = ?2)",
    "DELETE FROM keys WHERE hive = ?1 AND (path = ?2 OR (path >= ?3 AND path < ?4))",
    "DELETE FROM vals WHERE key IN (SELECT id FROM keys WHERE hive = ?1 AND "
    "(path = ?2 OR (path >= ?3 AND path < ?4)))",
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
};
static_assert(std::size(kQueries) == static_cast<size_t>(Query::Count));

bool isGood(int code) {
    return code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE || code == SQLITE_NOTFOUND;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

// Never destroyed: the library may be asked while the process ends.
Store& Store::instance() {
    static Store* const store = new Store;
    return *store;
}

Store::Store() : path_(storePath()) { pthread_atfork(beforeFork, afterForkInParent, afterForkInChild); }

// A child must not use the parent's connection, and one of its own would share the parent's lock records
// inside SQLite without holding the locks. So nobody has a connection while the process forks.
void Store::beforeFork() {
    Store& store = instance();
    store.mutex_.lock();
    store.close();
    store.broken_ = true; // concerns a transaction that is open here
}

void Store::afterForkInParent() { instance().mutex_.unlock(); }

// The mutex is held by a thread that has another number here. A transaction stays the parent's.
void Store::afterForkInChild() {
    Store& store = instance();
    new (&store.mutex_) std::recursive_mutex;
    store.depth_ = 0;
}

void Store::close() {
    for (sqlite3_stmt*& statement : statements_) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    if (db_ && owner_ == getpid()) sqlite3_close(db_);
    db_ = nullptr;
}

void Store::closeForUnload() {
    const std::lock_guard guard(mutex_);
    close();
    forgetCheckedPages();
}

void Store::report(const std::string& text) {
    if (text == reported_) return;
    reported_ = text;
    showMessage(text.c_str(), "Settings", MessageKind::Error);
}

// A file that nobody can write has no identity of its own in SQLite: watch what changes when somebody else
// does.
bool Store::isOpenFile(const struct stat& now) const {
    if (!isSameFile(now, file_)) return false;
    return !immutable_ || (now.st_mtim.tv_sec == file_.st_mtim.tv_sec &&
                           now.st_mtim.tv_nsec == file_.st_mtim.tv_nsec && now.st_size == file_.st_size);
}

bool Store::isStillThere() const {
    struct stat now;
    return stat(path_.c_str(), &now) == 0 && isSameFile(now, file_);
}

bool Store::ready(bool create) {
    if (depth_ > 0) return db_ && !broken_;
    // A process that was cloned behind our back: the connection is not its own.
    if (db_ && owner_ != getpid()) return false;
    if (path_.empty()) return false;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        struct stat now;
        const bool there = stat(path_.c_str(), &now) == 0;
        if (db_ && there && isOpenFile(now)) return true;
        close();
        if (!there && (!create || !createStoreFile(path_))) return false;
        const int code = openFile();
        if (code == SQLITE_OK) return true;
        if (code == SQLITE_SCHEMA) continue; // replaced while it was opened
        if (!isDamage(code)) return false;
        setAside();
    }
    return false;
}

int Store::openFile() {
    if (stat(path_.c_str(), &file_) != 0) return SQLITE_SCHEMA;
    int version = 0;
    const int code = openStoreFile(path_, &db_, &version, &immutable_);
    if (code != SQLITE_OK) {
        if (!isDamage(code))
            report("The settings store " + path_ + " cannot be opened: " + sqlite3_errstr(code));
        return code;
    }
    owner_ = getpid();
    // The name may mean another file by now, and SQLite opens a file and its log by name.
    if (!isStillThere()) {
        close();
        return SQLITE_SCHEMA;
    }
    if (version > kStoreVersion) {
        close();
        report("The settings store " + path_ + " was written by a newer version; defaults are in use");
        return SQLITE_CANTOPEN;
    }
    return SQLITE_OK;
}

void Store::setAside() {
    close();
    const auto name = setStoreFileAside(path_, file_);
    if (!name) return; // another process did, and said it
    report("The settings store " + path_ + " is damaged; " +
           (name->empty() ? std::string("it cannot be renamed") : "it was set aside as " + *name) +
           ", defaults are in use");
}

// Whether the work is to be done once more. A damage is believed when a fresh connection sees it too.
bool Store::failedBadly(int code, int attempt) {
    const bool moved = code == SQLITE_READONLY_DBMOVED;
    if (!moved && !isDamage(code)) return false;
    if (depth_ > 0) {
        broken_ = true;
        damaged_ = damaged_ || !moved;
        return false;
    }
    if (moved || attempt == 0)
        close();
    else
        setAside();
    return attempt + 1 < kAttempts;
}

int Store::write(const std::function<int()>& work) {
    const std::lock_guard guard(mutex_);
    if (depth_ > 0 && !writing_) return SQLITE_READONLY;
    for (int attempt = 0;; ++attempt) {
        if (!ready(true)) return SQLITE_CANTOPEN;
        const int code = work();
        if (failedBadly(code, attempt)) continue;
        if (!isGood(code)) broken_ = true;
        // Written into a file that lost its name meanwhile: nobody would ever read it.
        if (isGood(code) && depth_ == 0 && !isStillThere() && attempt + 1 < kAttempts) continue;
        return code;
    }
}

void Store::refuseWrite() {
    const std::lock_guard guard(mutex_);
    broken_ = broken_ || writing_;
}

int Store::prepare(Query query, sqlite3_stmt*& statement) {
    sqlite3_stmt*& kept = statements_[static_cast<int>(query)];
    if (!kept) {
        const char* text = kQueries[static_cast<int>(query)];
        const int code = sqlite3_prepare_v3(db_, text, -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
        // These texts fit every registry file; a file they do not fit is none.
        if (code != SQLITE_OK) return code == SQLITE_ERROR ? SQLITE_NOTADB : code;
    }
    statement = kept;
    return SQLITE_OK;
}

int Store::runQuery(Query query) {
    sqlite3_stmt* statement = nullptr;
    if (const int code = prepare(query, statement); code != SQLITE_OK) return code;
    sqlite3_step(statement);
    return sqlite3_reset(statement);
}

void Store::beginTransaction(bool writing) {
    mutex_.lock();
    if (depth_ > 0) {
        ++depth_;
        return;
    }
    broken_ = damaged_ = false;
    writing_ = writing;
    if (writing) {
        broken_ = write([this] { return runQuery(Query::BeginWrite); }) != SQLITE_OK;
    } else if (read([this] { return runQuery(Query::BeginRead); }) != SQLITE_OK) {
        close(); // nothing to read; what appears later does not count
    }
    depth_ = 1;
}

bool Store::endTransaction(bool commit) {
    if (depth_ == 0) return false; // begun before a fork
    if (writing_ && !commit) broken_ = true;
    bool done = writing_ && !broken_;
    if (--depth_ == 0) {
        if (db_ && done) done = runQuery(Query::Commit) == SQLITE_OK && isStillThere();
        if (db_ && !sqlite3_get_autocommit(db_)) runQuery(Query::Rollback);
        if (damaged_) setAside();
    }
    mutex_.unlock();
    return done;
}

} // namespace qv::registry
