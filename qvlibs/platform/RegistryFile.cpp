#include "qvlibs/platform/RegistryFile.h"

#include "qvlibs/platform/FolderLock.h"
#include "qvlibs/platform/RegistryPages.h"
#include "qvlibs/platform/UserFolders.h"
#include "qvlibs/util/AtomicFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace qv::registry {

namespace {

// Long enough for a queue of processes that all write without a pause.
constexpr int kBusyMilliseconds = 60000;

constexpr const char* kSchema = "PRAGMA page_size = 4096; PRAGMA user_version = 1;"
                                "CREATE TABLE keys (id INTEGER PRIMARY KEY, hive INTEGER NOT NULL, "
                                "path TEXT NOT NULL COLLATE NOCASE, UNIQUE (hive, path)) STRICT;"
                                "CREATE TABLE vals (key INTEGER NOT NULL, name TEXT NOT NULL COLLATE NOCASE, "
                                "type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY (key, name)) "
                                "STRICT, WITHOUT ROWID;";
static_assert(kStoreVersion == 1);

// Bytes of the file's header that say how changes are logged.
constexpr size_t kWriteVersion = 18, kReadVersion = 19;
constexpr unsigned char kWriteAheadLog = 2;

constexpr const char* kLogs[] = {"-wal", "-shm", "-journal"};

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::string emptyStore() {
    std::string image;
    sqlite3* db = nullptr;
    int reserved = kPageSumBytes;
    if (sqlite3_open(":memory:", &db) == SQLITE_OK &&
        sqlite3_file_control(db, "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved) == SQLITE_OK &&
        sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr) == SQLITE_OK) {
        sqlite3_int64 size = 0;
        if (unsigned char* bytes = sqlite3_serialize(db, "main", &size, 0)) {
            image.assign(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
            sqlite3_free(bytes);
        }
    }
    sqlite3_close(db);
    return image;
}

bool writeWhole(const std::string& path, const std::string& bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) return false;
    const bool done = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const bool synced = fsync(file) == 0 || errno == EINVAL;
    return ::close(file) == 0 && done && synced;
}

// The log's index is memory that processes share, which other machines on a network do not see.
bool isNetwork(const std::string& folder) {
    struct statfs status;
    if (statfs(folder.c_str(), &status) != 0) return false;
    constexpr unsigned kCifs = 0xFF534D42u, kSmb2 = 0xFE534D42u;
    for (const unsigned type :
         {unsigned{NFS_SUPER_MAGIC}, unsigned{SMB_SUPER_MAGIC}, kCifs, kSmb2, unsigned{CODA_SUPER_MAGIC},
          unsigned{V9FS_MAGIC}, unsigned{AFS_SUPER_MAGIC}}) {
        if (static_cast<unsigned>(status.f_type) == type) return true;
    }
    return false;
}

std::string asImmutable(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            char code[4];
            std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
            uri += code;
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

int readVersion(sqlite3* db, int* version) {
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &statement, nullptr);
    if (code == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW)
        *version = sqlite3_column_int(statement, 0);
    const int end = sqlite3_finalize(statement);
    return code != SQLITE_OK ? code : end;
}

int openAs(const std::string& path, bool immutable, sqlite3** db, int* version) {
    const std::string name = immutable ? asImmutable(path) : path;
    const int flags = (immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE) |
                      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    int code = sqlite3_open_v2(name.c_str(), db, flags, checkedPages());
    sqlite3_busy_timeout(*db, kBusyMilliseconds); // already for opening: somebody may just repair the log
    // A commit survives the process without waiting for the disk; the file is sound after a power cut too.
    if (code == SQLITE_OK) code = sqlite3_exec(*db, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) code = readVersion(*db, version);
    if (code == SQLITE_OK && *version < kStoreVersion) code = SQLITE_NOTADB;
    if (code != SQLITE_OK) {
        sqlite3_close(*db);
        *db = nullptr;
    }
    return code;
}

bool canBeOpenedAsImmutable(const std::string& path) {
    struct stat log;
    const bool logged = stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    return !logged && access(folderOf(path).c_str(), W_OK) != 0 && access(path.c_str(), R_OK) == 0;
}

bool canBeWritten(const std::string& path, std::string& image, unsigned char logging) {
    image[kWriteVersion] = image[kReadVersion] = static_cast<char>(logging);
    stampPages(image);
    if (!writeWhole(path, image)) return false;
    sqlite3* db = nullptr;
    int version = 0;
    // A log that can only be read opens well: what counts is that a write can begin.
    const bool opened = openAs(path, false, &db, &version) == SQLITE_OK &&
                        sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return opened;
}

std::string freeName(const std::string& path) {
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char stamp[32];
    strftime(stamp, sizeof stamp, ".damaged-%Y%m%d-%H%M%S", &local);
    std::string name = path + stamp;
    for (int number = 2; exists(name); ++number) name = path + stamp + "-" + std::to_string(number);
    return name;
}

} // namespace

bool createStoreFile(const std::string& path) {
    const std::string folder = folderOf(path);
    if (!makeFolders(folder, true)) return false;
    const FolderLock lock(folder);
    if (exists(path)) return true;
    // One fixed name, used under the lock: what a killed process leaves is overwritten by the next.
    const std::string made = path + ".new";
    std::string image = emptyStore();
    if (image.empty()) return false;
    const bool good =
        (!isNetwork(folder) && canBeWritten(made, image, kWriteAheadLog)) || canBeWritten(made, image, 1);
    // A log beside the new file would be taken for its own.
    for (const char* log : kLogs) unlink((path + log).c_str());
    if (good && rename(made.c_str(), path.c_str()) == 0) return true;
    unlink(made.c_str());
    return false;
}

int openStoreFile(const std::string& path, sqlite3** db, int* version, bool* immutable) {
    *immutable = false;
    const int code = openAs(path, false, db, version);
    if (code == SQLITE_OK || isDamage(code) || !canBeOpenedAsImmutable(path)) return code;
    *immutable = true;
    return openAs(path, true, db, version);
}

std::string columnText(sqlite3_stmt* row, int column) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
    const auto size = static_cast<size_t>(sqlite3_column_bytes(row, column));
    return bytes ? std::string(bytes, size) : std::string();
}

std::optional<std::string> setStoreFileAside(const std::string& path, const struct stat& damaged) {
    const FolderLock lock(folderOf(path));
    struct stat now;
    if (stat(path.c_str(), &now) != 0 || now.st_dev != damaged.st_dev || now.st_ino != damaged.st_ino)
        return std::nullopt;
    const std::string name = freeName(path);
    // The logs go first: beside a new store they would be taken for its own.
    unlink((path + "-shm").c_str());
    for (const char* log : {"-wal", "-journal"}) rename((path + log).c_str(), (name + log).c_str());
    return rename(path.c_str(), name.c_str()) == 0 ? name : std::string();
}

} // namespace qv::registry
