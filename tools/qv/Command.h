// What the commands of qv share: the table row, exit codes, messages, progress, JSON output.
//
// Results go to standard output; messages and progress go to standard error. A command is one source file
// with one setup function, named in the table of Main.cpp:
//
//   std::function<int()> setupThing(CLI::App& app, const qv::cli::Common& common) {
//       auto options = std::make_shared<Options>();          // lives as long as the returned function
//       app.add_option("FILE", options->file, "...")->required();
//       return [options, &common] { return run(*options, common); };
//   }
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace qv::cli {

enum Exit : int {
    Done = 0,
    Failed = 1,
    Usage = 2,
    NotFound = 3,
    NotSupported = 4,
    Damaged = 5,
    Interrupted = 130
};

// The options that every command takes. Valid while the command runs.
struct Common {
    bool json = false;  // print the result as JSON
    bool quiet = false; // no messages and no progress; errors are still printed
};

struct Command {
    const char* name;
    const char* summary;  // one line of `qv --help`
    const char* examples; // three of them, each with what it gives; shown at the end of the command's help
    // Adds the options; the returned function runs the command and gives the exit code.
    std::function<int()> (*setup)(CLI::App& app, const Common& common);
};

// The text with control characters as \xNN: names in files may hold any, and no terminal must obey them.
std::string printable(const std::string& text);
// Prints "qv: <text>" on standard error and returns the code, so that a command can `return error(...)`.
// The text is made printable.
int error(Exit code, const std::string& text);
// The same for a file and the errno of what failed on it: NotFound where there is no such file, else Failed.
int fileError(const std::string& path, int reason);
Exit exitFor(int reason);
// The same for what a person may want to know but no script needs: not with --quiet.
void message(const Common& common, const std::string& text);

std::string localTime(std::int64_t seconds); // "2005-12-24 12:34:56"
// One document, indented, with a line end. Bytes that are no UTF-8 are replaced.
void printJson(const nlohmann::ordered_json& document);
// A file with these bytes, whole or not at all. Done, or says in one line why not.
int writeFile(const std::string& path, const std::string& bytes);

// A line on the terminal that shows how far a long command is; nothing with --quiet or where standard error
// is no terminal. The line is erased at the end.
class Progress {
public:
    Progress(const Common& common, std::string what);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    // `share` is 0..1, or below 0 when the end is not known; `detail` stands behind it, and the time left before it.
    // Cheap to call often.
    void show(double share, const std::string& detail = {});
    // Erases the line before something else is printed; the next show() draws it again.
    void hide();

private:
    std::string what_;
    bool shown_;
    bool drawn_ = false;
    long long began_;    // milliseconds
    long long last_ = 0; // ... of the last drawing
};

// From the first call on, Ctrl-C, a request to end and the end of the terminal do not end the process but make this
// true; the command then stops, leaves nothing half-written and returns Interrupted, which the program says. The same
// signal again ends the process.
bool interrupted();

// The commands, one file each; the table is in Main.cpp.
std::function<int()> setupCache(CLI::App& app, const Common& common);
std::function<int()> setupEstimate(CLI::App& app, const Common& common);
std::function<int()> setupMovie(CLI::App& app, const Common& common);
std::function<int()> setupMtv(CLI::App& app, const Common& common);
std::function<int()> setupInfo(CLI::App& app, const Common& common);
std::function<int()> setupSheet(CLI::App& app, const Common& common);
std::function<int()> setupDvlog(CLI::App& app, const Common& common);
std::function<int()> setupDesktop(CLI::App& app, const Common& common);
std::function<int()> setupThumb(CLI::App& app, const Common& common);
std::function<int()> setupConvert(CLI::App& app, const Common& common);
std::function<int()> setupPlugins(CLI::App& app, const Common& common);
std::function<int()> setupSettings(CLI::App& app, const Common& common);
std::function<int()> setupStg(CLI::App& app, const Common& common);
std::function<int()> setupTc(CLI::App& app, const Common& common);

} // namespace qv::cli
