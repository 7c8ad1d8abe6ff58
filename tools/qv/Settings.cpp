// qv settings: the settings as a tree, one by one, and as text.
#include "tools/qv/Settings.h"

#include "qvlibs/framework/Strings.h"
#include "tools/qv/SettingsText.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace qv::cli {

namespace {

using nlohmann::ordered_json;
using registry::Transaction;
using registry::Type;
using registry::Value;

constexpr size_t kMostBytes = 256u * 1024 * 1024;

std::string joined(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + "\\" + name;
}

// The key of a section; complains about a hive that does not exist.
std::optional<SettingsKey> sectionKey(const std::string& section) {
    auto key = keyOf(section);
    if (!key) error(Usage, "\"" + section + "\": a full path starts with \\LocalMachine or \\CurrentUser");
    return key;
}

bool isNumber(const Value& value) { return value.type == Type::Number && value.bytes.size() == 4; }
bool isText(const Value& value) { return value.type == Type::Text && value.bytes.ends_with('\0'); }

std::string textIn(const Value& value) { return value.bytes.substr(0, value.bytes.size() - 1); }

ordered_json jsonOf(const Value& value) {
    if (isNumber(value)) return std::stoll(valueText(value));
    if (isText(value)) return textIn(value);
    return {{"type", static_cast<unsigned>(value.type)}, {"bytes", valueText(value)}};
}

ordered_json treeJson(HKEY hive, const std::string& path) {
    ordered_json tree{{"values", ordered_json::object()}, {"sections", ordered_json::object()}};
    for (const auto& [name, value] : registry::values(hive, path)) tree["values"][name] = jsonOf(value);
    for (const auto& name : registry::subKeys(hive, path))
        tree["sections"][name] = treeJson(hive, joined(path, name));
    return tree;
}

void printTree(HKEY hive, const std::string& path, int depth) {
    for (const auto& [name, value] : registry::values(hive, path))
        std::printf("%*s%s = %s\n", depth * 2, "", name.empty() ? "\"\"" : printable(name).c_str(),
                    valueText(value).c_str());
    for (const auto& name : registry::subKeys(hive, path)) {
        std::printf("%*s%s\n", depth * 2, "", printable(name).c_str());
        printTree(hive, joined(path, name), depth + 1);
    }
}

// Names for completion: the keys of a section, or all sections.
void printSectionNames(HKEY hive, const std::string& path) {
    for (const auto& name : registry::subKeys(hive, path)) {
        const std::string below = joined(path, name);
        if (!registry::values(hive, below).empty()) std::printf("%s\n", textOf(hive, below).c_str());
        printSectionNames(hive, below);
    }
}

int list(const SettingsOptions& options, const Common& common) {
    const auto key = sectionKey(options.section);
    if (!key) return Usage;
    const Transaction oneMoment(Transaction::Reading);
    if (!options.section.empty() && !registry::keyExists(key->hive, key->path))
        return error(NotFound, "there is no section " + options.section);
    if (options.names && options.section.empty()) {
        printSectionNames(key->hive, key->path);
    } else if (options.names) {
        for (const auto& value : registry::values(key->hive, key->path))
            std::printf("%s\n", value.name.c_str());
    } else if (common.json) {
        printJson(treeJson(key->hive, key->path));
    } else {
        printTree(key->hive, key->path, 0);
    }
    return Done;
}

int get(const SettingsOptions& options, const Common& common) {
    const auto key = sectionKey(options.section);
    if (!key) return Usage;
    const auto value = registry::readValue(key->hive, key->path, options.key);
    if (!value) return error(NotFound, "there is no " + options.key + " in " + options.section);
    if (common.json)
        printJson({{"section", options.section}, {"key", options.key}, {"value", jsonOf(*value)}});
    else if (isText(*value))
        std::printf("%s\n", textIn(*value).c_str());
    else
        std::printf("%s\n", valueText(*value).c_str());
    return Done;
}

std::optional<Value> truthValue(const std::string& text) {
    for (const char* yes : {"true", "yes", "on", "1"}) {
        if (equalNoCase(text, yes)) return textValue("TRUE");
    }
    for (const char* no : {"false", "no", "off", "0"}) {
        if (equalNoCase(text, no)) return textValue("FALSE");
    }
    return std::nullopt;
}

std::optional<Value> numberIn(const std::string& text) {
    auto value = parseValue(text);
    return value && isNumber(*value) ? value : std::nullopt;
}

// Of the type that is asked for, else of the type that is stored, else a number when it looks like one.
std::optional<Value> typedValue(const SettingsOptions& options, const std::optional<Value>& stored) {
    std::string type = options.type;
    if (type.empty() && stored) {
        if (stored->type == Type::Text) type = "text";
        if (stored->type == Type::Number) type = "number";
        if (stored->type == Type::Binary) type = "binary";
    }
    if (type == "text") return textValue(options.value);
    if (type == "bool") return truthValue(options.value);
    if (type == "number") return numberIn(options.value);
    if (type == "binary") return parseValue("binary " + options.value);
    auto number = numberIn(options.value);
    return number ? number : textValue(options.value);
}

int set(const SettingsOptions& options, const Common&) {
    const auto key = sectionKey(options.section);
    if (!key) return Usage;
    const auto value = typedValue(options, registry::readValue(key->hive, key->path, options.key));
    if (!value)
        return error(Usage,
                     "\"" + options.value + "\" does not fit the type (--type number, text, bool or binary)");
    switch (registry::writeValue(key->hive, key->path, options.key, value->type, value->bytes)) {
    case registry::Done: return Done;
    case registry::BadName: return error(Usage, "the section, the key or the value is too long");
    default: return error(Failed, "the settings in " + registry::storePath() + " cannot be written");
    }
}

int remove(const SettingsOptions& options, const Common&) {
    const auto key = sectionKey(options.section);
    if (!key) return Usage;
    const bool whole = options.key.empty();
    const auto result = whole ? registry::deleteTree(key->hive, key->path)
                              : registry::removeValue(key->hive, key->path, options.key);
    if (result == registry::Done) return Done;
    if (result == registry::NotFound)
        return error(NotFound,
                     "there is no " + (whole ? "section " : options.key + " in ") + options.section);
    return error(Failed, "the settings in " + registry::storePath() + " cannot be written");
}

void collect(HKEY hive, const std::string& path, std::vector<SettingsKey>& keys) {
    auto found = registry::values(hive, path);
    const auto below = registry::subKeys(hive, path);
    // A key that only leads to others comes back with them.
    if (!found.empty() || (below.empty() && !path.empty())) keys.push_back({hive, path, std::move(found)});
    for (const auto& name : below) collect(hive, joined(path, name), keys);
}

int exportText(const SettingsOptions& options, const Common&) {
    std::vector<SettingsKey> keys;
    {
        const Transaction oneMoment(Transaction::Reading);
        auto sections = options.sections;
        if (options.all) sections = {"\\LocalMachine", "\\CurrentUser"};
        if (sections.empty()) sections = {""};
        for (const auto& section : sections) {
            const auto key = sectionKey(section);
            if (!key) return Usage;
            if (!registry::keyExists(key->hive, key->path)) {
                if (section.empty()) continue; // nothing was ever stored
                return error(NotFound, "there is no section " + section);
            }
            collect(key->hive, key->path, keys);
        }
    }
    const std::string text = settingsText(keys);
    if (options.file.empty()) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return Done;
    }
    return writeFile(options.file, text);
}

std::optional<std::string> readAll(const std::string& name) {
    std::string text;
    const std::unique_ptr<FILE, int (*)(FILE*)> opened(name == "-" ? nullptr
                                                                   : std::fopen(name.c_str(), "rbe"),
                                                       [](FILE* file) { return std::fclose(file); });
    FILE* const in = name == "-" ? stdin : opened.get();
    if (!in) return std::nullopt;
    char block[65536];
    while (const size_t got = std::fread(block, 1, sizeof block, in)) {
        text.append(block, got);
        if (text.size() > kMostBytes) return std::nullopt;
    }
    return std::ferror(in) ? std::nullopt : std::optional(std::move(text));
}

int importText(const SettingsOptions& options, const Common& common) {
    errno = 0;
    const auto text = readAll(options.file);
    if (!text) return errno ? fileError(options.file, errno) : error(Failed, options.file + ": too large");
    const SettingsParse parsed = parseSettings(*text);
    if (!parsed.problem.empty()) return error(Damaged, options.file + ", " + parsed.problem);
    size_t count = 0;
    Transaction whole(Transaction::Writing);
    for (const auto& key : parsed.keys) {
        if (options.replace) registry::deleteTree(key.hive, key.path);
    }
    for (const auto& key : parsed.keys) {
        registry::createKey(key.hive, key.path);
        for (const auto& [name, value] : key.values)
            registry::writeValue(key.hive, key.path, name, value.type, value.bytes);
        count += key.values.size();
    }
    if (!whole.commit())
        return error(Failed,
                     "nothing was imported: the settings in " + registry::storePath() + " cannot be written");
    message(common, std::to_string(count) + " values in " + std::to_string(parsed.keys.size()) + " sections");
    return Done;
}

using Action = int (*)(const SettingsOptions&, const Common&);

} // namespace

std::function<int()> setupSettings(CLI::App& app, const Common& common) {
    auto options = std::make_shared<SettingsOptions>();
    auto run = std::make_shared<Action>(nullptr);
    app.require_subcommand(1);
    const auto action = [&](const char* name, const char* what, Action function) {
        CLI::App* sub = app.add_subcommand(name, what)->fallthrough();
        sub->callback([run, function] { *run = function; });
        return sub;
    };
    const auto section = [&](CLI::App* sub) {
        return sub->add_option("SECTION", options->section,
                               "Common, Model0003, ... or a full path (\\CurrentUser\\...)");
    };
    CLI::App* sub = action("list", "What is stored, as a tree", list);
    section(sub);
    sub->add_flag("--names", options->names, "Only the names: of sections, or of the keys of SECTION");
    sub = action("get", "One value", get);
    section(sub)->required();
    sub->add_option("KEY", options->key, "The key's name")->required();
    sub = action("set", "Stores a value", set);
    section(sub)->required();
    sub->add_option("KEY", options->key, "The key's name")->required();
    sub->add_option("VALUE", options->value,
                    "A number (also 0x...), a text, true or false, hexadecimal bytes")
        ->required();
    sub->add_option("--type", options->type, "As what; else as the stored value, or as it looks")
        ->check(CLI::IsMember({"number", "text", "bool", "binary"}));
    sub = action("remove", "Removes a value, or a section with all below it", remove);
    section(sub)->required();
    sub->add_option("KEY", options->key, "The key's name; without it the section goes");
    sub = action("export", "The settings as text, to be read and imported", exportText);
    sub->add_option("SECTION", options->sections, "Only these; else all settings of the suite");
    sub->add_flag("--all", options->all, "Everything in the store");
    sub->add_option("-o,--output", options->file, "Where to; else standard output");
    sub = action("import", "Takes over exported text: all of it or nothing", importText);
    sub->add_option("FILE", options->file, "The text; - is standard input")->required();
    sub->add_flag("--replace", options->replace, "First remove what the sections of FILE hold now");
    sub = action("doctor", "Checks the store and says what it finds", doctorSettings);
    sub->add_flag("--repair", options->repair,
                  "Get back what damaged stores still hold, and add what is missing");
    return [options, run, &common] { return (*run)(*options, common); };
}

} // namespace qv::cli
