#include "tools/qv/Workers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qv::cli {
namespace {

constexpr size_t kWorkers = 2;

bool sendAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

// A process that describes files: paths that end in a zero go in, lines of JSON come out.
class Worker {
public:
    Worker() = default;
    ~Worker() { stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    bool give(size_t place, const std::string& path) {
        if (process_ < 0 && !start()) return false;
        place_ = place;
        busy_ = sendAll(link_, std::string_view(path.c_str(), path.size() + 1));
        if (!busy_) stop();
        return busy_;
    }
    bool isBusy() const { return busy_; }
    size_t place() const { return place_; }
    int link() const { return link_; }

    // What has arrived: true when the answer is whole, or the process has ended (`answer` is empty then).
    bool take(std::string& answer) {
        char bytes[1 << 14];
        const ssize_t got = recv(link_, bytes, sizeof bytes, 0);
        if (got < 0 && errno == EINTR) return false;
        if (got > 0) answer_.append(bytes, static_cast<size_t>(got));
        const bool whole = answer_.ends_with('\n');
        if (got > 0 && !whole) return false;
        answer = whole ? std::exchange(answer_, {}) : std::string();
        busy_ = false;
        if (!whole) stop();
        return true;
    }

private:
    bool start() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::string program = "qv", word = kServeDescriptions;
        char* const words[] = {program.data(), word.data(), nullptr};
        const bool started = posix_spawn(&process_, "/proc/self/exe", &actions, nullptr, words, environ) == 0;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        link_ = ends[0];
        if (!started) {
            process_ = -1;
            close(link_);
        }
        return started;
    }
    void stop() {
        if (process_ < 0) return;
        close(link_);
        kill(process_, SIGTERM);
        while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        busy_ = false;
        answer_.clear();
    }

    pid_t process_ = -1;
    int link_ = -1;
    bool busy_ = false;
    size_t place_ = 0;
    std::string answer_;
};

Description lost(const std::string& path) {
    const Content content = contentOf(path);
    constexpr const char* kProblem = "a codec module failed on it";
    Description description{commonFacts(path, content.kind, content), Failed, kProblem};
    description.facts["supported"] = false;
    description.facts["problem"] = kProblem;
    return description;
}

} // namespace

bool describeFiles(std::span<const std::string> paths,
                   const std::function<void(size_t, Description&&)>& ready) {
    if (paths.size() == 1) {
        ready(0, describeFile(paths[0]));
        return true;
    }
    std::array<Worker, kWorkers> workers;
    size_t next = 0, done = 0;
    while (done < paths.size()) {
        for (Worker& worker : workers) {
            if (worker.isBusy() || next == paths.size()) continue;
            // Where no process can be had, this one does the work.
            if (!worker.give(next, paths[next])) ready(next, describeFile(paths[next])), ++done;
            ++next;
        }
        std::array<pollfd, kWorkers> links{};
        for (size_t i = 0; i < kWorkers; ++i)
            links[i] = {workers[i].isBusy() ? workers[i].link() : -1, POLLIN, 0};
        const bool waits =
            std::any_of(workers.begin(), workers.end(), [](const Worker& w) { return w.isBusy(); });
        if (waits) poll(links.data(), links.size(), -1);
        if (interrupted()) return false;
        for (size_t i = 0; i < kWorkers; ++i) {
            std::string answer;
            if (!workers[i].isBusy() || links[i].revents == 0 || !workers[i].take(answer)) continue;
            const size_t place = workers[i].place();
            auto description = fromText(answer);
            ready(place, description ? std::move(*description) : lost(paths[place]));
            ++done;
        }
    }
    return true;
}

void serveDescriptions() {
    std::string path;
    for (int letter; (letter = std::getchar()) != EOF;) {
        if (letter != 0) {
            path += static_cast<char>(letter);
            continue;
        }
        if (!sendAll(STDOUT_FILENO, toText(describeFile(path)) + "\n")) break;
        path.clear();
    }
    _exit(Done); // without the end of the library: the cache is the other process's to save
}

} // namespace qv::cli
