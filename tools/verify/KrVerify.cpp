#include "tools/verify/KrVerify.h"

#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrLayoutCheck.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// 'strh' in its usual size; missing fields are 0.
void ReadStreamHeaders(const SKrVerifyContext& context)
{
    for (SKrVerifyStream& stream : context.model.streams)
    {
        if (!stream.header)
            continue;
        const size_t size = std::min<size_t>(stream.header->size, SKrStreamHeader::kEncodedSize);
        static_cast<void>(DecodeStreamHeader(context.window.At(stream.header->Data(), size), stream));
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
                                    [&] {
                                        return SKrExpectation{Format("a stream below {}", streams.size()),
                                                              Format("stream {}", chunk.stream)};
                                    });
            continue;
        }
        SKrVerifyStream& stream = streams[chunk.stream];
        if (!IsOfType(chunk.kind, stream.type))
            context.results.Add(EKrCheck::DataKind, chunk.position,
                                [&]
                                {
                                    return SKrExpectation{
                                        "a chunk of a stream of type " + FourCcText(stream.type),
                                        chunk.kind == EKrContent::Audio ? "a chunk of sound"
                                                                        : "a chunk of video"};
                                });
        CountChunk(chunk, stream);
    }
}
} // namespace

void Verify(const CKrByteSource& file, SKrVerification& verification, CKrProgress& progress)
{
    CKrLayoutCheck(file, verification.model, verification.results).Run(progress);
    CKrFileWindow window(file);
    CKrFileWindow strayWindow(file);
    const SKrVerifyContext context{window,
                                   strayWindow,
                                   verification.model,
                                   verification.results,
                                   progress,
                                   verification.interleaveLimit};
    CheckPresence(context);
    ReadStreamHeaders(context);
    CountChunks(context);
    CheckMainHeaders(context);
    CheckStreamHeaders(context);
    CheckPictures(context);
    CheckOldIndexes(context);
    CheckOpenDmlIndexes(context);
    CheckGaps(context);
    CheckInterleave(context);
    CheckPrivateChunks(context);
}
} // namespace KrTool
