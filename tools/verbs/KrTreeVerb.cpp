// kravi tree: the chunks of a file, level by level.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace KrTool
{
namespace
{
const SKrVerbHelp kTreeHelp = {
    "tree",
    "The chunks of the file",
    {
        "Long runs of chunks are summarised after the first ones; see --run and --all.",
        R"(Findings: chunks that extend past the end of the file or of their list; lists nested too deeply; more
        chunks than --limit; and defects of the whole file (see info).)",
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

// What forms long runs in a file: data chunks, whatever their ids, and groups of them.
bool BelongsToRun(const SKrRiffChunkInfo& chunk)
{
    return !IsContainer(chunk.ckid) || chunk.fccType == kFccRec;
}

// The chunks of a run that are not shown one by one, counted by id.
class CKrRunSummary
{
public:
    void Add(const SKrRiffChunkInfo& chunk)
    {
        ++m_chunks;
        m_bytes += chunk.cksize;
        const std::string id = IsContainer(chunk.ckid) ? "LIST rec " : FourCcText(chunk.ckid);
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

    void Add(const SKrRiffChunkInfo& chunk)
    {
        if (count++ == 0)
            firstPosition = HeaderPosition(chunk);
    }

    void ReportAs(const std::string& text, CKrReport& report) const
    {
        if (count != 0)
            report.Finding(
                Format("{}: {}, the first at position {}", text, Counted(count, "chunk"), firstPosition));
    }
};

class CKrTreePrinter
{
public:
    CKrTreePrinter(const CKrAviFile& file, const SKrTreeOptions& options, CKrReport& report,
                   CKrProgress& progress)
        : m_file(file), m_options(options), m_report(report), m_progress(progress), m_budget(options.limit)
    {
    }

    void Print()
    {
        m_progress.Begin("reading", m_file.Length(), EKrUnit::Byte);
        m_report.BeginRows("chunks", "      position        size  chunk\n");
        m_levels.push_back({.nodes = Segments(m_file, m_budget), .limit = m_file.Length()});
        while (!m_levels.empty())
            Step();
        m_report.EndRows();
        m_progress.End();
        ReportFaults();
    }

private:
    struct SKrLevel
    {
        std::vector<SKrRiffChunkNode*> nodes;
        std::unique_ptr<OwnNodes> others = nullptr; // hold the last of them, which the reader does not have
        uint64_t limit = 0;                         // chunks below start before it
        size_t next = 0;                            // node to be shown
        size_t shownUntil = 0;                      // nodes of the present run before this one are shown,
        size_t runEnd = 0;                          // those up to here are summed up

        // Whether the node just passed is one of the others.
        [[nodiscard]] bool IsOther() const
        {
            return others != nullptr && next > nodes.size() - others->size();
        }
    };

    // Shows the next node of the deepest level, or leaves the level.
    void Step()
    {
        m_progress.StopIfAsked();
        SKrLevel& level = m_levels.back();
        if (level.next == level.nodes.size())
        {
            m_levels.pop_back();
            return;
        }
        if (level.next == level.runEnd)
            FindRun(level);
        if (level.next < level.shownUntil)
            ShowNode(level);
        else
            SumUp(level);
    }

    void FindRun(SKrLevel& level) const
    {
        level.runEnd = level.next;
        while (level.runEnd < level.nodes.size() && BelongsToRun(level.nodes[level.runEnd]->chunk))
            ++level.runEnd;
        level.runEnd = std::max(level.runEnd, level.next + 1);
        const size_t length = level.runEnd - level.next;
        const bool isShort = m_options.all || length - 1 <= m_options.run; // a summary of one saves no line
        level.shownUntil = isShort ? level.runEnd : level.next + static_cast<size_t>(m_options.run);
    }

    // May add a level, which moves the levels: `level` is not used afterwards.
    void ShowNode(SKrLevel& level)
    {
        SKrRiffChunkNode& node = *level.nodes[level.next++];
        const size_t depth = m_levels.size() - 1;
        const uint64_t limit = level.limit;
        ShowRow(node.chunk, depth);
        NoteFaults(node.chunk, limit, depth == 0);
        if (!IsContainer(node.chunk.ckid) || level.IsOther() ||
            (m_options.depth != 0 && m_levels.size() >= m_options.depth))
            return;
        if (m_levels.size() == kDeepestLevel)
        {
            m_tooDeep.Add(node.chunk);
            return;
        }
        const uint64_t childLimit = std::min(limit, EndPosition(node.chunk));
        auto others = std::make_unique<OwnNodes>();
        auto nodes = SubChunks(m_file, node, childLimit, m_budget, m_progress, others.get());
        m_levels.push_back({.nodes = std::move(nodes), .others = std::move(others), .limit = childLimit});
    }

    void ShowRow(const SKrRiffChunkInfo& chunk, size_t depth)
    {
        if (m_report.AsJson())
        {
            Json row = {{"level", depth},
                        {"position", HeaderPosition(chunk)},
                        {"size", chunk.cksize},
                        {"id", FourCcText(chunk.ckid)}};
            if (IsContainer(chunk.ckid))
                row["type"] = FourCcText(chunk.fccType);
            m_report.Row(row, {});
            return;
        }
        const std::string type =
            IsContainer(chunk.ckid) ? Format(" '{}'", FourCcText(chunk.fccType)) : std::string();
        m_report.Row({}, RowText(HeaderPosition(chunk), chunk.cksize, depth,
                                 Format("'{}'{}", FourCcText(chunk.ckid), type)));
    }

    void NoteFaults(const SKrRiffChunkInfo& chunk, uint64_t limit, bool isSegment)
    {
        const bool isUnset = IsContainer(chunk.ckid) && IsSizeUnset(chunk.cksize);
        if (isUnset && isSegment)
            return; // a finding about the file as a whole
        if (isUnset)
            m_sizeUnset.Add(chunk);
        else if (EndPosition(chunk) > m_file.Length())
            m_beyondFile.Add(chunk);
        else if (!isSegment && EndPosition(chunk) > limit)
            m_beyondParent.Add(chunk);
    }

    void SumUp(SKrLevel& level)
    {
        CKrRunSummary summary;
        const uint64_t position = HeaderPosition(level.nodes[level.next]->chunk);
        for (; level.next < level.runEnd; ++level.next)
        {
            const SKrRiffChunkInfo& chunk = level.nodes[level.next]->chunk;
            summary.Add(chunk);
            NoteFaults(chunk, level.limit, false);
        }
        const size_t depth = m_levels.size() - 1;
        m_report.Row(summary.AsJson(position, depth), summary.AsText(position, depth));
    }

    void ReportFaults() const
    {
        m_sizeUnset.ReportAs("of a size that was never written", m_report);
        m_beyondFile.ReportAs("past the end of the file", m_report);
        m_beyondParent.ReportAs("past the end of their list", m_report);
        m_tooDeep.ReportAs(Format("not entered on level {}", kDeepestLevel), m_report);
        if (m_budget.Exceeded())
            m_report.Finding(
                Format("the file has more than {} chunks; the others are left out", m_options.limit));
    }

    const CKrAviFile& m_file;
    const SKrTreeOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    CKrNodeBudget m_budget;
    std::vector<SKrLevel> m_levels;
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
    CKrTreePrinter(file, options, report, progress).Print();
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
