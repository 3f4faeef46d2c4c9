// kravi verify: what is wrong with the structure of a file.
#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkGuess.h"
#include "tools/avi/KrFileList.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/command/KrColour.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/verify/KrVerify.h"

#include <nlohmann/json.hpp>

#include <array>

namespace KrTool
{
namespace
{
const SKrVerbHelp kVerifyHelp = {
    "verify",
    "Check the structure of the file: every byte, header values, indexes",
    {
        R"(Scans all chunk headers and checks sizes, headers, 'idx1', OpenDML indexes and private chunks against
        the content, uncompressed pictures against their format, and the place of the sound against the pictures
        of its time. The verdict comes first. Each result has a stable code, a severity (error: readers fail or
        lose data; warning: some programs mishandle it; note: worth knowing), positions in the file, and a hint.
        The first five positions of each code are shown. --list-checks lists all codes.)",
        R"(Findings: errors and warnings. Notes leave the exit code 0. The data of frames and sound is not read.)",
    },
    {
        "kravi verify clip.avi",
        "kravi verify clip.avi --json",
        "kravi verify --brief recordings/",
        "kravi verify --list-checks",
    },
};

struct SKrVerifyOptions
{
    SKrFileList files;
    bool listChecks = false;
    double interleave = kInterleaveLimit; // seconds
};

// Opens any file that begins with a RIFF 'AVI ' header or that the reader accepts, or throws CKrToolError.
// `refusal`: why the reader refuses it, or empty.
CKrInputFile OpenForVerifying(const std::string& path, std::string& refusal)
{
    CKrInputFile file(path);
    try
    {
        const CKrAviFile accepted(path);
    }
    catch (const CKrToolError& error)
    {
        const SKrChunkGuess first = GuessChunk(CKrFileWindow(file).At(0, kListHeaderSize), file.Length());
        refusal = error.what();
        if (first.id != kFccRiff || first.type != kFccAvi)
            throw CKrToolError(path, refusal);
    }
    return file;
}

Json CheckJson(const SKrCheck& check)
{
    return {{"code", check.code},
            {"severity", SeverityName(check.severity)},
            {"meaning", check.meaning},
            {"hint", check.hint}};
}

void ListChecks(CKrReport& report)
{
    report.BeginRows("checks", "");
    for (const SKrCheck& check : kChecks)
        report.Row(CheckJson(check), Format("{} ({})\n  {}.\n  {}.\n", check.code,
                                            SeverityName(check.severity), check.meaning, check.hint));
    report.EndRows();
}

Json ResultJson(const SKrCheck& check, const SKrCheckResult& result)
{
    Json json = CheckJson(check);
    json["count"] = result.count;
    json["places"] = Json::array();
    for (const SKrPlace& place : result.places)
        json["places"].push_back(
            {{"offset", place.offset}, {"expected", place.what.expected}, {"found", place.what.found}});
    return json;
}

std::string SeverityText(EKrSeverity severity)
{
    static constexpr std::array kColours = {EKrColour::Red, EKrColour::Yellow, EKrColour::Cyan};
    return Coloured(kColours[static_cast<size_t>(severity)], SeverityName(severity));
}

std::string ResultText(const SKrCheck& check, const SKrCheckResult& result)
{
    std::string text = Format("{} {}: {}", SeverityText(check.severity), check.code, check.meaning);
    text += result.count > 1 ? Format(" ({} times).\n", result.count) : ".\n";
    for (const SKrPlace& place : result.places)
        text +=
            Format("  at {}: expected {}, found {}\n", place.offset, place.what.expected, place.what.found);
    if (result.count > result.places.size())
        text += Format("  and {} more\n", result.count - result.places.size());
    return Format("{}  {}.\n", text, check.hint);
}

// The worst first.
void ReportResults(const CKrVerifyResults& results, CKrReport& report)
{
    report.BeginRows("results", "");
    for (const EKrSeverity severity : {EKrSeverity::Error, EKrSeverity::Warning, EKrSeverity::Note})
    {
        for (const SKrCheck& check : kChecks)
        {
            const SKrCheckResult& result = results.Of(check.check);
            if (check.severity != severity || result.count == 0)
                continue;
            report.Row(ResultJson(check, result), ResultText(check, result));
        }
    }
    report.EndRows();
}

// "no defects" or "1 error, 2 warnings: segment-beyond-file, ...", and notes.
std::string BriefResult(const CKrVerifyResults& results, uint64_t errors, uint64_t warnings, uint64_t notes)
{
    std::vector<std::string> codes;
    for (const EKrSeverity severity : {EKrSeverity::Error, EKrSeverity::Warning})
    {
        for (const SKrCheck& check : kChecks)
        {
            if (check.severity == severity && results.Of(check.check).count != 0)
                codes.emplace_back(check.code);
        }
    }
    std::string text = notes != 0 ? Format(", {}", Counted(notes, "note")) : std::string();
    if (codes.empty())
        return "no defects" + text;
    return Format("{}, {}{}: {}", Counted(errors, "error"), Counted(warnings, "warning"), text,
                  Joined(codes, ", "));
}

void ReportContents(const SKrVerifyModel& model, CKrReport& report)
{
    report.Fact("contents", {{"segments", model.segments.size()},
                             {"streams", model.streams.size()},
                             {"dataChunks", model.chunks.size()},
                             {"idx1Entries", model.oldIndexEntries},
                             {"standardIndexes", model.standardIndexes.size()},
                             {"standardIndexEntries", model.standardIndexEntries}});
    static constexpr std::array<const char*, static_cast<size_t>(EKrBytes::Count)> kNames = {
        "chunkHeaders", "streamHeaders", "data",  "indexes",    "privateChunks",
        "filler",       "padding",       "other", "unaccounted"};
    Json bytes = Json::object();
    for (size_t use = 0; use < kNames.size(); ++use)
        bytes[kNames[use]] = model.bytes[use];
    report.Fact("bytes", bytes);
}

void VerifyFile(const std::string& path, double interleaveLimit, CKrReport& report, CKrProgress& progress)
{
    std::string refusal;
    const CKrInputFile file = OpenForVerifying(path, refusal);
    SKrVerification verification;
    verification.interleaveLimit = interleaveLimit;
    if (!refusal.empty())
        verification.results.Add(EKrCheck::ReaderRefuses, 0, "a file that can be opened", refusal);
    Verify(file, verification, progress);
    report.Fact("verdict", verification.results.Verdict(), verification.results.VerdictText());
    report.Fact("file", file.Path());
    report.Fact("length", file.Length());
    ReportContents(verification.model, report);
    ReportResults(verification.results, report);
    const auto [errors, warnings, notes] = verification.results.Kinds();
    report.Brief(BriefResult(verification.results, errors, warnings, notes));
    report.Fact("counts", {{"errors", errors}, {"warnings", warnings}, {"notes", notes}});
    if (errors + warnings != 0)
        report.Finding(verification.results.VerdictText());
}

void RunVerify(const SKrVerifyOptions& options, CKrReport& report, CKrProgress& progress)
{
    if (options.listChecks && !options.files.names.empty())
        throw CKrToolError({}, "--list-checks takes no FILE; see kravi verify --help");
    if (options.listChecks)
    {
        ListChecks(report);
        return;
    }
    if (options.files.names.empty())
        throw CKrToolError({}, "FILE is required; see kravi verify --help");
    RunOnEach(options.files, report, progress,
              [&](const std::string& file) { VerifyFile(file, options.interleave, report, progress); });
}
} // namespace

void AddVerifyVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrVerifyOptions>();
    CKrVerbOptions& verb = verbs.Add(kVerifyHelp, [options](auto& report, auto& progress)
                                     { RunVerify(*options, report, progress); });
    AddFileList(verb, options->files, false);
    verb.AddSwitch("--list-checks", options->listChecks,
                   "List all checks instead: code, severity, meaning and hint");
    verb.AddSeconds("--interleave", options->interleave, "Most seconds from a frame to its sound (1)");
}
} // namespace KrTool
