#include "format/KrPrivateValues.h"

#include "format/KrLimits.h"

#include <algorithm>
#include <array>
#include <span>

namespace
{
struct SPrivateData
{
    std::array<uint8_t, kPrivateBytesRead> buffer = {};
    uint32_t size = 0;

    std::span<const uint8_t> Bytes() const { return {buffer.data(), size}; }
};

// Reads the data of a chunk up to the last byte that a field can lie in.
std::optional<SPrivateData> ReadPrivateChunk(IKrPrivateChunks& chunks, const SKrPrivateChunkKind& kind)
{
    const SKrRiffChunkInfo* const chunk = chunks.Find(kind.id);
    if (chunk == nullptr)
        return std::nullopt;
    SPrivateData data;
    if (chunk->cksize <= kPrivateBytesRead)
    {
        // The very record that was found: a host's reader may know it by its address.
        data.size = chunks.ReadData(*chunk, data.buffer.data());
        return data.size == chunk->cksize ? std::optional(data) : std::nullopt;
    }
    if (kind.mustBeWhole && chunk->offset + chunk->cksize > chunks.FileLength())
        return std::nullopt;
    SKrRiffChunkInfo head = *chunk;
    head.cksize = kPrivateBytesRead;
    data.size = chunks.ReadData(head, data.buffer.data());
    if (data.size != kPrivateBytesRead)
        return std::nullopt;
    return data;
}

bool ReadScanMode(IKrPrivateChunks& chunks, const SKrPrivateChunkKind& kind, EKrScanMode& scanMode)
{
    const auto data = ReadPrivateChunk(chunks, kind);
    const auto stored = data ? DecodeScanMode(kind, data->Bytes()) : std::nullopt;
    if (!stored)
        return false;
    scanMode = ScanModeOfByte(*stored);
    return scanMode != EKrScanMode::Unknown;
}

bool ReadPixelAspect(IKrPrivateChunks& chunks, const SKrPrivateChunkKind& kind, SKrPixelAspect& aspect)
{
    const auto data = ReadPrivateChunk(chunks, kind);
    const auto stored = data ? DecodePixelAspect(kind, data->Bytes()) : std::nullopt;
    aspect = stored.value_or(aspect);
    return stored.has_value();
}
} // namespace

bool KrPrivateValues::ScanMode(IKrPrivateChunks& chunks, std::optional<int> flavour, EKrScanMode& scanMode)
{
    return std::ranges::any_of(kPrivateChunkKinds,
                               [&](const SKrPrivateChunkKind& kind)
                               {
                                   return kind.scanModeAt && flavour.value_or(kind.flavour) == kind.flavour &&
                                          ReadScanMode(chunks, kind, scanMode);
                               });
}

bool KrPrivateValues::PixelAspect(IKrPrivateChunks& chunks, std::optional<int> flavour,
                                  SKrPixelAspect& aspect)
{
    return std::ranges::any_of(kPrivateChunkKinds,
                               [&](const SKrPrivateChunkKind& kind)
                               {
                                   return kind.aspectAt && flavour.value_or(kind.flavour) == kind.flavour &&
                                          ReadPixelAspect(chunks, kind, aspect);
                               });
}
