// The content of the killed recordings: frames and sound whose bytes encode their number.
#ifndef KR_TESTS_KILLED_KRKILLEDPATTERN_H
#define KR_TESTS_KILLED_KRKILLEDPATTERN_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kKilledFramesPerSecond = 25;
inline constexpr uint32_t kKilledAudioBytes = 48000 / kKilledFramesPerSecond * 4;

inline uint32_t KilledFrameBytes(uint32_t number)
{
    return 10'000 + number * 977 % 20'000;
}

inline std::vector<uint8_t> KilledBytes(bool isVideo, uint32_t number)
{
    std::vector<uint8_t> bytes(isVideo ? KilledFrameBytes(number) : kKilledAudioBytes);
    uint32_t state = number * 2654435761u + (isVideo ? 1 : 0);
    for (uint8_t& byte : bytes)
    {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return bytes;
}
} // namespace KrTest

#endif
