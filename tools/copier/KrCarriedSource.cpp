#include "tools/copier/KrCarriedSource.h"

#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileFindings.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrIndexedChunks.h"
#include "tools/copier/KrKeyGuess.h"
#include "tools/copier/KrScannedChunks.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace KrTool
{
namespace
{
const char* PluralOf(uint64_t count, const char* one, const char* many)
{
    return count == 1 ? one : many;
}

class CKrSourceOpening
{
public:
    CKrSourceOpening(const std::string& path, CKrReport& report, CKrProgress& progress)
        : m_report(report), m_progress(progress), m_file(std::make_shared<CKrAviFile>(path))
    {
    }

    SKrCarriedSource Run()
    {
        std::optional<SKrCarriedHeader> header = ReadCarriedHeader(*m_file);
        ReportFileFindings(*m_file, ReadFacts(*m_file, m_progress), m_report,
                           header ? std::optional(header->streamCount) : std::nullopt);
        TakeHeader(std::move(header));
        m_indexed = LoadIndexedChunks(*m_file, m_source.header.streams.size());
        const uint64_t bytes =
            std::accumulate(m_indexed.chunks.begin(), m_indexed.chunks.end(), uint64_t{0},
                            [](uint64_t sum, const SKrCarriedChunk& chunk) { return sum + chunk.size; });
        if (bytes > m_file->Length())
        {
            Damaged(
                "the chunks of its indexes are larger in total than the file; all chunks are taken from a scan of it");
            TakeScanned();
        }
        else if (std::ranges::any_of(m_indexed.streams, &SKrIndexedStream::hasIndex))
            TakeIndexed();
        else
            TakeUnindexed();
        CheckFrames();
        m_source.file = m_file;
        return std::move(m_source);
    }

private:
    void TakeHeader(std::optional<SKrCarriedHeader> header)
    {
        if (!header || header->streams.empty())
            throw CKrToolError(m_file->Path(),
                               "it has no stream headers; kravi recover may make a file of it");
        if (header->streamCount > kStreamLimit)
            throw CKrToolError(m_file->Path(), Format("it has {}; AVI files can number {}",
                                                      Counted(header->streamCount, "stream"), kStreamLimit));
        m_source.header = std::move(*header);
        for (size_t number = 0; number < m_source.header.streams.size(); ++number)
        {
            if (m_source.header.streams[number].header.size() < KrStrh::kShortestSize)
                throw CKrToolError(
                    m_file->Path(),
                    Format("stream {} has no whole header; kravi recover may make a file of it", number));
        }
        if (m_source.header.bytesLeftOut != 0)
            Damaged(Format("left out: {} outside of 'movi' that are in no whole chunk, or in one too large",
                           Counted(m_source.header.bytesLeftOut, "byte")));
    }

    void Damaged(const std::string& text)
    {
        m_source.isWhole = false;
        m_report.Finding(text);
    }

    void TakeIndexed()
    {
        CompareWithFile(*m_file, m_source.header.dataPosition, m_indexed, m_progress);
        for (uint32_t number = 0; number < m_indexed.streams.size(); ++number)
            ReportEntries(number, m_indexed.streams[number]);
        if (m_indexed.lostBytes != 0)
            Damaged(Format("in no chunk: {}, the first at {}", Counted(m_indexed.lostBytes, "byte"),
                           m_indexed.firstLost));
        if (!m_indexed.IsSound())
            return TakeScanned();
        if (m_indexed.unknownChunks != 0)
            m_report.Note(Format("left out: {} between frames and sound that belong to no stream",
                                 Counted(m_indexed.unknownChunks, "chunk")));
        m_source.chunks = std::move(m_indexed.chunks);
        TakeUnnamed();
    }

    void ReportEntries(uint32_t number, const SKrIndexedStream& stream)
    {
        if (stream.wrong != 0)
            Damaged(Format(
                "not at a chunk of stream {}: {} of its index; all chunks are taken from a scan of the file",
                number, Counted(stream.wrong, "entry")));
        if (stream.outside != 0)
            Damaged(Format("past the end of the file: {} of the index of stream {}",
                           Counted(stream.outside, "entry"), number));
        if (!m_indexed.IsSound())
            return; // what the scan finds does not come from the index
        if (!stream.hasIndex && stream.unindexed != 0)
            m_report.Note(Format("stream {} has no index; {} found between other chunks", number,
                                 Counted(stream.unindexed, "chunk")));
        else if (stream.unindexed != 0)
            Damaged(Format("missing in the index of stream {}: {}, copied nevertheless", number,
                           Counted(stream.unindexed, "chunk")));
    }

    // Chunks without an entry have entries in the new file, except for palette changes.
    void TakeUnnamed()
    {
        std::vector<bool> isKnown(m_source.chunks.size(), true);
        bool areAll = true;
        for (size_t number = 0; number < m_source.chunks.size(); ++number)
        {
            SKrCarriedChunk& chunk = m_source.chunks[number];
            if (chunk.IsIndexed())
                continue;
            if (!chunk.IsPaletteChange())
                chunk.flags = 0;
            isKnown[number] = chunk.IsPaletteChange();
            areAll = areAll && isKnown[number];
        }
        if (!areAll)
            SetUnknownKeys(*m_file, m_source.header, m_source.chunks, isKnown);
    }

    void TakeUnindexed()
    {
        m_report.Note("the file has no index; its chunks were found by scanning it");
        TakeScanned();
    }

    void TakeScanned()
    {
        SKrScannedChunks scanned = ScanForChunks(*m_file, m_source.header.streams.size(), m_progress);
        for (uint32_t number = 0; number < scanned.cutChunks.size(); ++number)
        {
            if (scanned.cutChunks[number] != 0)
                Damaged(Format("left out: {} of stream {} without all of {} bytes",
                               Counted(scanned.cutChunks[number], "chunk"), number,
                               PluralOf(scanned.cutChunks[number], "its", "their")));
        }
        if (scanned.lostBytes != 0)
            Damaged(Format("in no whole chunk: {} at {}", Counted(scanned.lostBytes, "byte"),
                           Counted(scanned.lost.size(), "place")));
        TakeKeysOfIndex(scanned.chunks);
        m_source.chunks = std::move(scanned.chunks);
    }

    // What was scanned is in file order; wrong entries of an index may lead anywhere.
    void TakeKeysOfIndex(CarriedChunks& chunks)
    {
        const auto place = [](const SKrCarriedChunk& chunk)
        {
            return std::make_pair(chunk.position, chunk.stream);
        };
        std::erase_if(m_indexed.chunks, [](const SKrCarriedChunk& chunk) { return !chunk.IsIndexed(); });
        std::ranges::sort(m_indexed.chunks, {}, place);
        std::vector<bool> isKnown(chunks.size());
        auto entry = m_indexed.chunks.begin();
        for (size_t number = 0; number < chunks.size(); ++number)
        {
            SKrCarriedChunk& chunk = chunks[number];
            while (entry != m_indexed.chunks.end() && place(*entry) < place(chunk))
                ++entry;
            isKnown[number] = entry != m_indexed.chunks.end() && place(*entry) == place(chunk);
            if (isKnown[number])
                chunk.flags = entry->flags;
        }
        SetUnknownKeys(*m_file, m_source.header, chunks, isKnown);
    }

    // Files that were never completed announce nothing, or more than they can hold.
    void CheckFrames()
    {
        for (uint32_t number = 0; number < m_source.header.streams.size(); ++number)
        {
            const SKrStreamHeader fields = m_source.header.streams[number].Fields();
            const uint64_t there = CountUnits(m_source.chunks, number);
            if (fields.type != kFccVids || fields.length == there)
                continue;
            m_source.isWhole = false;
            if (fields.length > there && fields.length <= m_file->Length() / kSmallestChunk)
                Damaged(Format("stream {} has {}; its header announces {}", number, Counted(there, "frame"),
                               fields.length));
        }
    }

    CKrReport& m_report;
    CKrProgress& m_progress;
    const std::shared_ptr<const CKrAviFile> m_file;
    SKrIndexedChunks m_indexed;
    SKrCarriedSource m_source;
};
} // namespace

SKrCarriedSource OpenCarriedSource(const std::string& path, CKrReport& report, CKrProgress& progress)
{
    return CKrSourceOpening(path, report, progress).Run();
}

std::optional<uint32_t> FirstStreamOfType(const SKrCarriedHeader& header, uint32_t type)
{
    const auto found =
        std::ranges::find_if(header.streams, [type](auto& stream) { return stream.Fields().type == type; });
    if (found == header.streams.end())
        return std::nullopt;
    return static_cast<uint32_t>(found - header.streams.begin());
}

uint64_t CountUnits(const CarriedChunks& chunks, uint32_t stream)
{
    return static_cast<uint64_t>(
        std::ranges::count_if(chunks, [stream](const SKrCarriedChunk& chunk)
                              { return chunk.stream == stream && !chunk.IsPaletteChange(); }));
}

void SetUnknownKeys(const CKrByteSource& file, const SKrCarriedHeader& header, CarriedChunks& chunks,
                    const std::vector<bool>& isKnown)
{
    std::vector<bool> hasOthers(header.streams.size()); // frames that an index marks as depending on others
    for (size_t number = 0; number < chunks.size(); ++number)
    {
        if (isKnown[number] && !chunks[number].IsKeyFrame())
            hasOthers[chunks[number].stream] = true;
    }
    std::array<uint8_t, kBytesForKey> bytes = {};
    for (size_t number = 0; number < chunks.size(); ++number)
    {
        SKrCarriedChunk& chunk = chunks[number];
        if (isKnown[number] || chunk.IsPaletteChange())
            continue;
        const SKrCarriedStream& stream = header.streams[chunk.stream];
        bool isKey = true;
        if (stream.Fields().type == kFccVids)
        {
            const size_t count =
                file.ReadAt(chunk.position, bytes.data(), std::min<size_t>(chunk.size, bytes.size()));
            const uint32_t codec = DecodeBitmapHeader(stream.Format()).compression;
            isKey = chunk.size != 0 &&
                    IsKeyByItsBytes(codec, {bytes.data(), count}).value_or(!hasOthers[chunk.stream]);
        }
        chunk.flags = isKey ? SKrCarriedChunk::kKeyFrame : uint8_t{0};
    }
}
} // namespace KrTool
