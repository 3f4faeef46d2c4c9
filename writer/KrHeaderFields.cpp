#include "writer/KrHeaderFields.h"

#include "format/KrChunkHeader.h"

#include <algorithm>
#include <utility>

namespace
{
// Places of the fields in their chunks, with headers.
constexpr size_t kChunkSizeAt = 4;
constexpr size_t kMaxBytesPerSecAt = 8 + 4;
constexpr size_t kTotalFramesAt = 8 + 16;
constexpr size_t kSuggestedBufferSizeAt = 8 + 28;
constexpr size_t kStreamLengthAt = 8 + 32;
constexpr size_t kStreamBufferSizeAt = 8 + 36;
constexpr size_t kExtendedTotalFramesAt = 8;
} // namespace

void CKrHeaderFields::TakeFirst(std::shared_ptr<IKrMappedView> view, const SKrHeaderLayout& layout)
{
    m_first = std::move(view);
    m_segment = InFirst(0);
    m_movi = InFirst(layout.movi);
    m_mainHeader = InFirst(layout.mainHeader);
    m_videoHeader = InFirst(layout.videoHeader);
    m_audioHeader = layout.audioHeader != 0 ? InFirst(layout.audioHeader) : SKrPatchPlace{};
    m_extendedHeader = InFirst(layout.extendedHeader);
}

void CKrHeaderFields::DropNext()
{
    m_segment = m_movi = {};
}

void CKrHeaderFields::TakeNext(std::shared_ptr<IKrMappedView> view, const SKrHeaderLayout& layout)
{
    m_segment = {view, 0};
    m_movi = {std::move(view), layout.movi};
}

void CKrHeaderFields::Put(const SKrPatchPlace& chunk, size_t at, uint32_t value)
{
    m_patches.Put32(chunk.At(at), value, EKrPatch::Count);
}

void CKrHeaderFields::Patch(uint64_t segmentLength, uint64_t moviLength, const SKrRecordedTotals& totals,
                            const SKrWriterSetup& setup)
{
    Put(m_segment, kChunkSizeAt, static_cast<uint32_t>(segmentLength - kChunkHeaderSize));
    Put(m_movi, kChunkSizeAt, static_cast<uint32_t>(moviLength - kChunkHeaderSize));

    Put(m_mainHeader, kTotalFramesAt, totals.frames);
    Put(m_mainHeader, kMaxBytesPerSecAt, totals.maxBytesPerSec);
    Put(m_mainHeader, kSuggestedBufferSizeAt, std::max(totals.largestVideo, totals.largestAudio));
    Put(m_videoHeader, kStreamLengthAt, totals.frames);
    Put(m_videoHeader, kStreamBufferSizeAt, totals.largestVideo);
    Put(m_extendedHeader, kExtendedTotalFramesAt, totals.frames);
    if (setup.HasAudio())
    {
        const uint64_t audioLength = totals.audioBytes / setup.audio->blockAlign;
        Put(m_audioHeader, kStreamLengthAt,
            static_cast<uint32_t>(std::min<uint64_t>(audioLength, UINT32_MAX)));
        Put(m_audioHeader, kStreamBufferSizeAt, totals.largestAudio);
    }
}

void CKrHeaderFields::Unmap()
{
    DropNext();
    m_mainHeader = m_videoHeader = m_audioHeader = m_extendedHeader = {};
    m_first.reset();
}
