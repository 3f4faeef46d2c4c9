// Defects of a whole file, reported by all verbs.
#ifndef KR_TOOLS_AVI_KRFILEFINDINGS_H
#define KR_TOOLS_AVI_KRFILEFINDINGS_H

namespace KrTool
{
class CKrAviFile;
class CKrReport;
struct SKrAviFacts;

void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report);
} // namespace KrTool

#endif
