#include "qvlibs/platform/Registry.h"
#include "qvlibs/settings/ProfileCtrl.h"
#include "qvlibs/settings/QVENVMGR.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <random>

namespace fs = std::filesystem;

namespace {

namespace registry = qv::registry;
using registry::Type;

qv::test::RunResult settings(std::vector<std::string> words, const fs::path& home = qv::test::home()) {
    words.insert(words.begin(), "settings");
    return qv::test::runQv(words, {"QVLIBS_HOME=" + home.string()});
}

std::string exported(const fs::path& home) { return settings({"export", "--all"}, home).out; }

TEST(SettingsCommand, SetsGetsListsAndRemoves) {
    const struct {
        std::vector<std::string> words;
        int exitCode;
        const char* out;
    } rows[] = {
        {{"list"}, 0, ""},
        {{"get", "Common", "PM"}, 3, ""},
        {{"set", "Common", "PM", "0x10"}, 0, ""},
        {{"get", "common", "pm"}, 0, "16\n"},
        {{"set", "Common", "PM", "-5"}, 0, ""},
        {{"get", "Common", "PM"}, 0, "-5\n"},
        {{"set", "Common", "PM", "word"}, 2, ""}, // it is a number
        {{"set", "Common", "PM", "word", "--type", "text"}, 0, ""},
        {{"get", "Common", "PM"}, 0, "word\n"},
        {{"set", "Common", "PM", "4294967296", "--type", "number"}, 2, ""},
        {{"set", "Model0003", "Name", "My camera"}, 0, ""},
        {{"set", "Model0003", "Ok", "yes", "--type", "bool"}, 0, ""},
        {{"set", "Model0003", "Blob", "00 fF", "--type", "binary"}, 0, ""},
        {{"set", "Model0003", "Blob", "0"}, 2, ""}, // half a byte
        {{"list"},
         0,
         "Common\n  PM = \"word\"\nModel\n  0003\n    Blob = binary 00 FF\n    Name = \"My camera\"\n    Ok "
         "= \"TRUE\"\n"},
        {{"list", "Model0003", "--names"}, 0, "Blob\nName\nOk\n"},
        {{"list", "--names"}, 0, "Common\nModel0003\n"},
        {{"list", "Nothing"}, 3, ""},
        {{"list", "\\Elsewhere\\x"}, 2, ""},
        {{"remove", "Model0003", "Ok"}, 0, ""},
        {{"remove", "Model0003", "Ok"}, 3, ""},
        {{"remove", "Model"}, 0, ""},
        {{"list"}, 0, "Common\n  PM = \"word\"\n"},
        {{"set", "", "Direct", "1"}, 0, ""},
        {{"get", "\\LocalMachine\\Software\\Tarvelion\\Lumenhall", "Direct"}, 0, "1\n"},
        {{"set", std::string(300, 'x'), "K", "1"}, 2, ""},
        {{"frobnicate"}, 2, ""},
    };
    for (const auto& row : rows) {
        std::string words;
        for (const auto& word : row.words) words.append(word).append(" ");
        SCOPED_TRACE(words);
        const auto result = settings(row.words);
        EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
        EXPECT_EQ(result.out, row.out);
        EXPECT_EQ(result.err.empty(), row.exitCode == 0) << result.err;
    }
    EXPECT_EQ(settings({"get", "Common", "PM", "--json"}).out,
              "{\n  \"section\": \"Common\",\n  \"key\": \"PM\",\n  \"value\": \"word\"\n}\n");
}

std::string randomBytes(std::mt19937& random, size_t most) {
    static const char* const pieces[] = {"a",    "Z",    "0",        " ",        "\"", "\\x", "%41",
                                         "]",    "[",    "#",        "\n",       "\r", "\t",  "\x01",
                                         "\x7F", "\xFF", "\xC3\xA9", "\xE3\x83", "表", "=",   ";"};
    std::string text;
    for (size_t i = random() % (most + 1); i > 0; --i) text += pieces[random() % std::size(pieces)];
    return text;
}

// Trees of any names and bytes come back exactly: exported, imported elsewhere, exported again.
TEST(SettingsCommand, ExportAndImportAreExact) {
    std::mt19937 random(3);
    const int rounds = std::getenv("QVLIBS_TEST_FULL") ? 200 : 10;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        registry::deleteTree(HKEY_LOCAL_MACHINE, "Software");
        std::vector<std::string> paths{"Software\\Tarvelion\\Lumenhall"};
        for (int i = 0; i < 12; ++i) {
            std::string element = randomBytes(random, 6);
            std::replace(element.begin(), element.end(), '\\', '0');
            if (random() % 3 == 0) element += "0012"; // also where no section is split
            std::string path = paths[random() % paths.size()] + "\\" + element;
            if (random() % 8 == 0) path = element;
            registry::createKey(HKEY_LOCAL_MACHINE, path);
            paths.push_back(path);
            for (unsigned v = random() % 4; v > 0; --v) {
                const Type types[] = {Type::Text, Type::Binary, Type::Number, static_cast<Type>(9)};
                std::string bytes = randomBytes(random, 10);
                if (random() % 2) bytes += '\0';
                if (random() % 4 == 0) bytes = std::string(4, static_cast<char>(random()));
                registry::writeValue(HKEY_LOCAL_MACHINE, path, randomBytes(random, 5), types[random() % 4],
                                     bytes);
            }
        }
        const auto file = (qv::test::home() / "all.txt").string();
        ASSERT_EQ(settings({"export", "--all", "-o", file}).exitCode, 0);
        const fs::path other = qv::test::makeFolder("other" + std::to_string(round));
        const auto imported = settings({"import", file, "--quiet"}, other);
        ASSERT_EQ(imported.exitCode, 0) << imported.err;
        ASSERT_EQ(exported(other), qv::test::readFile(file));
        // Over something else, with what is there now going first.
        ASSERT_EQ(settings({"set", "\\LocalMachine\\Software\\Extra", "x", "1"}, other).exitCode, 0);
        for (const auto& name : registry::subKeys(HKEY_LOCAL_MACHINE, ""))
            registry::deleteTree(HKEY_LOCAL_MACHINE, name);
    }
    printf("%d random trees exported, imported and exported the same\n", rounds);
}

TEST(SettingsCommand, ImportIsAllOrNothing) {
    ASSERT_EQ(settings({"set", "Common", "PM", "7"}).exitCode, 0);
    const std::string before = exported(qv::test::home());
    const auto file = (qv::test::home() / "in.txt").string();
    const struct {
        const char* text;
        int exitCode;
        const char* says;
    } rows[] = {
        {"[Common]\nPM = 1\nPM = word\n", 5, "line 3"},
        {"PM = 1\n", 5, "line 1"},
        {"[Common\n", 5, "line 1"},
        {"[Common]\nPM 1\n", 5, "line 2"},
        {"[Common]\nPM = \"open\n", 5, "line 2"},
        {"[Common]\nPM = \"\\q\"\n", 5, "line 2"},
        {"[Common]\nPM = 1\n[\\Other\\x]\n", 5, "line 3"},
        {"[Common]\nPM = binary 1\n", 5, "line 2"},
    };
    for (const auto& row : rows) {
        qv::test::writeFile(file, row.text);
        const auto result = settings({"import", file});
        EXPECT_EQ(result.exitCode, row.exitCode) << row.text;
        EXPECT_NE(result.err.find(row.says), std::string::npos) << result.err;
        EXPECT_EQ(exported(qv::test::home()), before);
    }
    // A value that cannot be stored takes everything with it.
    qv::test::writeFile(file, "[Common]\nPM = 1\n\"" + std::string(17000, 'x') + "\" = 1\n");
    EXPECT_EQ(settings({"import", file}).exitCode, 1);
    EXPECT_EQ(exported(qv::test::home()), before);
    EXPECT_EQ(settings({"import", "/nowhere"}).exitCode, 3);
    EXPECT_EQ(settings({"import", file + "/x"}).exitCode, 3);
    qv::test::writeFile(file, "[Common]\nGUIIconSizeX = 5\n");
    EXPECT_EQ(settings({"import", file, "--replace"}).exitCode, 0);
    EXPECT_EQ(settings({"list"}).out, "Common\n  GUIIconSizeX = 5\n");
}

// The records of the documentation, as a user would copy them.
TEST(SettingsCommand, TheDocumentedCamcordersCanBeImported) {
    const struct {
        const char* page;
        const char* command;
        unsigned vendor;
        int slowCommand;
    } rows[] = {{QV_SETTINGS_PAGE, "    qv settings import", 0x080046u, 38}, // its maker's
                {QV_README, "    scripts/run settings import", 0x080046u, 10}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.page);
        const std::string page = qv::test::readFile(row.page);
        const auto first = page.find("    [Common]\n    NumOfModel"), end = page.find(row.command, first);
        ASSERT_NE(end, std::string::npos);
        const auto file = (qv::test::home() / "camera.txt").string();
        qv::test::writeFile(file, page.substr(first, end - first));
        registry::deleteTree(HKEY_LOCAL_MACHINE, "Software");
        const auto result = settings({"import", file});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const CQVEnvironment environment;
        ASSERT_EQ(environment.m_lstModel.GetCount(), 1);
        const auto* model = static_cast<CQVModelInformation*>(environment.m_lstModel.GetHead());
        EXPECT_STREQ(model->m_strName, "My camcorder");
        EXPECT_EQ(model->VendorId(), row.vendor);
        EXPECT_EQ(model->m_nRecStart, 28);
        EXPECT_EQ(model->m_nSlowCommand, row.slowCommand);
    }
}

TEST(SettingsCommand, DoctorSaysWhatItFindsAndRepairsOnlyWhenAsked) {
    EXPECT_EQ(settings({"doctor"}).exitCode, 0);
    EXPECT_FALSE(fs::exists(qv::test::home() / "settings.db"));
    for (int i = 0; i < 300; ++i) {
        registry::writeValue(HKEY_LOCAL_MACHINE,
                             std::string("Software\\Tarvelion\\Lumenhall\\S").append(std::to_string(i % 30)),
                             std::string("v").append(std::to_string(i)), Type::Text,
                             std::string(60, 't') + '\0');
    }
    EXPECT_EQ(settings({"doctor", "--repair"}).exitCode, 0); // lists the picture extensions
    EXPECT_EQ(settings({"get", "Sequence", "ImageExtention0007"}).out, "gif\n");
    auto healthy = settings({"doctor"});
    EXPECT_EQ(healthy.exitCode, 0);
    EXPECT_NE(healthy.out.find(": sound\n"), std::string::npos) << healthy.out;
    EXPECT_EQ(healthy.out.find("picture"), std::string::npos);

    // A page in the middle is wiped, while this process does not hold the file.
    const fs::path other = qv::test::makeFolder("other");
    const auto text = (qv::test::home() / "all.txt").string();
    settings({"export", "-o", text});
    ASSERT_EQ(settings({"import", text, "--quiet"}, other).exitCode, 0);
    std::string bytes = qv::test::readFile(other / "settings.db");
    ASSERT_GT(bytes.size(), 7u * 4096);
    std::fill(bytes.begin() + 5 * 4096, bytes.begin() + 6 * 4096, '\xA5');
    qv::test::writeFile(other / "settings.db", bytes);
    const auto sick = settings({"doctor"}, other);
    EXPECT_EQ(sick.exitCode, 5);
    EXPECT_EQ(qv::test::readFile(other / "settings.db"), bytes); // looked at, not touched
    EXPECT_EQ(settings({"doctor", "--repair"}, other).exitCode, 0);
    EXPECT_EQ(settings({"doctor"}, other).exitCode, 0);
    const auto lines = settings({"list"}, other).out;
    EXPECT_GT(std::count(lines.begin(), lines.end(), '\n'), 100); // most came back

    // A type that nobody knows, as a flipped bit makes it, does not come back.
    registry::writeValue(HKEY_LOCAL_MACHINE, "Software", "flipped", static_cast<Type>(7), "");
    for (const int exitCode : {5, 0}) {
        EXPECT_EQ(settings({"doctor"}).exitCode, exitCode);
        EXPECT_EQ(settings({"doctor", "--repair"}).exitCode, 0);
    }
}

TEST(SettingsCommand, AStoreThatIsNoneIsReportedInOneLine) {
    qv::test::writeFile(qv::test::home() / "settings.db", "this is a letter, not a database");
    const auto result = settings({"list"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_NE(result.err.find("set aside as"), std::string::npos);
    EXPECT_NE(settings({"doctor"}).out.find("set aside: "), std::string::npos);
}

TEST(SettingsCommand, MissingFoldersAreMadeByTheFirstWrite) {
    const fs::path deep = qv::test::home() / "a/b c/ä";
    EXPECT_EQ(settings({"list"}, deep).exitCode, 0);
    EXPECT_FALSE(fs::exists(deep));
    EXPECT_EQ(settings({"set", "Common", "PM", "1"}, deep).exitCode, 0);
    EXPECT_EQ(settings({"get", "Common", "PM"}, deep).out, "1\n");
    EXPECT_EQ(settings({"set", "Common", "PM", "1"}, "/proc/nowhere").exitCode, 1);
}

// The root and the names of qvenv.ini, read beside a copy of the library.
TEST(SettingsCommand, QvenvIniBesideTheLibraryChoosesTheRoot) {
    const auto folder = qv::test::makeFolder("lib");
    for (const auto& entry : fs::directory_iterator(qv::test::buildFolder() / "lib/qvlibs")) {
        if (entry.path().filename().string().starts_with("libqvlibs.so"))
            fs::copy(entry, folder / entry.path().filename());
    }
    qv::test::writeFile(folder / "qvenv.ini",
                        "[registrykey]\nPosition=Software\\" + std::string(300, 'p') + "\nData=Sys\n");
    const std::vector<std::string> environment{"LD_LIBRARY_PATH=" + folder.string()};
    const auto run = [&](const std::vector<std::string>& words) {
        return qv::test::runQv(words, environment);
    };
    EXPECT_EQ(run({"settings", "set", "Common", "Sys", "1"}).exitCode, 0);
    EXPECT_EQ(run({"tc", "frames", "00:00:01:00"}).out, "25\n"); // the PAL flag under its other name
    EXPECT_EQ(QVGetProfileIntEx("Common", "Sys", 0, ("Software\\" + std::string(250, 'p')).c_str()), 1u);
    qv::test::writeFile(folder / "qvenv.ini", "");
    EXPECT_EQ(run({"settings", "get", "Common", "Sys"}).exitCode, 3);
}

} // namespace
