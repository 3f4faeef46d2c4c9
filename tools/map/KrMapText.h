// Numbers as people read them, independent of the locale; and the round numbers of an axis.
#ifndef KR_TOOLS_MAP_KRMAPTEXT_H
#define KR_TOOLS_MAP_KRMAPTEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KrTool
{
// With so many decimals; `Trimmed` without zeros at the end.
std::string Fixed(double value, int decimals);
std::string Trimmed(double value, int decimals);

// "1,234,567"; and so with a noun.
std::string Grouped(uint64_t value);
std::string GroupedCount(uint64_t count, std::string_view noun);

// Three digits and a decimal unit: "1.23 GB", "512 bytes". `Signed` always has a sign.
std::string BytesText(double bytes);
std::string SignedBytesText(double bytes);
std::string RateText(double bitsPerSecond);

// "4.120 s", "1 h 2 min 3.456 s"; "SignedSecondsText" is for distances: "+0.500 s".
std::string TimeText(double seconds);
std::string SignedSecondsText(double seconds);

// Share of a whole: "12.3 %", "<0.1 %".
std::string ShareText(uint64_t part, uint64_t whole);

// A text cut in its middle so that it takes at most so many characters.
std::string Shortened(const std::string& text, size_t most);

// What a text takes at most, in pixels, in the fonts that the pictures ask for.
double TextWidth(std::string_view text, double fontSize);

// To a millionth: sums of fractions end in digits that mean nothing.
double Millionths(double value);

// The first of ..., 1, 2, 5, 10, 20, ... that is not below a value.
double RoundUp(double least);

enum class EKrAxisUnit
{
    Bytes,
    BitsPerSecond,
    Time,    // a place in time
    Seconds, // a length of time
};

struct SKrTick
{
    double value = 0;
    std::string label;
};

// Round places between two values, at most `most`, labelled in one unit with as many decimals as they need.
std::vector<SKrTick> RoundTicks(double low, double high, size_t most, EKrAxisUnit unit);
} // namespace KrTool

#endif
