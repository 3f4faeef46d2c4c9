// Which texts name the same path: on Windows also those that differ only in case.
#include "platform/KrPlatform.h"
#include "tests/support/KrOsTestFiles.h"

#include <gtest/gtest.h>

using KrPlatform::IsSamePath;
using KrTest::Os::kNamesIgnoreCase;

TEST(IsSamePathTest, SameText_IsTheSamePath)
{
    EXPECT_TRUE(IsSamePath(L"C:\\Clips\\Take 1.AVI", L"C:\\Clips\\Take 1.AVI"));
    EXPECT_TRUE(IsSamePath(L"\u6620\u753b", L"\u6620\u753b"));
}

TEST(IsSamePathTest, LettersOfOtherCase_AreTheSameOnWindows)
{
    EXPECT_EQ(IsSamePath(L"C:\\Clips\\Take 1.AVI", L"c:\\clips\\tAKE 1.avi"), kNamesIgnoreCase);
    EXPECT_EQ(IsSamePath(L"abcxyz", L"ABCXYZ"), kNamesIgnoreCase);
    EXPECT_EQ(IsSamePath(L"\u00e4\u00f6\u00fc", L"\u00c4\u00d6\u00dc"), kNamesIgnoreCase);
    EXPECT_EQ(IsSamePath(L"\u0436\u044f", L"\u0416\u042f"), kNamesIgnoreCase);
    EXPECT_EQ(IsSamePath(L"\u03b1\u03c9", L"\u0391\u03a9"), kNamesIgnoreCase);
}

TEST(IsSamePathTest, OtherCharacters_Differ)
{
    EXPECT_FALSE(IsSamePath(L"a.avi", L"b.avi"));
    EXPECT_FALSE(IsSamePath(L"a/b", L"a\\b"));
    EXPECT_FALSE(IsSamePath(L"\u00e4", L"a"));
    EXPECT_FALSE(IsSamePath(L"\u6620", L"\u753b"));
    EXPECT_FALSE(IsSamePath(L"@[`{", L"`{@[")); // 32 apart as well, but no letters
    EXPECT_FALSE(IsSamePath(L"1", L"\x11"));
}

TEST(IsSamePathTest, OtherLengths_Differ)
{
    EXPECT_FALSE(IsSamePath(L"a.avi", L"a.avi "));
    EXPECT_FALSE(IsSamePath(L"a.avi", L"a.av"));
    EXPECT_FALSE(IsSamePath(L"", L"a"));
    EXPECT_FALSE(IsSamePath(L"\u00df", L"SS"));
}

TEST(IsSamePathTest, EmptyTexts_AreTheSame)
{
    EXPECT_TRUE(IsSamePath(L"", L""));
    EXPECT_TRUE(IsSamePath(std::wstring_view(), L""));
}

TEST(IsSamePathTest, TextsWithZeroCharacters_AreComparedToTheEnd)
{
    using namespace std::string_view_literals;
    EXPECT_TRUE(IsSamePath(L"a\0b"sv, L"a\0b"sv));
    EXPECT_EQ(IsSamePath(L"a\0B"sv, L"A\0b"sv), kNamesIgnoreCase);
    EXPECT_FALSE(IsSamePath(L"a\0b"sv, L"a\0c"sv));
}
