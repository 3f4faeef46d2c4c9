// The header fields that change while a file is written, patched through views.
#ifndef KR_WRITER_KRHEADERFIELDS_H
#define KR_WRITER_KRHEADERFIELDS_H

#include "platform/KrPlatform.h"
#include "writer/KrHeaderLayout.h"
#include "writer/KrWriterSetup.h"

#include <cstddef>
#include <cstdint>
#include <memory>

// What was written so far, as the headers report it.
struct SKrRecordedTotals
{
    uint32_t frames = 0;
    uint64_t audioBytes = 0;
    uint32_t largestVideo = 0; // chunk header included
    uint32_t largestAudio = 0;
    uint32_t maxBytesPerSec = 0;
};

// Where a header could not be mapped, its fields stay as they were written.
class CKrHeaderFields
{
public:
    // Takes the view of a header, which may be null. The first one stays mapped until the end, of the later
    // ones only the current.
    void TakeFirst(std::unique_ptr<IKrMappedView> view, const SKrHeaderLayout& layout);
    void DropNext();
    void TakeNext(std::unique_ptr<IKrMappedView> view, const SKrHeaderLayout& layout);

    // The place of a chunk in the first header; null where that is not mapped.
    [[nodiscard]] uint8_t* InFirst(size_t place) const;

    // Both lengths are those of the current segment, with chunk headers.
    void Patch(uint64_t segmentLength, uint64_t moviLength, const SKrRecordedTotals& totals,
               const SKrWriterSetup& setup);

    void Unmap();

private:
    std::unique_ptr<IKrMappedView> m_first; // of 'RIFF' 'AVI '
    std::unique_ptr<IKrMappedView> m_next;  // of the current 'RIFF' 'AVIX'

    // Chunk headers in the views, or null.
    uint8_t* m_segment = nullptr; // of the current segment
    uint8_t* m_movi = nullptr;
    uint8_t* m_mainHeader = nullptr;
    uint8_t* m_videoHeader = nullptr;
    uint8_t* m_audioHeader = nullptr;
    uint8_t* m_extendedHeader = nullptr;
};

#endif
