#include "tools/map/KrMapText.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace KrTool
{
namespace
{
struct SKrScaleUnit
{
    double size;
    const char* name;
};

using ScaleUnits = std::array<SKrScaleUnit, 6>;
constexpr ScaleUnits kByteUnits = {
    {{1e15, "PB"}, {1e12, "TB"}, {1e9, "GB"}, {1e6, "MB"}, {1e3, "kB"}, {1, "bytes"}}};
constexpr ScaleUnits kRateUnits = {
    {{1e15, "Pbit/s"}, {1e12, "Tbit/s"}, {1e9, "Gbit/s"}, {1e6, "Mbit/s"}, {1e3, "kbit/s"}, {1, "bit/s"}}};

const SKrScaleUnit& UnitFor(const ScaleUnits& units, double value)
{
    const auto found = std::ranges::lower_bound(units, value, std::greater(), &SKrScaleUnit::size);
    return found != units.end() ? *found : units.back();
}

// Three digits.
std::string ScaledText(const ScaleUnits& units, double value)
{
    const SKrScaleUnit& unit = UnitFor(units, value);
    const double scaled = value / unit.size;
    const int decimals = unit.size == 1 || scaled >= 99.95 ? 0 : (scaled >= 9.995 ? 1 : 2);
    return Format("{} {}", Fixed(scaled, decimals), unit.name);
}

// Decimals that make a step visible.
int DecimalsOf(double step)
{
    int decimals = 0;
    for (double rest = step; decimals < 9 && std::abs(rest - std::round(rest)) > 1e-6 * std::max(rest, 1.0);
         rest *= 10)
        ++decimals;
    return decimals;
}

// Seconds, minutes and hours are not counted in tens.
double TimeStep(double least)
{
    static constexpr std::array<double, 16> kSteps = {1,   2,   5,   10,   15,   30,   60,    120,
                                                      300, 600, 900, 1800, 3600, 7200, 21600, 43200};
    if (least <= 0.5)
        return RoundUp(least);
    const auto found = std::ranges::lower_bound(kSteps, least * (1 - 1e-9));
    return found != kSteps.end() ? *found : 86400 * RoundUp(least / 86400);
}

std::string ClockText(double seconds)
{
    const auto whole = static_cast<uint64_t>(std::llround(std::clamp(seconds, 0.0, 1e15)));
    return whole >= 3600 ? Format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60)
                         : Format("{}:{:02}", whole / 60, whole % 60);
}

std::string TickLabel(double value, double step, double largest, EKrAxisUnit unit)
{
    if (unit == EKrAxisUnit::Time && step >= 1 && largest > 60)
        return ClockText(value);
    if (value == 0)
        return "0";
    const std::string sign = value < 0 ? "\u2212" : "";
    value = std::abs(value);
    if (unit == EKrAxisUnit::Seconds || unit == EKrAxisUnit::Time)
        return Format("{}{} s", sign, Fixed(value, DecimalsOf(step)));
    const SKrScaleUnit& scale = UnitFor(unit == EKrAxisUnit::Bytes ? kByteUnits : kRateUnits, largest);
    return Format("{}{} {}", sign, Fixed(value / scale.size, DecimalsOf(step / scale.size)), scale.name);
}
} // namespace

double Millionths(double value)
{
    return std::round(value * 1e6) / 1e6;
}

double RoundUp(double least)
{
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
    {
        if (factor * power >= least * (1 - 1e-9))
            return factor * power;
    }
    return 10 * power;
}

std::string Fixed(double value, int decimals)
{
    std::string number = Format("{:.{}f}", value, decimals);
    const bool isZero = number.find_first_not_of("-0.") == std::string::npos;
    return isZero && number.front() == '-' ? number.substr(1) : number;
}

std::string Trimmed(double value, int decimals)
{
    std::string number = Fixed(value, decimals);
    if (number.find('.') == std::string::npos)
        return number;
    number.erase(number.find_last_not_of('0') + 1);
    if (number.back() == '.')
        number.pop_back();
    return number;
}

std::string Grouped(uint64_t value)
{
    std::string text = std::to_string(value);
    for (size_t place = text.size(); place > 3; place -= 3)
        text.insert(place - 3, 1, ',');
    return text;
}

std::string GroupedCount(uint64_t count, std::string_view noun)
{
    return Grouped(count) + Counted(count, noun).substr(std::to_string(count).size());
}

std::string BytesText(double bytes)
{
    return bytes == 1 ? "1 byte" : ScaledText(kByteUnits, bytes);
}

std::string SignedBytesText(double bytes)
{
    return (bytes < 0 ? "\u2212" : "+") + BytesText(std::abs(bytes));
}

std::string RateText(double bitsPerSecond)
{
    return ScaledText(kRateUnits, bitsPerSecond);
}

// With units, since "1:02.500" could be a time code.
std::string TimeText(double seconds)
{
    const auto milliseconds = static_cast<uint64_t>(std::llround(std::clamp(seconds, 0.0, 1e15) * 1000));
    const uint64_t whole = milliseconds / 1000;
    const std::string rest = Format("{}.{:03} s", whole % 60, milliseconds % 1000);
    if (whole < 60)
        return rest;
    if (whole < 3600)
        return Format("{} min {}", whole / 60, rest);
    return Format("{} h {} min {}", whole / 3600, whole / 60 % 60, rest);
}

std::string SignedSecondsText(double seconds)
{
    const std::string number = Fixed(std::abs(seconds), 3) + " s";
    if (number == "0.000 s")
        return number;
    return (seconds < 0 ? "\u2212" : "+") + number;
}

std::string ShareText(uint64_t part, uint64_t whole)
{
    const double share = whole != 0 ? 100 * static_cast<double>(part) / static_cast<double>(whole) : 0;
    return share > 0 && share < 0.1 ? "<0.1 %" : Fixed(share, 1) + " %";
}

std::string Shortened(const std::string& text, size_t most)
{
    std::vector<size_t> starts; // of the characters
    for (size_t place = 0; place < text.size(); ++place)
    {
        if ((static_cast<unsigned char>(text[place]) & 0xC0) != 0x80)
            starts.push_back(place);
    }
    if (starts.size() <= most)
        return text;
    const size_t tail = most / 2;
    return Format("{}\u2026{}", text.substr(0, starts[most - tail - 1]),
                  text.substr(starts[starts.size() - tail]));
}

double TextWidth(std::string_view text, double fontSize)
{
    double width = 0;
    for (const char character : text)
    {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80)
            width += std::string_view(" .,:'!|ijlt").find(character) != std::string_view::npos ? 0.36 : 0.62;
        else if ((byte & 0xC0) != 0x80)
            width += byte >= 0xE3 ? 1.0 : 0.65;
    }
    return width * fontSize;
}

std::vector<SKrTick> RoundTicks(double low, double high, size_t most, EKrAxisUnit unit)
{
    std::vector<SKrTick> ticks;
    if (!(high > low) || most == 0)
        return ticks;
    const double least = (high - low) / static_cast<double>(most);
    double step = unit == EKrAxisUnit::Time ? TimeStep(least) : RoundUp(least);
    if (unit == EKrAxisUnit::Bytes)
        step = std::max(step, 1.0);
    const double first = std::ceil(low / step - 1e-9);
    const double last = std::floor(high / step + 1e-9);
    const double largest = std::max(std::abs(low), std::abs(high));
    for (double place = first; place <= last && ticks.size() <= most; ++place)
        ticks.push_back({place * step, TickLabel(place * step, step, largest, unit)});
    return ticks;
}
} // namespace KrTool
