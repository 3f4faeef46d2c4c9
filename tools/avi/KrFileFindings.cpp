#include "tools/avi/KrFileFindings.h"

#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/command/KrFormat.h"
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
                       " was never written";
    if (IsTakenForEmpty(segment))
        text += ", and its content is not checked";
    report.Finding(text + "; kravi recover makes it a complete file");
}

void ReportStreamCount(const SKrAviFacts& facts, uint64_t found, CKrReport& report)
{
    if (facts.hasMainHeader && !facts.cut && facts.mainHeader.streams != found)
        report.Finding(Format("the main header announces {}, but {} found",
                              Counted(facts.mainHeader.streams, "stream"),
                              found == 1 ? "1 is" : Format("{} are", found)));
}
} // namespace

void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report,
                        std::optional<uint64_t> streamCount)
{
    if (facts.segments.empty())
    {
        report.Finding("the file has no RIFF 'AVI ' header; it is read as bare chunks");
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
                           Counted(end - file.Length(), "byte") + " past the end of the file");
    }
    if (!IsSizeUnset(facts.segments.back().cksize) && end + end % 2 < file.Length())
        report.Note(Counted(file.Length() - end - end % 2, "byte") + " follow the last segment");
    if (!facts.hasMainHeader && !IsTakenForEmpty(facts.segments.front()))
        report.Finding("the file has no main header ('avih')");
    ReportStreamCount(facts, streamCount.value_or(facts.streams.size()), report);
    if (facts.cut)
        report.Finding("the headers have too many chunks or streams; the rest is not checked");
}

void ReportCut(uint64_t count, const std::string& noun, CKrReport& report)
{
    if (count != 0)
        report.Finding("cut by the end of the file: " + Counted(count, noun));
}

void ReportBlankFrames(const SKrAviFacts& facts, uint32_t stream, uint64_t frames, CKrReport& report)
{
    const bool isCoded = stream < facts.streams.size() &&
                         IsCodedPicture(DecodeBitmapHeader(facts.streams[stream].format).compression);
    if (frames != 0 && isCoded)
        report.Finding(Format("stream {}: {} of zeros alone", stream, Counted(frames, "frame")));
}
} // namespace KrTool
