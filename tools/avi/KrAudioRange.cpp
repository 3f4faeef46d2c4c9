#include "tools/avi/KrAudioRange.h"

#include "tools/avi/KrAviFacts.h"

#include <algorithm>
#include <numeric>

namespace KrTool
{
namespace
{
// value * numerator / denominator, rounded to the nearest, halves up; nothing when it leaves 64 bits.
std::optional<uint64_t> Scaled(uint64_t value, uint64_t numerator, uint64_t denominator)
{
    const uint64_t whole = numerator / denominator;
    const uint64_t rest = numerator % denominator;
    const uint64_t largest = UINT64_MAX - denominator / 2;
    if (value != 0 && (rest > largest / value || whole > UINT64_MAX / value))
        return std::nullopt;
    const uint64_t fromWhole = value * whole;
    const uint64_t fromRest = (value * rest + denominator / 2) / denominator;
    return fromRest > UINT64_MAX - fromWhole ? std::nullopt : std::optional(fromWhole + fromRest);
}
} // namespace

std::optional<uint64_t> AudioUnitsUntil(uint64_t frame, SKrUnitRate video, SKrUnitRate audio)
{
    if (!video.IsValid() || !audio.IsValid())
        return std::nullopt;
    const uint64_t numerator = uint64_t{video.scale} * audio.rate;
    const uint64_t denominator = uint64_t{video.rate} * audio.scale;
    const uint64_t divisor = std::gcd(numerator, denominator);
    return Scaled(frame, numerator / divisor, denominator / divisor);
}

SKrAudioUnit AudioUnit(const SKrAviStream& stream)
{
    const SKrAudioFormat format = AudioFormat(stream);
    if (format.IsUncompressed())
        return {{format.samplesPerSec, 1}, format.blockAlign};
    return {{stream.rate, stream.scale}, stream.sampleSize};
}

std::optional<int64_t> AudioUnitAtFrame(uint64_t frame, const SKrAviStream& video, const SKrAviStream& audio)
{
    if (frame > UINT64_MAX - video.start)
        return std::nullopt;
    const SKrUnitRate units = AudioUnit(audio).rate;
    const auto time = AudioUnitsUntil(video.start + frame, {video.rate, video.scale}, units);
    // The header need not count in the units that the format has.
    const auto start = audio.start == 0 ? std::optional<uint64_t>(0)
                                        : AudioUnitsUntil(audio.start, {audio.rate, audio.scale}, units);
    if (!time || !start || *time > INT64_MAX || *start > INT64_MAX)
        return std::nullopt;
    return static_cast<int64_t>(*time) - static_cast<int64_t>(*start);
}

Chunks UnitsOf(const Chunks& chunks, const SKrAudioUnit& unit, uint64_t first, uint64_t end)
{
    if (unit.bytes == 0)
    {
        const auto place = [&chunks](uint64_t number)
        {
            return chunks.begin() + static_cast<std::ptrdiff_t>(std::min<uint64_t>(number, chunks.size()));
        };
        return end > first ? Chunks(place(first), place(end)) : Chunks();
    }
    const uint64_t firstByte = first > UINT64_MAX / unit.bytes ? UINT64_MAX : first * unit.bytes;
    const uint64_t endByte = end > UINT64_MAX / unit.bytes ? UINT64_MAX : end * unit.bytes;
    Chunks part;
    uint64_t start = 0; // bytes of the stream before this chunk
    for (const SKrChunkIndexEntry& chunk : chunks)
    {
        const uint64_t from = std::max(firstByte, start);
        const uint64_t to = std::min(endByte, start + chunk.size);
        if (from < to)
            part.push_back({chunk.position + (from - start), static_cast<uint32_t>(to - from), 0});
        start += chunk.size;
    }
    return part;
}

uint8_t SilenceByte(uint16_t bitsPerSample)
{
    constexpr uint16_t kMostUnsignedBits = 8; // samples of up to so many bits have no sign
    constexpr uint8_t kMiddle = 0x80;
    return bitsPerSample <= kMostUnsignedBits ? kMiddle : 0;
}

uint64_t UnitsIn(const Chunks& chunks, const SKrAudioUnit& unit)
{
    return unit.bytes == 0 ? chunks.size() : TotalBytes(chunks) / unit.bytes;
}

uint64_t SampleFrames(const SKrAviStream& stream, const Chunks& chunks)
{
    const SKrAudioFormat format = AudioFormat(stream);
    const SKrAudioUnit unit = AudioUnit(stream);
    const uint64_t units = UnitsIn(chunks, unit);
    if (format.IsUncompressed())
        return units;
    return AudioUnitsUntil(units, unit.rate, {format.samplesPerSec, 1}).value_or(0);
}
} // namespace KrTool
