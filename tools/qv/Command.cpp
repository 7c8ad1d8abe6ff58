#include "tools/qv/Command.h"

#include "qvlibs/util/AtomicFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <unistd.h>

namespace qv::cli {

namespace {

volatile std::sig_atomic_t stopped = 0;

void stop(int) { stopped = 1; }

long long milliseconds() {
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// "1:05 left ", once enough is done to tell.
std::string timeLeft(double share, long long elapsed) {
    constexpr long long kEnough = 2000; // milliseconds
    if (elapsed < kEnough || share < 0.01 || share >= 1) return {};
    const auto seconds = static_cast<long long>(static_cast<double>(elapsed) * (1 - share) / share / 1000);
    char text[40];
    std::snprintf(text, sizeof text, "%lld:%02lld left ", seconds / 60, seconds % 60);
    return text;
}

} // namespace

std::string printable(const std::string& text) {
    std::string shown;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7F) {
            shown += character;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", byte);
            shown += code;
        }
    }
    return shown;
}

int error(Exit code, const std::string& text) {
    std::fprintf(stderr, "qv: %s\n", printable(text).c_str());
    return code;
}

Exit exitFor(int reason) { return reason == ENOENT || reason == ENOTDIR ? NotFound : Failed; }

int fileError(const std::string& path, int reason) {
    return error(exitFor(reason), path + ": " + std::strerror(reason));
}

void message(const Common& common, const std::string& text) {
    if (!common.quiet) std::fprintf(stderr, "qv: %s\n", printable(text).c_str());
}

std::string localTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    char text[40] = "";
    if (localtime_r(&time, &parts)) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

void printJson(const nlohmann::ordered_json& document) {
    const auto text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::printf("%s\n", text.c_str());
}

int writeFile(const std::string& path, const std::string& bytes) {
    AtomicFile file(path);
    if (file.isOpen() && file.write(bytes.data(), bytes.size()) && file.commit()) return Done;
    return error(Failed, path + ": " + std::strerror(file.error()));
}

Progress::Progress(const Common& common, std::string what)
    : what_(std::move(what)), shown_(!common.quiet && isatty(STDERR_FILENO) == 1), began_(milliseconds()) {}

Progress::~Progress() { hide(); }

void Progress::hide() {
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

void Progress::show(double share, const std::string& detail) {
    if (!shown_) return;
    const long long now = milliseconds();
    if (now - last_ < 100) return;
    last_ = now;
    drawn_ = true;
    std::string bar;
    if (share >= 0) {
        constexpr size_t kWidth = 24;
        share = std::min(share, 1.0);
        const auto full = static_cast<size_t>(share * kWidth);
        bar = std::string(kWidth, '.').replace(0, full, full, '#');
        bar = "[" + bar + "] " + std::to_string(static_cast<int>(share * 100)) + "% " +
              timeLeft(share, now - began_);
    }
    std::fprintf(stderr, "\r\033[K%s %s%s", printable(what_).c_str(), bar.c_str(), printable(detail).c_str());
    std::fflush(stderr);
}

bool interrupted() {
    static const bool armed = [] {
        struct sigaction action {
        }, before{};
        action.sa_handler = stop;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaction(signal, &action, &before);
            // A program that shall outlive its terminal has been started so.
            if (signal == SIGHUP && before.sa_handler == SIG_IGN) sigaction(signal, &before, nullptr);
        }
        return true;
    }();
    return armed && stopped;
}

} // namespace qv::cli
