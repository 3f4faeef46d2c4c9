#include "tools/verify/KrVerify.h"

#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/verify/KrLayoutWalk.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kTypeOffset = 0; // in 'strh'
constexpr size_t kSampleSizeOffset = 44;

void ReadStreamTypes(const SKrVerifyContext& context)
{
    for (SKrVerifyStream& stream : context.model.streams)
    {
        if (!stream.header)
            continue;
        constexpr uint32_t kWanted = kSampleSizeOffset + 4;
        const auto data =
            context.window.At(stream.header->Data(), std::min<size_t>(stream.header->size, kWanted));
        stream.type = GetLe32(data, kTypeOffset);
        stream.sampleSize = GetLe32(data, kSampleSizeOffset);
    }
}

bool IsOfType(EKrContent content, uint32_t type)
{
    if (content == EKrContent::Video)
        return type != kFccAuds;
    return content != EKrContent::Audio || type != kFccVids;
}

void CountChunk(const SKrDataChunk& chunk, SKrVerifyStream& stream)
{
    if (chunk.kind == EKrContent::Other)
        return;
    ++stream.chunks;
    stream.bytes += chunk.size;
    stream.largest = std::max(stream.largest, chunk.size);
    if (chunk.segment == 0)
    {
        ++stream.chunksInFirstSegment;
        stream.bytesInFirstSegment += chunk.size;
    }
}

void CheckPresence(const SKrVerifyContext& context)
{
    const SKrVerifyModel& model = context.model;
    if (model.segments.empty())
        return; // reported as such
    const uint64_t first = model.segments.front().position;
    if (!model.hdrl)
        context.results.Add(EKrCheck::HdrlMissing, first, "LIST 'hdrl'", "none");
    if (!model.segments.front().movi)
        context.results.Add(EKrCheck::MoviMissing, first, "LIST 'movi'", "none");
}

void CountChunks(const SKrVerifyContext& context)
{
    std::vector<SKrVerifyStream>& streams = context.model.streams;
    for (const SKrDataChunk& chunk : context.model.chunks)
    {
        if (chunk.stream >= streams.size())
        {
            if (!streams.empty())
                context.results.Add(EKrCheck::DataNoStream, chunk.position,
                                    [&]() -> SKrExpectation {
                                        return {Format("a stream below {}", streams.size()),
                                                Format("stream {}", chunk.stream)};
                                    });
            continue;
        }
        SKrVerifyStream& stream = streams[chunk.stream];
        if (!IsOfType(chunk.kind, stream.type))
            context.results.Add(EKrCheck::DataKind, chunk.position,
                                [&]() -> SKrExpectation
                                {
                                    return {"a chunk of a stream of type " + FourCcText(stream.type),
                                            chunk.kind == EKrContent::Audio ? "a chunk of sound"
                                                                            : "a chunk of video"};
                                });
        CountChunk(chunk, stream);
    }
}
} // namespace

void Verify(const SKrVerifyFile& file, SKrVerification& verification, CKrProgress& progress)
{
    CKrLayoutWalk(file, verification.model, verification.results, progress).Run();
    CKrVerifyWindow window(file);
    CKrVerifyWindow looks(file);
    const SKrVerifyContext context{window, looks, verification.model, verification.results, progress};
    CheckPresence(context);
    ReadStreamTypes(context);
    CountChunks(context);
    CheckMainHeaders(context);
    CheckStreamHeaders(context);
    CheckOldIndexes(context);
    CheckOpenDmlIndexes(context);
    CheckPrivateChunks(context);
}
} // namespace KrTool
