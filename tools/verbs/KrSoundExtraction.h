// The sound of a file, or the part that belongs to a range of frames, as a WAVE file.
#ifndef KR_TOOLS_VERBS_KRSOUNDEXTRACTION_H
#define KR_TOOLS_VERBS_KRSOUNDEXTRACTION_H

#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrReport.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrChunkCopier;
class CKrProgress;
struct SKrAviFacts;
struct SKrAviStream;
struct SKrExtractOptions;

class CKrSoundExtraction
{
public:
    // All must outlive it.
    CKrSoundExtraction(const SKrExtractOptions& options, const CKrAviFile& file, const SKrAviFacts& facts,
                       CKrReport& report, CKrProgress& progress)
        : m_options(options), m_file(file), m_facts(facts), m_report(report), m_progress(progress)
    {
    }

    // Finds the chunks, before anything is written. `video`: the stream of which the range counts frames; may
    // be null. Throws CKrToolError for sound that cannot be written.
    void Prepare(const SKrAviStream* video);

    // Writes the file and returns what the report has of it.
    Json Write(CKrChunkCopier& copier);

    // Whether a recording's index has a stream's sound up to a frame; true where that cannot be known.
    [[nodiscard]] bool HasUntil(uint64_t frame, const SKrAviStream& video, uint32_t stream) const;

private:
    void TakeFrames(const SKrAviStream* video);
    void CheckFramesOf(const SKrAviStream& video) const;

    const SKrExtractOptions& m_options;
    const CKrAviFile& m_file;
    const SKrAviFacts& m_facts;
    CKrReport& m_report;
    CKrProgress& m_progress;
    SKrStreamChunks m_audio;
    const SKrAviStream* m_header = nullptr;
    std::vector<uint8_t> m_format; // as the WAVE file has it
};
} // namespace KrTool

#endif
