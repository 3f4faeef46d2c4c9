// kravi index: the entries of the indexes that the reader loads.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace KrTool
{
namespace
{
const SKrVerbHelp kIndexHelp = {
    "index",
    "The index entries of the video and the audio stream",
    {
        R"(Numbers count from 0. The reader loads the index of the first video stream and of the first usable
        audio stream.)",
        R"(Findings: an index that cannot be loaded, though the file has such a stream or an option selects it;
        entries past the end of the file; with --check, chunks that are not in the index, and entries
        without a chunk; and defects of the whole file.)",
    },
    {
        "kravi index clip.avi --video --from 0 --to 9",
        "kravi index clip.avi --summary --check",
    },
};

struct SKrIndexOptions
{
    std::string file;
    bool video = false; // neither: both
    bool audio = false;
    bool summary = false;
    bool check = false; // compare with the chunks in the file
    std::optional<uint64_t> from;
    std::optional<uint64_t> to; // inclusive
};

Json PatternJson(const SKrAudioChunkPattern& pattern)
{
    if (pattern.kind == 1)
        return {{"repeats", true},
                {"bytesPerPeriod", pattern.bytesPerPeriod},
                {"chunksPerPeriod", pattern.chunksPerPeriod},
                {"lastChunkBytes", pattern.lastChunkBytes}};
    return {{"repeats", false},
            {"quarterBytes",
             {pattern.kind, pattern.bytesPerPeriod, pattern.chunksPerPeriod, pattern.lastChunkBytes}}};
}

Json SizesJson(const Chunks& chunks)
{
    if (chunks.empty())
        return nullptr;
    const auto [smallest, largest] = std::ranges::minmax(chunks, {}, &SKrChunkIndexEntry::size);
    return {{"total", TotalBytes(chunks)}, {"smallest", smallest.size}, {"largest", largest.size}};
}

class CKrIndexPrinter
{
public:
    CKrIndexPrinter(const CKrAviFile& file, const SKrAviFacts& facts, const SKrIndexOptions& options,
                    CKrReport& report, CKrProgress& progress)
        : m_file(file), m_facts(facts), m_options(options), m_report(report), m_progress(progress)
    {
    }

    void Print(EKrStreamKind kind, bool wasAskedFor)
    {
        const bool isVideo = kind == EKrStreamKind::Video;
        const std::string name = KindName(kind);
        SKrAudioChunkPattern pattern = {};
        const std::optional<Chunks> index = LoadIndex(m_file, kind, &pattern);
        if (!index)
        {
            m_report.Fact(name, nullptr);
            const bool hasStream =
                (isVideo ? FirstVideoStream(m_facts) : FirstUsableAudioStream(m_facts)) != nullptr;
            if (hasStream || wasAskedFor)
                m_report.Finding(Format("no {} index can be loaded", name));
            if (const std::string text = isVideo ? "" : UnindexedSoundText(m_facts); !text.empty())
                m_report.Note(text);
            return;
        }
        const std::optional<uint32_t> stream = StreamOfIndex(m_file, m_facts, *index, kind);
        Json facts = {{"stream", stream ? Json(*stream) : Json()},
                      {"entries", index->size()},
                      {"bytes", SizesJson(*index)}};
        if (!isVideo && !index->empty())
            facts["sizePattern"] = PatternJson(pattern);
        if (const uint64_t cut = CountCutChunks(m_file, *index); cut != 0)
            m_report.Finding(
                Format("past the end of the file: {} of the {} index", Counted(cut, "chunk"), name));
        if (m_options.check && stream)
            facts["check"] = Compare(kind, *stream, *index);
        m_report.Fact(name, facts);
        if (!m_options.summary)
            PrintEntries(name, *index);
    }

private:
    // Both sides by position; the search skips empty chunks, so their entries do not count.
    Json Compare(EKrStreamKind kind, uint32_t stream, Chunks index)
    {
        const SKrFoundChunks found =
            SearchChunks(m_file, DataChunkIds(stream, m_facts.streams.size(), kind), m_progress);
        constexpr auto kPosition = &SKrChunkIndexEntry::position;
        std::erase_if(index, [](const SKrChunkIndexEntry& entry) { return entry.size == 0; });
        std::ranges::sort(index, {}, kPosition);
        Chunks missing;
        std::ranges::set_difference(found.chunks, index, std::back_inserter(missing), {}, kPosition,
                                    kPosition);
        Chunks wrong;
        std::ranges::set_difference(index, found.chunks, std::back_inserter(wrong), {}, kPosition, kPosition);
        const std::string name = KindName(kind);
        if (!missing.empty())
            m_report.Finding(Format("not in the {} index: {} of stream {}", name,
                                    Counted(missing.size(), "chunk"), stream));
        if (!wrong.empty())
            m_report.Finding(Format("not at a chunk of stream {}: {} of the {} index", stream,
                                    Counted(wrong.size(), "entry"), name));
        return {{"chunksInFile", found.chunks.size()},
                {"notInIndex", missing.size()},
                {"notInFile", wrong.size()}};
    }

    void PrintEntries(const std::string& name, const Chunks& index)
    {
        m_report.BeginRows(name + "Entries", name + "     number       position       size\n");
        const uint64_t end =
            m_options.to ? std::min<uint64_t>(*m_options.to + 1, index.size()) : index.size();
        const uint64_t first = std::min(m_options.from.value_or(0), end);
        m_progress.Begin("printing " + name, end - first, EKrUnit::Chunk);
        for (uint64_t number = first; number < end; ++number)
        {
            const SKrChunkIndexEntry& entry = index[static_cast<size_t>(number)];
            if (m_report.AsJson())
                m_report.Row({{"number", number}, {"position", entry.position}, {"size", entry.size}}, {});
            else
                m_report.Row({}, Format("{:>16}{:>15}{:>11}\n", number, entry.position, entry.size));
            m_progress.Advance(number - first);
        }
        m_report.EndRows();
        m_progress.End();
    }

    const CKrAviFile& m_file;
    const SKrAviFacts& m_facts;
    const SKrIndexOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
};
void RunIndex(const SKrIndexOptions& options, CKrReport& report, CKrProgress& progress)
{
    if (options.from && options.to && *options.from > *options.to)
        throw CKrToolError({}, "--from is after --to");
    const CKrAviFile file(options.file);
    const SKrAviFacts facts = ReadFacts(file, progress);
    ReportFileFindings(file, facts, report);
    report.Fact("file", file.Path());
    CKrIndexPrinter printer(file, facts, options, report, progress);
    const bool both = options.video == options.audio;
    if (both || options.video)
        printer.Print(EKrStreamKind::Video, options.video);
    if (both || options.audio)
        printer.Print(EKrStreamKind::Audio, options.audio);
}
} // namespace

void AddIndexVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrIndexOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kIndexHelp, options->file,
                  [options](auto& report, auto& progress) { RunIndex(*options, report, progress); });
    verb.AddSwitch("--video", options->video, "The video index only");
    verb.AddSwitch("--audio", options->audio, "The audio index only");
    verb.AddSwitch("--summary", options->summary, "Only counts and sizes, no entries");
    verb.AddSwitch("--check", options->check, "Compare with the chunks in the file");
    verb.AddNumber("--from", options->from, "First entry shown");
    verb.AddNumber("--to", options->to, "Last entry shown");
}
} // namespace KrTool
