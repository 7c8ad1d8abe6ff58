// What is known about files: the support cache with up to 100,000 elements beside the same rows in SQLite, and
// `qv info` as a whole process on a DV AVI beside ffprobe and mediainfo.
#include "bench/ProcessRow.h"
#include "qvlibs/classify/SupportCache.h"
#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/util/FileIdentity.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <sys/inotify.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kMany = 100000;
constexpr const char* kCheck = "QVTLCheckSupportPicture";

fs::path folder() {
    static const auto* const made = [] {
        char name[] = "/tmp/classify_bench.XXXXXX";
        auto* path = new fs::path(mkdtemp(name));
        std::atexit([] { fs::remove_all(folder()); });
        return path;
    }();
    return *made;
}

qv::SupportElement element(int number) {
    qv::SupportElement made;
    made.identity.fullPath = ("/home/somebody/Videos/2005/tape " + std::to_string(number) + ".avi").c_str();
    made.identity.lastWriteTime = 1135426496 + number;
    made.identity.sizeLow = 126608 * 100;
    made.result = 1;
    made.longText = "AVI 720x480";
    return made;
}

std::vector<qv::SupportElement> elements(int count) {
    std::vector<qv::SupportElement> all;
    for (int i = 0; i < count; ++i) all.push_back(element(i));
    std::shuffle(all.begin(), all.end(), std::mt19937(1));
    return all;
}

// ---- The cache file

std::string cacheFile() {
    static const auto* const made = [] {
        auto* path = new std::string(folder() / "cache");
        qv::SupportCache cache;
        for (auto& one : elements(kMany)) cache.insert(kCheck, std::move(one));
        cache.save(*path);
        return path;
    }();
    return *made;
}

void load(benchmark::State& state) {
    const std::string path = cacheFile();
    for (auto round : state) {
        qv::SupportCache cache;
        cache.open(path);
        if (cache.size() != kMany) return state.SkipWithError("elements are missing");
        state.PauseTiming();
        cache.clear();
        state.ResumeTiming();
    }
}

std::string database() {
    static const auto* const made = [] {
        auto* path = new std::string(folder() / "peer.db");
        sqlite3* db = nullptr;
        sqlite3_open(path->c_str(), &db);
        sqlite3_exec(db,
                     "create table t(path text, time int, size int, result int, text text, primary key(path, "
                     "time, size)) without rowid; begin",
                     nullptr, nullptr, nullptr);
        sqlite3_stmt* row = nullptr;
        sqlite3_prepare_v2(db, "insert into t values(?,?,?,?,?)", -1, &row, nullptr);
        for (const auto& one : elements(kMany)) {
            sqlite3_bind_text(row, 1, one.identity.fullPath.GetString(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int(row, 2, one.identity.lastWriteTime);
            sqlite3_bind_int64(row, 3, one.identity.sizeLow);
            sqlite3_bind_int(row, 4, one.result);
            sqlite3_bind_text(row, 5, one.longText.GetString(), -1, SQLITE_TRANSIENT);
            sqlite3_step(row);
            sqlite3_reset(row);
        }
        sqlite3_finalize(row);
        sqlite3_exec(db, "commit", nullptr, nullptr, nullptr);
        sqlite3_close(db);
        return path;
    }();
    return *made;
}

void loadSqlite(benchmark::State& state) {
    const std::string path = database();
    for (auto round : state) {
        sqlite3* db = nullptr;
        sqlite3_open(path.c_str(), &db);
        sqlite3_stmt* row = nullptr;
        sqlite3_prepare_v2(db, "select * from t", -1, &row, nullptr);
        std::vector<std::pair<std::string, std::string>> all;
        while (sqlite3_step(row) == SQLITE_ROW)
            all.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(row, 0)),
                             reinterpret_cast<const char*>(sqlite3_column_text(row, 4)));
        sqlite3_finalize(row);
        sqlite3_close(db);
        if (all.size() != kMany) return state.SkipWithError("rows are missing");
    }
}

// ---- A check that hits

// The number of times that the file is opened while `work` runs.
template <class Work>
int opensDuring(const std::string& path, Work work) {
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    inotify_add_watch(watch, path.c_str(), IN_OPEN);
    work();
    alignas(inotify_event) char events[4096];
    const ssize_t got = read(watch, events, sizeof events);
    close(watch);
    return got > 0 ? static_cast<int>(got / static_cast<ssize_t>(sizeof(inotify_event))) : 0;
}

void hit(benchmark::State& state) {
    const std::string path = folder() / "picture.png";
    std::fclose(std::fopen(path.c_str(), "w"));
    auto& cache = qv::supportCache();
    cache.clear();
    for (auto& one : elements(static_cast<int>(state.range(0)))) cache.insert(kCheck, std::move(one));
    qv::SupportElement known;
    QVTLGetStatus(path.c_str(), known.identity);
    known.result = 7;
    cache.insert(kCheck, std::move(known));
    int result = 0;
    const int opens = opensDuring(path, [&] { result = QVTLCheckSupportPicture(path.c_str()); });
    if (result != 7 || opens != 0) return state.SkipWithError("the file was looked into");
    for (auto round : state) benchmark::DoNotOptimize(QVTLCheckSupportPicture(path.c_str()));
}

void hitSqlite(benchmark::State& state) {
    sqlite3* db = nullptr;
    sqlite3_open(database().c_str(), &db);
    sqlite3_stmt* row = nullptr;
    sqlite3_prepare_v2(db, "select result from t where path=? and time=? and size=?", -1, &row, nullptr);
    const auto one = element(4711);
    for (auto round : state) {
        sqlite3_bind_text(row, 1, one.identity.fullPath.GetString(), -1, SQLITE_STATIC);
        sqlite3_bind_int(row, 2, one.identity.lastWriteTime);
        sqlite3_bind_int64(row, 3, one.identity.sizeLow);
        if (sqlite3_step(row) != SQLITE_ROW) return state.SkipWithError("the row is missing");
        sqlite3_reset(row);
    }
    sqlite3_finalize(row);
    sqlite3_close(db);
}

// ---- Growing

void insert(benchmark::State& state) {
    const auto all = elements(static_cast<int>(state.range(0)));
    for (auto round : state) {
        state.PauseTiming();
        auto copies = all;
        qv::SupportCache cache;
        state.ResumeTiming();
        for (auto& one : copies) cache.insert(kCheck, std::move(one));
        state.PauseTiming();
        if (cache.size() != all.size()) return state.SkipWithError("elements are missing");
        cache.clear();
        copies.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// ---- Whole processes

// A second of DV with sound.
std::string tape() {
    static const auto* const made = [] {
        auto* path = new std::string(folder() / "tape.avi");
        const std::string command = "ffmpeg -v error -f lavfi -i testsrc=s=720x480:r=30000/1001 -f lavfi -i "
                                    "sine=r=48000 -ac 2 -c:a pcm_s16le -t 1 -c:v dvvideo -pix_fmt yuv411p " +
                                    *path;
        if (std::system(command.c_str()) != 0) path->clear();
        return path;
    }();
    return *made;
}

void onTape(benchmark::State& state, std::vector<std::string> words) {
    words.push_back(tape());
    if (words.back().empty()) return state.SkipWithError("ffmpeg makes no DV");
    processRow(state, std::move(words));
}

BENCHMARK(load)->Name("classify/cache-load/100000")->Unit(benchmark::kMillisecond);
BENCHMARK(loadSqlite)->Name("classify/cache-load/100000/sqlite")->Unit(benchmark::kMillisecond);
BENCHMARK(hit)->Name("classify/cache-hit")->Arg(1000)->Arg(kMany)->Unit(benchmark::kMicrosecond);
BENCHMARK(hitSqlite)->Name("classify/cache-hit/100000/sqlite-alone")->Unit(benchmark::kMicrosecond);
BENCHMARK(insert)
    ->Name("classify/cache-insert")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(kMany)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(onTape, qv, {QV_PROGRAM, "info", "--json"})
    ->Name("classify/process/dv-avi/qv-info")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(onTape, ffprobe, {"ffprobe", "-v", "error", "-show_format", "-show_streams"})
    ->Name("classify/process/dv-avi/ffprobe")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(onTape, mediainfo, {"mediainfo"})
    ->Name("classify/process/dv-avi/mediainfo")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    setenv("QVLIBS_HOME", folder().c_str(), 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
