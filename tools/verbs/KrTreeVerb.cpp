// kravi tree: the chunks of a file, level by level.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrScanRules.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace KrTool
{
namespace
{
const SKrVerbHelp kTreeHelp = {
    "tree",
    "The chunks of the file",
    {
        "Long runs of chunks are summarised after the first ones; see --run and --all.",
        R"(Findings: chunks that extend past the end of the file or of their list; lists nested too deeply; bytes in
        no chunk; more chunks than --limit; and defects of the whole file (see info).)",
    },
    {
        "kravi tree clip.avi --depth 2",
        "kravi tree clip.avi --run 3",
    },
};

struct SKrTreeOptions
{
    std::string file;
    uint64_t depth = 0;        // levels shown; 0: all
    uint64_t run = 8;          // chunks shown of a run before the summary
    bool all = false;          // show runs in full
    uint64_t limit = 10000000; // nodes read at most
};

constexpr size_t kMostIdsSummedUp = 12;

std::string RowText(uint64_t position, uint64_t size, size_t level, const std::string& text)
{
    return Format("{:>14}{:>12}  {:{}}{}\n", position, size, "", 2 * level, text);
}

// One line of the tree.
struct SKrTreeChunk
{
    uint64_t position = 0; // of the header
    uint32_t size = 0;
    uint32_t id = 0;
    uint32_t type = 0; // of a container

    [[nodiscard]] bool IsContainer() const { return ::IsContainer(id); }

    // What forms long runs in a file: data chunks, whatever their ids, and groups of them.
    [[nodiscard]] bool BelongsToRun() const { return !IsContainer() || type == kFccRec; }
};

// The chunks of a run that are not shown one by one, counted by id.
class CKrRunSummary
{
public:
    void Add(const SKrTreeChunk& chunk)
    {
        ++m_chunks;
        m_bytes += chunk.size;
        const std::string id = chunk.IsContainer() ? "LIST rec " : FourCcText(chunk.id);
        auto place = std::ranges::find(m_counts, id, &SKrCount::id);
        if (place == m_counts.end())
        {
            if (m_counts.size() == kMostIdsSummedUp)
            {
                ++m_others;
                return;
            }
            place = m_counts.insert(place, {id, 0});
        }
        ++place->chunks;
    }

    [[nodiscard]] bool IsEmpty() const { return m_chunks == 0; }

    Json AsJson(uint64_t position, size_t level) const
    {
        Json ids = Json::object();
        for (const SKrCount& count : m_counts)
            ids[count.id] = count.chunks;
        return {{"level", level},   {"position", position}, {"collapsed", m_chunks},
                {"bytes", m_bytes}, {"ids", ids},           {"otherIds", m_others}};
    }

    std::string AsText(uint64_t position, size_t level) const
    {
        std::string text = Format("... {}:", Counted(m_chunks, "chunk"));
        for (const SKrCount& count : m_counts)
            text += Format(" {} '{}',", count.chunks, count.id);
        if (m_others != 0)
            text += Format(" {} others,", m_others);
        text.pop_back();
        return RowText(position, m_bytes, level, text);
    }

private:
    struct SKrCount
    {
        std::string id;
        uint64_t chunks;
    };

    std::vector<SKrCount> m_counts; // by first appearance
    uint64_t m_chunks = 0;
    uint64_t m_bytes = 0;
    uint64_t m_others = 0;
};

// Chunks with a fault of one kind: how many, and where the first is.
struct SKrFaults
{
    uint64_t count = 0;
    uint64_t firstPosition = 0;

    void Add(uint64_t position)
    {
        if (count++ == 0)
            firstPosition = position;
    }

    void ReportAs(const std::string& text, CKrReport& report) const
    {
        if (count != 0)
            report.Finding(
                Format("{}: {}, the first at position {}", text, Counted(count, "chunk"), firstPosition));
    }
};

class CKrTreePrinter final : public IKrScanListener
{
public:
    CKrTreePrinter(uint64_t fileLength, const SKrTreeOptions& options, CKrReport& report)
        : m_fileLength(fileLength), m_options(options), m_report(report)
    {
    }

    void OnList(const SKrScannedList& list, Lists around) override
    {
        const bool isSegment = list.kind == EKrListKind::Segment;
        if (!isSegment && list.isUnset) // of a segment it is a finding about the whole file
            m_sizeUnset.Add(list.position);
        if (isSegment && !list.isUnset && list.claimedEnd > m_fileLength)
            m_beyondFile.Add(list.position);
        Take({list.position, list.size, isSegment ? kFccRiff : kFccList, list.type}, around.size() - 1);
    }

    void OnListEnd(const SKrScannedList&, Lists around, uint64_t) override { EndRun(around.size()); }

    void OnChunk(const SKrScannedChunk& chunk, Lists around) override
    {
        const SKrChunkGuess& guess = chunk.guess;
        const bool isDepthGiven = m_options.depth != 0 && m_options.depth <= kDeepestLevel;
        if (guess.IsList() && around.size() == kDeepestLevel && !isDepthGiven)
            m_tooDeep.Add(chunk.position);
        Take({chunk.position, guess.size, guess.id, guess.type}, around.size() - 1);
    }

    void OnOverrun(const SKrScannedChunk& chunk, Lists, uint64_t claimedEnd, bool) override
    {
        (claimedEnd > m_fileLength ? m_beyondFile : m_beyondParent).Add(chunk.position);
    }

    // What follows the segments is a note about the whole file.
    void OnGap(uint64_t from, uint64_t to, bool isZeros, Lists around) override
    {
        if (IsFull() || isZeros || around.size() == 1)
            return;
        m_gaps.Add(from);
        m_gapBytes += to - from;
    }

    [[nodiscard]] bool IsFull() const override { return m_chunks > m_options.limit; }

    // Shows what is held back, and reports the faults.
    void Finish()
    {
        EndRun(0);
        m_report.EndRows();
        m_sizeUnset.ReportAs("of a size that was never written", m_report);
        m_beyondFile.ReportAs("past the end of the file", m_report);
        m_beyondParent.ReportAs("past the end of their list", m_report);
        m_tooDeep.ReportAs(Format("not entered on level {}", kDeepestLevel), m_report);
        if (IsFull())
            m_report.Finding(
                Format("the file has more than {} chunks; the others are left out", m_options.limit));
        if (m_gaps.count != 0)
            m_report.Finding(Format("in no chunk: {} at {}, the first at position {}",
                                    Counted(m_gapBytes, "byte"), Counted(m_gaps.count, "place"),
                                    m_gaps.firstPosition));
    }

private:
    struct SKrRow
    {
        Json json;
        std::string text;
    };

    // The run of chunks that a level is in. The one after those that are shown is held back with what is in
    // it: if it is the last one, a summary would save no line.
    struct SKrRun
    {
        uint64_t chunks = 0;
        std::optional<SKrTreeChunk> held;
        std::vector<SKrRow> heldRows;
        CKrRunSummary summary; // of the held one and those after it
    };

    void Take(const SKrTreeChunk& chunk, size_t level)
    {
        if (++m_chunks > m_options.limit)
            return;
        if (m_runs.size() <= level)
            m_runs.resize(level + 1);
        if (!chunk.BelongsToRun())
            EndRun(level);
        else if (++m_runs[level].chunks > m_options.run && !m_options.all)
            return HoldBack(chunk, level);
        Show(RowOf(chunk, level), level);
    }

    void HoldBack(const SKrTreeChunk& chunk, size_t level)
    {
        SKrRun& run = m_runs[level];
        if (!run.held)
        {
            run.held = chunk;
            run.heldRows.push_back(RowOf(chunk, level));
            return;
        }
        if (run.summary.IsEmpty())
            run.summary.Add(*run.held);
        run.summary.Add(chunk);
        run.heldRows.clear();
    }

    void EndRun(size_t level)
    {
        if (level >= m_runs.size())
            return;
        const SKrRun run = std::exchange(m_runs[level], SKrRun());
        for (const SKrRow& row : run.heldRows)
            Show(row, level);
        if (!run.summary.IsEmpty())
            Show({run.summary.AsJson(run.held->position, level),
                  run.summary.AsText(run.held->position, level)},
                 level);
    }

    // A row inside a chunk that is held back shares its fate.
    void Show(const SKrRow& row, size_t level)
    {
        for (size_t outer = 0; outer < level; ++outer)
        {
            if (!m_runs[outer].held)
                continue;
            if (m_runs[outer].summary.IsEmpty())
                m_runs[outer].heldRows.push_back(row);
            return;
        }
        m_report.Row(row.json, row.text);
    }

    [[nodiscard]] SKrRow RowOf(const SKrTreeChunk& chunk, size_t level) const
    {
        if (!m_report.AsJson())
        {
            const std::string type =
                chunk.IsContainer() ? Format(" '{}'", FourCcText(chunk.type)) : std::string();
            return {nullptr,
                    RowText(chunk.position, chunk.size, level, Format("'{}'{}", FourCcText(chunk.id), type))};
        }
        Json row = {{"level", level},
                    {"position", chunk.position},
                    {"size", chunk.size},
                    {"id", FourCcText(chunk.id)}};
        if (chunk.IsContainer())
            row["type"] = FourCcText(chunk.type);
        return {std::move(row), {}};
    }

    const uint64_t m_fileLength;
    const SKrTreeOptions& m_options;
    CKrReport& m_report;
    std::vector<SKrRun> m_runs; // of each level
    uint64_t m_chunks = 0;
    uint64_t m_gapBytes = 0;
    SKrFaults m_gaps;
    SKrFaults m_sizeUnset;
    SKrFaults m_beyondFile;
    SKrFaults m_beyondParent;
    SKrFaults m_tooDeep;
};

void RunTree(const SKrTreeOptions& options, CKrReport& report, CKrProgress& progress)
{
    const CKrAviFile file(options.file);
    report.Fact("file", file.Path());
    report.Fact("length", file.Length());
    report.BeginRows("chunks", "      position        size  chunk\n");
    CKrTreePrinter printer(file.Length(), options, report);
    const uint64_t depth = options.depth != 0 ? options.depth : kDeepestLevel;
    const SKrScanRules rules = RulesForAnyList(static_cast<size_t>(std::min<uint64_t>(depth, kDeepestLevel)));
    CKrFileScanner(file, rules, printer, progress).Run("reading");
    printer.Finish();
    ReportFileFindings(file, ReadFacts(file, progress), report);
}
} // namespace

void AddTreeVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrTreeOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kTreeHelp, options->file,
                  [options](auto& report, auto& progress) { RunTree(*options, report, progress); });
    verb.AddNumber("--depth", options->depth, "Levels shown: 1 for segments only, 0 for all (0)");
    verb.AddNumber("--run", options->run, "Chunks shown of a long run (8)");
    verb.AddNumber("--limit", options->limit, "Limit of chunks read (10000000)");
    verb.AddSwitch("--all", options->all, "Show long runs in full");
}
} // namespace KrTool
