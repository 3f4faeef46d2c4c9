// The values in the private information chunks of a file, whoever finds them and reads their bytes.
#ifndef KR_FORMAT_KRPRIVATEVALUES_H
#define KR_FORMAT_KRPRIVATEVALUES_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrPrivateChunks.h"

#include <cstdint>
#include <optional>

// Where the private chunks of a file come from.
class IKrPrivateChunks
{
public:
    // The chunk with an id that is in effect in this file, or null. The pointer is valid until the next call.
    [[nodiscard]] virtual const SKrRiffChunkInfo* Find(uint32_t ckid) = 0;

    // Reads all of a chunk's data, which fits the buffer; returns the number of bytes read.
    [[nodiscard]] virtual uint32_t ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer) = 0;

    [[nodiscard]] virtual uint64_t FileLength() = 0;

protected:
    ~IKrPrivateChunks() = default;
};

// Of the chunks of a flavour, or without one of all chunks: the first in kPrivateChunkKinds that has a value.
namespace KrPrivateValues
{
inline constexpr std::optional<int> kAnyFlavour = std::nullopt;

// Stores -1 and answers false when a chunk is there but sets no mode, and none after it does.
[[nodiscard]] bool ScanMode(IKrPrivateChunks& chunks, std::optional<int> flavour, EKrScanMode& scanMode);
[[nodiscard]] bool PixelAspect(IKrPrivateChunks& chunks, std::optional<int> flavour, SKrPixelAspect& aspect);
} // namespace KrPrivateValues

#endif
