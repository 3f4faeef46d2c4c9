#include "tools/recover/KrExpectedChunks.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrIndexedChunks.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr uint64_t kMostEntries = uint64_t{1} << 26;

class CKrExpectation
{
public:
    CKrExpectation(const CKrByteSource& file, const SKrCarriedHeader& header, const SKrScannedChunks& scanned)
        : m_file(file), m_header(header), m_scanned(scanned)
    {
    }

    std::vector<SKrExpectedChunk> Run()
    {
        if (m_scanned.oldIndexBytes != 0)
            ReadOldIndex();
        else
            ReadStandardIndexes();
        return std::move(m_expected);
    }

private:
    // Offsets count from the list type of 'movi' or from the start of the file, and where bytes were lost in
    // between also so many bytes further.
    void ReadOldIndex()
    {
        std::vector<uint64_t> offsets;
        uint64_t dataEnd = 0;
        CKrFileWindow window(m_file);
        const uint64_t count =
            std::min(m_scanned.oldIndexBytes / SKrOldIndexEntry::kEncodedSize, kMostEntries);
        ForEachEntry(window, m_scanned.oldIndexPosition, count, SKrOldIndexEntry::kEncodedSize,
                     [&](std::span<const uint8_t> bytes, uint64_t)
                     {
                         const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes.data());
                         const uint32_t stream = KrStreamNumber(entry.chunkId);
                         if (stream >= m_header.streams.size() || (entry.flags & kAviifNoTime) != 0)
                             return true;
                         m_expected.push_back(
                             {entry.chunkId, entry.size, stream, (entry.flags & kAviifKeyFrame) != 0});
                         offsets.push_back(entry.offset);
                         dataEnd = std::max(
                             dataEnd, RoundUpToEven(uint64_t{entry.offset} + kChunkHeaderSize + entry.size));
                         return true;
                     });
        const uint64_t typePosition = m_header.dataPosition - std::min(m_header.dataPosition, kListTypeSize);
        const uint64_t indexHeader = m_scanned.oldIndexPosition - kChunkHeaderSize;
        std::vector<int64_t> shifts;
        for (const uint64_t base : {typePosition, uint64_t{0}})
        {
            shifts.push_back(static_cast<int64_t>(base));
            shifts.push_back(static_cast<int64_t>(indexHeader) - static_cast<int64_t>(dataEnd));
        }
        Match(offsets, shifts);
    }

    // Their positions count from the start of the file.
    void ReadStandardIndexes()
    {
        try
        {
            const CKrAviFile file(m_file.Path());
            const SKrIndexedChunks indexed = LoadIndexedChunks(file, m_header.streams.size());
            std::vector<uint64_t> offsets;
            for (const SKrCarriedChunk& chunk : indexed.chunks)
            {
                m_expected.push_back({0, chunk.size, chunk.stream, chunk.IsKeyFrame()});
                offsets.push_back(chunk.position - kChunkHeaderSize);
            }
            Match(offsets, {0});
        }
        catch (const CKrToolError&) // the reader cannot open what is left
        {
            m_expected.clear();
        }
    }

    // Of the shifts, in the order of the file, each entry takes the first at which its chunk is.
    void Match(const std::vector<uint64_t>& offsets, const std::vector<int64_t>& shifts)
    {
        std::vector<bool> isTaken(m_scanned.chunks.size());
        uint64_t matched = 0;
        for (size_t number = 0; number < m_expected.size(); ++number)
        {
            for (const int64_t shift : shifts)
            {
                const size_t found = Find(m_expected[number], static_cast<int64_t>(offsets[number]) + shift);
                if (found == SKrExpectedChunk::kLost || isTaken[found])
                    continue;
                isTaken[found] = true;
                m_expected[number].found = found;
                ++matched;
                break;
            }
        }
        const auto timed = static_cast<uint64_t>(std::ranges::count_if(
            m_scanned.chunks, [](const SKrCarriedChunk& chunk) { return !chunk.IsPaletteChange(); }));
        if (matched * 2 < timed)
            m_expected.clear(); // an index of something else
    }

    [[nodiscard]] size_t Find(const SKrExpectedChunk& wanted, int64_t header) const
    {
        const auto position = static_cast<uint64_t>(header) + kChunkHeaderSize;
        const CarriedChunks& chunks = m_scanned.chunks;
        const auto found = std::ranges::lower_bound(chunks, position, {}, &SKrCarriedChunk::position);
        const bool isThere = header >= 0 && found != chunks.end() && found->position == position &&
                             found->stream == wanted.stream && found->size == wanted.size;
        return isThere ? static_cast<size_t>(found - chunks.begin()) : SKrExpectedChunk::kLost;
    }

    const CKrByteSource& m_file;
    const SKrCarriedHeader& m_header;
    const SKrScannedChunks& m_scanned;
    std::vector<SKrExpectedChunk> m_expected;
};
} // namespace

std::vector<SKrExpectedChunk> ExpectedChunks(const CKrByteSource& file, const SKrCarriedHeader& header,
                                             const SKrScannedChunks& scanned)
{
    return CKrExpectation(file, header, scanned).Run();
}
} // namespace KrTool
