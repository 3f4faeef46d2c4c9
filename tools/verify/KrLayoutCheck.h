// The scan of a file for verifying: assigns a use to each byte, adds defects of lists and chunks to the
// results, and fills the model for the other checks.
#ifndef KR_TOOLS_VERIFY_KRLAYOUTCHECK_H
#define KR_TOOLS_VERIFY_KRLAYOUTCHECK_H

#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrFileScanner.h"
#include "tools/verify/KrVerifyModel.h"
#include "tools/verify/KrVerifyResults.h"

#include <cstdint>
#include <optional>

namespace KrTool
{
class CKrLayoutCheck final : public IKrScanListener
{
public:
    CKrLayoutCheck(const CKrByteSource& file, SKrVerifyModel& model, CKrVerifyResults& results)
        : m_file(file), m_model(model), m_results(results)
    {
    }

    void Run(CKrProgress& progress);

    void OnList(const SKrScannedList& list, Lists around) override;
    void OnSegmentOverlap(const SKrScannedList& segment, uint64_t position) override;
    void OnChunk(const SKrScannedChunk& chunk, Lists around) override;
    void OnOverrun(const SKrScannedChunk& chunk, Lists around, uint64_t claimedEnd, bool isCut) override;
    void OnWrongSize(const SKrScannedChunk& chunk) override;
    void OnPadding(uint64_t position) override;
    void OnMissingPadding(uint64_t position, uint32_t idThere) override;
    void OnGap(uint64_t from, uint64_t to, bool isZeros, Lists around) override;

private:
    void NoteSegment(const SKrScannedList& segment);
    void NoteList(const SKrScannedList& list);
    void NoteHeaderList(uint64_t position);
    EKrBytes NoteChunk(const SKrScannedChunk& chunk, const SKrScannedList& parent);
    void NoteData(const SKrScannedChunk& chunk, const SKrDataTag& tag, EKrListKind parent);
    void NoteStandardIndex(const SKrPlacedChunk& chunk);
    void NoteKnown(const SKrPlacedChunk& chunk, const SKrScannedList& parent);
    void NotePlace(uint64_t position, uint32_t name, uint32_t places, EKrListKind parent);
    void NoteHeader(std::optional<SKrPlacedChunk>& place, const SKrPlacedChunk& chunk, bool isInOrder);
    void NoteRun(uint64_t position, uint32_t size);
    void Account(EKrBytes bytes, uint64_t count) { m_model.bytes[static_cast<size_t>(bytes)] += count; }

    const CKrByteSource& m_file;
    SKrVerifyModel& m_model;
    CKrVerifyResults& m_results;
    uint64_t m_emptyRun = 0; // chunks of size 0 up to here
};
} // namespace KrTool

#endif
