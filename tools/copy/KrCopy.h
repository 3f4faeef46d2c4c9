// The frames of one file, or some of them, in a new one: rewrap and cut.
#ifndef KR_TOOLS_COPY_KRCOPY_H
#define KR_TOOLS_COPY_KRCOPY_H

#include <string>

namespace KrTool
{
class CKrProgress;
class CKrReport;
struct SKrCopyOptions;
struct SKrFrameRange;

void CopyFrames(const std::string& file, const SKrFrameRange& range, const SKrCopyOptions& options,
                CKrReport& report, CKrProgress& progress);
} // namespace KrTool

#endif
