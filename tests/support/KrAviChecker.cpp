#include "tests/support/KrAviChecker.h"

#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrAviCheckerUnfinished.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrWrittenHeader.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace KrTest
{
namespace
{
std::string Describe(const char* what, uint64_t position, const std::string& more = {})
{
    return DescribeProblem(what, position, more);
}

class CChecker
{
public:
    CChecker(const CKrFileContent& file, const SKrWritten& from) : m_file(file), m_from(from) {}

    SKrCheckedAvi Run()
    {
        m_headerSize = WrittenHeader(m_file, m_from, m_result).size();
        uint64_t position = 0;
        while (position < m_file.Size() && m_result.problems.empty())
            position = CheckSegment(position);
        m_result.segments.push_back(position);
        m_result.maxBytesPerSec = U32(32 + 4);
        if (m_result.problems.empty()) // else some chunks were not found
            CheckWhatWasFound();
        return std::move(m_result);
    }

private:
    struct SChunk
    {
        std::string id;
        uint32_t size;
    };

    void CheckWhatWasFound()
    {
        for (const SKrWrittenIndex& index : m_result.videoIndexes)
            CheckStdIndex(index, "ix00", VideoId());
        for (const SKrWrittenIndex& index : m_result.audioIndexes)
            CheckStdIndex(index, "ix01", "01wb");
        Compare(0, WrittenHeader(m_file, m_from, m_result), "headers");
        if (m_from.queuedVideo && m_result.video.size() != *m_from.queuedVideo)
            Problem(Describe("frames", 0, std::to_string(m_result.video.size())));
        CheckFirstIndexes(m_items, m_from.pcm.has_value(), m_result.problems);
        if (m_from.hasDirectChunks || !m_result.problems.empty())
            return;
        CheckIndexStarts(m_items, m_from.pcm.has_value(), m_result.problems);
        CheckSegmentStarts(m_items, m_segments, m_from.bytesPerSector, m_result.problems);
        if (m_from.lostFrames == 0)
            CheckDataRate(m_items, U32(32), m_result.video.size(), m_file.Size(), m_result.maxBytesPerSec,
                          m_result.problems);
    }

    std::string VideoId() const { return m_from.codec.empty() ? "00db" : "00dc"; }

    void Problem(std::string text)
    {
        if (m_result.problems.size() < 20)
            m_result.problems.push_back(std::move(text));
    }

    uint32_t U32(uint64_t position) const
    {
        uint8_t bytes[4] = {};
        m_file.Read(position, bytes, 4);
        return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | uint32_t{bytes[3]} << 24;
    }

    std::string Text(uint64_t position) const
    {
        char bytes[4] = {};
        m_file.Read(position, bytes, 4);
        return std::string(bytes, 4);
    }

    SChunk ChunkAt(uint64_t position) const { return {Text(position), U32(position + 4)}; }

    void Compare(uint64_t position, const KrBytes& expected, const char* what)
    {
        KrBytes there(expected.size());
        if (m_file.Read(position, there.data(), there.size()) != there.size())
            return Problem(Describe(what, position, "cut by the end of the file"));
        const auto [left, right] = std::ranges::mismatch(there, expected);
        if (left != there.end())
            Problem(Describe(what, position + static_cast<uint64_t>(left - there.begin()),
                             std::to_string(*left) + " for " + std::to_string(*right)));
    }

    // Holes are zeros, so only stored bytes are checked.
    void CheckZeros(uint64_t position, uint64_t count)
    {
        auto extent = m_file.Extents().upper_bound(position);
        if (extent != m_file.Extents().begin())
            --extent;
        for (; extent != m_file.Extents().end() && extent->first < position + count; ++extent)
        {
            const auto& [start, bytes] = *extent;
            for (uint64_t at = std::max(start, position);
                 at < std::min(start + bytes.size(), position + count); ++at)
            {
                if (bytes[static_cast<size_t>(at - start)] != 0)
                    return Problem(Describe("padding is not zero", at));
            }
        }
    }

    // Checks a segment and returns where the next one starts.
    uint64_t CheckSegment(uint64_t start)
    {
        const bool isFirst = start == 0;
        const size_t number = m_result.segments.size();
        m_result.segments.push_back(start);
        const uint64_t end = start + 8 + U32(start + 4);
        if (Text(start) != "RIFF" || Text(start + 8) != (isFirst ? "AVI " : "AVIX"))
            Problem(Describe("no segment", start));
        if (end > m_file.Size())
            Problem(Describe("segment reaches beyond the file", start));
        const uint64_t movi = isFirst ? m_headerSize - 12 : start + 12;
        const uint64_t moviEnd = movi + 8 + U32(movi + 4);
        if (Text(movi) != "LIST" || Text(movi + 8) != "movi" || moviEnd > end)
            Problem(Describe("no 'movi'", movi));
        m_segments.push_back({start, moviEnd});
        if (m_result.problems.empty())
            WalkMovi(isFirst ? movi + 12 : AfterStartOfExtension(movi + 12), moviEnd, number);
        if (isFirst)
            CheckOldIndex(moviEnd, end);
        else if (moviEnd != end)
            Problem(Describe("bytes after 'movi'", moviEnd));
        return end;
    }

    // Checks the padding at a position and returns where it ends.
    uint64_t AfterPadding(uint64_t position)
    {
        const SChunk junk = ChunkAt(position);
        const uint64_t end = RoundUpTo(position + 8, m_from.bytesPerSector);
        if (junk.id != "JUNK")
            Problem(Describe("no padding to the sector", position));
        else if (position + 8 + junk.size != end)
            Problem(Describe("padding ends elsewhere", position));
        else
            CheckZeros(position + 8, junk.size);
        return end;
    }

    uint64_t AfterStartOfExtension(uint64_t position)
    {
        return position % m_from.bytesPerSector == 0 ? position : AfterPadding(position);
    }

    void WalkMovi(uint64_t position, uint64_t end, size_t segment)
    {
        while (position < end && m_result.problems.empty())
        {
            const SChunk chunk = ChunkAt(position);
            const uint64_t next = position + 8 + chunk.size;
            const bool isData = Take(chunk, position, segment);
            position = next;
            if (!isData || position % m_from.bytesPerSector == 0)
                continue;
            // Direct chunks have no padding; the file does not show which ones are direct.
            if (!m_from.hasDirectChunks || ChunkAt(position).id == "JUNK")
                position = AfterPadding(position);
        }
        if (position != end && m_result.problems.empty())
            Problem(Describe("'movi' ends inside a chunk", end));
    }

    // Records the kind of a chunk; true for data.
    bool Take(const SChunk& chunk, uint64_t position, size_t segment)
    {
        if (chunk.id == "ix00" || (chunk.id == "ix01" && m_from.pcm))
        {
            if (chunk.size + 8 != kStdIndexSize)
                Problem(Describe("standard index of another size", position));
            (chunk.id == "ix00" ? m_result.videoIndexes : m_result.audioIndexes).push_back({position, {}});
            m_items.push_back({position, chunk.size, true, chunk.id == "ix00", segment});
            return false;
        }
        const bool isVideo = chunk.id == VideoId();
        if (!isVideo && !(m_from.pcm && chunk.id == "01wb"))
        {
            Problem(Describe("unknown chunk", position, chunk.id));
            return false;
        }
        if (chunk.size == 0)
            Problem(Describe("data chunk of no bytes", position));
        m_items.push_back({position, chunk.size, false, isVideo, segment});
        auto& indexes = isVideo ? m_result.videoIndexes : m_result.audioIndexes;
        const SKrWrittenChunk data{position + 8, chunk.size, segment};
        (isVideo ? m_result.video : m_result.audio).push_back(data);
        m_result.order += isVideo ? 'V' : 'A';
        if (indexes.empty())
            Problem(Describe("data before its standard index", position));
        else
            indexes.back().chunks.push_back(data);
        return true;
    }

    void CheckStdIndex(const SKrWrittenIndex& index, const char* id, const std::string& stream)
    {
        const size_t kept = std::min<size_t>(index.chunks.size(), kStdIndexEntries);
        if (kept < index.chunks.size() && !m_from.hasDirectChunks)
            Problem(Describe("more chunks than the index holds", index.position));
        const uint64_t base = kept == 0 ? 0 : index.chunks[0].data - 8;
        CKrTestByteWriter out;
        out.FourCc(id)
            .U32(kStdIndexSize - 8)
            .U16(2)
            .U8(0)
            .U8(1)
            .U32(static_cast<uint32_t>(kept))
            .FourCc(stream);
        out.U64(base).U32(0);
        for (size_t number = 0; number < kept; ++number)
            out.U32(static_cast<uint32_t>(index.chunks[number].data - base)).U32(index.chunks[number].size);
        KrBytes expected = out.Bytes();
        expected.resize(kStdIndexSize);
        Compare(index.position, expected, id);
    }

    void CheckOldIndex(uint64_t position, uint64_t end)
    {
        struct SEntry
        {
            uint64_t header;
            bool isVideo;
            uint32_t size;
        };
        std::vector<SEntry> entries;
        for (const bool isVideo : {true, false})
        {
            for (const SKrWrittenChunk& chunk : isVideo ? m_result.video : m_result.audio)
                entries.push_back({chunk.data - 8, isVideo, chunk.size});
        }
        std::ranges::sort(entries, {}, &SEntry::header);
        const uint64_t bytes = 16 * (entries.size() + 1);
        const uint64_t filled = position + bytes + 24;
        const uint64_t padding = RoundUpTo(filled, m_from.bytesPerSector) - filled + 16;
        CKrTestByteWriter out;
        out.FourCc("idx1").U32(static_cast<uint32_t>(bytes + padding));
        out.FourCc("7Fxx").U32(0).U32(static_cast<uint32_t>(m_headerSize)).U32(0);
        for (const SEntry& entry : entries)
            out.FourCc(entry.isVideo ? VideoId() : "01wb")
                .U32(0x10)
                .U32(static_cast<uint32_t>(entry.header))
                .U32(entry.size);
        for (uint64_t number = 0; number < padding / 16; ++number)
            out.FourCc("7Fxx").U32(0).U32(0).U32(0);
        KrBytes expected = out.Bytes();
        expected.resize(static_cast<size_t>(8 + bytes + padding));
        Compare(position, expected, "idx1");
        if (end != position + expected.size())
            Problem(Describe("segment does not end with its 'idx1'", end));
    }

    const CKrFileContent& m_file;
    const SKrWritten& m_from;
    SKrCheckedAvi m_result;
    std::vector<SKrWrittenItem> m_items; // in file order
    std::vector<SKrWrittenSegment> m_segments;
    uint64_t m_headerSize = 0;
};
} // namespace

SKrCheckedAvi CheckWrittenAvi(const CKrFileContent& file, const SKrWritten& from)
{
    if (!from.isComplete)
        return CheckUnfinishedAvi(file, from);
    return CChecker(file, from).Run();
}

SKrCheckedAvi CheckWrittenFile(const std::wstring& path, SKrWritten from)
{
    std::ifstream file(Os::StdPath(path), std::ios::binary);
    KrBytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (bytes.size() > 44)
        from.bytesPerSector = static_cast<uint32_t>(bytes[40] | bytes[41] << 8 | bytes[42] << 16);
    if (from.bytesPerSector == 0 || from.bytesPerSector % 512 != 0)
        return {.problems = {"no sector size in the headers"}};
    return CheckWrittenAvi(std::move(bytes), from);
}

std::vector<uint32_t> SizesOf(const std::vector<SKrWrittenChunk>& chunks)
{
    std::vector<uint32_t> sizes;
    for (const SKrWrittenChunk& chunk : chunks)
        sizes.push_back(chunk.size);
    return sizes;
}
} // namespace KrTest
