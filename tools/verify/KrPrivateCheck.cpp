// The private chunks.
#include "format/KrLimits.h"
#include "format/KrPrivateChunks.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>

namespace KrTool
{
namespace
{
// The values in one private chunk.
struct SKrPrivateFields
{
    uint64_t position = 0; // of the chunk's data
    std::optional<uint8_t> scanMode;
    std::optional<SKrPixelAspect> aspect;
};
using KrPrivateFields = std::array<SKrPrivateFields, std::size(kPrivateChunkKinds)>;

std::string AspectText(const SKrPixelAspect& aspect)
{
    return Format("{}:{}", aspect.horizontal, aspect.vertical);
}

SKrPrivateFields CheckOne(const SKrVerifyContext& context, const SKrPrivateChunk& placed,
                          const SKrPrivateChunkKind& kind)
{
    const SKrPlacedChunk& chunk = placed.chunk;
    const auto data = context.window.At(chunk.Data(), std::min(chunk.size, kPrivateBytesRead));
    const SKrPrivateFields values = {chunk.Data(), DecodeScanMode(kind, data), DecodePixelAspect(kind, data)};
    const std::string name = FourCcText(kind.id);
    CKrVerifyResults& results = context.results;
    if (!placed.isInPlace)
        results.Add(EKrCheck::PrivatePlace, chunk.position, "a place between hdrl and movi", name);
    if (!values.scanMode && !values.aspect)
        results.Add(EKrCheck::PrivateUnreadable, chunk.position, "the fixed bytes of " + name,
                    "others, or " + Counted(chunk.size, "byte"));
    else if (chunk.size != kind.size)
        results.Add(EKrCheck::PrivateSize, chunk.position, Counted(kind.size, "byte"),
                    Counted(chunk.size, "byte"));
    if (values.scanMode && *values.scanMode > 2 && *values.scanMode != kNoScanModeByte)
        results.Add(EKrCheck::PrivateScanMode, values.position + *kind.scanModeAt, "0, 1, 2 or 255",
                    std::to_string(*values.scanMode));
    if (values.aspect && (values.aspect->horizontal == 0 || values.aspect->vertical == 0))
        results.Add(EKrCheck::PrivateAspectZero, values.position + *kind.aspectAt, "two numbers above 0",
                    AspectText(*values.aspect));
    return values;
}

// All chunks must agree with the first one.
void Compare(const SKrVerifyContext& context, const KrPrivateFields& all)
{
    const SKrPrivateFields& first = all.front();
    for (size_t kind = 1; kind < all.size(); ++kind)
    {
        const SKrPrivateFields& other = all[kind];
        if (first.scanMode && other.scanMode && *first.scanMode != *other.scanMode)
            context.results.Add(EKrCheck::PrivateModesDiffer,
                                other.position + *kPrivateChunkKinds[kind].scanModeAt,
                                std::to_string(*first.scanMode), std::to_string(*other.scanMode));
        if (first.aspect && other.aspect && *first.aspect != *other.aspect)
            context.results.Add(EKrCheck::PrivateAspectsDiffer,
                                other.position + *kPrivateChunkKinds[kind].aspectAt,
                                AspectText(*first.aspect), AspectText(*other.aspect));
    }
}
} // namespace

void CheckPrivateChunks(const SKrVerifyContext& context)
{
    const std::vector<SKrPrivateChunk>& chunks = context.model.privateChunks;
    KrPrivateFields fields;
    for (size_t kind = 0; kind < fields.size(); ++kind)
    {
        const auto isKind = [kind](const SKrPrivateChunk& chunk)
        {
            return chunk.chunk.id == kPrivateChunkKinds[kind].id;
        };
        const auto found = std::ranges::find_if(chunks, isKind);
        if (found == chunks.end())
        {
            if (!chunks.empty())
                context.results.Add(EKrCheck::PrivateMissing, chunks.front().chunk.position,
                                    FourCcText(kPrivateChunkKinds[kind].id), "none");
            continue;
        }
        fields[kind] = CheckOne(context, *found, kPrivateChunkKinds[kind]);
        if (const auto second = std::find_if(found + 1, chunks.end(), isKind); second != chunks.end())
            context.results.Add(EKrCheck::ChunkRepeated, second->chunk.position,
                                "one chunk " + FourCcText(kPrivateChunkKinds[kind].id), "another one");
    }
    Compare(context, fields);
}
} // namespace KrTool
