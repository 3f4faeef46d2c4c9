// 'avih' and 'dmlh' against the content.
#include "format/KrAviHeaders.h"
#include "format/KrBytes.h"
#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>

namespace KrTool
{
namespace
{
const SKrVerifyStream* FirstVideo(const SKrVerifyModel& model)
{
    const auto found = std::ranges::find(model.streams, uint32_t{kFccVids}, &SKrVerifyStream::type);
    return found == model.streams.end() ? nullptr : &*found;
}

bool HasAnyIndex(const SKrVerifyModel& model)
{
    return model.HasSuperIndex() || std::ranges::any_of(model.segments, [](const SKrSegmentPlace& segment)
                                                        { return segment.oldIndex.has_value(); });
}

void CheckFlags(const SKrVerifyContext& context, const SKrMainHeader& header, uint64_t position)
{
    const bool hasIndex = HasAnyIndex(context.model);
    if (hasIndex && (header.flags & kAvifHasIndex) == 0)
        context.results.Add(EKrCheck::AvihNoIndexFlag, position + KrAvih::kFlagsAt, "the flag 16",
                            Format("flags {}", header.flags));
    if (!hasIndex && (header.flags & kAvifMustUseIndex) != 0)
        context.results.Add(EKrCheck::AvihMustUseIndex, position + KrAvih::kFlagsAt, "an index",
                            Format("flags {}", header.flags));
}

void CheckFrames(const SKrVerifyContext& context, const SKrMainHeader& header, uint64_t position,
                 const SKrVerifyStream& video)
{
    if (!context.model.isCut && header.totalFrames != video.chunks &&
        header.totalFrames != video.chunksInFirstSegment)
        context.results.Add(EKrCheck::AvihFrames, position + KrAvih::kFramesAt,
                            video.chunks == video.chunksInFirstSegment
                                ? std::to_string(video.chunks)
                                : Format("{} or {}", video.chunks, video.chunksInFirstSegment),
                            std::to_string(header.totalFrames));
}

void CheckPicture(const SKrVerifyContext& context, const SKrMainHeader& header, uint64_t position,
                  const SKrVerifyStream& video)
{
    if (!video.format)
        return;
    const auto size = std::min<size_t>(video.format->size, SKrBitmapHeader::kEncodedSize);
    const SKrBitmapHeader format = DecodeBitmapHeader(context.window.At(video.format->Data(), size));
    const int64_t height = std::abs(int64_t{format.height});
    if (int64_t{header.width} != format.width || int64_t{header.height} != height)
        context.results.Add(EKrCheck::AvihPictureSize, position + KrAvih::kWidthAt,
                            Format("{} x {}", format.width, height),
                            Format("{} x {}", header.width, header.height));
}

// Truncated and rounded values are both right.
void CheckFrameTime(const SKrVerifyContext& context, const SKrMainHeader& header, uint64_t position,
                    const SKrVerifyStream& video)
{
    if (video.rate == 0 || video.scale == 0)
        return;
    const uint64_t wanted = uint64_t{1000000} * video.scale / video.rate;
    if (header.microSecPerFrame != wanted && header.microSecPerFrame != wanted + 1)
        context.results.Add(EKrCheck::AvihFrameTime, position + KrAvih::kFrameTimeAt,
                            Format("{} microseconds", wanted), std::to_string(header.microSecPerFrame));
}

void CheckBuffer(const SKrVerifyContext& context, const SKrMainHeader& header, uint64_t position)
{
    const auto& streams = context.model.streams;
    const uint32_t largest =
        streams.empty() ? 0 : std::ranges::max(streams, {}, &SKrVerifyStream::largest).largest;
    if (header.suggestedBufferSize != 0 && header.suggestedBufferSize < largest)
        context.results.Add(EKrCheck::AvihBufferSmall, position + KrAvih::kBufferAt,
                            Format("{} at least", largest), std::to_string(header.suggestedBufferSize));
}

void CheckMainHeader(const SKrVerifyContext& context, const SKrPlacedChunk& chunk)
{
    if (chunk.size < SKrMainHeader::kEncodedSize)
    {
        context.results.Add(EKrCheck::AvihShort, chunk.position, "56 bytes", Counted(chunk.size, "byte"));
        return;
    }
    CKrByteReader in(context.window.At(chunk.Data(), SKrMainHeader::kEncodedSize));
    SKrMainHeader header;
    if (!Decode(in, header))
        return; // cut by the end of the file
    const uint64_t position = chunk.Data();
    if (header.streams != context.model.streams.size())
        context.results.Add(EKrCheck::AvihStreams, position + KrAvih::kStreamsAt,
                            Numbers(context.model.streams.size(), header.streams));
    CheckFlags(context, header, position);
    CheckBuffer(context, header, position);
    if (const SKrVerifyStream* const video = FirstVideo(context.model); video != nullptr)
    {
        CheckFrames(context, header, position, *video);
        CheckPicture(context, header, position, *video);
        CheckFrameTime(context, header, position, *video);
    }
}

void CheckOpenDmlHeader(const SKrVerifyContext& context)
{
    const SKrVerifyModel& model = context.model;
    if (!model.openDmlHeader)
    {
        if (model.segments.size() > 1 && model.hdrl)
            context.results.Add(EKrCheck::DmlhMissing, *model.hdrl, "LIST 'odml' with 'dmlh'", "none");
        return;
    }
    const SKrPlacedChunk& chunk = *model.openDmlHeader;
    if (chunk.size < 4)
    {
        context.results.Add(EKrCheck::DmlhShort, chunk.position, "4 bytes at least",
                            Counted(chunk.size, "byte"));
        return;
    }
    const uint32_t frames = CKrByteReader(context.window.At(chunk.Data(), 4)).U32Le();
    const SKrVerifyStream* const video = FirstVideo(model);
    if (video != nullptr && !model.isCut && frames != video->chunks)
        context.results.Add(EKrCheck::DmlhFrames, chunk.Data(), Numbers(video->chunks, frames));
}
} // namespace

void CheckMainHeaders(const SKrVerifyContext& context)
{
    if (context.model.mainHeader)
        CheckMainHeader(context, *context.model.mainHeader);
    else if (context.model.hdrl)
        context.results.Add(EKrCheck::AvihMissing, *context.model.hdrl, "avih", "none");
    CheckOpenDmlHeader(context);
    const bool hasData = !context.model.chunks.empty();
    if (hasData && !context.model.segments.empty() && !HasAnyIndex(context.model))
        context.results.Add(EKrCheck::IndexMissing, context.model.segments.front().position,
                            "'idx1' or super indexes", "none");
}
} // namespace KrTool
