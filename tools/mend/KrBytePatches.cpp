#include "tools/mend/KrBytePatches.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
constexpr size_t kComparedAtOnce = 65536;

// Compares new bytes with those of a file, in blocks.
class CKrComparison
{
public:
    explicit CKrComparison(const CKrByteSource& file) : m_file(file) {}

    // The part that changes something; bytes past the end of the file always do.
    SKrChangedBytes Changed(SKrChangedBytes patch)
    {
        const uint64_t inFile = patch.position < m_file.Length() ? m_file.Length() - patch.position : 0;
        const size_t common = static_cast<size_t>(std::min<uint64_t>(inFile, patch.bytes.size()));
        const size_t first = FirstChange(patch, common);
        if (common == patch.bytes.size())
            patch.bytes = patch.bytes.first(EndOfChanges(patch, first));
        return {patch.position + first, patch.bytes.subspan(first)};
    }

private:
    size_t FirstChange(const SKrChangedBytes& patch, size_t end)
    {
        for (size_t from = 0; from < end; from += kComparedAtOnce)
        {
            const size_t count = std::min(end - from, kComparedAtOnce);
            const auto there = Read(patch.position + from, count);
            const auto change = std::ranges::mismatch(there, patch.bytes.subspan(from, count)).in1;
            if (change != there.end())
                return from + static_cast<size_t>(change - there.begin());
        }
        return end;
    }

    size_t EndOfChanges(const SKrChangedBytes& patch, size_t first)
    {
        for (size_t end = patch.bytes.size(); end > first;)
        {
            const size_t count = std::min(end - first, kComparedAtOnce);
            const auto there = Read(patch.position + end - count, count);
            for (size_t left = count; left > 0; --left, --end)
            {
                if (there[left - 1] != patch.bytes[end - 1])
                    return end;
            }
        }
        return first;
    }

    std::span<const uint8_t> Read(uint64_t position, size_t count)
    {
        m_there.resize(count);
        m_file.Fill(position, m_there);
        return m_there;
    }

    const CKrByteSource& m_file;
    std::vector<uint8_t> m_there;
};
} // namespace

void CKrBytePatches::Put(uint64_t position, std::vector<uint8_t> bytes)
{
    m_patches.push_back({position, std::move(bytes)});
}

void CKrBytePatches::PutU16Le(uint64_t position, uint16_t value)
{
    std::vector<uint8_t> bytes(sizeof value);
    PutLe16(bytes.data(), value);
    Put(position, std::move(bytes));
}

void CKrBytePatches::PutU32Le(uint64_t position, uint32_t value)
{
    std::vector<uint8_t> bytes(sizeof value);
    PutLe32(bytes.data(), value);
    Put(position, std::move(bytes));
}

void CKrBytePatches::PutFiller(uint64_t position, uint64_t end)
{
    std::vector<uint8_t> header(kChunkHeaderSize);
    PutLe32(header.data(), kFccJunk);
    PutLe32(&header[sizeof(uint32_t)], static_cast<uint32_t>(end - position - kChunkHeaderSize));
    Put(position, std::move(header));
}

std::vector<SKrChangedBytes> CKrBytePatches::Differences(const CKrByteSource& file) const
{
    CKrComparison comparison(file);
    std::vector<SKrChangedBytes> differences;
    for (const SKrPatch& patch : m_patches)
    {
        const SKrChangedBytes difference = comparison.Changed({patch.position, patch.bytes});
        if (!difference.bytes.empty())
            differences.push_back(difference);
    }
    std::ranges::sort(differences, {}, &SKrChangedBytes::position);
    return differences;
}
} // namespace KrTool
