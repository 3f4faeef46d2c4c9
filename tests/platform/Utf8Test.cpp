#include "platform/KrUtf8.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace
{
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

// The first and the last code point of each length.
const std::array<std::pair<uint32_t, std::string_view>, 8> kBounds = {{{0x00, {"\0", 1}},
                                                                       {0x7F, "\x7F"},
                                                                       {0x80, "\xC2\x80"},
                                                                       {0x7FF, "\xDF\xBF"},
                                                                       {0x800, "\xE0\xA0\x80"},
                                                                       {0xFFFF, "\xEF\xBF\xBF"},
                                                                       {0x10000, "\xF0\x90\x80\x80"},
                                                                       {0x10FFFF, "\xF4\x8F\xBF\xBF"}}};
} // namespace

TEST(Utf8Test, CodePointsAtTheBoundsOfEachLength_AreWrittenAndRead)
{
    for (const auto& [codePoint, bytes] : kBounds)
    {
        std::string text;
        AppendUtf8(text, codePoint);
        EXPECT_EQ(text, bytes);
        text += "rest";
        std::string_view left = text;
        EXPECT_EQ(TakeCodePoint(left), codePoint);
        EXPECT_EQ(left, "rest");
    }
}

TEST(Utf8Test, BytesThatAreNotACodePoint_StayWhereTheyAre)
{
    for (const std::string_view bytes :
         {"\x80", "\xBFrest", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82",
          "\xF0\x8F\xBF\xBF", "\xF0\x9F\x8E", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"})
    {
        std::string_view left = bytes;
        EXPECT_EQ(TakeCodePoint(left), std::nullopt) << testing::PrintToString(bytes);
        EXPECT_EQ(left, bytes);
        EXPECT_EQ(Widen(bytes), std::nullopt) << testing::PrintToString(bytes);
    }
}

TEST(Utf8Test, Text_IsWidenedAndNarrowed)
{
    const std::string narrow = "Gr\xC3\xB6\xC3\x9F"
                               "e \xE6\x97\xA5 \xF0\x9F\x8E\xAC";
    const std::wstring wide = L"Gr\u00F6\u00DFe \u65E5 \U0001F3AC";
    EXPECT_EQ(Widen(narrow), wide);
    EXPECT_EQ(Narrow(wide), narrow);
    EXPECT_EQ(Widen(""), L"");
    EXPECT_EQ(Narrow(L""), "");
}

TEST(Utf8Test, TextWithAZero_IsNotWidened)
{
    EXPECT_EQ(Widen({"a\0b", 3}), std::nullopt);
}

TEST(Utf8Test, LoneSurrogates_PassWhereFileNamesMayContainThem)
{
    const std::string narrow = "a\xED\xA0\xBD";
    const std::wstring wide = {L'a', static_cast<wchar_t>(0xD83D)};
    EXPECT_EQ(Widen(narrow), kWideIsUtf16 ? std::optional(wide) : std::nullopt);
    EXPECT_EQ(Narrow(wide), narrow);
}
