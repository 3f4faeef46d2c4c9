// Which part of an audio stream belongs to a range of video frames.
#ifndef KR_TOOLS_AVI_KRAUDIORANGE_H
#define KR_TOOLS_AVI_KRAUDIORANGE_H

#include "tools/avi/KrStreamChunks.h"

#include <cstdint>
#include <optional>

namespace KrTool
{
struct SKrAviStream;

// A fraction of two 32-bit numbers, such as units per second.
struct SKrUnitRate
{
    uint32_t rate = 0;
    uint32_t scale = 0;

    bool IsValid() const { return rate != 0 && scale != 0; }
};

// Audio units (sample frames, or chunks of compressed audio) up to a video frame, rounded to the nearest
// whole number, halves up; nothing where a rate is 0 or the result would not be exact.
std::optional<uint64_t> AudioUnitsUntil(uint64_t frame, SKrUnitRate video, SKrUnitRate audio);

// How an audio stream counts time: units of `bytes` bytes, or each chunk a unit when `bytes` is 0.
struct SKrAudioUnit
{
    SKrUnitRate rate;
    uint64_t bytes = 0;
};
SKrAudioUnit AudioUnit(const SKrAviStream& stream);

// The audio unit nearest to the time of a video frame, counted from the stream's
// first, which is below 0 where the sound starts later. Both streams' starts count. Nothing as above.
std::optional<int64_t> AudioUnitAtFrame(uint64_t frame, const SKrAviStream& video, const SKrAviStream& audio);

// The part of the chunks that holds the units from `first` on and before `end`. Positions and sizes are cut
// to it.
Chunks UnitsOf(const Chunks& chunks, const SKrAudioUnit& unit, uint64_t first, uint64_t end);

// The byte of which silence consists in PCM of so many bits.
uint8_t SilenceByte(uint16_t bitsPerSample);

// Whole units in the chunks.
uint64_t UnitsIn(const Chunks& chunks, const SKrAudioUnit& unit);

// Sample frames in the chunks, as exactly as the format allows; 0 when unknown.
uint64_t SampleFrames(const SKrAviStream& stream, const Chunks& chunks);
} // namespace KrTool

#endif
