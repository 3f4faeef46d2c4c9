// The bytes of a stream's chunks as one sequence, to be cut into samples of any length.
#ifndef KR_TOOLS_COPY_KRJOINEDCHUNKS_H
#define KR_TOOLS_COPY_KRJOINEDCHUNKS_H

#include "tools/avi/KrInputFile.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/output/KrSampleLoader.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace KrTool
{
class CKrJoinedChunks
{
public:
    CKrJoinedChunks(std::shared_ptr<const CKrByteSource> file, Chunks chunks);

    // The next bytes of the sequence. They are read when the writer needs them.
    SKrSampleBytes Next(uint32_t length);

private:
    std::shared_ptr<const CKrByteSource> m_file;
    Chunks m_chunks;
    size_t m_chunk = 0;
    uint32_t m_inChunk = 0;
};
} // namespace KrTool

#endif
