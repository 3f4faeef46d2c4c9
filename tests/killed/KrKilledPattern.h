// The content of the killed recordings: frames and sound whose bytes encode their number.
#ifndef KR_TESTS_KILLED_KRKILLEDPATTERN_H
#define KR_TESTS_KILLED_KRKILLEDPATTERN_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kKilledFramesPerSecond = 50;
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

inline int64_t MillisecondsSince1970()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}
} // namespace KrTest

#endif
