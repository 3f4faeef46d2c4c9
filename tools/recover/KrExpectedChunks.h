// What the indexes of a damaged file say that it held, beside the chunks that are still there.
#ifndef KR_TOOLS_RECOVER_KREXPECTEDCHUNKS_H
#define KR_TOOLS_RECOVER_KREXPECTEDCHUNKS_H

#include "tools/copier/KrCarriedHeader.h"
#include "tools/copier/KrScannedChunks.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
class CKrByteSource;

// An entry of an index, in file order.
struct SKrExpectedChunk
{
    static constexpr size_t kLost = SIZE_MAX;

    uint32_t id = 0;
    uint32_t size = 0;
    uint32_t stream = 0;
    bool isKey = false;
    size_t found = kLost; // number of the whole chunk
};

// The entries of the file's 'idx1', or, without one, of the standard indexes that the reader loads; each with
// the chunk that it stands for. Positions may have moved where bytes were lost. Empty where no index is left.
[[nodiscard]] std::vector<SKrExpectedChunk>
ExpectedChunks(const CKrByteSource& file, const SKrCarriedHeader& header, const SKrScannedChunks& scanned);
} // namespace KrTool

#endif
