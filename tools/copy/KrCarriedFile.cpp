#include "tools/copy/KrCarriedFile.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrCopyReport.h"
#include "tools/copier/KrSoundJoin.h"
#include "tools/copier/KrStreamMatch.h"
#include "tools/copier/KrStreamTime.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/output/KrOutputFile.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace KrTool
{
namespace
{
SKrCarriedSource OpenSource(const std::string& file, const SKrCopyOptions& options, CKrReport& report,
                            CKrProgress& progress)
{
    if (options.dropEmpty)
        throw CKrToolError({},
                           "--drop-empty is for --layout recording; other copies carry frames without data");
    SKrCarriedSource source = OpenCarriedSource(file, report, progress);
    TakeStreams(source, options.streams);
    TakeRate(source, options.streams);
    return source;
}

Json ClipRow(const SKrCarriedSource& source, const SKrJoinedClip& clip)
{
    Json row = {{"file", source.file->Path()}, {"firstFrame", clip.firstFrame}, {"frames", clip.frames}};
    const std::optional<uint32_t> audio = FirstStreamOfType(source.header, kFccAuds);
    if (!audio || !IsPlainSound(source.header.streams[*audio]))
        return row;
    row["firstSampleFrame"] = clip.sound.first;
    row["sampleFrames"] = clip.sound.there;
    row["cut"] = clip.sound.cut;
    row["repeated"] = clip.sound.repeated;
    row["silence"] = clip.sound.silence;
    return row;
}
} // namespace

void CarryFile(const std::string& file, const std::optional<SKrCutRange>& range,
               const SKrCopyOptions& options, CKrReport& report, CKrProgress& progress)
{
    CheckTarget(options.output, options.force, file);
    SKrCarriedSource source = OpenSource(file, options, report, progress);
    SKrTakenFrames taken;
    if (range)
        taken = CutFrames(source, *range, report);
    else if (const std::optional<uint32_t> video = FirstStreamOfType(source.header, kFccVids))
        taken.end = CountUnits(source.chunks, *video);
    SKrCopyJob job;
    job.header = std::move(source.header);
    job.clips.push_back({source.file, std::move(source.chunks)});
    if (!source.isWhole)
        SetLengths(job);
    const SKrCopyResult result = WriteCopy(job, options.output, options.force, progress);
    report.Fact("file", file);
    if (taken.end != 0)
    {
        report.Fact("firstFrame", taken.first);
        report.Fact("lastFrame", taken.end - 1);
    }
    ReportCopy(job, result, options.output, report);
}

void CarryFiles(const std::vector<std::string>& files, const SKrCopyOptions& options, CKrReport& report,
                CKrProgress& progress)
{
    for (const std::string& file : files)
    {
        CheckTarget(options.output, options.force, file);
        CheckReadable(file);
    }
    std::vector<SKrCarriedSource> sources;
    for (const std::string& file : files)
    {
        report.SetSubject(file);
        sources.push_back(OpenSource(file, options, report, progress));
        report.SetSubject({});
        CheckStreamsMatch(sources.front(), sources.back());
    }
    const std::vector<SKrJoinedClip> clips = JoinSound(sources, report);
    Json rows = Json::array();
    for (size_t number = 0; number < sources.size(); ++number)
        rows.push_back(ClipRow(sources[number], clips[number]));
    SKrCopyJob job;
    const bool isWhole = sources.size() == 1 && sources.front().isWhole;
    job.header = std::move(sources.front().header);
    for (SKrCarriedSource& source : sources)
        job.clips.push_back({source.file, std::move(source.chunks)});
    if (!isWhole)
        SetLengths(job);
    const SKrCopyResult result = WriteCopy(job, options.output, options.force, progress);
    report.Fact("clips", rows);
    ReportCopy(job, result, options.output, report);
}
} // namespace KrTool
