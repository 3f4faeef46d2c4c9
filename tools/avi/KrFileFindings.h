// Defects of a whole file, reported by all verbs.
#ifndef KR_TOOLS_AVI_KRFILEFINDINGS_H
#define KR_TOOLS_AVI_KRFILEFINDINGS_H

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
class CKrAviFile;
class CKrReport;
struct SKrAviFacts;

// `streamCount`: of the headers, where the caller reads more of them than the facts have.
void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report,
                        std::optional<uint64_t> streamCount = {});

// Chunks that the end of the file cuts. 0 reports nothing.
void ReportCut(uint64_t count, const std::string& noun, CKrReport& report);

// Frames of a stream that consist of zeros, unless those are black pictures. 0 reports nothing.
void ReportBlankFrames(const SKrAviFacts& facts, uint32_t stream, uint64_t frames, CKrReport& report);
} // namespace KrTool

#endif
