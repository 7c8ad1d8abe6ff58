// qv mtv: side files of MPEG-2 recordings.
#include "qvlibs/classify/MediaTypes.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/sidefiles/MtvFiles.h"
#include "qvlibs/sidefiles/VendorTable.h"
#include "tools/qv/Info.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include <unistd.h>

using nlohmann::ordered_json;

namespace qv::cli {
namespace {

struct Options {
    std::string file, target, vendor, extension = "mtv", date;
    int row = -1;
};

template <size_t width>
std::string textOf(const char (&field)[width]) {
    return {field, strnlen(field, width)};
}

ordered_json dateOf(const MtvAtrTag& record) {
    if (record.year == 0) return nullptr;
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", record.year, record.month, record.day,
                  record.hour, record.minute, record.second);
    return text;
}

// A code's meaning by its place in the list, or null for one that has none.
template <class Value, size_t count>
ordered_json meaning(const Value (&values)[count], unsigned code, unsigned first = 0) {
    if (code < first || code - first >= count) return nullptr;
    return values[code - first];
}

ordered_json factsOf(const std::string& path, const MtvAtrTag& record) {
    static constexpr const char* kSizes[] = {"720", "704", "352", "352 half height", "544", "480"};
    static constexpr int kAudioRates[] = {64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 768, 1536};
    static constexpr int kSamplings[] = {48000, 44100, 32000};
    return {{"link", textOf(record.link)},
            {"vendor", textOf(record.vendor)},
            {"vendorSupported", QVTLIsSupportVendor(textOf(record.vendor)) != 0},
            {"fitsDisc", QVTLIsSupportVendorAndParamAtOutput(path) != 0},
            {"recorded", dateOf(record)},
            {"system", record.system ? "PAL" : "NTSC"},
            {"layout", record.layout ? "wide" : "full"},
            {"width", meaning(kSizes, record.sizeClass)},
            {"videoBitRate", record.videoBitRate},
            {"audioKilobits", meaning(kAudioRates, record.audioBitRate, 1)},
            {"audioSampling", meaning(kSamplings, record.audioSampling)}};
}

void printTable(const ordered_json& document) {
    for (const auto& [name, value] : document.items()) {
        const std::string text = value.is_string() ? value.get<std::string>()
                                 : value.is_null() ? "-"
                                                   : value.dump();
        std::printf("%-16s %s\n", name.c_str(), printable(text).c_str());
    }
}

// The side file itself, or the one of a recording; "" when there is none.
std::string sideFileOf(const std::string& path) {
    if (QVTLCheckExtensionMpeg(path.c_str()))
        return QVTLGetMtvFileFromMpeg2(path.c_str(), nullptr, nullptr).str();
    return path;
}

// Done, or says in one line why not.
int readable(const std::string& path) {
    return access(path.c_str(), R_OK) == 0 ? static_cast<int>(Done) : fileError(path, errno);
}

int show(const Options& options, const Common& common) {
    const std::string side = sideFileOf(options.file);
    if (side.empty()) return error(NotFound, options.file + ": no side file links to it");
    if (const int code = readable(side); code != Done) return code;
    MtvAtrTag record;
    if (!QVTLGetMtvAtr(side.c_str(), &record)) return error(Damaged, side + ": no side file of 568 bytes");
    ordered_json document = {{"file", side}};
    document.update(factsOf(side, record));
    if (common.json)
        printJson(document);
    else
        printTable(document);
    return Done;
}

std::optional<SYSTEMTIME> parseDate(const std::string& text) {
    unsigned year, month, day, hour = 0, minute = 0, second = 0;
    int date = 0, all = 0;
    std::sscanf(text.c_str(), "%4u-%2u-%2u%n%*1[ T]%2u:%2u:%2u%n", &year, &month, &day, &date, &hour, &minute,
                &second, &all);
    const bool whole = date > 0 && text.size() == static_cast<size_t>(all > 0 ? all : date);
    if (!whole || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 59)
        return {};
    const auto word = [](unsigned value) { return static_cast<WORD>(value); };
    return SYSTEMTIME{word(year), word(month), 0, word(day), word(hour), word(minute), word(second), 0};
}

int make(const Options& options, const Common& common) {
    std::optional<SYSTEMTIME> time;
    if (!options.date.empty()) {
        time = parseDate(options.date);
        if (!time) return error(Usage, options.date + ": dates read YYYY-MM-DD hh:mm:ss");
    }
    if (const int code = readable(options.file); code != Done) return code;
    SYSTEMTIME* const given = time ? &*time : nullptr;
    const ULONG status = options.vendor.empty() ? QVTLMakeMtv(options.file.c_str(), options.row, 0, given)
                                                : QVTLMakeMtvEx(options.file.c_str(), options.vendor.c_str(),
                                                                options.extension.c_str(), 0, given);
    if (status != 0) return error(Failed, options.file + ": no side file could be made");
    const std::string side = sideFileOf(options.file);
    if (common.json)
        printJson({{"file", side}});
    else
        std::printf("%s\n", side.c_str());
    return Done;
}

int link(const Options& options, const Common&) {
    if (const int code = readable(options.file); code != Done) return code;
    if (QVTLRenameMtv(options.file.c_str(), options.target.c_str()) != 0) {
        return error(Failed, options.file + ": cannot be linked to " + options.target);
    }
    return Done;
}

int vendors(const Common& common) {
    ordered_json rows = ordered_json::array();
    for (int row = 0;; ++row) {
        CString id, extension;
        id.Format("VendorID%02d", row);
        extension.Format("Ext%02d", row);
        const CString vendor = QVGetProfileString("Mtv", id, "");
        if (vendor.IsEmpty() || row > 99) break;
        rows.push_back({{"row", row},
                        {"vendor", vendor.str()},
                        {"extension", QVGetProfileString("Mtv", extension, "mtv").str()},
                        {"output", QVTLIsSupportVendorAtOutput(vendor) != 0}});
    }
    if (common.json) {
        printJson(rows);
        return Done;
    }
    for (const auto& row : rows) {
        std::printf("%02d  %-32s .%-4s %s\n", row["row"].get<int>(), row["vendor"].get<std::string>().c_str(),
                    row["extension"].get<std::string>().c_str(),
                    row["output"].get<bool>() ? "in, out" : "in");
    }
    if (rows.empty()) message(common, "no vendors: set VendorID00, VendorID01, ... in section Mtv");
    return Done;
}

} // namespace

int describeSideFile(const std::string& path, ordered_json& facts, std::string& problem) {
    if (!QVTLCheckExtensionMTV(path.c_str()) && contentOf(path).kind != Kind::SideFile) return NotSupported;
    MtvAtrTag record;
    if (!QVTLGetMtvAtr(path.c_str(), &record)) {
        problem = "no side file of 568 bytes";
        return Damaged;
    }
    facts["sideFile"] = factsOf(path, record);
    return Done;
}

std::function<int()> setupMtv(CLI::App& app, const Common& common) {
    auto options = std::make_shared<Options>();
    app.require_subcommand(1);
    auto* showing = app.add_subcommand("show", "What a side file says");
    showing->add_option("FILE", options->file, "Side file, or the recording it belongs to")->required();
    auto* making = app.add_subcommand("make", "Make the side file of a recording");
    making->add_option("MOVIE", options->file, "MPEG-2 recording")->required();
    making->add_option("--row", options->row, "Row of the vendor table (16)")->check(CLI::Range(0, 99));
    making->add_option("--vendor", options->vendor, "Vendor text, instead of a row");
    making->add_option("--ext", options->extension, "Extension of the side file, with --vendor");
    making->add_option("--date", options->date, "When it was recorded, YYYY-MM-DD hh:mm:ss");
    auto* linking =
        app.add_subcommand("link", "Link a side file to a recording and give it the recording's name");
    linking->alias("rename");
    linking->add_option("SIDEFILE", options->file, "Side file")->required();
    linking->add_option("MOVIE", options->target, "Recording that it shall belong to")->required();
    auto* listing = app.add_subcommand("vendors", "The vendor table");
    return [=, &common] {
        if (*showing) return show(*options, common);
        if (*making) return make(*options, common);
        if (*linking) return link(*options, common);
        return *listing ? vendors(common) : static_cast<int>(Usage);
    };
}

} // namespace qv::cli
