// Chunks of a file, copied to anything that has Write(data, size).
#ifndef KR_TOOLS_AVI_KRCHUNKCOPIER_H
#define KR_TOOLS_AVI_KRCHUNKCOPIER_H

#include "tools/avi/KrAviFile.h"
#include "tools/command/KrProgress.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTool
{
// Chunks are copied in blocks, so that memory use does not depend on sizes in the file.
constexpr size_t kBlockSize = size_t{4} << 20;

class CKrChunkCopier
{
public:
    CKrChunkCopier(const CKrAviFile& file, const CKrProgress& progress)
        : m_file(file), m_progress(progress), m_buffer(kBlockSize)
    {
    }

    // Copies what the file holds of a chunk; returns how many bytes that was.
    template <class OUTPUT>
    uint64_t Copy(const SKrChunkIndexEntry& chunk, OUTPUT& output)
    {
        uint64_t done = 0;
        bool isBlank = chunk.size != 0;
        while (done < chunk.size)
        {
            m_progress.StopIfAsked();
            const auto wanted = static_cast<size_t>(std::min<uint64_t>(chunk.size - done, m_buffer.size()));
            const size_t came = m_file.ReadAt(chunk.position + done, m_buffer.data(), wanted);
            if (came == 0)
                break;
            isBlank = isBlank && std::all_of(m_buffer.data(), m_buffer.data() + came,
                                             [](uint8_t one) { return one == 0; });
            output.Write(m_buffer.data(), came);
            done += came;
        }
        m_cut += done < chunk.size ? 1 : 0;
        m_blank += isBlank ? 1 : 0;
        return done;
    }

    uint64_t CutChunks() const { return m_cut; }
    uint64_t BlankChunks() const { return m_blank; }

private:
    const CKrAviFile& m_file;
    const CKrProgress& m_progress;
    std::vector<uint8_t> m_buffer;
    uint64_t m_cut = 0;   // chunks that were truncated
    uint64_t m_blank = 0; // with data, all zeros
};
} // namespace KrTool

#endif
