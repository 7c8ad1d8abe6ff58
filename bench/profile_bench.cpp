// Reads of the settings beside the same rows read through a prepared statement of SQLite's own, in one
// process and on one file; the environment with full lists; and `qv settings get` as a whole process.
#include "bench/ProcessRow.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/settings/QVENVMGR.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace {

constexpr int kModels = 100, kVendors = 50, kDirectories = 100;

void fill() {
    qv::registry::Transaction all(qv::registry::Transaction::Writing);
    QVWriteProfileInt("Common", "CaptureType", 7, 0);
    QVWriteProfileString("Common", "LastDirName", "/tapes/2005/summer", 0);
    QVWriteProfileInt("Common", "NumOfModel", kModels + 1, 0);
    QVWriteProfileInt("Common", "NumOfVendor", kVendors + 1, 0);
    QVWriteProfileInt("Common", "NumOfDirectory", kDirectories, 0);
    CQVModelInformation model;
    for (int i = 1; i <= kModels; ++i) model.WriteProfile(i, 0, "Model");
    CQVVendorInformation vendor;
    for (int i = 1; i <= kVendors; ++i) vendor.WriteProfile(i, 0);
    CQVDirectoryInformation directory;
    for (int i = 0; i < kDirectories; ++i) directory.WriteProfile(i, 0);
    if (!all.commit()) std::abort();
}

void ownInt(benchmark::State& state) {
    if (QVGetProfileInt("Common", "CaptureType", 0) != 7) return state.SkipWithError("wrong answer");
    for (auto round : state) benchmark::DoNotOptimize(QVGetProfileInt("Common", "CaptureType", 0));
}

void ownString(benchmark::State& state) {
    if (!(QVGetProfileString("Common", "LastDirName", "") == "/tapes/2005/summer"))
        return state.SkipWithError("wrong answer");
    for (auto round : state) benchmark::DoNotOptimize(QVGetProfileString("Common", "LastDirName", ""));
}

void bare(benchmark::State& state, const char* name) {
    sqlite3* db = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_open_v2(qv::registry::storePath().c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                    nullptr);
    sqlite3_prepare_v2(db,
                       "SELECT v.type, v.data FROM keys k JOIN vals v ON v.key = k.id "
                       "WHERE k.hive = ?1 AND k.path = ?2 AND v.name = ?3",
                       -1, &select, nullptr);
    for (auto round : state) {
        sqlite3_bind_int(select, 1, 1);
        sqlite3_bind_text(select, 2, "Software\\Tarvelion\\Lumenhall\\Common", -1, SQLITE_STATIC);
        sqlite3_bind_text(select, 3, name, -1, SQLITE_STATIC);
        if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("no such row");
        benchmark::DoNotOptimize(sqlite3_column_blob(select, 1));
        sqlite3_reset(select);
    }
    sqlite3_finalize(select);
    sqlite3_close(db);
}

void environment(benchmark::State& state) {
    if (CQVEnvironment().m_lstModel.GetCount() != kModels) return state.SkipWithError("wrong answer");
    for (auto round : state) benchmark::DoNotOptimize(CQVEnvironment().m_lstModel.GetCount());
}

BENCHMARK(ownInt)->Name("profile/read-int/own");
BENCHMARK_CAPTURE(bare, number, "CaptureType")->Name("profile/read-int/bare-sqlite");
BENCHMARK(ownString)->Name("profile/read-string/own");
BENCHMARK_CAPTURE(bare, text, "LastDirName")->Name("profile/read-string/bare-sqlite");
BENCHMARK(environment)->Name("environment/construct/100-models")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(processRow, get, {QV_PROGRAM, "settings", "get", "Common", "CaptureType"})
    ->Name("profile/process/qv-settings-get")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

// The library takes its home when it is loaded, so the program starts itself once more with a fresh one.
int main(int argc, char** argv) {
    constexpr const char* kMark = "QVLIBS_BENCH_HOME";
    if (!std::getenv(kMark)) {
        char home[] = "/tmp/qvlibs-bench-XXXXXX";
        if (!mkdtemp(home)) return 1;
        setenv(kMark, home, 1);
        setenv("QVLIBS_HOME", home, 1);
        execv("/proc/self/exe", argv);
        return 1;
    }
    fill();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(std::getenv(kMark));
    return 0;
}
