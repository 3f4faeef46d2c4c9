#include "tools/copy/KrCopy.h"

#include "tools/command/KrReport.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/copy/KrCopySource.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecordingOptions.h"

#include <nlohmann/json.hpp>

namespace KrTool
{
void CopyFrames(const std::string& file, const SKrFrameRange& range, const SKrCopyOptions& options,
                CKrReport& report, CKrProgress& progress)
{
    CheckTarget(options.output, options.force, file);
    SKrCopySource source = PrepareCopy(file, range, options, report, progress);
    const SKrRecordingResult result =
        WriteClips({std::move(source.clip)}, source.format, options.output, options.force, progress);
    report.Fact("file", file);
    report.Fact("firstFrame", source.firstFrame);
    report.Fact("lastFrame", source.endFrame - 1);
    ReportRecording(result, source.format, options.output, report);
}
} // namespace KrTool
