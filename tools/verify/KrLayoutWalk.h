// One pass over the bytes of a file, from header to header: each byte is given to a chunk, to padding, or to
// nothing. What the other checks compare is put into the model.
#ifndef KR_TOOLS_VERIFY_KRLAYOUTWALK_H
#define KR_TOOLS_VERIFY_KRLAYOUTWALK_H

#include "tools/verify/KrChunkKinds.h"
#include "tools/verify/KrChunkSight.h"
#include "tools/verify/KrVerifyModel.h"
#include "tools/verify/KrVerifyResults.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrProgress;

class CKrLayoutWalk
{
public:
    CKrLayoutWalk(const SKrVerifyFile& file, SKrVerifyModel& model, CKrVerifyResults& results,
                  CKrProgress& progress);

    void Run();

private:
    struct SKrLevel
    {
        EKrListKind kind = EKrListKind::File;
        uint64_t end = 0;        // what is walked
        uint64_t claimedEnd = 0; // by its own size
        bool isOpen = false;     // the size is known to be wrong: what cannot lie inside ends the list
        bool hasChildren = false;
    };

    void Step();
    void SkipGap();
    void EnterSegment(const SKrSight& sight);
    void NoteSegment(const SKrSight& sight);
    void EnterList(const SKrSight& sight, const SKrListKind& list);
    void NoteList(const SKrListKind& list);
    void WalkChunk(const SKrSight& sight);
    void NoteOverrun(const SKrSight& sight, uint64_t end);
    bool IsCut(uint64_t end);
    uint64_t ResolveEnd(const SKrSight& sight);
    void NoteChunk(const SKrSight& sight, EKrBytes& bytes);
    void NoteData(const SKrSight& sight, const SKrDataTag& tag);
    void NoteStandardIndex(const SKrPlacedChunk& chunk);
    void NoteKnown(const SKrPlacedChunk& chunk);
    void NotePlace(uint32_t places, const SKrSight& sight);
    void NoteHeader(std::optional<SKrPlacedChunk>& place, const SKrPlacedChunk& chunk, bool isInOrder);
    void NoteRun(uint32_t size);
    void CloseOpenLists(uint32_t places);
    void MoveTo(uint64_t position, bool isOddChunk);
    void Align(bool isOddChunk);
    void LeaveLevels();
    void Account(EKrBytes bytes, uint64_t count);

    SKrLevel& Top() { return m_levels.back(); }

    const uint64_t m_length;
    SKrVerifyModel& m_model;
    CKrVerifyResults& m_results;
    CKrProgress& m_progress;
    CKrChunkSight m_sight;
    std::vector<SKrLevel> m_levels;
    uint64_t m_position = 0;
    uint64_t m_emptyRun = 0; // chunks of size 0 up to here
};
} // namespace KrTool

#endif
