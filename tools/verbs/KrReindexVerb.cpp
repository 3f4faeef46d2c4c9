// kravi reindex: counts, sizes and indexes as they should be, in place.
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/mend/KrMendedFile.h"
#include "tools/mend/KrReindexPlan.h"

#include <nlohmann/json.hpp>

namespace KrTool
{
namespace
{
const SKrVerbHelp kReindexHelp = {
    "reindex",
    "Write counts, sizes and a fresh index in place",
    {
        R"(For files that were truncated, never closed, or whose index is broken: scans all chunk headers, as verify
        does, and writes the sizes of segments and lists, the numbers of frames and samples, and new indexes
        ('idx1', and those of OpenDML where the file has them) into the file. Frames and sound are neither moved
        nor read. The size of a chunk is repaired where an index has the right one; chunks that
        are not whole become filler.)",
        R"(The old bytes are written to an undo file beside it first (clip.avi.kravi-undo), so that kravi undo takes
        the change back. If the power fails meanwhile, the file is the old one, the new one, or one that kravi undo
        makes the old one again.)",
        R"(A file without stream headers, or whose layout has no place for an index, is refused: kravi recover and
        kravi rewrap make a new file.)",
        "Findings: chunks that are not whole, bytes in no chunk.",
    },
    {
        "kravi reindex unfinished.avi",
        "kravi reindex unfinished.avi && kravi verify unfinished.avi",
    },
};

void ReportPlan(const SKrReindexPlan& plan, CKrReport& report)
{
    Json streams = Json::array();
    for (const SKrVerifyStream& stream : plan.streams)
        streams.push_back(
            {{"type", FourCcText(stream.type)}, {"chunks", stream.chunks}, {"bytes", stream.bytes}});
    report.Fact("segments", plan.segments);
    report.Fact("streams", streams);
    report.Fact("idx1Entries", plan.oldIndexEntries);
    report.Fact("standardIndexes", plan.standardIndexes);
    report.Fact("sizesRepaired", plan.sizesRepaired);
    report.Fact("cutChunks", plan.cutChunks);
    report.Fact("bytesSkipped", plan.bytesSkipped);
    for (const std::string& note : plan.notes)
        report.Note(note);
    if (plan.cutChunks != 0)
        report.Finding("lost because their data are incomplete: " + Counted(plan.cutChunks, "chunk"));
    if (plan.bytesSkipped != 0)
        report.Finding("in no whole chunk: " + Counted(plan.bytesSkipped, "byte"));
}

void RunReindex(const std::string& path, CKrReport& report, CKrProgress& progress)
{
    CKrMendedFile file(KrPlatform::OsFileSystem(), path);
    const SKrReindexPlan plan = PlanReindex(file, progress);
    progress.StopIfAsked();
    const SKrMendedBytes changed = file.Change(plan.patches, "reindex");
    report.Fact("file", path);
    ReportPlan(plan, report);
    report.Fact("length", file.Length());
    report.Fact("bytesChanged", changed.bytes);
    report.Fact("undoFile", changed.bytes != 0 ? Json(UndoPathOf(path)) : Json());
    if (changed.bytes == 0)
        report.Note("its sizes, counts and indexes were right; nothing was written");
}
} // namespace

void AddReindexVerb(CKrVerbTable& verbs)
{
    const auto file = std::make_shared<std::string>();
    verbs.Add(kReindexHelp, *file,
              [file](auto& report, auto& progress) { RunReindex(*file, report, progress); });
}
} // namespace KrTool
