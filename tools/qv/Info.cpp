// qv info: what files are.
#include "tools/qv/Info.h"

#include "qvlibs/classify/SupportChecks.h"
#include "qvlibs/library/Version.h"
#include "tools/qv/Workers.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sstream>

#include <sys/stat.h>

using nlohmann::ordered_json;
namespace fs = std::filesystem;

namespace qv::cli {
namespace {

struct Options {
    std::vector<std::string> files;
};

struct Entry {
    std::string path;
    bool walked;                         // found in a folder, not named by the caller
    std::optional<Description> result{}; // once it is known
};

// What is remembered of a file in the support-check cache until the file changes; by another version of the program it
// is looked at again. Damaged files and media that no module reads are not remembered: modules may come.
class Memory {
public:
    Memory() : name_(std::string("qv info ") + libraryVersion()) {}

    std::optional<Description> recall(const std::string& path, const QVFILESTATUS& status) const {
        CString text;
        if (!recallText(name_.c_str(), status, text)) return std::nullopt;
        auto description = fromText(text.str());
        if (!description) return std::nullopt;
        description->facts["file"] = path; // the same file may be named in many ways, and clocks be put
        description->facts["modified"] = localTime(status.lastWriteTime);
        return description;
    }
    void remember(const QVFILESTATUS& before, const Description& description) const {
        const bool lasting = description.code == Done ||
                             (description.code == NotSupported && description.facts["kind"] == "other");
        if (lasting) rememberText(name_.c_str(), before, toText(description).c_str());
    }

private:
    std::string name_;
};

// The files of a folder and of the folders in it, by name; hidden ones and links to folders are left out.
bool walk(const fs::path& folder, std::vector<Entry>& entries) {
    std::error_code problem;
    std::vector<fs::directory_entry> found;
    for (fs::directory_iterator at(folder, problem), end; !problem && at != end; at.increment(problem))
        found.push_back(*at);
    std::sort(found.begin(), found.end());
    bool whole = !problem;
    for (const auto& entry : found) {
        std::error_code ignored;
        if (interrupted() || entry.path().filename().native().starts_with('.')) continue;
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            whole = walk(entry.path(), entries) && whole;
        } else if (entry.is_regular_file(ignored)) {
            entries.push_back({entry.path().native(), true});
        }
    }
    return whole;
}

// Adds the files that an argument stands for; a code with a line that says why not.
int addFiles(const std::string& path, std::vector<Entry>& entries) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return fileError(path, errno);
    if (S_ISDIR(status.st_mode)) {
        if (walk(path, entries)) return Done;
        return error(Failed, path + ": not every folder in it can be read");
    }
    if (!S_ISREG(status.st_mode)) return error(NotSupported, path + ": is no file but a device or a pipe");
    entries.push_back({path, false});
    return Done;
}

// For a terminal; a text of several lines is indented to stand behind its name.
std::string textOf(const ordered_json& value) {
    if (value.is_string()) {
        std::istringstream lines(value.get<std::string>());
        std::string text;
        for (std::string line; std::getline(lines, line);)
            text += (text.empty() ? "" : "\n" + std::string(13, ' ')) + printable(line);
        return text;
    }
    if (!value.is_object()) return value.dump();
    std::string text;
    for (const auto& [name, part] : value.items()) {
        if (!part.is_null()) text += (text.empty() ? "" : ", ") + name + " " + textOf(part);
    }
    return text;
}

void printFacts(const ordered_json& facts) {
    for (const auto& [name, value] : facts.items()) {
        if (name == "version") continue;
        std::printf("%-12s %s\n", (name + ":").c_str(), textOf(value).c_str());
    }
}

// "720x480, 10.5 s": what tells files of a kind apart.
std::string essence(const ordered_json& facts) {
    if (facts.contains("problem")) return facts["problem"].get<std::string>();
    std::vector<std::string> parts;
    if (facts.contains("width")) parts.push_back(facts["width"].dump() + "x" + facts["height"].dump());
    if (facts.contains("depth")) parts.push_back(facts["depth"].dump() + " bits");
    if (facts["kind"] == "sound") parts.push_back(facts["sound"]["rate"].dump() + " Hz");
    if (facts.contains("seconds")) parts.push_back(facts["seconds"].dump() + " s");
    if (facts.contains("sideFile")) parts.push_back("of " + textOf(facts["sideFile"]["link"]));
    if (parts.empty()) parts.push_back(facts["bytes"].dump() + " bytes");
    std::string text = parts[0];
    for (size_t i = 1; i < parts.size(); ++i) text += ", " + parts[i];
    return text;
}

void printLine(const ordered_json& facts) {
    const std::string lie =
        facts.contains("nameSays") ? "  (its name says " + textOf(facts["nameSays"]) + ")" : std::string();
    std::printf("%-8s %-21s %-28s %s%s\n", textOf(facts["kind"]).c_str(), textOf(facts["format"]).c_str(),
                essence(facts).c_str(), printable(facts["file"].get<std::string>()).c_str(), lie.c_str());
}

// Takes results in any order and gives them out in the order of the entries.
class Report {
public:
    Report(std::vector<Entry>& entries, const Common& common)
        : entries_(entries), common_(common), progress_(common, "info") {}

    void add(size_t place, Description&& description) {
        entries_[place].result = std::move(description);
        ++known_;
        for (; next_ < entries_.size() && entries_[next_].result; ++next_) print(entries_[next_]);
        const auto all = static_cast<double>(entries_.size());
        progress_.show(static_cast<double>(known_) / all,
                       std::to_string(known_) + " of " + std::to_string(entries_.size()) + " files");
    }
    int code() const { return code_; }
    const ordered_json& list() const { return list_; }

private:
    void print(Entry& entry) {
        Description& result = *entry.result;
        const bool ordinary = result.code == Done || (entry.walked && result.code == NotSupported);
        progress_.hide();
        std::fflush(stdout);
        // The line of a file in a folder says it too.
        if (!ordinary && (common_.json || !entry.walked))
            error(static_cast<Exit>(result.code), entry.path + ": " + result.problem);
        if (code_ == Done && !ordinary) code_ = result.code;
        if (common_.json) {
            list_.push_back(std::move(result.facts));
        } else if (entry.walked) {
            printLine(result.facts);
        } else {
            if (&entry != &entries_.front()) std::printf("\n");
            printFacts(result.facts);
        }
        result.facts = nullptr;
    }

    std::vector<Entry>& entries_;
    const Common& common_;
    Progress progress_;
    ordered_json list_ = ordered_json::array();
    size_t known_ = 0, next_ = 0;
    int code_ = Done;
};

int run(const Options& options, const Common& common) {
    int code = Done;
    std::vector<Entry> entries;
    for (const auto& path : options.files) {
        const int one = addFiles(path, entries);
        if (code == Done) code = one;
    }
    const Memory memory;
    Report report(entries, common);
    std::vector<std::string> unknown;
    std::vector<size_t> places;
    std::vector<QVFILESTATUS> before;
    for (size_t i = 0; i < entries.size(); ++i) {
        QVFILESTATUS status;
        QVTLGetStatus(entries[i].path.c_str(), status);
        if (auto known = memory.recall(entries[i].path, status)) {
            report.add(i, std::move(*known));
        } else {
            unknown.push_back(entries[i].path);
            places.push_back(i);
            before.push_back(std::move(status));
        }
    }
    const bool all = describeFiles(unknown, [&](size_t place, Description&& description) {
        memory.remember(before[place], description);
        report.add(places[place], std::move(description));
    });
    if (!all || interrupted()) return Interrupted;
    if (common.json) printJson(report.list());
    return code == Done ? report.code() : code;
}

} // namespace

std::function<int()> setupInfo(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.add_option("FILE", options->files, "Files of any kind, or folders")->required();
    return [options, &common] { return run(*options, common); };
}

} // namespace qv::cli
