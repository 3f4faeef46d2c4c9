// Defects of a whole file, reported by all verbs.
#ifndef KR_TOOLS_AVI_KRFILEFINDINGS_H
#define KR_TOOLS_AVI_KRFILEFINDINGS_H

#include <cstdint>

namespace KrTool
{
class CKrAviFile;
class CKrReport;
struct SKrAviFacts;

void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report);

// Frames of a stream that consist of zeros, unless those are black pictures. 0 reports nothing.
void ReportBlankFrames(const SKrAviFacts& facts, uint32_t stream, uint64_t frames, CKrReport& report);
} // namespace KrTool

#endif
