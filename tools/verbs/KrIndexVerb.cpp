// kravi index: the entries of the indexes of all streams.
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/avi/KrFrameRange.h"
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
    "The index entries of the streams",
    {
        R"(Numbers count from 0. The first video and the first usable audio stream come first, then all others.
        An entry whose data are not all in the file is left out. --from and --to are numbers of entries; of frames, with
        --video or the --stream of a video, also times such as 00:00:10:00 or 10.5s.)",
        R"(Findings: no index of the video or audio, though the file has such a stream, or of the stream that an
        option selects; entries past the end of the file; with --check, chunks that are not in the index, and entries
        without a chunk; and defects of the whole file.)",
    },
    {
        "kravi index clip.avi --video --from 0 --to 9",
        "kravi index clip.avi --summary --check",
        "kravi index clip.avi --stream 2",
    },
};

struct SKrIndexOptions
{
    std::string file;
    bool video = false; // no stream selected: all
    bool audio = false;
    std::optional<uint64_t> stream;
    bool summary = false;
    bool check = false; // compare with the chunks in the file
    SKrRangeOptions range;
    std::optional<uint64_t> from; // entries of the range
    std::optional<uint64_t> to;   // inclusive
};

using Entries = std::vector<SKrStreamIndexEntry>;

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

Json SizesJson(const Entries& entries)
{
    if (entries.empty())
        return nullptr;
    const auto [smallest, largest] = std::ranges::minmax(entries, {}, &SKrStreamIndexEntry::size);
    uint64_t total = 0;
    for (const SKrStreamIndexEntry& entry : entries)
        total += entry.size;
    return {{"total", total}, {"smallest", smallest.size}, {"largest", largest.size}};
}

class CKrIndexPrinter
{
public:
    CKrIndexPrinter(const CKrAviFile& file, const SKrAviFacts& facts, const SKrIndexOptions& options,
                    CKrReport& report, CKrProgress& progress)
        : m_file(file), m_facts(facts), m_options(options), m_report(report), m_progress(progress)
    {
    }

    // The first stream of a kind.
    void Print(EKrStreamKind kind, bool wasAskedFor)
    {
        const std::string name = KindName(kind);
        const std::optional<uint32_t> stream = DefaultStream(m_file, m_facts, kind);
        const auto index = stream ? Load(*stream) : std::nullopt;
        if (stream)
            m_printed.push_back(*stream);
        if (!index)
        {
            m_report.Fact(name, nullptr);
            if (FirstStream(m_facts.streams, kind) != nullptr || wasAskedFor)
                m_report.Finding(Format("no {} index can be loaded", name));
            return;
        }
        Json facts = IndexJson({{"stream", *stream}}, *stream, *index, name);
        if (kind == EKrStreamKind::Audio && !index->entries.empty())
            AddPattern(*stream, facts);
        m_report.Fact(name, facts);
        if (m_options.summary)
            return;
        m_report.BeginRows(name + "Entries", name + "     number       position       size\n");
        PrintEntries(name, *index,
                     [this](uint64_t number, const SKrStreamIndexEntry& entry)
                     {
                         m_report.Row(
                             {{"number", number}, {"position", entry.position}, {"size", entry.size}},
                             Format("{:>16}{:>15}{:>11}\n", number, entry.position, entry.size));
                     });
        m_report.EndRows();
    }

    // The streams that were not printed before.
    void PrintOthers()
    {
        std::vector<uint32_t> others;
        for (const SKrAviStream& stream : m_facts.streams)
        {
            if (std::ranges::find(m_printed, stream.number) == m_printed.end())
                others.push_back(stream.number);
        }
        if (!others.empty())
            PrintStreams(others);
    }

    void PrintStream(uint32_t stream)
    {
        CheckStreamNumber(m_file, m_facts, stream);
        if (!PrintStreams({stream}))
            m_report.Finding(Format("no index of stream {} can be loaded", stream));
    }

    // Throws CKrToolError for a range that no printed index has.
    void CheckRange() const
    {
        const uint64_t last = std::max(m_options.from.value_or(0), m_options.to.value_or(0));
        const bool isRange = m_options.from || m_options.to;
        if (isRange && !m_options.summary && last >= m_longest)
            throw CKrToolError(m_file.Path(), Format("no such entries: the longest index has {}",
                                                     Counted(m_longest, "entry")));
    }

private:
    // Nothing for an index without an entry if the stream has chunks.
    [[nodiscard]] std::optional<SKrStreamIndex> Load(uint32_t stream) const
    {
        std::optional<SKrStreamIndex> index = LoadStreamIndex(m_file, stream);
        const auto properties = StreamProperties(m_file, stream);
        const bool isBlank = index && index->entries.empty() && index->outside == 0;
        return isBlank && properties && properties->chunkId != 0 ? std::nullopt : std::move(index);
    }

    // Both sides by position.
    Json Compare(uint32_t stream, const SKrStreamIndex& loaded, const std::string& name)
    {
        const SKrFoundChunks found =
            ScanForChunks(m_file, m_facts.streams.size(), stream, std::nullopt, m_progress);
        Chunks index = ChunksOfIndex(loaded);
        constexpr auto kPosition = &SKrChunkIndexEntry::position;
        std::ranges::sort(index, {}, kPosition);
        Chunks missing;
        std::ranges::set_difference(found.chunks, index, std::back_inserter(missing), {}, kPosition,
                                    kPosition);
        Chunks wrong;
        std::ranges::set_difference(index, found.chunks, std::back_inserter(wrong), {}, kPosition, kPosition);
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

    // What is known of an index, added to other facts. `name`: of the index in findings.
    Json IndexJson(Json facts, uint32_t stream, const SKrStreamIndex& index, const std::string& name)
    {
        facts["entries"] = index.entries.size();
        facts["bytes"] = SizesJson(index.entries);
        if (index.outside != 0)
            m_report.Finding(Format("past the end of the file: {} of the {} index",
                                    Counted(index.outside, "chunk"), name));
        if (m_options.check)
            facts["check"] = Compare(stream, index, name);
        return facts;
    }

    // Hosts get it for one audio stream.
    void AddPattern(uint32_t stream, Json& facts) const
    {
        SKrAudioChunkPattern pattern = {};
        const SKrAviStream* const ofHosts = FirstUsableAudioStream(m_facts);
        const bool isOfHosts = ofHosts != nullptr && ofHosts->number == stream;
        if (isOfHosts && LoadIndex(m_file, EKrStreamKind::Audio, &pattern))
            facts["sizePattern"] = PatternJson(pattern);
    }

    // Answers whether any of them has an index.
    bool PrintStreams(const std::vector<uint32_t>& streams)
    {
        std::vector<std::optional<SKrStreamIndex>> indexes;
        Json rows = Json::array();
        for (const uint32_t stream : streams)
        {
            const auto& index = indexes.emplace_back(Load(stream));
            const SKrAviStream* const header =
                stream < m_facts.streams.size() ? &m_facts.streams[stream] : nullptr;
            const Json facts = {{"stream", stream},
                                {"type", header != nullptr ? Json(FourCcText(header->type)) : Json()}};
            rows.push_back(index ? IndexJson(facts, stream, *index, Format("stream {}", stream)) : facts);
        }
        m_report.Fact("streams", rows);
        if (!m_options.summary)
            PrintEntriesOf(streams, indexes);
        return std::ranges::any_of(indexes, [](auto& index) { return index.has_value(); });
    }

    void PrintEntriesOf(const std::vector<uint32_t>& streams,
                        const std::vector<std::optional<SKrStreamIndex>>& indexes)
    {
        m_report.BeginRows("streamEntries", "stream    number       position       size  key frame\n");
        for (size_t place = 0; place < streams.size(); ++place)
        {
            if (!indexes[place])
                continue;
            const auto show =
                [this, stream = streams[place]](uint64_t number, const SKrStreamIndexEntry& entry)
            {
                const bool isKey = (entry.flags & kKeyFrame) != 0;
                m_report.Row({{"stream", stream},
                              {"number", number},
                              {"position", entry.position},
                              {"size", entry.size},
                              {"keyFrame", isKey}},
                             Format("{:>6}{:>10}{:>15}{:>11}  {}\n", stream, number, entry.position,
                                    entry.size, isKey ? "yes" : "no"));
            };
            PrintEntries(Format("stream {}", streams[place]), *indexes[place], show);
        }
        m_report.EndRows();
    }

    // Those of the range that the user asked for.
    template <class SHOW>
    void PrintEntries(const std::string& name, const SKrStreamIndex& index, SHOW&& show)
    {
        const Entries& entries = index.entries;
        m_longest = std::max<uint64_t>(m_longest, entries.size());
        const uint64_t end =
            m_options.to ? std::min<uint64_t>(*m_options.to + 1, entries.size()) : entries.size();
        const uint64_t first = std::min(m_options.from.value_or(0), end);
        m_progress.Begin("printing " + name, end - first, EKrUnit::Chunk);
        for (uint64_t number = first; number < end; ++number)
        {
            show(number, entries[static_cast<size_t>(number)]);
            m_progress.Advance(number - first);
        }
        m_progress.End();
    }

    const CKrAviFile& m_file;
    const SKrAviFacts& m_facts;
    const SKrIndexOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    std::vector<uint32_t> m_printed; // numbers of streams
    uint64_t m_longest = 0;          // entries of the indexes
};
void RunIndex(SKrIndexOptions options, CKrReport& report, CKrProgress& progress)
{
    const SKrFrameNumbers entries = ReadRange(options.range, options.file, options.stream, progress);
    if (entries.isByTime && !options.stream && (!options.video || options.audio))
        throw CKrToolError({},
                           "times name frames: give --video, or --stream with the number of a video stream");
    options.from = entries.first;
    options.to = entries.last;
    const CKrAviFile file(options.file);
    const SKrAviFacts facts = ReadFacts(file, progress);
    ReportFileFindings(file, facts, report);
    report.Fact("file", file.Path());
    CKrIndexPrinter printer(file, facts, options, report, progress);
    const bool all = !options.video && !options.audio && !options.stream;
    if (all || options.video)
        printer.Print(EKrStreamKind::Video, options.video);
    if (all || options.audio)
        printer.Print(EKrStreamKind::Audio, options.audio);
    if (all)
        printer.PrintOthers();
    if (const std::optional<uint32_t> stream = StreamNumber(options.stream))
        printer.PrintStream(*stream);
    printer.CheckRange();
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
    verb.AddNumber("--stream", options->stream, "The index of this stream only");
    verb.AddSwitch("--summary", options->summary, "Only counts and sizes, no entries");
    verb.AddSwitch("--check", options->check, "Compare with the chunks in the file");
    AddRangeOptions(verb, options->range);
}
} // namespace KrTool
