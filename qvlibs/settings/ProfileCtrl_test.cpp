#include "qvlibs/settings/ProfileCtrl.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

namespace registry = qv::registry;
using registry::Type;

const std::string kRoot = "Software\\Tarvelion\\Lumenhall";

bool storeExists() { return std::filesystem::exists(qv::test::home() / "settings.db"); }

TEST(ProfileCtrl, NumberedSectionsSplit) {
    const struct {
        const char* section;
        const char* path;
    } rows[] = {
        {"Model0003", "\\Model\\0003"},
        {"Model003", "\\Model003"},
        {"2005", "\\2005"},
        {"A2005", "\\A\\2005"},
        {"New0001", "\\New\\0001"},
        {"Model00031", "\\Model0\\0031"},
        {"Directroy0012", "\\Directroy\\0012"},
        {"", ""},
        {"Model00x1", "\\Model00x1"},
    };
    int number = 1;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.section);
        ASSERT_EQ(QVWriteProfileInt(row.section, "k", ++number, 0), 1);
        const auto value = registry::readValue(HKEY_LOCAL_MACHINE, kRoot + row.path, "K");
        ASSERT_TRUE(value);
        EXPECT_EQ(value->bytes[0], number);
        EXPECT_EQ(QVGetProfileInt(row.section, "k", 0), static_cast<unsigned>(number));
    }
    EXPECT_EQ(QVGetProfileInt(nullptr, "k", 0), QVGetProfileInt("", "k", 1));
    EXPECT_EQ(QVWriteProfileIntEx("Model0003", "k", 77, 0, "Software\\X"), 1);
    EXPECT_TRUE(registry::readValue(HKEY_LOCAL_MACHINE, "Software\\X\\Model\\0003", "k"));
    EXPECT_EQ(QVGetProfileIntEx("Model0003", "k", 0, "software\\x"), 77u);
}

TEST(ProfileCtrl, ReadingMakesNothing) {
    EXPECT_EQ(QVGetProfileInt("x", "y", -1), 0xFFFFFFFFu);
    EXPECT_STREQ(QVGetProfileString("x", "y", "def"), "def");
    EXPECT_EQ(QVRemoveProfileKey("Nope", "x"), 0u);
    EXPECT_FALSE(storeExists());
}

TEST(ProfileCtrl, TypesAreNotChecked) {
    const struct {
        std::string bytes;
        unsigned number; // default 9
        const char* text;
    } rows[] = {
        {std::string("123\0", 4), 0x00333231u, "123"},
        {std::string("1234\0", 5), 9, "1234"},
        {std::string("ABC\0", 4), 0x00434241u, "ABC"},
        {"ABCD", 0x44434241u, "ABCD"}, // no zero at its end
        {std::string("\x05\x01", 2), 0x0105u, "\x05\x01"},
        {"", 0u, ""},
    };
    for (const auto& row : rows) {
        for (const Type type : {Type::Number, Type::Text, Type::Binary}) {
            ASSERT_EQ(registry::writeValue(HKEY_LOCAL_MACHINE, kRoot + "\\s", "v", type, row.bytes),
                      registry::Done);
            EXPECT_EQ(QVGetProfileInt("s", "v", 9), row.number) << row.bytes;
            EXPECT_STREQ(QVGetProfileString("s", "v", "def"), row.text);
        }
    }
}

TEST(ProfileCtrl, LengthsAreBounded) {
    ASSERT_EQ(QVWriteProfileString("s", "a", std::string(767, 'x').c_str(), 0), 1);
    EXPECT_EQ(QVGetProfileString("s", "a", "def").GetLength(), 767);
    ASSERT_EQ(QVWriteProfileString("s", "a", std::string(768, 'x').c_str(), 0), 1);
    EXPECT_STREQ(QVGetProfileString("s", "a", "def"), "def");
    EXPECT_EQ(QVWriteProfileInt(std::string(256, 's').c_str(), "k", 1, 0), 0);
    EXPECT_EQ(QVWriteProfileInt(std::string(255, 's').c_str(), "k", 1, 0), 1);
}

TEST(ProfileCtrl, NamesAreCutOnWritingOnly) {
    const std::string name(800, 'n');
    ASSERT_EQ(QVWriteProfileInt("s", name.c_str(), 5, 0), 1);
    EXPECT_EQ(QVGetProfileInt("s", name.c_str(), 1), 1u);
    EXPECT_EQ(QVGetProfileInt("s", name.substr(0, 767).c_str(), 1), 5u);
}

TEST(ProfileCtrl, BooleansAreTexts) {
    const struct {
        const char* text; // null: nothing stored
        int def, result;
    } rows[] = {{"TRUE", 0, 1}, {"true", 0, 1}, {"FaLsE", 1, 0}, {"yes", 1, 1},
                {"yes", 0, 0},  {"yes", 7, 7},  {nullptr, 7, 1}, {nullptr, 0, 0}};
    for (const auto& row : rows) {
        QVRemoveProfileKey("s", "b");
        if (row.text) QVWriteProfileString("s", "b", row.text, 0);
        EXPECT_EQ(QVGetProfileBool("s", "b", row.def), row.result) << (row.text ? row.text : "missing");
    }
    ASSERT_EQ(QVWriteProfileBool("s", "b", 5, 0), 1);
    EXPECT_STREQ(QVGetProfileString("s", "b", ""), "TRUE");
    EXPECT_EQ(QVGetProfileInt("s", "b", 3), 3u); // five bytes are no number
}

TEST(ProfileCtrl, RemoveIgnoresCaseAndOtherRoots) {
    QVWriteProfileInt("s", "Name", 1, 0);
    QVWriteProfileIntEx("s", "Name", 2, 0, "Software\\X");
    EXPECT_EQ(QVRemoveProfileKey("S", "NAME"), 0u);
    EXPECT_EQ(QVGetProfileInt("s", "Name", 0), 0u);
    EXPECT_EQ(QVGetProfileIntEx("s", "Name", 0, "Software\\X"), 2u);
}

TEST(RegistryTree, CopiesWholeTrees) {
    registry::writeValue(HKEY_CURRENT_USER, "S", "", Type::Text, std::string("unnamed\0", 8));
    registry::writeValue(HKEY_CURRENT_USER, "S\\a", "n", Type::Number, std::string("\1\0\0\0", 4));
    registry::writeValue(HKEY_CURRENT_USER, "S\\a\\deep", "bin", Type::Binary, std::string("\0\xFF\0", 3));
    registry::createKey(HKEY_CURRENT_USER, "S\\empty");

    QVCopyReg(HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, "S", nullptr, 1);
    EXPECT_EQ(registry::subKeys(HKEY_LOCAL_MACHINE, "S"), (std::vector<std::string>{"a", "empty"}));
    EXPECT_EQ(registry::readValue(HKEY_LOCAL_MACHINE, "S\\A\\Deep", "bin"),
              (registry::Value{Type::Binary, std::string("\0\xFF\0", 3)}));
    EXPECT_STREQ(QVGetRegValueString(HKEY_LOCAL_MACHINE, "S", ""), "unnamed");
    EXPECT_TRUE(registry::keyExists(HKEY_LOCAL_MACHINE, "S\\empty"));

    // Without `create` the target itself is filled, beside what it has.
    const HKEY target = registry::openKey(HKEY_LOCAL_MACHINE, "T", true);
    ASSERT_TRUE(target);
    registry::writeValue(target, "", "own", Type::Number, std::string(4, '\1'));
    QVCopyReg(HKEY_CURRENT_USER, target, "S", "ignored", 0);
    registry::closeKey(target);
    EXPECT_EQ(registry::values(HKEY_LOCAL_MACHINE, "T").size(), 2u);
    EXPECT_TRUE(registry::keyExists(HKEY_LOCAL_MACHINE, "T\\a\\deep"));

    // Into itself: what was there at the start, once.
    QVCopyReg(HKEY_CURRENT_USER, HKEY_CURRENT_USER, "S", "S\\copy", 1);
    EXPECT_TRUE(registry::keyExists(HKEY_CURRENT_USER, "S\\copy\\a\\deep"));
    EXPECT_FALSE(registry::keyExists(HKEY_CURRENT_USER, "S\\copy\\copy"));

    QVCopyReg(HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, "Missing", nullptr, 1);
    EXPECT_FALSE(registry::keyExists(HKEY_LOCAL_MACHINE, "Missing"));
}

TEST(RegistryTree, DeletesDepthFirst) {
    EXPECT_EQ(QVDeleteReg(HKEY_LOCAL_MACHINE, "T"), 2);
    for (const char* path : {"T\\a", "T\\b\\c", "T\\d", "Tx", "U"})
        registry::writeValue(HKEY_LOCAL_MACHINE, path, "v", Type::Number, "1234");
    EXPECT_EQ(QVDeleteReg(HKEY_LOCAL_MACHINE, ""), 5); // a hive
    EXPECT_EQ(QVDeleteReg(HKEY_LOCAL_MACHINE, "t"), 0);
    EXPECT_EQ(registry::subKeys(HKEY_LOCAL_MACHINE, ""), (std::vector<std::string>{"Tx", "U"}));
    registry::createKey(HKEY_LOCAL_MACHINE, "T\\b\\c");
    EXPECT_TRUE(registry::values(HKEY_LOCAL_MACHINE, "T\\b\\c").empty()); // no value outlived its key
}

TEST(RegistryTree, TextsAreBounded) {
    QVWriteProfileStringEx("s", "v", std::string(519, 'x').c_str(), 0, "R");
    EXPECT_EQ(QVGetRegValueString(HKEY_LOCAL_MACHINE, "R\\s", "v").GetLength(), 519);
    QVWriteProfileStringEx("s", "v", std::string(520, 'x').c_str(), 0, "R");
    EXPECT_STREQ(QVGetRegValueString(HKEY_LOCAL_MACHINE, "R\\s", "v"), "");
    EXPECT_STREQ(QVGetRegValueString(HKEY_LOCAL_MACHINE, "missing", "v"), "");
}

TEST(IniAccess, ReadsByThePlatformsRules) {
    const auto file = (qv::test::home() / "a.ini").string();
    qv::test::writeFile(file,
                        "\xEF\xBB\xBF; comment\r\n[One]\r\nNum = 12abc\r\nneg=-5\r\nword=abc\r\nempty=\r\n"
                        "quoted = \" a b \" \r\nhalf=\"x\r\nnum=99\r\n[ two ]\r\nsingle='q'\r\nlong=" +
                            std::string(200, 'l') + "\r\n[one]\r\nlate=1\r\n");
    const struct {
        const char *section, *key;
        unsigned number; // default 7
        const char* text;
    } rows[] = {
        {"one", "NUM", 12, "12abc"},   {"One", "neg", 0xFFFFFFFBu, "-5"}, {"One", "word", 0, "abc"},
        {"One", "empty", 7, ""},       {"One", "missing", 7, "def"},      {"None", "x", 7, "def"},
        {"One", "quoted", 0, " a b "}, {"One", "half", 0, "\"x"},         {"Two", "single", 0, "q"},
        {"One", "late", 7, "def"}, // the first section of a name counts
        {nullptr, "x", 7, "One"},      {"Two", nullptr, 7, "single"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key ? row.key : "null");
        EXPECT_EQ(QVGetPrivateProfileInt(row.section, row.key, 7, file.c_str()), row.number);
        EXPECT_STREQ(QVGetPrivateProfileString(row.section, row.key, "def", file.c_str()), row.text);
    }
    EXPECT_EQ(QVGetPrivateProfileString("Two", "long", "", file.c_str()).GetLength(), 127);
    EXPECT_STREQ(QVGetPrivateProfileString("a", "b", "def", "/nowhere/x.ini"), "def");
    ASSERT_EQ(mkfifo((file + ".pipe").c_str(), 0600), 0);
    EXPECT_STREQ(QVGetPrivateProfileString("a", "b", "def", (file + ".pipe").c_str()),
                 "def"); // is not waited for
}

TEST(IniAccess, WritesOneLineAndKeepsTheOthers) {
    EXPECT_STREQ(QVGetProfileName(), "/gwenv.ini"); // on purpose, while no directory is set
    EXPECT_STREQ(QVSetSystemDirectory(qv::test::home().c_str()), qv::test::home().c_str());
    const auto file = qv::test::home() / "gwenv.ini";
    EXPECT_STREQ(QVGetProfileName(), file.c_str());
    qv::test::writeFile(file, "; top\n[A]\nx = 1\n\n[B]\ny=2\n");
    EXPECT_EQ(QVWritePrivateProfileInt("a", "X", -5, "gwenv.ini"), 1);
    EXPECT_EQ(QVWritePrivateProfileString("A", "new", "n", "gwenv.ini"), 1);
    EXPECT_EQ(QVWritePrivateProfileString("C", "z", "3", file.c_str()), 1);
    EXPECT_EQ(qv::test::readFile(file), "; top\n[A]\nX=-5\nnew=n\n\n[B]\ny=2\n[C]\nz=3\n");
    EXPECT_EQ(QVWritePrivateProfileString("A", "x", nullptr, "gwenv.ini"), 1);
    EXPECT_EQ(QVWritePrivateProfileString("B", nullptr, nullptr, "gwenv.ini"), 1);
    EXPECT_EQ(qv::test::readFile(file), "; top\n[A]\nnew=n\n\n[C]\nz=3\n");
    for (const char* bad : {"a\nb", "a\rb"})
        EXPECT_EQ(QVWritePrivateProfileString("A", "k", bad, "gwenv.ini"), 0);
    EXPECT_EQ(QVWritePrivateProfileString("A]", "k", "v", "gwenv.ini"), 0);
    EXPECT_EQ(QVWritePrivateProfileString("A", "k=", "v", "gwenv.ini"), 0);
    EXPECT_EQ(QVWritePrivateProfileString("A", "k", "v", "/nowhere/x.ini"), 0);
    EXPECT_EQ(qv::test::readFile(file), "; top\n[A]\nnew=n\n\n[C]\nz=3\n");
}

} // namespace
