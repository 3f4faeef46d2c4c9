// Whether a chunk may begin at a place, and where the next one begins when it does not.
#ifndef KR_TOOLS_VERIFY_KRCHUNKSIGHT_H
#define KR_TOOLS_VERIFY_KRCHUNKSIGHT_H

#include "tools/verify/KrVerifyWindow.h"

#include <cstdint>

namespace KrTool
{
class CKrProgress;

struct SKrSight
{
    uint32_t id = 0;
    uint32_t size = 0;
    uint32_t type = 0;        // of containers
    bool isKnown = false;     // a chunk that AVI files have, of any size
    bool isPlausible = false; // that, or any letters with a size that lies inside the list
    bool isContainer = false;
};

class CKrChunkSight
{
public:
    CKrChunkSight(const SKrVerifyFile& file, CKrProgress& progress)
        : m_progress(progress), m_headers(file), m_scanned(file)
    {
    }

    // Looks at a place in a list that ends at `end`.
    SKrSight At(uint64_t position, uint64_t end);

    // The next place from `from` on, up to `end`, where a chunk that AVI files have begins, or `end`. In time
    // that grows with the bytes passed over.
    uint64_t FindNext(uint64_t from, uint64_t end);

    // Zero bytes from a place on.
    uint64_t CountZeros(uint64_t from, uint64_t end) { return CountZeros(m_scanned, from, end); }

private:
    uint64_t CountZeros(CKrVerifyWindow& window, uint64_t from, uint64_t end);
    bool IsConfirmed(uint64_t position, uint64_t end);

    CKrProgress& m_progress;
    CKrVerifyWindow m_headers;
    CKrVerifyWindow m_scanned; // of its own, so that looks at headers do not drive a scan's bytes out
};
} // namespace KrTool

#endif
