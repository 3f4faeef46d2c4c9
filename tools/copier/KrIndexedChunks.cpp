#include "tools/copier/KrIndexedChunks.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/copier/KrChunkGap.h"

#include <algorithm>
#include <numeric>

namespace KrTool
{
namespace
{
// The entries of a stream, or none where its index cannot be loaded.
void LoadEntries(const CKrAviFile& file, uint32_t stream, CArray<SKrStreamIndexEntry>& entries)
{
    bool isLoaded = false;
    try
    {
        isLoaded = file.Reader().LoadStreamIndex(stream, 0, entries) != 0;
    }
    catch (const CInvalidArgException&) // its length differed between passes
    {
    }
    catch (const CMemoryException&)
    {
    }
    if (!isLoaded)
        entries.RemoveAll();
}

// Adds a stream's chunks where they are in the file. Each stream keeps the order of its index.
CarriedChunks Merged(CarriedChunks others, const CArray<SKrStreamIndexEntry>& entries, uint32_t stream)
{
    const auto count = static_cast<size_t>(entries.GetSize());
    CarriedChunks merged;
    merged.reserve(others.size() + count);
    auto other = others.cbegin();
    for (const SKrStreamIndexEntry* entry = entries.GetData(); entry != entries.GetData() + count; ++entry)
    {
        while (other != others.cend() && other->position < entry->position)
            merged.push_back(*other++);
        const bool isKey = (entry->flags & 1) != 0;
        merged.push_back({entry->position, entry->size, 0, static_cast<uint8_t>(stream),
                          isKey ? SKrCarriedChunk::kKeyFrame : uint8_t{0}});
    }
    merged.insert(merged.end(), other, others.cend());
    return merged;
}

// Walks from indexed chunk to indexed chunk.
class CKrIndexComparison
{
public:
    CKrIndexComparison(const CKrAviFile& file, SKrIndexedChunks& indexed, CKrProgress& progress)
        : m_file(file), m_indexed(indexed), m_progress(progress), m_window(file),
          m_gap(file, m_window, indexed.streams.size())
    {
    }

    void Run(uint64_t start)
    {
        CarriedChunks& chunks = m_indexed.chunks;
        m_end = start;
        m_progress.Begin("checking indexes", m_file.Length(), EKrUnit::Byte);
        for (size_t number = 0; number < chunks.size(); ++number)
        {
            SKrCarriedChunk& chunk = chunks[number];
            const uint64_t header = chunk.position - kChunkHeaderSize;
            if (header != m_end && header != RoundUpToEven(m_end) && header > m_end)
                PassGap(header, number);
            if (!IsThere(chunk))
                ++m_indexed.streams[chunk.stream].wrong;
            m_end = std::max(m_end, chunk.position + chunk.size);
            if (number % kShownEvery == 0)
                m_progress.Advance(header);
        }
        PassTail(chunks.size());
        m_progress.End();
        Insert();
    }

private:
    static constexpr size_t kShownEvery = 256;

    struct SAddition
    {
        size_t place; // number of the indexed chunk that follows
        SKrCarriedChunk chunk;
    };

    // Whether the file has this chunk; its kind is only there.
    bool IsThere(SKrCarriedChunk& chunk)
    {
        const std::span<const uint8_t> bytes =
            m_window.At(chunk.position - kChunkHeaderSize, kChunkHeaderSize);
        if (bytes.size() < kChunkHeaderSize)
            return false;
        const SKrChunkHeader header = DecodeChunkHeader(bytes);
        chunk.kind = static_cast<uint16_t>(header.id >> 16);
        return KrStreamNumber(header.id) == chunk.stream && header.size == chunk.size;
    }

    void PassGap(uint64_t to, size_t place)
    {
        const SKrGapContent content = m_gap.Walk(m_end, to);
        Take(content, place);
        if (content.lostBytes != 0 && m_indexed.lostBytes == 0)
            m_indexed.firstLost = content.lostFrom;
        m_indexed.lostBytes += content.lostBytes;
    }

    void PassTail(size_t place)
    {
        const SKrGapContent content = m_gap.Walk(m_end, m_file.Length());
        Take(content, place);
        m_indexed.bytesAfter = content.lostBytes;
        m_indexed.firstAfter = content.lostFrom;
    }

    void Take(const SKrGapContent& content, size_t place)
    {
        m_indexed.unknownChunks += content.unknownChunks;
        for (const SKrCarriedChunk& chunk : content.chunks)
        {
            m_additions.push_back({place, chunk});
            m_indexed.streams[chunk.stream].unindexed += chunk.IsPaletteChange() ? 0 : 1;
        }
    }

    // What was found goes between the indexed chunks, from the end on and without a second table.
    void Insert()
    {
        CarriedChunks& chunks = m_indexed.chunks;
        size_t from = chunks.size();
        chunks.resize(from + m_additions.size());
        size_t to = chunks.size();
        for (auto addition = m_additions.rbegin(); addition != m_additions.rend(); ++addition)
        {
            while (from > addition->place)
                chunks[--to] = chunks[--from];
            chunks[--to] = addition->chunk;
        }
    }

    const CKrAviFile& m_file;
    SKrIndexedChunks& m_indexed;
    CKrProgress& m_progress;
    CKrFileWindow m_window;
    CKrChunkGap m_gap;
    uint64_t m_end = 0; // of the chunks passed
    std::vector<SAddition> m_additions;
};
} // namespace

bool SKrIndexedChunks::IsSound() const
{
    return lostBytes == 0 &&
           std::ranges::all_of(streams, [](const SKrIndexedStream& stream) { return stream.wrong == 0; });
}

// The reader may see other streams in damaged headers.
SKrIndexedChunks LoadIndexedChunks(const CKrAviFile& file, size_t streamCount)
{
    SKrIndexedChunks indexed;
    const auto count = static_cast<uint32_t>(std::min<size_t>(file.Reader().GetStreamCount(), streamCount));
    for (uint32_t number = 0; number < count; ++number)
    {
        CArray<SKrStreamIndexEntry> entries;
        LoadEntries(file, number, entries);
        SKrStreamProperties properties = {};
        properties.size = sizeof properties;
        static_cast<void>(file.Reader().GetStreamProperties(number, &properties));
        SKrIndexedStream& stream = indexed.streams.emplace_back();
        stream.entries = static_cast<uint64_t>(entries.GetSize());
        stream.hasIndex = stream.entries != 0;
        stream.outside = properties.droppedEntries;
        indexed.chunks = Merged(std::move(indexed.chunks), entries, number);
    }
    indexed.streams.resize(streamCount);
    return indexed;
}

void CompareWithFile(const CKrAviFile& file, uint64_t start, SKrIndexedChunks& indexed, CKrProgress& progress)
{
    CKrIndexComparison(file, indexed, progress).Run(start);
}
} // namespace KrTool
