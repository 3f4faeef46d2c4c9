// kravi map: a picture of a file.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrFrameRange.h"
#include "tools/avi/KrInterleave.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/map/KrMapMeasures.h"
#include "tools/map/KrMapPicture.h"
#include "tools/map/KrMapReport.h"
#include "tools/output/KrOutputFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace KrTool
{
namespace
{
const SKrVerbHelp kMapHelp = {
    "map",
    "Draw a picture of the file: layout, data rates, interleave, damage",
    {
        R"(The picture is drawn to scale by position in the file. A name that ends with .svg is a picture; .html
        or .htm, a page with the same picture and tables; both are self-contained. Colours follow the
        viewer's light or dark mode.)",
        R"(Interleave: how far the audio before each frame is ahead of the frame's time (+) or late (-), and how
        many bytes the audio of a frame's time is before the frame (+) or after it (-). Frames further than
        --interleave from their audio have a colour of their own.)",
        "With --from or --to, the positions and the time of these frames are shown.",
        kWhatPlacesAre,
        "With --json, the report has the drawn numbers.",
        R"(Findings: bytes in no chunk; bytes that were removed; data that are truncated, outside every 'movi' list
        or not in the index; no index; missing frames that the headers declare; audio that is further from its
        picture than the limit; and defects of the whole file (see info).)",
    },
    {
        "kravi map clip.avi -o clip.svg",
        "kravi map clip.avi -o clip.html --from 250 --to 499",
    },
};

struct SKrMapOptions
{
    std::string file;
    std::string output;
    uint64_t width = 1200;
    double interleave = kInterleaveLimit; // seconds
    SKrRangeOptions range;
    bool force = false;
};

bool IsPage(const std::string& output)
{
    std::string ending = output.substr(std::min(output.rfind('.'), output.size()));
    std::ranges::transform(ending, ending.begin(), [](unsigned char byte) { return std::tolower(byte); });
    const bool isPage = ending == ".html" || ending == ".htm";
    if ((!isPage && ending != ".svg") || ending.size() == output.size())
        throw CKrToolError(output, "the name of a map must end with .svg or .html");
    return isPage;
}

void RunMap(const SKrMapOptions& options, CKrReport& report, CKrProgress& progress)
{
    const bool isPage = IsPage(options.output);
    if (options.width < kSmallestPicture || options.width > kLargestPicture)
        throw CKrToolError({}, Format("--width must be {} to {}", kSmallestPicture, kLargestPicture));
    CheckTarget(options.output, options.force, options.file);
    const SKrFrameNumbers frames = ReadRange(options.range, options.file, std::nullopt, progress);
    const CKrAviFile file(options.file);
    const SKrAviFacts facts = ReadFacts(file, progress);
    ReportFileFindings(file, facts, report);
    const SKrMapRequest request = {frames.first, frames.last, ByteBins(options.width),
                                   TimeBins(options.width), options.interleave};
    const SKrFileMap map = MeasureFile(file, facts, request, report, progress);

    const std::string text = isPage ? MapPage(map, options.width) : MapPicture(map, options.width);
    CKrOutputFile output(options.output, options.force);
    output.Write(text.data(), text.size());
    output.Commit();
    report.Fact("file", file.Path());
    report.Fact("output", options.output);
    report.Fact("outputBytes", text.size());
    ReportMap(map, report);
}
} // namespace

void AddMapVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrMapOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kMapHelp, options->file,
                  [options](auto& report, auto& progress) { RunMap(*options, report, progress); });
    verb.AddRequiredText("-o,--output", options->output, "NAME",
                         "The picture (.svg) or page (.html, .htm) to write");
    verb.AddNumber("--width", options->width, "Width of the picture in pixels, 600 to 2400 (1200)");
    AddRangeOptions(verb, options->range);
    verb.AddSeconds("--interleave", options->interleave, "Most seconds from a frame to its sound (1)");
    verb.AddSwitch("--force", options->force, "Replace an existing file");
}
} // namespace KrTool
