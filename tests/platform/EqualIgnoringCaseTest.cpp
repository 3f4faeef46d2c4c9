#include "platform/KrPlatform.h"

#include <gtest/gtest.h>

using KrPlatform::EqualIgnoringCase;

TEST(EqualIgnoringCaseTest, LettersOfOtherCase_AreEqual)
{
    EXPECT_TRUE(EqualIgnoringCase(L"C:\\Clips\\Take 1.AVI", L"c:\\clips\\tAKE 1.avi"));
    EXPECT_TRUE(EqualIgnoringCase(L"abcxyz", L"ABCXYZ"));
    EXPECT_TRUE(EqualIgnoringCase(L"same", L"same"));
}

TEST(EqualIgnoringCaseTest, LettersBeyondAscii_AreEqualToo)
{
    EXPECT_TRUE(EqualIgnoringCase(L"\u00e4\u00f6\u00fc", L"\u00c4\u00d6\u00dc"));
    EXPECT_TRUE(EqualIgnoringCase(L"\u0436\u044f", L"\u0416\u042f"));
    EXPECT_TRUE(EqualIgnoringCase(L"\u03b1\u03c9", L"\u0391\u03a9"));
    EXPECT_TRUE(EqualIgnoringCase(L"\u6620\u753b", L"\u6620\u753b"));
}

TEST(EqualIgnoringCaseTest, OtherCharacters_Differ)
{
    EXPECT_FALSE(EqualIgnoringCase(L"a.avi", L"b.avi"));
    EXPECT_FALSE(EqualIgnoringCase(L"a/b", L"a\\b"));
    EXPECT_FALSE(EqualIgnoringCase(L"\u00e4", L"a"));
    EXPECT_FALSE(EqualIgnoringCase(L"\u6620", L"\u753b"));
    EXPECT_FALSE(EqualIgnoringCase(L"@[`{", L"`{@[")); // 32 apart as well, but no letters
    EXPECT_FALSE(EqualIgnoringCase(L"1", L"\x11"));
}

TEST(EqualIgnoringCaseTest, OtherLengths_Differ)
{
    EXPECT_FALSE(EqualIgnoringCase(L"a.avi", L"a.avi "));
    EXPECT_FALSE(EqualIgnoringCase(L"a.avi", L"a.av"));
    EXPECT_FALSE(EqualIgnoringCase(L"", L"a"));
    EXPECT_FALSE(EqualIgnoringCase(L"\u00df", L"SS"));
}

TEST(EqualIgnoringCaseTest, EmptyTexts_AreEqual)
{
    EXPECT_TRUE(EqualIgnoringCase(L"", L""));
    EXPECT_TRUE(EqualIgnoringCase(std::wstring_view(), L""));
}

TEST(EqualIgnoringCaseTest, TextsWithZeroCharacters_AreComparedToTheEnd)
{
    using namespace std::string_view_literals;
    EXPECT_TRUE(EqualIgnoringCase(L"a\0B"sv, L"A\0b"sv));
    EXPECT_FALSE(EqualIgnoringCase(L"a\0b"sv, L"a\0c"sv));
}
