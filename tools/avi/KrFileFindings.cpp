#include "tools/avi/KrFileFindings.h"

#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"

namespace KrTool
{
namespace
{
// The reader finds nothing in a segment that claims to hold nothing.
bool IsTakenForEmpty(const SKrRiffChunkInfo& segment)
{
    return IsSizeUnset(segment.cksize) && segment.cksize != UINT32_MAX;
}

void ReportUnfinished(const SKrRiffChunkInfo& segment, size_t number, CKrReport& report)
{
    std::string text = "the recording was not finished: the size of segment " + std::to_string(number) +
                       " was never filled in";
    if (IsTakenForEmpty(segment))
        text += ", and what the segment holds is not looked at";
    report.Finding(text + "; kravi recover makes a complete file of it");
}
} // namespace

void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report)
{
    if (facts.segments.empty())
    {
        report.Finding("the file has no RIFF 'AVI ' header; it is read as a run of bare chunks");
        return;
    }
    uint64_t end = 0;
    for (size_t number = 0; number < facts.segments.size(); ++number)
    {
        end = EndPosition(facts.segments[number]);
        if (IsSizeUnset(facts.segments[number].cksize))
            ReportUnfinished(facts.segments[number], number, report);
        else if (end > file.Length())
            report.Finding("the file is truncated: segment " + std::to_string(number) + " ends " +
                           Counted(end - file.Length(), "byte") + " behind the end of the file");
    }
    if (!IsSizeUnset(facts.segments.back().cksize) && end + end % 2 < file.Length())
        report.Note(Counted(file.Length() - end - end % 2, "byte") + " follow the last segment");
    if (!facts.hasMainHeader && !IsTakenForEmpty(facts.segments.front()))
        report.Finding("the file has no main header ('avih')");
    if (facts.cut)
        report.Finding("the headers hold more chunks or streams than are looked at");
}
} // namespace KrTool
