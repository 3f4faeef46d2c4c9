// The header fields that change while a file is written, patched through views.
#ifndef KR_WRITER_KRHEADERFIELDS_H
#define KR_WRITER_KRHEADERFIELDS_H

#include "platform/KrPlatform.h"
#include "writer/KrHeaderLayout.h"
#include "writer/KrPatches.h"
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
    explicit CKrHeaderFields(CKrPatches& patches) : m_patches(patches) {}

    // Takes the view of a header, which may be null. The first one stays mapped until the end, of the later
    // ones only the current.
    void TakeFirst(std::shared_ptr<IKrMappedView> view, const SKrHeaderLayout& layout);
    void DropNext();
    void TakeNext(std::shared_ptr<IKrMappedView> view, const SKrHeaderLayout& layout);

    // The place of a chunk in the first header; none where that is not mapped.
    [[nodiscard]] SKrPatchPlace InFirst(size_t place) const { return {m_first, place}; }

    // Both lengths are those of the current segment, with chunk headers.
    void Patch(uint64_t segmentLength, uint64_t moviLength, const SKrRecordedTotals& totals,
               const SKrWriterSetup& setup);

    void Unmap();

private:
    void Put(const SKrPatchPlace& chunk, size_t at, uint32_t value);

    CKrPatches& m_patches;
    std::shared_ptr<IKrMappedView> m_first; // of 'RIFF' 'AVI '

    // Chunk headers in the views, or none.
    SKrPatchPlace m_segment; // of the current segment
    SKrPatchPlace m_movi;
    SKrPatchPlace m_mainHeader;
    SKrPatchPlace m_videoHeader;
    SKrPatchPlace m_audioHeader;
    SKrPatchPlace m_extendedHeader;
};

#endif
