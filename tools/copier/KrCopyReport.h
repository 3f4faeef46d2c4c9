// The report on a new file: what it holds of each stream.
#ifndef KR_TOOLS_COPIER_KRCOPYREPORT_H
#define KR_TOOLS_COPIER_KRCOPYREPORT_H

#include "tools/copier/KrAviCopy.h"

#include <string>

namespace KrTool
{
class CKrReport;

void ReportCopy(const SKrCopyJob& job, const SKrCopyResult& result, const std::string& output,
                CKrReport& report);

// "25", "29.97", or as a fraction.
std::string RateText(uint32_t rate, uint32_t scale);
} // namespace KrTool

#endif
