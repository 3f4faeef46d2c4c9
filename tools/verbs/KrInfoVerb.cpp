// kravi info: what a file is, in a few lines; with --full, all of its headers.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrFileList.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copier/KrCarriedHeader.h"
#include "tools/info/KrFullInfo.h"
#include "tools/info/KrSummaryText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

namespace KrTool
{
namespace
{
const SKrVerbHelp kInfoHelp = {
    "info",
    "Duration, codecs, geometry and health of a file; with --full all of its headers",
    {
        R"(The summary: container, duration as hours, minutes, seconds and frames, size, overall rate; of each
        stream the codec, geometry, frame rate, number of key frames, display aspect and field order with
        the place where the file stores them, sound format and bit rate; and whether the file is whole. Then texts
        such as title, time code and software. DV describes itself in each frame; of other pictures only what the file
        stores is told. Files that are being recorded, or were not closed, are counted as far as they are there.)",
        R"(--full adds the reader's answers to hosts of the library, segments, stream headers, private chunks and
        indexes. Hosts see aspect and field order of some sizes although the file stores none: these are marked as
        guesses.)",
        R"(Findings: the file is truncated (a segment extends past the end of the file), was not closed, or has no AVI
        headers; a stream has no index that can be loaded; the video index has fewer frames than the headers
        declare; index entries are past the end of the file.)",
    },
    {
        "kravi info clip.avi",
        "kravi info clip.avi --full",
        "kravi info --brief recordings/",
        "kravi info clip.avi --json",
    },
};

constexpr int kInfoVersion = 2; // of the object: a later one may change the meaning of a member

struct SKrInfoOptions
{
    SKrFileList files;
    bool isFull = false;
};

// A file as it is, and as one that grows, which may be in the middle of its recording.
class CKrExaminedFile
{
public:
    // Throws CKrToolError when it cannot be opened in either way.
    explicit CKrExaminedFile(const std::string& path)
    {
        std::optional<CKrToolError> refusal;
        m_growing = TryToOpen(path, EKrOpening::Growing, refusal);
        if (m_growing != nullptr)
            Look();
        m_whole = TryToOpen(path, EKrOpening::Whole, refusal);
        if (m_whole == nullptr && m_growing == nullptr)
            throw CKrToolError(*refusal);
    }

    [[nodiscard]] const CKrAviFile& File() const { return m_whole != nullptr ? *m_whole : *m_growing; }

    // Finds the chunks of segments whose size was never written as well. Null for files without whole
    // headers.
    [[nodiscard]] const CKrAviFile* Growing() const { return m_growing.get(); }

    [[nodiscard]] uint32_t State() const { return m_state; } // as GetGrowingState reports it

    // Whether it grows within a moment: programs other than ours may not lock what they record.
    [[nodiscard]] bool Grows()
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return m_growing != nullptr && m_growing->Refresh() > 0;
    }

private:
    static std::unique_ptr<CKrAviFile> TryToOpen(const std::string& path, EKrOpening opening,
                                                 std::optional<CKrToolError>& refusal)
    {
        try
        {
            return std::make_unique<CKrAviFile>(path, opening);
        }
        catch (const CKrToolError& error)
        {
            refusal.emplace(error);
            return nullptr;
        }
    }

    // The state is known once nothing new is found.
    void Look()
    {
        constexpr int kMostLooks = 4;
        for (int look = 0; look < kMostLooks && m_growing->Refresh() > 0; ++look)
            continue;
        m_state = m_growing->Reader().GetGrowingState();
    }

    std::unique_ptr<CKrAviFile> m_growing;
    std::unique_ptr<CKrAviFile> m_whole;
    uint32_t m_state = 0;
};

bool HasUnsetSize(const SKrAviFacts& facts)
{
    return std::ranges::any_of(facts.segments, [](auto& segment) { return IsSizeUnset(segment.cksize); });
}

void PrintReport(const CKrAviFile& file, const SKrFileSummary& summary, const SKrCarriedHeader* header,
                 const SKrFullInfo& full, const SKrInfoOptions& options, CKrReport& report)
{
    const std::vector<SKrInfoTag> tags =
        header != nullptr ? ReadInfoTags(*header) : std::vector<SKrInfoTag>();
    report.Brief(BriefSummary(summary));
    report.FactInWords("version", kInfoVersion, "");
    report.FactInWords("file", file.Path(), SummaryText(file.Path(), summary));
    report.FactInWords("length", file.Length(), "");
    report.FactInWords("kind", summary.container, "");
    report.FactInWords("summary", SummaryJson(summary), "");
    report.FactInWords("tags", TagsJson(tags), TagsText(tags));
    const bool isAsked = options.isFull || report.AsJson();
    for (const SKrInfoFact& fact : full.facts)
    {
        if (isAsked)
            report.Fact(fact.key, fact.value, fact.shown);
    }
    for (const std::string& note : full.hostNotes)
    {
        if (isAsked)
            report.Note(note);
    }
}

void InspectFile(const std::string& path, const SKrInfoOptions& options, CKrReport& report,
                 CKrProgress& progress)
{
    CKrExaminedFile examined(path);
    const CKrAviFile& file = examined.File();
    const SKrAviFacts facts = ReadFacts(file, progress);
    SKrHealth health = HealthOf(file, facts, examined.State());
    if (health.state == EKrHealth::NotClosed && examined.Grows())
        health.state = EKrHealth::BeingRecorded;
    const std::optional<SKrCarriedHeader> header = ReadCarriedHeader(file);
    const bool isGrowing = health.state == EKrHealth::NotClosed || health.state == EKrHealth::BeingRecorded;
    const CKrAviFile& counted = isGrowing && examined.Growing() != nullptr ? *examined.Growing() : file;
    const SKrFileSummary summary =
        Summarise(counted, &counted == &file ? facts : ReadFacts(counted, progress),
                  header ? &*header : nullptr, health, progress);
    if (health.state != EKrHealth::BeingRecorded)
        ReportFileFindings(file, facts, report);
    if (health.state == EKrHealth::NotClosed && !HasUnsetSize(facts))
        report.Finding("the recording was not closed: data follow the last segment; kravi recover makes it a "
                       "complete file");
    const SKrFullInfo full = ReadFullInfo(file, facts, report);
    PrintReport(file, summary, header ? &*header : nullptr, full, options, report);
}
} // namespace

void AddInfoVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrInfoOptions>();
    CKrVerbOptions& verb = verbs.Add(kInfoHelp,
                                     [options](auto& report, auto& progress)
                                     {
                                         RunOnEach(options->files, report, progress,
                                                   [&](const std::string& file)
                                                   { InspectFile(file, *options, report, progress); });
                                     });
    AddFileList(verb, options->files);
    verb.AddSwitch("--full", options->isFull, "All headers, and what hosts of the library see");
}
} // namespace KrTool
