#include "qvlibs/framework/Strings.h"

#include "qvlibs/framework/Lists.h"

#include <gtest/gtest.h>

TEST(Strings, CutsAreBoundedByWhatIsThere) {
    const CString text = "clip.dv";
    EXPECT_STREQ(text.Left(4), "clip");
    EXPECT_STREQ(text.Left(-1), "");
    EXPECT_STREQ(text.Left(99), "clip.dv");
    EXPECT_STREQ(text.Right(2), "dv");
    EXPECT_STREQ(text.Right(99), "clip.dv");
    EXPECT_STREQ(text.Mid(5), "dv");
    EXPECT_STREQ(text.Mid(99), "");
    EXPECT_STREQ(text.Mid(1, 2), "li");
    EXPECT_EQ(text.Find('.'), 4);
    EXPECT_EQ(text.Find("zz"), -1);
    EXPECT_EQ(text.ReverseFind('x'), -1);
}

TEST(Strings, ReplaceDoesNotMeetItsOwnReplacement) {
    CString text = "a,b,c";
    EXPECT_EQ(text.Replace(",", ",,"), 2);
    EXPECT_STREQ(text, "a,,b,,c");
    EXPECT_EQ(text.Replace("", "x"), 0);
}

TEST(Strings, CaseFoldsAsciiOnly) {
    CString text = "Ä.AVI \xE3\x83\x95";
    text.MakeLower();
    EXPECT_STREQ(text, "Ä.avi \xE3\x83\x95");
    EXPECT_TRUE(qv::equalNoCase("Clip.DV", "cLIP.dv"));
    EXPECT_FALSE(qv::equalNoCase("ä", "Ä"));
    EXPECT_LT(qv::compareNoCase("a", "B"), 0);
    EXPECT_LT(qv::compareNoCase("z", "\xC3"), 0) << "bytes are unsigned";
    EXPECT_GT(qv::compareNoCase("ab", "A"), 0);
}

TEST(Strings, FormatReplacesTheTextEvenFromItself) {
    CString text = "x";
    text.Format("%s-%04d-%s", text.GetString(), 7, "y");
    EXPECT_STREQ(text, "x-0007-y");
}

TEST(Strings, NullIsEmpty) {
    const CString text = static_cast<const char*>(nullptr);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.Compare(nullptr), 0);
}

TEST(Lists, WalkAddAndRemove) {
    CStringList list;
    list.AddTail("b");
    list.AddTail("c");
    list.AddHead("a");
    std::string walked;
    for (POSITION at = list.GetHeadPosition(); at;) walked += list.GetNext(at).str();
    EXPECT_EQ(walked, "abc");
    EXPECT_EQ(list.FindIndex(3), nullptr);
    CStringList copy = list;
    list.RemoveAt(list.FindIndex(1));
    EXPECT_STREQ(list.GetTail(), "c");
    EXPECT_EQ(list.GetCount(), 2);
    list.RemoveAt(list.GetHeadPosition());
    list.RemoveAt(list.GetTailPosition());
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(copy.GetCount(), 3) << "copies are independent";
}
