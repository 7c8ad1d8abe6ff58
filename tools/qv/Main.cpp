// The program: picks the command, prints help, turns what went wrong into an exit code.
#include "tools/qv/Command.h"

#include "qvlibs/library/Version.h"
#include "tools/qv/Shell.h"
#include "tools/qv/Workers.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

using qv::cli::Command;

constexpr Command kCommands[] = {
    {"cache", "the cache of what is known about files",
     "  qv cache show           where it is, and how many files each check knows\n"
     "  qv cache show --json    the same as JSON\n"
     "  qv cache clear          forgets everything, when the setting MainApplication names qv",
     qv::cli::setupCache},
    {"estimate", "what fits on a drive, how large an output becomes",
     "  qv estimate space dv /video               how long a DV capture may become there\n"
     "  qv estimate space mpeg2 --rate 8000       MPEG-2 at 8000 kbit/s in this folder\n"
     "  qv estimate size dv --length 01:00:00:00  an hour of DV AVI in megabytes",
     qv::cli::setupEstimate},
    {"movie", "pictures as a DV movie",
     "  qv movie -o holiday.avi *.jpg                           five seconds of each, in the order given\n"
     "  qv movie -o show.avi a.jpg b.png --seconds 2.5 --fit fill --wide   16:9 without bars, cropped\n"
     "  qv movie -o tape.avi *.jpg --system pal --json          which picture is where, with labels and "
     "dates",
     qv::cli::setupMovie},
    {"mtv", "side files of MPEG-2 recordings",
     "  qv mtv show clip.mpg                              what the recording's side file says\n"
     "  qv mtv make clip.mpg --row 0 --date 2005-12-24    makes one by a row of the vendor table\n"
     "  qv mtv link old.mtv renamed.mpg                   links it to the renamed recording",
     qv::cli::setupMtv},
    {"thumb", "one frame of a movie or a title as a picture",
     "  qv thumb tape.avi -o first.bmp                     the first frame, in square pixels\n"
     "  qv thumb tape.avi -o t.bmp --frame 100 --size 180x120   frame 100 as a 4:3 picture of 180 x 120\n"
     "  qv thumb show.mpg -o wide.png --at 00:01:00:00 --size 320x180 --fit fill   one minute in, cropped\n"
     "  qv thumb hello.tte -o hello.png --frame 30             a title as it stands on its frame 30",
     qv::cli::setupThumb},
    {"sheet", "a page of small pictures out of a movie or a title",
     "  qv sheet tape.avi -o tape.png                          5 x 5 tiles with timecode and recording date\n"
     "  qv sheet show.mpg -o show.jpg --columns 8 --rows 4     32 tiles\n"
     "  qv sheet tape.avi -o big.bmp --tile 360x240 --json     larger ones, and which frames they are",
     qv::cli::setupSheet},
    {"info", "what files are",
     "  qv info tape.avi            codec, size, shape, rate, length, sound, first timecode and date\n"
     "  qv info --json *.mpg        the same of many files as one JSON list\n"
     "  qv info Pictures            a line for each file in the folder; files with the wrong name are "
     "marked\n"
     "With `qv settings set Common MainApplication qv` what was found is kept, and files that have not "
     "changed are\n"
     "not opened again.",
     qv::cli::setupInfo},
    {"dvlog", "what is on a tape, when it was filmed, where scenes begin and why",
     "  qv dvlog tape.dv                           a table of scenes with date, timecode and reason\n"
     "  qv dvlog tape.avi --split parts            each scene as a file, 2005-12-24_12-34-56_part001.dv ...\n"
     "  qv dvlog tape.dv --format srt > tape.srt   the recording date as subtitles, a new one each second\n"
     "  ffmpeg -i tape.mov -c copy -f dv - | qv dvlog - --json    from a pipe",
     qv::cli::setupDvlog},
    {"convert", "a picture into another: cut, turned, resized, cleaned up",
     "  qv convert in.bmp out.bmp --size 720x480 --to-type 1   a still for a 4:3 tape, with bars where "
     "needed\n"
     "  qv convert in.bmp out.bmp --still 1 --rotate 90        one field of a captured frame, turned "
     "clockwise\n"
     "  qv convert in.bmp in.bmp --trim 0,60,719,419 --gray    the picture of a letterbox frame, in gray",
     qv::cli::setupConvert},
    {"desktop", "small pictures for file managers, kept where the desktop keeps them",
     "  qv desktop tapes/*.avi                  makes those that are missing or out of date\n"
     "  qv desktop IMG_0815.jpg --size 512 --json   says where the picture lies\n"
     "  qv desktop tape.dv -o small.png         writes the picture here",
     qv::cli::setupDesktop},
    {"plugins", "the codec modules, and who takes a file",
     "  qv plugins                   every module with its kind, extensions and number of functions\n"
     "  qv plugins list --json       the same with the names of the functions\n"
     "  qv plugins check song.wma    which module reads it: \"sounds  sound_other.acp\"",
     qv::cli::setupPlugins},
    {"tc", "timecodes to frames and back, sums, differences",
     "  qv tc frames 00:01:00:02 --mode df     1800: two labels are skipped at the minute\n"
     "  qv tc label 17982 --mode df            00:10:00:00\n"
     "  qv tc diff 10:00:00:00 09:59:58:12     48 (30 frames a second, or 25 on a PAL system)",
     qv::cli::setupTc},
    {"settings", "the settings: look, change, carry over, check",
     "  qv settings set Common LiveFeedFPS 25          stores a number; get prints it again\n"
     "  qv settings list Common                        what is stored of the common settings\n"
     "  qv settings export -o mine.txt                 all of them as text; qv settings import mine.txt",
     qv::cli::setupSettings},
    {"stg", "pictures in compound files, and what else such files hold",
     "  qv stg put thumbs.stg clip0001 first.bmp --media tape.avi   stores a picture that stands for a tape\n"
     "  qv stg list thumbs.stg                                      each element with sizes and times\n"
     "  qv stg get thumbs.stg clip0001 out.png                      takes the picture out again\n"
     "  qv stg check report.doc                                     says what is wrong: exit code 5",
     qv::cli::setupStg},
};

// Words that shells and the build use; no help lists them.
constexpr const char* kComplete = "complete"; // qv complete -- WORD...
constexpr const char* kManual = "--manual";

// The part of the program that may throw: a broken option table is our own mistake, but a command may run out
// of memory.
int runCommands(int argc, char** argv) {
    if (argc > 2 && std::strcmp(argv[1], kComplete) == 0)
        return qv::cli::complete(kCommands, {argv + 3, argv + argc});
    if (argc == 2 && std::strcmp(argv[1], qv::cli::kServeDescriptions) == 0) qv::cli::serveDescriptions();
    if (argc == 2 && std::strcmp(argv[1], kManual) == 0) return qv::cli::printManual(kCommands);
    CLI::App app("Home-video tools: tapes, thumbnails, timecodes, pictures and settings.", "qv");
    app.set_version_flag("--version", std::string("qv ") + qv::libraryVersion());
    app.require_subcommand(1);
    app.footer("`qv COMMAND --help` tells what a command does, with examples.\n"
               "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 not found, 4 not supported, 5 damaged input, "
               "130 interrupted.");

    qv::cli::Common common;
    const Command* chosen = nullptr;
    std::function<int()> run;
    for (const Command& command : kCommands) {
        if (argc < 2 || std::strcmp(argv[1], command.name) != 0) {
            app.add_subcommand(command.name, command.summary);
            continue;
        }
        // Only the command that is asked for pays for its options.
        CLI::App* sub = app.add_subcommand(command.name, command.summary);
        sub->add_flag("--json", common.json, "Print the result as JSON");
        sub->add_flag("--quiet,-q", common.quiet, "No messages and no progress, only the result and errors");
        sub->footer(std::string("Examples:\n") + command.examples);
        run = command.setup(*sub, common);
        // The common options may stand behind the words of a command too.
        for (CLI::App* nested : sub->get_subcommands({})) nested->fallthrough();
        chosen = &command;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        if (stop.get_exit_code() == 0) {
            app.exit(stop); // help or version
            return qv::cli::Done;
        }
        if (!chosen && argc > 1 && argv[1][0] != '-') {
            const std::string meant = qv::cli::nearestCommand(kCommands, argv[1]);
            return qv::cli::error(qv::cli::Usage,
                                  std::string("there is no command \"") + argv[1] + "\"" +
                                      (meant.empty() ? " (see qv --help)" : "; did you mean " + meant + "?"));
        }
        const std::string who = chosen ? std::string("qv ") + chosen->name : "qv";
        return qv::cli::error(qv::cli::Usage, std::string(stop.what()) + " (see " + who + " --help)");
    }
    const int code = run ? run() : static_cast<int>(qv::cli::Usage);
    return code == qv::cli::Interrupted ? qv::cli::error(qv::cli::Interrupted, "interrupted") : code;
}

} // namespace

int main(int argc, char** argv) {
    int code = qv::cli::Failed;
    try {
        code = runCommands(argc, argv);
    } catch (const std::exception& problem) {
        code = qv::cli::error(qv::cli::Failed, problem.what());
    }
    // A result that did not reach its reader is no result.
    if ((std::fflush(stdout) != 0 || std::ferror(stdout)) && code == qv::cli::Done) {
        code = qv::cli::error(qv::cli::Failed, std::string("writing the result: ") + std::strerror(errno));
    }
    return code;
}
