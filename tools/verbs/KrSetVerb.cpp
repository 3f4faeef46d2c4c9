// kravi set: header fields with new values, in place.
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/mend/KrFieldPlan.h"
#include "tools/mend/KrMendedFile.h"
#include "tools/output/KrRecordingOptions.h"

#include <nlohmann/json.hpp>

#include <array>

namespace KrTool
{
namespace
{
const SKrVerbHelp kSetHelp = {
    "set",
    "Change header fields in place: frame rate, codec, aspect, texts",
    {
        R"(Changes what has a place in the headers, whatever the size of the file; frames and sound are not
        touched. A field without a place is refused, with the reason. The old bytes are written to an undo file
        beside it first (clip.avi.kravi-undo), so that kravi undo takes the change back; several changes are
        taken back one by one, the last one first.)",
        R"(--aspect and --scan change the private chunks ('KrlA', 'PrmA', 'CtsI') and 'vprp'. Texts go into the
        'INFO' list, where its room and that of the filler after it suffice.)",
        R"(The file must not be open elsewhere, and must not be a link. If the power fails meanwhile, the file is
        the old one, the new one, or one that kravi undo makes the old one again.)",
    },
    {
        "kravi set clip.avi --rate 30000/1001",
        "kravi set clip.avi --aspect 16:9 --scan upper",
        "kravi set clip.avi --title 'A day out' && kravi undo clip.avi",
    },
};

struct SKrText
{
    uint32_t id;
    const char* option;
    const char* about;
};
constexpr std::array<SKrText, 6> kTexts = {{
    {KrFourCC("INAM"), "--title", "Title, 'INAM'"},
    {KrFourCC("IART"), "--artist", "Artist, 'IART'"},
    {KrFourCC("ICOP"), "--copyright", "Copyright, 'ICOP'"},
    {KrFourCC("ICMT"), "--comment", "Comment, 'ICMT'"},
    {KrFourCC("ICRD"), "--date", "Date, 'ICRD'"},
    {kFccIsft, "--software", "Software, 'ISFT'"},
}};

struct SKrSetOptions
{
    std::string file;
    SKrFieldValues values;
    std::array<std::string, kTexts.size()> texts; // as in kTexts
};

SKrFieldValues ValuesOf(const SKrSetOptions& options)
{
    SKrFieldValues values = options.values;
    for (size_t number = 0; number < kTexts.size(); ++number)
    {
        if (Printable(options.texts[number]) != options.texts[number])
            throw CKrToolError(
                {}, Format("{} must be text in UTF-8 without control characters", kTexts[number].option));
        if (!options.texts[number].empty())
            values.texts.emplace_back(kTexts[number].id, options.texts[number]);
    }
    const bool isEmpty = values.rate.empty() && values.codec.empty() && values.handler.empty() &&
                         values.aspect.empty() && values.start.empty() && !values.scan &&
                         values.texts.empty();
    if (isEmpty)
        throw CKrToolError({}, "nothing to set; see kravi set --help");
    return values;
}

void ReportChanges(const SKrFieldPlan& plan, CKrReport& report)
{
    report.BeginRows("changes", "changes\n");
    for (const SKrFieldChange& change : plan.changes)
    {
        const std::string stream = change.stream ? Format("stream {}, ", *change.stream) : std::string();
        report.Row({{"field", change.field},
                    {"stream", change.stream ? Json(*change.stream) : Json()},
                    {"offset", change.offset},
                    {"before", change.before.empty() ? Json() : Json(change.before)},
                    {"after", change.after}},
                   Format("  {}, {}at {}: {} -> {}\n", change.field, stream, change.offset,
                          change.before.empty() ? "none" : change.before, Printable(change.after)));
    }
    report.EndRows();
    for (const std::string& note : plan.notes)
        report.Note(note);
}

void RunSet(const SKrSetOptions& options, CKrReport& report)
{
    const SKrFieldValues values = ValuesOf(options);
    CKrMendedFile file(KrPlatform::OsFileSystem(), options.file);
    const SKrFieldPlan plan = PlanFields(file, values);
    const SKrMendedBytes changed = file.Change(plan.patches, "set");
    report.Fact("file", options.file);
    ReportChanges(plan, report);
    report.Fact("bytesChanged", changed.bytes);
    report.Fact("undoFile", changed.bytes != 0 ? Json(UndoPathOf(options.file)) : Json());
    if (changed.bytes == 0)
        report.Note("the fields have these values already; nothing was written");
}
} // namespace

void AddSetVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrSetOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kSetHelp, options->file, [options](auto& report, auto&) { RunSet(*options, report); });
    SKrFieldValues& values = options->values;
    verb.AddText("--rate", values.rate, "RATE", "Frames per second: 25, 29.97, 30000/1001");
    verb.AddText("--codec", values.codec, "FOURCC", "FourCC of the frames");
    verb.AddText("--handler", values.handler, "FOURCC", "Handler of the stream");
    verb.AddText("--aspect", values.aspect, "X:Y", "Display aspect, such as 16:9");
    verb.AddChoice("--scan", values.scan, "MODE", {ScanModes().begin(), ScanModes().end()},
                   "Order of the fields");
    verb.AddText("--start", values.start, "TIME", "Start of the stream in its units, or in seconds (0.5s)");
    verb.AddNumber("--stream", values.stream, "Number of the stream (the first video stream)");
    for (size_t number = 0; number < kTexts.size(); ++number)
        verb.AddText(kTexts[number].option, options->texts[number], "TEXT", kTexts[number].about);
}
} // namespace KrTool
