// The numbers of a map as a verb's report.
#ifndef KR_TOOLS_MAP_KRMAPREPORT_H
#define KR_TOOLS_MAP_KRMAPREPORT_H

namespace KrTool
{
class CKrReport;
struct SKrFileMap;

// As text, the sums; as JSON, the numbers that are drawn.
void ReportMap(const SKrFileMap& map, CKrReport& report);
} // namespace KrTool

#endif
