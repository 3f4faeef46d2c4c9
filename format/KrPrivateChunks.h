// The suite's private information chunks. Each lies directly in the first RIFF 'AVI ' between 'hdrl' and
// 'movi'. They carry the scan mode as one byte and the pixel aspect ratio as two big-endian values.
#ifndef KR_FORMAT_KRPRIVATECHUNKS_H
#define KR_FORMAT_KRPRIVATECHUNKS_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr size_t kKrlASize = 508;
inline constexpr size_t kPrmASize = 20;
inline constexpr size_t kCtsISize = 196;

inline constexpr uint8_t kNoScanModeByte = 0xFF;

struct SKrPixelAspect
{
    uint32_t horizontal = 1;
    uint32_t vertical = 1;
};

// What the writer stores for a format: display width over stored width, reduced, in aspect modes 0 and 1.
// Kept: 648:720 and 864:720 of the modes 4 and 5 are not reduced; readers know these pairs as they stand.
SKrPixelAspect PixelAspectToStore(const SKrAviVideoParams& params);

// Chunk data as the writer stores it.
std::array<uint8_t, kKrlASize> BuildKrlA(uint8_t scanMode, const SKrPixelAspect& aspect);
std::array<uint8_t, kPrmASize> BuildPrmA(const SKrPixelAspect& aspect);
std::array<uint8_t, kCtsISize> BuildCtsI(uint8_t scanMode);

// The decoders check the chunk's fixed bytes and answer false when they are not as they must be.

// Kept: 20 bytes are enough for 'KrlA' although its last field ends at byte 30. Missing bytes read as zeros.
[[nodiscard]] bool DecodeKrlAScanMode(std::span<const uint8_t> data, uint8_t& scanMode);
[[nodiscard]] bool DecodeKrlAAspect(std::span<const uint8_t> data, SKrPixelAspect& aspect);
[[nodiscard]] bool DecodeCtsI(std::span<const uint8_t> data, uint8_t& scanMode);
[[nodiscard]] bool DecodePrmA(std::span<const uint8_t> data, SKrPixelAspect& aspect);

// Scan mode of a stored byte: Unknown for anything but 0, 1 and 2.
EKrScanMode ScanModeOfByte(uint8_t stored);

#endif
