// What is wrong with a file as a whole, whatever it was opened for.
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
