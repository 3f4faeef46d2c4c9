#include "tests/support/KrAviCheckerUnfinished.h"

#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrWrittenHeader.h"

#include <algorithm>

namespace KrTest
{
namespace
{

// Positions in the headers, which depend only on whether there is audio.
constexpr uint64_t kMaxBytesPerSecAt = 36;
constexpr uint64_t kBufferSizeAt = 60;
constexpr uint64_t kVideoBufferSizeAt = 144;
constexpr uint64_t kVideoIndexAt = 212;
constexpr uint64_t kAudioBufferSizeAt = 32524;
constexpr uint64_t kAudioIndexAt = 32580;

class CUnfinished
{
public:
    CUnfinished(const CKrFileContent& file, const SKrWritten& from) : m_file(file), m_from(from)
    {
        m_from.hasDirectChunks = true; // the counts in the headers are as old as their last update
    }

    SKrCheckedAvi Run()
    {
        m_result.maxBytesPerSec = U32(kMaxBytesPerSecAt);
        CheckHeaders();
        if (m_result.problems.empty())
            CheckSegments();
        if (m_result.problems.empty())
            CheckSuperIndex(kVideoIndexAt, "ix00", m_from.codec.empty() ? "00db" : "00dc",
                            m_result.videoIndexes, m_result.video);
        if (m_result.problems.empty() && m_from.pcm)
            CheckSuperIndex(kAudioIndexAt, "ix01", "01wb", m_result.audioIndexes, m_result.audio);
        return std::move(m_result);
    }

private:
    void Problem(const std::string& what, uint64_t position)
    {
        if (m_result.problems.size() < 20)
            m_result.problems.push_back(DescribeProblem(what, position));
    }

    // Zeros after the end.
    [[nodiscard]] KrBytes Bytes(uint64_t position, size_t count) const
    {
        KrBytes bytes(count);
        m_file.Read(position, bytes.data(), count);
        return bytes;
    }

    [[nodiscard]] static uint32_t U32In(const KrBytes& bytes, size_t at)
    {
        return bytes[at] | uint32_t{bytes[at + 1]} << 8 | uint32_t{bytes[at + 2]} << 16 |
               uint32_t{bytes[at + 3]} << 24;
    }

    [[nodiscard]] static uint64_t U64In(const KrBytes& bytes, size_t at)
    {
        return U32In(bytes, at) | uint64_t{U32In(bytes, at + 4)} << 32;
    }

    [[nodiscard]] uint32_t U32(uint64_t position) const { return U32In(Bytes(position, 4), 0); }

    [[nodiscard]] bool Has(std::string_view id, uint64_t position) const
    {
        return U32(position) == FourCcValue(id);
    }

    void CheckHeaders()
    {
        KrBytes expected = WrittenHeader(m_file, m_from, m_result);
        const KrBytes there = Bytes(0, expected.size());
        const auto take = [&](uint64_t position, size_t count)
        {
            std::copy_n(there.begin() + static_cast<ptrdiff_t>(position), count, expected.begin() + position);
        };
        take(kBufferSizeAt, 4);
        take(kVideoBufferSizeAt, 4);
        std::vector<uint64_t> indexes{kVideoIndexAt};
        if (m_from.pcm)
        {
            take(kAudioBufferSizeAt, 4);
            indexes.push_back(kAudioIndexAt);
        }
        for (const uint64_t index : indexes)
        {
            take(index + 8 + 4, 4); // entries in use
            take(index + 8 + 24, 16 * kSuperIndexEntries);
        }
        const auto [left, right] = std::ranges::mismatch(there, expected);
        if (left != there.end())
            Problem("headers", static_cast<uint64_t>(left - there.begin()));
        if (m_file.Size() < expected.size())
            Problem("headers cut by the end of the file", m_file.Size());
        m_headerSize = expected.size();
    }

    // Each segment except the last has its final sizes.
    void CheckSegments()
    {
        uint64_t start = 0;
        while (start + 8 <= m_file.Size() && (start == 0 || Has("RIFF", start)))
        {
            const uint64_t movi = start == 0 ? m_headerSize - 12 : start + 12;
            const uint64_t end = start + 8 + U32(start + 4);
            if (!Has(start == 0 ? "AVI " : "AVIX", start + 8) || !Has("LIST", movi) || !Has("movi", movi + 8))
                return Problem("no segment", start);
            if (end > m_file.Size())
                return Problem("segment reaches beyond the file", start);
            if (movi + 8 + U32(movi + 4) > end)
                return Problem("'movi' reaches beyond its segment", movi);
            m_result.segments.push_back(start);
            start = end;
        }
        m_result.segments.push_back(start);
    }

    void CheckSuperIndex(uint64_t position, const char* indexId, const std::string& id,
                         std::vector<SKrWrittenIndex>& indexes, std::vector<SKrWrittenChunk>& chunks)
    {
        const KrBytes bytes = Bytes(position, 32 + 16 * kSuperIndexEntries);
        const uint32_t used = U32In(bytes, 12);
        if (used > kSuperIndexEntries)
            return Problem("more entries than the super index holds", position);
        CheckUnused(bytes, 32 + 16 * size_t{used}, position);
        for (size_t number = 0; number < used && m_result.problems.empty(); ++number)
        {
            const size_t entry = 32 + 16 * number;
            const uint64_t index = U64In(bytes, entry);
            if (U32In(bytes, entry + 8) != kStdIndexSize || index >= m_file.Size() ||
                m_file.Size() - index < kStdIndexSize)
                return Problem("super index entry", position + entry);
            CheckStdIndex(index, indexId, id, indexes, chunks);
        }
    }

    void CheckStdIndex(uint64_t position, const char* indexId, const std::string& id,
                       std::vector<SKrWrittenIndex>& indexes, std::vector<SKrWrittenChunk>& chunks)
    {
        const KrBytes bytes = Bytes(position, kStdIndexSize);
        const uint32_t used = U32In(bytes, 12);
        CKrTestByteWriter head;
        head.FourCc(indexId).U32(kStdIndexSize - 8).U16(2).U8(0).U8(1).U32(used).FourCc(id);
        if (!std::equal(head.Bytes().begin(), head.Bytes().end(), bytes.begin()) || U32In(bytes, 28) != 0)
            return Problem("standard index", position);
        if (used > kStdIndexEntries)
            return Problem("more entries than the index holds", position);
        CheckUnused(bytes, 32 + 8 * size_t{used}, position);
        SKrWrittenIndex index{position, {}};
        for (size_t number = 0; number < used && m_result.problems.empty(); ++number)
        {
            const size_t entry = 32 + 8 * number;
            const uint64_t data = U64In(bytes, 20) + U32In(bytes, entry);
            const uint32_t size = U32In(bytes, entry + 4);
            const uint64_t before = index.chunks.empty() ? 0 : index.chunks.back().data;
            if (data <= before || data > m_file.Size() || m_file.Size() - data < size || !Has(id, data - 8) ||
                U32(data - 4) != size)
                return Problem("entry without its chunk", position + entry);
            index.chunks.push_back({data, size, SegmentOf(data)});
        }
        chunks.insert(chunks.end(), index.chunks.begin(), index.chunks.end());
        indexes.push_back(std::move(index));
    }

    void CheckUnused(const KrBytes& bytes, size_t from, uint64_t position)
    {
        const auto start = bytes.begin() + static_cast<ptrdiff_t>(from);
        const auto other = std::find_if(start, bytes.end(), [](uint8_t byte) { return byte != 0; });
        if (other != bytes.end())
            Problem("entry that is not in use", position + static_cast<uint64_t>(other - bytes.begin()));
    }

    [[nodiscard]] size_t SegmentOf(uint64_t position) const
    {
        const auto starts = std::span(m_result.segments).first(m_result.segments.size() - 1);
        return static_cast<size_t>(std::ranges::upper_bound(starts, position) - starts.begin()) - 1;
    }

    const CKrFileContent& m_file;
    SKrWritten m_from;
    SKrCheckedAvi m_result;
    uint64_t m_headerSize = 0;
};
} // namespace

SKrCheckedAvi CheckUnfinishedAvi(const CKrFileContent& file, const SKrWritten& from)
{
    return CUnfinished(file, from).Run();
}
} // namespace KrTest
