// Files carried whole into a new one: one, some frames of it, or several joined.
#ifndef KR_TOOLS_COPY_KRCARRIEDFILE_H
#define KR_TOOLS_COPY_KRCARRIEDFILE_H

#include "tools/copier/KrFrameCut.h"

#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;
class CKrReport;
struct SKrCopyOptions;

// Without a range: all of it, also without frames.
void CarryFile(const std::string& file, const std::optional<SKrCutRange>& range,
               const SKrCopyOptions& options, CKrReport& report, CKrProgress& progress);

void CarryFiles(const std::vector<std::string>& files, const SKrCopyOptions& options, CKrReport& report,
                CKrProgress& progress);
} // namespace KrTool

#endif
