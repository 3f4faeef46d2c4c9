#include "writer/KrHeaderFields.h"

#include "format/KrBytes.h"
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

void PutIfMapped(uint8_t* chunk, size_t at, uint32_t value)
{
    if (chunk != nullptr)
        PutLe32(chunk + at, value);
}

uint8_t* In(const std::unique_ptr<IKrMappedView>& view, size_t place)
{
    return view != nullptr ? view->Data() + place : nullptr;
}
} // namespace

void CKrHeaderFields::TakeFirst(std::unique_ptr<IKrMappedView> view, const SKrHeaderLayout& layout)
{
    m_first = std::move(view);
    m_segment = In(m_first, 0);
    m_movi = In(m_first, layout.movi);
    m_mainHeader = In(m_first, layout.mainHeader);
    m_videoHeader = In(m_first, layout.videoHeader);
    m_audioHeader = layout.audioHeader != 0 ? In(m_first, layout.audioHeader) : nullptr;
    m_extendedHeader = In(m_first, layout.extendedHeader);
}

void CKrHeaderFields::DropNext()
{
    m_segment = m_movi = nullptr;
    m_next.reset();
}

void CKrHeaderFields::TakeNext(std::unique_ptr<IKrMappedView> view, const SKrHeaderLayout& layout)
{
    m_next = std::move(view);
    m_segment = In(m_next, 0);
    m_movi = In(m_next, layout.movi);
}

uint8_t* CKrHeaderFields::InFirst(size_t place) const
{
    return In(m_first, place);
}

void CKrHeaderFields::Patch(uint64_t segmentLength, uint64_t moviLength, const SKrRecordedTotals& totals,
                            const SKrWriterSetup& setup)
{
    PutIfMapped(m_segment, kChunkSizeAt, static_cast<uint32_t>(segmentLength - kChunkHeaderSize));
    PutIfMapped(m_movi, kChunkSizeAt, static_cast<uint32_t>(moviLength - kChunkHeaderSize));

    PutIfMapped(m_mainHeader, kTotalFramesAt, totals.frames);
    PutIfMapped(m_mainHeader, kMaxBytesPerSecAt, totals.maxBytesPerSec);
    PutIfMapped(m_mainHeader, kSuggestedBufferSizeAt, std::max(totals.largestVideo, totals.largestAudio));
    PutIfMapped(m_videoHeader, kStreamLengthAt, totals.frames);
    PutIfMapped(m_videoHeader, kStreamBufferSizeAt, totals.largestVideo);
    PutIfMapped(m_extendedHeader, kExtendedTotalFramesAt, totals.frames);
    if (setup.HasAudio())
    {
        const uint64_t audioLength = totals.audioBytes / setup.audio->blockAlign;
        PutIfMapped(m_audioHeader, kStreamLengthAt,
                    static_cast<uint32_t>(std::min<uint64_t>(audioLength, UINT32_MAX)));
        PutIfMapped(m_audioHeader, kStreamBufferSizeAt, totals.largestAudio);
    }
}

void CKrHeaderFields::Unmap()
{
    DropNext();
    m_mainHeader = m_videoHeader = m_audioHeader = m_extendedHeader = nullptr;
    m_first.reset();
}
