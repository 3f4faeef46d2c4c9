// The times of frames as people write them: "00:01:02:03" is frame 3 of those that begin in the second 62
// after the first frame. At whole rates that is a time code; at others, such as 30000/1001, its seconds are
// those of a clock.
#ifndef KR_TOOLS_AVI_KRFRAMETIME_H
#define KR_TOOLS_AVI_KRFRAMETIME_H

#include "tools/avi/KrAudioRange.h"

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
// The rate must be valid.
std::string FrameTimeText(uint64_t frame, SKrUnitRate rate);

// A frame, as the user names one: by its number, by its time ("00:01:02:03"), or as the one at a moment
// ("62.12s").
struct SKrFramePlace
{
    enum class EKrBy : uint8_t
    {
        Number,
        Time,
        Moment
    };

    EKrBy by = EKrBy::Number;
    uint64_t number = 0;       // of the frame; of a time, within its second
    uint64_t seconds = 0;      // of a time
    uint64_t microseconds = 0; // of a moment

    [[nodiscard]] bool NeedsRate() const { return by != EKrBy::Number; }
};

// Nothing for a text that is none of these.
std::optional<SKrFramePlace> ParseFramePlace(const std::string& text);

// The frame that a place names as the first one: of a moment, the first that begins then or later. Nothing
// where no frame begins at that time.
std::optional<uint64_t> FirstFrameAt(const SKrFramePlace& place, SKrUnitRate rate);

// As the last one: of a moment, the last that begins before it.
std::optional<uint64_t> LastFrameAt(const SKrFramePlace& place, SKrUnitRate rate);
} // namespace KrTool

#endif
