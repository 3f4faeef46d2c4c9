#include "tools/verify/KrChunkSight.h"

#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/input/KrChunkWalk.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/recover/KrChunkMark.h"
#include "tools/verify/KrChunkKinds.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kContainerHeaderSize = 12;
constexpr size_t kScanStep = size_t{1} << 16;

// Header chunks are not among what is searched for in general; the few bytes of headers are looked at one by
// one.
constexpr uint64_t kClosely = 4096;
} // namespace

SKrSight CKrChunkSight::At(uint64_t position, uint64_t end)
{
    SKrSight sight;
    if (position + kChunkHeaderSize > end)
        return sight;
    const std::span<const uint8_t> bytes = m_headers.At(position, kContainerHeaderSize);
    if (bytes.size() < kChunkHeaderSize)
        return sight;
    const SKrMark mark = MarkOf(bytes, end - position);
    sight.id = GetLe32(bytes, 0);
    sight.size = GetLe32(bytes, 4);
    if (mark.kind == EKrMark::Container)
    {
        sight.type = GetLe32(bytes, 8);
        sight.isContainer = true;
        sight.isKnown = bytes.size() == kContainerHeaderSize && IsPrintableFourCc(sight.type);
    }
    else
    {
        sight.isKnown = mark.kind == EKrMark::Data || mark.kind == EKrMark::OtherData ||
                        mark.kind == EKrMark::Known || KindOfChunk(sight.id) != nullptr;
    }
    sight.isPlausible = sight.isKnown || mark.kind == EKrMark::Printable;
    return sight;
}

bool CKrChunkSight::IsConfirmed(uint64_t position, uint64_t end)
{
    const SKrSight sight = At(position, end);
    const uint64_t behind = position + kChunkHeaderSize + sight.size;
    if (!sight.isKnown || behind > end)
        return false;
    const uint64_t even = behind + behind % 2;
    if (sight.isContainer || even >= end || At(even, end).isPlausible)
        return true;
    return At(behind, end).isPlausible ||
           CountZeros(m_headers, even, std::min(end, even + kChunkHeaderSize)) != 0;
}

uint64_t CKrChunkSight::CountZeros(CKrVerifyWindow& window, uint64_t from, uint64_t end)
{
    uint64_t position = from;
    while (position < end)
    {
        const auto wanted = static_cast<size_t>(std::min<uint64_t>(end - position, kScanStep));
        const std::span<const uint8_t> bytes = window.At(position, wanted);
        const auto other = std::ranges::find_if(bytes, [](uint8_t byte) { return byte != 0; });
        position += static_cast<uint64_t>(other - bytes.begin());
        if (other != bytes.end() || bytes.empty())
            break;
        m_progress.Advance(position);
    }
    return position - from;
}

uint64_t CKrChunkSight::FindNext(uint64_t from, uint64_t end)
{
    const uint64_t start = from + CountZeros(from, end);
    if (start > from && (start >= end || At(start, end).isPlausible))
        return start;
    uint64_t position = std::max(start, from + 1);
    for (const uint64_t stop = std::min(end, position + kClosely); position < stop; ++position)
    {
        if (IsConfirmed(position, end))
            return position;
    }
    while (position < end)
    {
        const std::span<const uint8_t> bytes = m_scanned.At(position, kScanStep);
        const SKrIdSearch found = FindId(bytes, 0);
        if (found.found && IsConfirmed(position + found.place, end))
            return std::min(position + found.place, end);
        if (!found.found && position + bytes.size() >= end)
            break;
        m_progress.Advance(position);
        position += std::max<size_t>(found.place + (found.found ? 1 : 0), 1);
    }
    return end;
}
} // namespace KrTool
