// Files one after the other: each keeps its sound beside its frames.
#ifndef KR_TOOLS_COPIER_KRSOUNDJOIN_H
#define KR_TOOLS_COPIER_KRSOUNDJOIN_H

#include "tools/copier/KrCarriedSource.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrReport;

// What became of a file's first sound, in its units.
struct SKrJoinedSound
{
    uint64_t first = 0; // in the new file
    uint64_t there = 0;
    uint64_t cut = 0;
    uint64_t repeated = 0;
    uint64_t silence = 0;
};

struct SKrJoinedClip
{
    uint64_t firstFrame = 0; // in the new file
    uint64_t frames = 0;
    SKrJoinedSound sound;
};

// Bytes of silence that a new file may have for a source of that many: wrong headers could fill a disk with
// it.
[[nodiscard]] uint64_t MostSilence(uint64_t fileBytes);

// Makes the sound of each file but the last end where that of the next begins. Throws CKrToolError for sound
// that cannot be joined. What was added and left out is reported.
[[nodiscard]] std::vector<SKrJoinedClip> JoinSound(std::vector<SKrCarriedSource>& sources, CKrReport& report);
} // namespace KrTool

#endif
