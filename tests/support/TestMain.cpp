#include "tests/support/TestSupport.h"

#include "qvlibs/util/Bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr const char* kHome = "QVLIBS_HOME";
constexpr const char* kChild = "QVLIBS_TEST_CHILD"; // set in the process that runs one test
constexpr const char* kRestarted = "QVLIBS_TEST_RESTARTED";

std::string selfPath() { return fs::read_symlink("/proc/self/exe").string(); }

[[noreturn]] void runAsChild(const std::string& filter, char** argv) {
    std::vector<std::string> words{selfPath()};
    for (char** word = argv + 1; *word; ++word) {
        if (std::strncmp(*word, "--gtest_filter", 14) != 0) words.emplace_back(*word);
    }
    words.push_back("--gtest_filter=" + filter);
    std::vector<char*> raw;
    for (auto& word : words) raw.push_back(word.data());
    raw.push_back(nullptr);
    execv(raw[0], raw.data());
    _exit(127);
}

int runOneTest(const std::string& filter, char** argv) {
    char pattern[] = "/tmp/qvlibs-test-XXXXXX";
    const char* folder = mkdtemp(pattern);
    if (!folder) return 1;
    const pid_t child = fork();
    if (child == 0) {
        setenv(kHome, folder, 1);
        setenv(kChild, "1", 1);
        runAsChild(filter, argv);
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(folder, ignored);
    if (WIFSIGNALED(status)) {
        fprintf(stderr, "%s: killed by signal %d\n", filter.c_str(), WTERMSIG(status));
        return 1;
    }
    return WEXITSTATUS(status);
}

std::vector<std::string> selectedTests(char** argv) {
    std::vector<std::string> command{selfPath()};
    for (char** word = argv + 1; *word; ++word) command.emplace_back(*word);
    command.emplace_back("--gtest_list_tests");
    std::istringstream lines(qv::test::run(command).out);
    std::vector<std::string> tests;
    std::string suite;
    for (std::string line; std::getline(lines, line);) {
        const auto end = line.find("  #");
        if (end != std::string::npos) line.resize(end);
        if (line.starts_with("  "))
            tests.push_back(suite + line.substr(2));
        else if (line.ends_with('.'))
            suite = line;
    }
    return tests;
}

} // namespace

namespace qv::test {

fs::path home() { return std::getenv(kHome); }

fs::path makeFolder(const std::string& name) {
    const fs::path path = home() / name;
    fs::create_directories(path);
    return path;
}

void restartWith(const std::function<void()>& prepare) {
    if (std::getenv(kRestarted)) return;
    prepare();
    setenv(kRestarted, "1", 1);
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    char* none[] = {nullptr, nullptr};
    runAsChild(std::string(info->test_suite_name()) + "." + info->name(), none);
}

std::optional<fs::path> mediaFolder() {
    const char* folder = std::getenv("QVLIBS_TEST_DATA");
    if (!folder || !fs::is_directory(folder)) return std::nullopt;
    return fs::path(folder);
}

fs::path buildFolder() {
    if (const char* folder = std::getenv("QVLIBS_BUILD_DIR")) return folder;
    return fs::path(selfPath()).parent_path().parent_path();
}

bool hasProgram(const std::string& name) {
    std::istringstream folders(std::getenv("PATH") ? std::getenv("PATH") : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((fs::path(folder) / name).c_str(), X_OK) == 0) return true;
    }
    return false;
}

RunResult run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
              int seconds) {
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_RDONLY), 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
        for (const auto& entry : environment) putenv(strdup(entry.c_str()));
        std::vector<char*> words;
        for (const auto& word : command) words.push_back(strdup(word.c_str()));
        words.push_back(nullptr);
        execvp(words[0], words.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    RunResult result;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* texts[2] = {&result.out, &result.err};
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    int open = 2;
    while (open > 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now())
                .count();
        if (left <= 0) {
            kill(child, SIGKILL);
            break;
        }
        if (poll(fds, 2, static_cast<int>(left)) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !fds[i].revents) continue;
            char block[65536];
            const ssize_t got = read(fds[i].fd, block, sizeof block);
            if (got > 0)
                texts[i]->append(block, static_cast<size_t>(got));
            else {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    close(out[0]);
    close(err[0]);
    int status = 0;
    waitpid(child, &status, 0);
    result.exitCode = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

std::string qvProgram() { return buildFolder() / "bin" / "qv"; }

RunResult runQv(std::vector<std::string> words, const std::vector<std::string>& environment) {
    words.insert(words.begin(), qvProgram());
    return run(words, environment);
}

std::string bmpFile(unsigned width, unsigned height) {
    const unsigned row = (width * 3 + 3) / 4 * 4, size = row * height;
    ByteWriter out;
    out.text("BM", 2);
    for (const unsigned word : {54 + size, 0u, 54u, 40u, width, height, 24u << 16 | 1, 0u, size})
        out.u32(word);
    out.zeros(16);
    std::string bytes(out.data().begin(), out.data().end());
    for (unsigned y = 0; y < height; ++y) bytes += std::string(row, static_cast<char>(y * 7));
    return bytes;
}

std::vector<std::vector<std::string>> readTable(const fs::path& path) {
    std::ifstream in(path);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> cells;
        std::istringstream parts(line);
        for (std::string cell; std::getline(parts, cell, '\t');) cells.push_back(cell);
        if (!rows.empty()) cells.resize(rows.front().size());
        rows.push_back(cells);
    }
    return rows;
}

pid_t startChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    return child;
}

int endOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

} // namespace qv::test

// Under the address sanitizer, asking for more than there is answers null as it does elsewhere.
extern "C" __attribute__((used, visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

int main(int argc, char** argv) {
    std::vector<char*> original(argv, argv + argc + 1);
    bool listing = false;
    for (char** word = argv + 1; *word; ++word) listing = listing || std::strstr(*word, "gtest_list_tests");
    testing::InitGoogleMock(&argc, argv);
    if (listing || std::getenv(kChild)) return RUN_ALL_TESTS();
    int failed = 0;
    for (const auto& name : selectedTests(original.data())) failed += runOneTest(name, original.data()) != 0;
    if (failed) fprintf(stderr, "%d tests failed\n", failed);
    return failed ? 1 : 0;
}
