#include "tools/mend/KrBytePatches.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// The part of a patch that changes something; bytes past the end of the file always do.
SKrPatch WithoutWhatIsThere(const SKrPatch& patch, const CKrByteSource& file)
{
    const uint64_t inFile = patch.position < file.Length() ? file.Length() - patch.position : 0;
    std::vector<uint8_t> there(static_cast<size_t>(std::min<uint64_t>(inFile, patch.bytes.size())));
    file.Fill(patch.position, there);
    const auto [first, ignored] = std::ranges::mismatch(patch.bytes, there);
    auto last = patch.bytes.end();
    if (there.size() == patch.bytes.size())
    {
        while (last != first && last[-1] == there[static_cast<size_t>(last - patch.bytes.begin()) - 1])
            --last;
    }
    return {patch.position + static_cast<uint64_t>(first - patch.bytes.begin()), {first, last}};
}
} // namespace

void CKrBytePatches::Put(uint64_t position, std::span<const uint8_t> bytes)
{
    m_patches.push_back({position, {bytes.begin(), bytes.end()}});
}

void CKrBytePatches::PutU16Le(uint64_t position, uint16_t value)
{
    uint8_t bytes[sizeof value];
    PutLe16(bytes, value);
    Put(position, bytes);
}

void CKrBytePatches::PutU32Le(uint64_t position, uint32_t value)
{
    uint8_t bytes[sizeof value];
    PutLe32(bytes, value);
    Put(position, bytes);
}

void CKrBytePatches::PutFiller(uint64_t position, uint64_t end)
{
    uint8_t header[kChunkHeaderSize];
    PutLe32(header, kFccJunk);
    PutLe32(header + sizeof(uint32_t), static_cast<uint32_t>(end - position - kChunkHeaderSize));
    Put(position, header);
}

std::vector<SKrPatch> CKrBytePatches::Differences(const CKrByteSource& file) const
{
    std::vector<SKrPatch> differences;
    for (const SKrPatch& patch : m_patches)
    {
        SKrPatch difference = WithoutWhatIsThere(patch, file);
        if (!difference.bytes.empty())
            differences.push_back(std::move(difference));
    }
    std::ranges::sort(differences, {}, &SKrPatch::position);
    return differences;
}
} // namespace KrTool
