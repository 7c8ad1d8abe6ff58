// Stores of many elements of 64 KB: written, one of them read, replaced, added and removed; beside libgsf, which writes
// files anew, and blobs in an SQLite table. Nobody waits for the disk; all files are in memory. Rows with "open" begin
// with opening the store and end with closing it. In "write-each" every element takes effect by itself.
//
//   compound_bench --benchmark_filter=/5000
#include "qvlibs/platform/CompoundTest.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#ifdef QV_HAVE_GSF
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>
#endif

namespace {

using namespace qv::test;

constexpr size_t kElement = 64 * 1024;

std::string nameOf(std::int64_t number) {
    char name[32];
    std::snprintf(name, sizeof name, "element%05d", static_cast<int>(number));
    return name;
}

const std::vector<std::string>& variants() {
    static const auto* kVariants = new std::vector<std::string>([] {
        std::vector<std::string> all;
        for (unsigned i = 0; i < 16; ++i) all.push_back(pattern(kElement, i));
        return all;
    }());
    return *kVariants;
}
const std::string& bytesOf(std::int64_t number) { return variants()[static_cast<size_t>(number) % 16]; }
bool isElement(const std::string& bytes) {
    return std::find(variants().begin(), variants().end(), bytes) != variants().end();
}

// A store that is open; closed by its destructor.
class Store {
public:
    virtual ~Store() = default;
    virtual bool put(const std::string& name, const std::string& bytes) = 0;
    virtual std::string get(const std::string& name) = 0;
    virtual bool remove(const std::string& name) = 0;
};

struct Engine {
    const char* name;
    std::function<std::unique_ptr<Store>(const std::string& path, bool writes)> open;
    // A new file; null where there is only one way.
    std::function<void(const std::string&path, std::int64_t count)> writeEach, writeBulk;
    bool changes; // in place
};

// ---- this library

class OwnStore : public Store {
public:
    explicit OwnStore(Storage root) : root_(std::move(root)) {}
    bool put(const std::string& name, const std::string& bytes) override {
        return writeStream(root_.get(), name, bytes) >= 0;
    }
    std::string get(const std::string& name) override { return readStream(root_.get(), name); }
    bool remove(const std::string& name) override { return root_->DestroyElement(name.c_str()) >= 0; }
    void commit() { root_->Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE); }

private:
    Storage root_;
};

Engine own(const char* name, ULONG sectorSize) {
    const auto write = [sectorSize](const std::string& path, std::int64_t count, DWORD flags) {
        OwnStore store(createFile(path, sectorSize, flags));
        for (std::int64_t i = 0; i < count; ++i) store.put(nameOf(i), bytesOf(i));
        store.commit();
    };
    return {name,
            [](const std::string& path, bool writes) {
                return std::make_unique<OwnStore>(
                    openFile(path, writes ? kReadWrite : STGM_READ | STGM_SHARE_DENY_WRITE));
            },
            [write](const std::string& path, std::int64_t count) { write(path, count, 0); },
            [write](const std::string& path, std::int64_t count) { write(path, count, STGM_TRANSACTED); },
            true};
}

// ---- blobs in an SQLite table

class SqliteStore : public Store {
public:
    explicit SqliteStore(const std::string& path) {
        sqlite3_open(path.c_str(), &database_);
        run("PRAGMA synchronous=OFF");
    }
    ~SqliteStore() override { sqlite3_close(database_); }
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    void run(const char* text) { sqlite3_exec(database_, text, nullptr, nullptr, nullptr); }
    bool put(const std::string& name, const std::string& bytes) override {
        return step("INSERT OR REPLACE INTO elements VALUES(?,?)", name, &bytes) == SQLITE_DONE;
    }
    std::string get(const std::string& name) override {
        std::string bytes;
        step("SELECT data FROM elements WHERE name=?", name, nullptr, &bytes);
        return bytes;
    }
    bool remove(const std::string& name) override {
        return step("DELETE FROM elements WHERE name=?", name) == SQLITE_DONE;
    }

private:
    int step(const char* text, const std::string& name, const std::string* in = nullptr,
             std::string* out = nullptr) {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database_, text, -1, &statement, nullptr);
        sqlite3_bind_text(statement, 1, name.c_str(), -1, SQLITE_STATIC);
        if (in) sqlite3_bind_blob(statement, 2, in->data(), static_cast<int>(in->size()), SQLITE_STATIC);
        const int result = sqlite3_step(statement);
        if (out && result == SQLITE_ROW)
            out->assign(static_cast<const char*>(sqlite3_column_blob(statement, 0)),
                        static_cast<size_t>(sqlite3_column_bytes(statement, 0)));
        sqlite3_finalize(statement);
        return result;
    }
    sqlite3* database_ = nullptr;
};

Engine sqlite() {
    const auto write = [](const std::string& path, std::int64_t count, bool bulk) {
        SqliteStore store(path);
        store.run("CREATE TABLE elements(name TEXT PRIMARY KEY, data BLOB)");
        if (bulk) store.run("BEGIN");
        for (std::int64_t i = 0; i < count; ++i) store.put(nameOf(i), bytesOf(i));
        if (bulk) store.run("COMMIT");
    };
    return {"sqlite", [](const std::string& path, bool) { return std::make_unique<SqliteStore>(path); },
            [write](const std::string& path, std::int64_t count) { write(path, count, false); },
            [write](const std::string& path, std::int64_t count) { write(path, count, true); }, true};
}

// ---- libgsf

#ifdef QV_HAVE_GSF
struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Unref>;

class GsfWriter {
public:
    explicit GsfWriter(const std::string& path)
        : file_(gsf_output_stdio_new(path.c_str(), nullptr)), store_(gsf_outfile_msole_new(file_.get())) {}
    ~GsfWriter() { gsf_output_close(GSF_OUTPUT(store_.get())); }
    GsfWriter(const GsfWriter&) = delete;
    GsfWriter& operator=(const GsfWriter&) = delete;
    void put(const std::string& name, const guint8* bytes, size_t count) {
        const Owned<GsfOutput> element(gsf_outfile_new_child(store_.get(), name.c_str(), FALSE));
        gsf_output_write(element.get(), count, bytes);
        gsf_output_close(element.get());
    }

private:
    Owned<GsfOutput> file_;
    Owned<GsfOutfile> store_;
};

class GsfStore : public Store {
public:
    explicit GsfStore(const std::string& path)
        : path_(path), file_(gsf_input_stdio_new(path.c_str(), nullptr)),
          store_(gsf_infile_msole_new(file_.get(), nullptr)) {}
    std::string get(const std::string& name) override {
        const Owned<GsfInput> element(gsf_infile_child_by_name(store_.get(), name.c_str()));
        if (!element) return "";
        const auto size = static_cast<size_t>(gsf_input_size(element.get()));
        const guint8* bytes = gsf_input_read(element.get(), size, nullptr);
        return bytes ? std::string(reinterpret_cast<const char*>(bytes), size) : "";
    }
    // There is no changing: every element goes into a new file.
    bool put(const std::string& name, const std::string& bytes) override {
        {
            GsfWriter writer(path_ + ".new");
            for (int i = 0; i < gsf_infile_num_children(store_.get()); ++i) {
                const Owned<GsfInput> source(gsf_infile_child_by_index(store_.get(), i));
                const auto size = static_cast<size_t>(gsf_input_size(source.get()));
                const std::string own = gsf_infile_name_by_index(store_.get(), i);
                if (own != name) writer.put(own, gsf_input_read(source.get(), size, nullptr), size);
            }
            writer.put(name, reinterpret_cast<const guint8*>(bytes.data()), bytes.size());
        }
        std::filesystem::rename(path_ + ".new", path_);
        return true;
    }
    bool remove(const std::string&) override { return false; }

private:
    std::string path_;
    Owned<GsfInput> file_;
    Owned<GsfInfile> store_;
};

Engine libgsf() {
    return {"libgsf", [](const std::string& path, bool) { return std::make_unique<GsfStore>(path); }, nullptr,
            [](const std::string& path, std::int64_t count) {
                GsfWriter writer(path);
                for (std::int64_t i = 0; i < count; ++i)
                    writer.put(nameOf(i), reinterpret_cast<const guint8*>(bytesOf(i).data()), kElement);
            },
            false};
}
#endif

// ---- the rows

// The stores that the rows of one engine and number of elements work on.
class Files {
public:
    Files() {
        std::string name = (std::filesystem::temp_directory_path() / "compound_bench_XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~Files() { std::filesystem::remove_all(folder_); }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;
    // Written once.
    std::string store(const Engine& engine, std::int64_t count) {
        const std::string wanted = engine.name + std::to_string(count);
        if (wanted != kept_) {
            std::filesystem::remove(path("store"));
            engine.writeBulk(path("store"), count);
            kept_ = wanted;
        }
        return path("store");
    }
    std::string path(const char* name) const { return (folder_ / name).string(); }

private:
    std::filesystem::path folder_;
    std::string kept_;
};

void writeRow(benchmark::State& state, Files& files, const Engine& engine, std::int64_t count, bool bulk) {
    const std::string path = files.path("written");
    const auto& write = bulk ? engine.writeBulk : engine.writeEach;
    for (auto round : state) {
        state.PauseTiming();
        std::filesystem::remove(path);
        state.ResumeTiming();
        write(path, count);
    }
    for (const std::int64_t number : {std::int64_t{0}, count / 2, count - 1}) {
        if (engine.open(path, false)->get(nameOf(number)) != bytesOf(number))
            state.SkipWithError("wrong bytes");
    }
    std::filesystem::remove(path);
    state.SetBytesProcessed(state.iterations() * count * static_cast<std::int64_t>(kElement));
}

void readRow(benchmark::State& state, Files& files, const Engine& engine, std::int64_t count) {
    const std::string path = files.store(engine, count);
    std::int64_t number = 0;
    size_t bytes = 0;
    for (auto round : state) {
        number = (number + 7919) % count;
        bytes += engine.open(path, false)->get(nameOf(number)).size();
    }
    if (bytes != static_cast<size_t>(state.iterations()) * kElement ||
        !isElement(engine.open(path, false)->get(nameOf(number))))
        state.SkipWithError("wrong bytes");
}

// Another content for an element, in a store that is opened each time, or stays open.
void replaceRow(benchmark::State& state, Files& files, const Engine& engine, std::int64_t count, bool stays) {
    const std::string path = files.store(engine, count);
    auto store = stays ? engine.open(path, true) : nullptr;
    std::int64_t number = 0, change = 0;
    bool good = true;
    for (auto round : state) {
        number = (number + 7919) % count;
        ++change;
        if (stays)
            good = store->put(nameOf(number), bytesOf(change)) && good;
        else
            good = engine.open(path, true)->put(nameOf(number), bytesOf(change)) && good;
    }
    store.reset();
    if (!good || engine.open(path, false)->get(nameOf(number)) != bytesOf(change))
        state.SkipWithError("wrong bytes");
}

// A new element, and gone again, each with the store opened for it.
void addRemoveRow(benchmark::State& state, Files& files, const Engine& engine, std::int64_t count) {
    const std::string path = files.store(engine, count);
    bool good = true;
    std::int64_t number = 0;
    for (auto round : state) {
        const std::string name = nameOf(50000 + number++ % 50000);
        good = engine.open(path, true)->put(name, bytesOf(number)) && good;
        good = engine.open(path, true)->remove(name) && good;
    }
    if (!good) state.SkipWithError("failed");
}

void addRows(Files& files, const Engine& engine) {
    for (const int count : {100, 1000, 5000, 10000}) {
        const auto add = [&, count](const char* what, auto row) {
            const std::string name =
                std::string("storage/") + what + "/" + std::to_string(count) + "/" + engine.name;
            return benchmark::RegisterBenchmark(name.c_str(), row)->Unit(benchmark::kMicrosecond);
        };
        const int writes = count <= 1000 ? 3 : 1;
        if (engine.writeEach)
            add("write-each", [&, count](benchmark::State& state) {
                writeRow(state, files, engine, count, false);
            })->Iterations(writes);
        add("write-bulk", [&, count](benchmark::State& state) {
            writeRow(state, files, engine, count, true);
        })->Iterations(writes);
        auto* read = add("open-read-one",
                         [&, count](benchmark::State& state) { readRow(state, files, engine, count); });
        auto* replace = add("open-replace-one", [&, count](benchmark::State& state) {
            replaceRow(state, files, engine, count, false);
        });
        if (!engine.changes) {
            read->Iterations(3);
            replace->Iterations(1);
            continue;
        }
        add("replace-one",
            [&, count](benchmark::State& state) { replaceRow(state, files, engine, count, true); });
        add("open-add-open-remove-one",
            [&, count](benchmark::State& state) { addRemoveRow(state, files, engine, count); });
    }
}

} // namespace

int main(int argc, char** argv) {
    Files files;
    std::vector<Engine> engines{own("own", 512), own("own-4096", 4096), sqlite()};
#ifdef QV_HAVE_GSF
    gsf_init();
    engines.push_back(libgsf());
#endif
    for (const Engine& engine : engines) addRows(files, engine);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
