// The private chunks with scan mode and pixel aspect.
#include "format/KrFourCC.h"
#include "format/KrPrivateChunks.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>
#include <array>
#include <optional>

namespace KrTool
{
namespace
{
constexpr size_t kLookedAt = 512; // no reader looks at more

struct SKrPrivateKind
{
    uint32_t id;
    uint32_t size;
    uint64_t scanModeAt; // in the data
    uint64_t aspectAt;
};
constexpr std::array<SKrPrivateKind, 3> kKinds = {
    {{kFccKrlA, kKrlASize, 21, 22}, {kFccPrmA, kPrmASize, 0, 12}, {kFccCtsI, kCtsISize, 24, 0}}};

// What one private chunk says.
struct SKrPrivateValues
{
    uint64_t position = 0;
    std::optional<uint8_t> scanMode;
    std::optional<SKrPixelAspect> aspect;
};

SKrPrivateValues ValuesOf(const SKrVerifyContext& context, const SKrPlacedChunk& chunk)
{
    const auto data = context.window.At(chunk.Data(), std::min<size_t>(chunk.size, kLookedAt));
    SKrPrivateValues values;
    values.position = chunk.Data();
    uint8_t mode = 0;
    SKrPixelAspect aspect;
    if ((chunk.id == kFccKrlA && DecodeKrlAScanMode(data, mode)) ||
        (chunk.id == kFccCtsI && DecodeCtsI(data, mode)))
        values.scanMode = mode;
    if ((chunk.id == kFccKrlA && DecodeKrlAAspect(data, aspect)) ||
        (chunk.id == kFccPrmA && DecodePrmA(data, aspect)))
        values.aspect = aspect;
    return values;
}

std::string AspectText(const SKrPixelAspect& aspect)
{
    return std::to_string(aspect.horizontal) + ':' + std::to_string(aspect.vertical);
}

SKrPrivateValues CheckOne(const SKrVerifyContext& context, const SKrPrivateChunk& chunk,
                          const SKrPrivateKind& kind)
{
    const SKrPrivateValues values = ValuesOf(context, chunk.chunk);
    const std::string name = FourCcText(kind.id);
    CKrVerifyResults& results = context.results;
    if (!chunk.isInPlace)
        results.Add(EKrCheck::PrivatePlace, chunk.chunk.position, "a place between hdrl and movi", name);
    if (!values.scanMode && !values.aspect)
        results.Add(EKrCheck::PrivateUnreadable, chunk.chunk.position, "the fixed bytes of " + name,
                    "others, or " + Counted(chunk.chunk.size, "byte"));
    else if (chunk.chunk.size != kind.size)
        results.Add(EKrCheck::PrivateSize, chunk.chunk.position, Counted(kind.size, "byte"),
                    Counted(chunk.chunk.size, "byte"));
    if (values.scanMode && *values.scanMode > 2 && *values.scanMode != kNoScanModeByte)
        results.Add(EKrCheck::PrivateScanMode, values.position + kind.scanModeAt, "0, 1, 2 or 255",
                    std::to_string(*values.scanMode));
    if (values.aspect && (values.aspect->horizontal == 0 || values.aspect->vertical == 0))
        results.Add(EKrCheck::PrivateAspectZero, values.position + kind.aspectAt, "two numbers above 0",
                    AspectText(*values.aspect));
    return values;
}

void Compare(const SKrVerifyContext& context, const std::array<SKrPrivateValues, 3>& values)
{
    const auto& [own, aspect, mode] = values;
    if (own.scanMode && mode.scanMode && *own.scanMode != *mode.scanMode)
        context.results.Add(EKrCheck::PrivateModesDiffer, mode.position + kKinds[2].scanModeAt,
                            std::to_string(*own.scanMode), std::to_string(*mode.scanMode));
    if (own.aspect && aspect.aspect && AspectText(*own.aspect) != AspectText(*aspect.aspect))
        context.results.Add(EKrCheck::PrivateAspectsDiffer, aspect.position + kKinds[1].aspectAt,
                            AspectText(*own.aspect), AspectText(*aspect.aspect));
}
} // namespace

void CheckPrivateChunks(const SKrVerifyContext& context)
{
    const std::vector<SKrPrivateChunk>& chunks = context.model.privateChunks;
    std::array<SKrPrivateValues, 3> values;
    for (size_t kind = 0; kind < kKinds.size(); ++kind)
    {
        const auto isKind = [kind](const SKrPrivateChunk& chunk)
        {
            return chunk.chunk.id == kKinds[kind].id;
        };
        const auto found = std::ranges::find_if(chunks, isKind);
        if (found == chunks.end())
        {
            if (!chunks.empty())
                context.results.Add(EKrCheck::PrivateMissing, chunks.front().chunk.position,
                                    FourCcText(kKinds[kind].id), "none");
            continue;
        }
        values[kind] = CheckOne(context, *found, kKinds[kind]);
        if (const auto second = std::find_if(found + 1, chunks.end(), isKind); second != chunks.end())
            context.results.Add(EKrCheck::ChunkRepeated, second->chunk.position,
                                "one chunk " + FourCcText(kKinds[kind].id), "another one");
    }
    Compare(context, values);
}
} // namespace KrTool
