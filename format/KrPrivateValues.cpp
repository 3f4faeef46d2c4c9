#include "format/KrPrivateValues.h"

#include "format/KrFourCC.h"

#include <array>
#include <optional>
#include <span>

namespace
{
// No field lies behind these bytes.
constexpr uint32_t kLargestRead = 512;

// A private chunk's data, zeros behind its end.
struct SPrivateData
{
    std::array<uint8_t, kLargestRead> buffer = {};
    uint32_t size = 0;

    std::span<const uint8_t> Bytes() const { return {buffer.data(), size}; }
};

// Reads the data of a chunk as far as fields go. `whole`: the file must hold all of the chunk.
std::optional<SPrivateData> ReadPrivateChunk(IKrPrivateChunks& chunks, uint32_t wanted, bool whole)
{
    const SKrRiffChunkInfo* const chunk = chunks.Find(wanted);
    if (chunk == nullptr)
        return std::nullopt;
    SPrivateData data;
    if (chunk->cksize <= kLargestRead)
    {
        // The very record that was found: a host's reader may know it by its address.
        data.size = chunks.ReadData(*chunk, data.buffer.data());
        return data.size == chunk->cksize ? std::optional(data) : std::nullopt;
    }
    if (whole && chunk->offset + chunk->cksize > chunks.FileLength())
        return std::nullopt;
    SKrRiffChunkInfo head = *chunk;
    head.cksize = kLargestRead;
    data.size = chunks.ReadData(head, data.buffer.data());
    if (data.size != kLargestRead)
        return std::nullopt;
    return data;
}

std::optional<SPrivateData> ReadKrlA(IKrPrivateChunks& chunks)
{
    return ReadPrivateChunk(chunks, kFccKrlA, false);
}

std::optional<uint8_t> ScanModeByte(IKrPrivateChunks& chunks, int flavour)
{
    uint8_t stored = 0;
    if (flavour == KrPrivateValues::kOwnFlavour)
    {
        const std::optional<SPrivateData> data = ReadKrlA(chunks);
        return data && DecodeKrlAScanMode(data->Bytes(), stored) ? std::optional(stored) : std::nullopt;
    }
    if (flavour == KrPrivateValues::kForeignFlavour)
    {
        const std::optional<SPrivateData> data = ReadPrivateChunk(chunks, kFccCtsI, true);
        return data && DecodeCtsI(data->Bytes(), stored) ? std::optional(stored) : std::nullopt;
    }
    return std::nullopt;
}
} // namespace

bool KrPrivateValues::ScanMode(IKrPrivateChunks& chunks, int flavour, EKrScanMode& scanMode)
{
    const std::optional<uint8_t> stored = ScanModeByte(chunks, flavour);
    if (!stored)
        return false;
    scanMode = ScanModeOfByte(*stored);
    return scanMode != EKrScanMode::Unknown;
}

bool KrPrivateValues::PixelAspect(IKrPrivateChunks& chunks, int flavour, SKrPixelAspect& aspect)
{
    if (flavour == kOwnFlavour)
    {
        const std::optional<SPrivateData> data = ReadKrlA(chunks);
        return data && DecodeKrlAAspect(data->Bytes(), aspect);
    }
    if (flavour == kForeignFlavour)
    {
        const std::optional<SPrivateData> data = ReadPrivateChunk(chunks, kFccPrmA, true);
        return data && DecodePrmA(data->Bytes(), aspect);
    }
    return false;
}

bool KrPrivateValues::ScanMode(IKrPrivateChunks& chunks, EKrScanMode& scanMode)
{
    return ScanMode(chunks, kOwnFlavour, scanMode) || ScanMode(chunks, kForeignFlavour, scanMode);
}

bool KrPrivateValues::PixelAspect(IKrPrivateChunks& chunks, SKrPixelAspect& aspect)
{
    return PixelAspect(chunks, kOwnFlavour, aspect) || PixelAspect(chunks, kForeignFlavour, aspect);
}
