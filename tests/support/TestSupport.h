// What every test program shares: a process and a home of its own for each test, temporary folders, test
// media.
//
// The library reads its settings when it is loaded and keeps some of them for the life of the process, so
// every TEST runs in a process of its own whose QVLIBS_HOME is a fresh empty folder. A test that needs
// settings to be there before the library loads calls restartWith() first.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace qv::test {

// The folder given to this test as QVLIBS_HOME; empty at the start, removed at the end.
std::filesystem::path home();

// A fresh folder inside home().
std::filesystem::path makeFolder(const std::string& name);

// Runs `prepare` and starts the current test again in the same home, once. Returns in the restarted process
// only.
void restartWith(const std::function<void()>& prepare);

// The folder of shared test media, or nothing where QVLIBS_TEST_DATA does not point to one: then skip.
std::optional<std::filesystem::path> mediaFolder();

// The build tree (qv in bin/, the library and its modules in lib/qvlibs/).
std::filesystem::path buildFolder();

// Whether an independent program that a test judges by is installed.
bool hasProgram(const std::string& name);

struct RunResult {
    int exitCode = -1; // 128 + signal when the program was killed by one
    std::string out;
    std::string err;
};
// Runs a program (no shell) and waits; `environment` entries "NAME=value" are added. Killed after `seconds`.
RunResult run(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
              int seconds = 120);

// The program of the build tree, and a run of it.
std::string qvProgram();
RunResult runQv(std::vector<std::string> words, const std::vector<std::string>& environment = {});

// Runs `work` in a forked process; endOf() waits for it and gives what `work` returned, or 128 + signal.
pid_t startChild(const std::function<int()>& work);
int endOf(pid_t child);
inline int inChild(const std::function<int()>& work) { return endOf(startChild(work)); }

// A BMP of 24 bits, each row of one colour.
std::string bmpFile(unsigned width, unsigned height);

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);
// The cells of a table with tabs, its header among the rows; rows that end early have empty cells up to its width.
std::vector<std::vector<std::string>> readTable(const std::filesystem::path& path);

} // namespace qv::test

// Skips the test with a line that says what is missing.
#define QV_NEEDS_MEDIA(variable)                                                                             \
    const auto variable##Folder = qv::test::mediaFolder();                                                   \
    if (!variable##Folder) GTEST_SKIP() << "QVLIBS_TEST_DATA is not set";                                    \
    const std::filesystem::path& variable = *variable##Folder
#define QV_NEEDS_PROGRAM(name)                                                                               \
    if (!qv::test::hasProgram(name)) GTEST_SKIP() << (name) << " is not installed"
