// A file's summary in words and as JSON.
#ifndef KR_TOOLS_INFO_KRSUMMARYTEXT_H
#define KR_TOOLS_INFO_KRSUMMARYTEXT_H

#include "tools/command/KrReport.h"
#include "tools/info/KrFileSummary.h"
#include "tools/info/KrInfoTags.h"

#include <string>
#include <vector>

namespace KrTool
{
// At most eight lines of at most 80 columns, apart from a long path.
std::string SummaryText(const std::string& path, const SKrFileSummary& summary);

// The same on one line, without the path.
std::string BriefSummary(const SKrFileSummary& summary);

// A line for each tag.
std::string TagsText(const std::vector<SKrInfoTag>& tags);

Json SummaryJson(const SKrFileSummary& summary);
Json TagsJson(const std::vector<SKrInfoTag>& tags);

// "complete", "being recorded", "recording was not closed", "truncated at 300000 (502304 bytes missing)".
std::string HealthText(const SKrFileSummary& summary);
} // namespace KrTool

#endif
