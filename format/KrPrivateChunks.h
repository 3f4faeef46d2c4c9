// The suite's private information chunks. Each lies directly in the first RIFF 'AVI ' between 'hdrl' and
// 'movi'. They carry the scan mode as one byte and the pixel aspect ratio as two big-endian values.
#ifndef KR_FORMAT_KRPRIVATECHUNKS_H
#define KR_FORMAT_KRPRIVATECHUNKS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrFourCC.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

inline constexpr uint8_t kNoScanModeByte = 0xFF;

struct SKrPixelAspect
{
    uint32_t horizontal = 1;
    uint32_t vertical = 1;

    bool operator==(const SKrPixelAspect&) const = default;
};

// Bytes of a chunk's data that are the same in every file. What lies between them and the fields is zero.
struct SKrFixedBytes
{
    size_t at = 0; // in the data
    std::span<const uint8_t> bytes;
    bool isChecked = true; // a chunk with other bytes here is refused
};

struct SKrPrivateChunkKind
{
    uint32_t id = 0;
    int flavour = 0;          // by which hosts ask for it
    size_t size = 0;          // of the data that the writer stores
    size_t minimumSize = 0;   // of the data that is read; missing bytes read as zeros
    bool mustBeWhole = false; // refused where the file ends inside it, even after its last field
    std::span<const SKrFixedBytes> fixed;
    std::optional<size_t> scanModeAt; // in the data; empty: the chunk has no such field
    std::optional<size_t> aspectAt;
};

namespace KrPrivateChunkBytes
{
inline constexpr uint8_t kSignature[16] = {'k', 'o', 'r', 'i', 'n', '-', 'a', 'v', 'i'};
inline constexpr uint8_t kFormatMark[4] = {0x00, 0x00, 0x0F, 0x00};
inline constexpr SKrFixedBytes kKrlA[] = {{0, kSignature}, {17, kFormatMark}};

inline constexpr uint8_t kAtomHead[12] = {'P', 'A', 'R', 'f', 0, 0,
                                          0,   20,  0,   1,   0, 0}; // type, length, version
inline constexpr SKrFixedBytes kPrmA[] = {{0, kAtomHead}};

inline constexpr uint8_t kVersion[4] = {0x00, 0x00, 0x02, 0x00};
inline constexpr uint8_t kOnes[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
inline constexpr SKrFixedBytes kCtsI[] = {{0, kVersion}, {12, kOnes, false}};
} // namespace KrPrivateChunkBytes

// All of them. The writer stores them in this order; of several that carry a value, the first counts.
// Kept: 20 bytes are enough for 'KrlA' although its last field ends at byte 30.
inline constexpr SKrPrivateChunkKind kPrivateChunkKinds[] = {
    {kFccKrlA, 1, 508, 20, false, KrPrivateChunkBytes::kKrlA, 21, 22},
    {kFccPrmA, 2, 20, 20, true, KrPrivateChunkBytes::kPrmA, std::nullopt, 12},
    {kFccCtsI, 2, 196, 25, true, KrPrivateChunkBytes::kCtsI, 24, std::nullopt},
};
static_assert(std::ranges::is_sorted(kPrivateChunkKinds, {}, &SKrPrivateChunkKind::flavour),
              "the lower flavour goes first");

// Null for any other chunk.
constexpr const SKrPrivateChunkKind* FindPrivateChunkKind(uint32_t id)
{
    const auto* const found = std::ranges::find(kPrivateChunkKinds, id, &SKrPrivateChunkKind::id);
    return found == std::end(kPrivateChunkKinds) ? nullptr : found;
}

// What the writer stores for a format: display width over stored width, reduced, in aspect modes 0 and 1.
// Kept: 648:720 and 864:720 of the modes 4 and 5 are not reduced; readers know these pairs as they stand.
SKrPixelAspect PixelAspectToStore(const SKrAviVideoParams& params);

// The chunk's data as the writer stores it.
std::vector<uint8_t> BuildPrivateChunk(const SKrPrivateChunkKind& kind, uint8_t scanMode,
                                       const SKrPixelAspect& aspect);

// The fields of a chunk; nothing when it has no such field, is too short, or has other bytes than those that
// are checked.
[[nodiscard]] std::optional<uint8_t> DecodeScanMode(const SKrPrivateChunkKind& kind,
                                                    std::span<const uint8_t> data);
[[nodiscard]] std::optional<SKrPixelAspect> DecodePixelAspect(const SKrPrivateChunkKind& kind,
                                                              std::span<const uint8_t> data);

// Scan mode of a stored byte: Unknown for anything but 0, 1 and 2.
EKrScanMode ScanModeOfByte(uint8_t stored);

#endif
