#include "tools/avi/KrFrameTime.h"

#include "tools/command/KrFormat.h"

#include <array>
#include <charconv>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr uint64_t kMicrosecondsInSecond = 1'000'000;
constexpr uint64_t kMostSeconds = 100'000'000; // three years: products with rates stay below 64 bits
constexpr size_t kMostFractionDigits = 6;

// The first frame that begins at a whole second or later.
uint64_t FirstFrameOfSecond(uint64_t second, SKrUnitRate rate)
{
    return (second * rate.rate + rate.scale - 1) / rate.scale;
}

// The number of frames that begin before a moment.
uint64_t FramesBefore(uint64_t microseconds, SKrUnitRate rate)
{
    const uint64_t whole = microseconds / kMicrosecondsInSecond;
    const uint64_t rest = microseconds % kMicrosecondsInSecond;
    const uint64_t scaled =
        whole * rate.rate + (rest * rate.rate + kMicrosecondsInSecond - 1) / kMicrosecondsInSecond;
    return (scaled + rate.scale - 1) / rate.scale;
}

std::optional<uint64_t> ParseDigits(std::string_view text, uint64_t most)
{
    uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || rest != text.data() + text.size() || number > most)
        return std::nullopt;
    return number;
}

std::optional<SKrFramePlace> ParseMoment(std::string_view text)
{
    const size_t point = text.find('.');
    const auto whole = ParseDigits(text.substr(0, point), kMostSeconds);
    std::string fraction(point == std::string_view::npos ? "0" : text.substr(point + 1));
    if (!whole || fraction.empty() || fraction.size() > kMostFractionDigits)
        return std::nullopt;
    fraction.resize(kMostFractionDigits, '0');
    const auto rest = ParseDigits(fraction, kMicrosecondsInSecond);
    if (!rest)
        return std::nullopt;
    return SKrFramePlace{.by = SKrFramePlace::EKrBy::Moment,
                         .microseconds = *whole * kMicrosecondsInSecond + *rest};
}

std::optional<SKrFramePlace> ParseTime(std::string_view text)
{
    std::array<uint64_t, 4> parts = {};
    for (size_t part = 0; part < parts.size(); ++part)
    {
        const size_t colon = text.find(':');
        if ((colon == std::string_view::npos) != (part + 1 == parts.size()))
            return std::nullopt;
        const bool isSixtieths = part == 1 || part == 2;
        const auto number = ParseDigits(text.substr(0, colon), isSixtieths ? 59 : 9999);
        if (!number)
            return std::nullopt;
        parts[part] = *number;
        text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
    }
    return SKrFramePlace{.by = SKrFramePlace::EKrBy::Time,
                         .number = parts[3],
                         .seconds = (parts[0] * 60 + parts[1]) * 60 + parts[2]};
}

std::optional<uint64_t> FrameAtTime(const SKrFramePlace& place, SKrUnitRate rate)
{
    const uint64_t frame = FirstFrameOfSecond(place.seconds, rate) + place.number;
    return frame < FirstFrameOfSecond(place.seconds + 1, rate) ? std::optional(frame) : std::nullopt;
}
} // namespace

std::string FrameTimeText(uint64_t frame, SKrUnitRate rate)
{
    const uint64_t second = frame / rate.rate * rate.scale + frame % rate.rate * rate.scale / rate.rate;
    const uint64_t rest = frame - FirstFrameOfSecond(second, rate);
    return Format("{:02}:{:02}:{:02}:{:02}", second / 3600, second / 60 % 60, second % 60, rest);
}

std::optional<SKrFramePlace> ParseFramePlace(const std::string& text)
{
    constexpr size_t kMostNumberDigits = 18;
    const std::string_view view = text;
    if (view.ends_with('s'))
        return ParseMoment(view.substr(0, view.size() - 1));
    if (view.find(':') != std::string_view::npos)
        return ParseTime(view);
    const auto number = text.size() <= kMostNumberDigits ? ParseDigits(view, UINT64_MAX) : std::nullopt;
    return number ? std::optional(SKrFramePlace{.number = *number}) : std::nullopt;
}

std::optional<uint64_t> FirstFrameAt(const SKrFramePlace& place, SKrUnitRate rate)
{
    if (place.by == SKrFramePlace::EKrBy::Number)
        return place.number;
    if (place.by == SKrFramePlace::EKrBy::Time)
        return FrameAtTime(place, rate);
    return FramesBefore(place.microseconds, rate);
}

std::optional<uint64_t> LastFrameAt(const SKrFramePlace& place, SKrUnitRate rate)
{
    if (place.by != SKrFramePlace::EKrBy::Moment)
        return FirstFrameAt(place, rate);
    const uint64_t before = FramesBefore(place.microseconds, rate);
    return before != 0 ? std::optional(before - 1) : std::nullopt;
}
} // namespace KrTool
