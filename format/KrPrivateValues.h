// What the private information chunks of a file say, whoever finds them and reads their bytes.
#ifndef KR_FORMAT_KRPRIVATEVALUES_H
#define KR_FORMAT_KRPRIVATEVALUES_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrPrivateChunks.h"

#include <cstdint>

// A file, as far as its private chunks are concerned.
class IKrPrivateChunks
{
public:
    // The chunk with an id that counts in this file, or null. It stays where it is until another is found.
    [[nodiscard]] virtual const SKrRiffChunkInfo* Find(uint32_t ckid) = 0;

    // Reads all of a chunk's data, which the buffer is large enough for; returns how many bytes came.
    [[nodiscard]] virtual uint32_t ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer) = 0;

    [[nodiscard]] virtual uint64_t FileLength() = 0;

protected:
    ~IKrPrivateChunks() = default;
};

namespace KrPrivateValues
{
inline constexpr int kOwnFlavour = 1;     // 'KrlA'
inline constexpr int kForeignFlavour = 2; // 'CtsI' and 'PrmA'

// Stores -1 and answers false when the chunk is there but sets no mode.
[[nodiscard]] bool ScanMode(IKrPrivateChunks& chunks, int flavour, EKrScanMode& scanMode);
[[nodiscard]] bool PixelAspect(IKrPrivateChunks& chunks, int flavour, SKrPixelAspect& aspect);

// The same of the first flavour that has a value.
[[nodiscard]] bool ScanMode(IKrPrivateChunks& chunks, EKrScanMode& scanMode);
[[nodiscard]] bool PixelAspect(IKrPrivateChunks& chunks, SKrPixelAspect& aspect);
} // namespace KrPrivateValues

#endif
