// Frames as files, one for each or one for all.
#ifndef KR_TOOLS_VERBS_KRFRAMEFILES_H
#define KR_TOOLS_VERBS_KRFRAMEFILES_H

#include "tools/avi/KrChunkCopier.h"
#include "tools/input/KrFramePattern.h"
#include "tools/output/KrOutputFile.h"

#include <cstdint>
#include <optional>

namespace KrTool
{
class CKrFrameFiles
{
public:
    CKrFrameFiles(const CKrFramePattern& pattern, bool force, CKrChunkCopier& copier)
        : m_pattern(pattern), m_force(force), m_copier(copier)
    {
        if (!pattern.IsNumbered())
            m_file.emplace(pattern.NameOf(0), force);
    }

    void Write(uint64_t frame, const SKrChunkIndexEntry& chunk)
    {
        if (m_file)
        {
            m_bytes += m_copier.Copy(chunk, *m_file);
            return;
        }
        CKrOutputFile output(m_pattern.NameOf(frame), m_force);
        m_bytes += m_copier.Copy(chunk, output);
        output.Commit();
    }

    // Returns the bytes of all frames.
    uint64_t Finish()
    {
        if (m_file)
            m_file->Commit();
        return m_bytes;
    }

private:
    const CKrFramePattern& m_pattern;
    const bool m_force;
    CKrChunkCopier& m_copier;
    std::optional<CKrOutputFile> m_file;
    uint64_t m_bytes = 0;
};
} // namespace KrTool

#endif
