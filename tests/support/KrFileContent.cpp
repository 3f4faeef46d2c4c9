#include "tests/support/KrFileContent.h"

#include "tests/support/KrByteWriter.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace KrTest
{
CKrFileContent::CKrFileContent(KrBytes bytes) : m_size(bytes.size())
{
    if (!bytes.empty())
        m_extents.emplace(0, std::move(bytes));
}

void CKrFileContent::Resize(uint64_t size)
{
    m_size = size;
    m_extents.erase(m_extents.lower_bound(size), m_extents.end());
    if (m_extents.empty())
        return;
    auto& [start, bytes] = *std::prev(m_extents.end());
    if (bytes.size() > size - start)
        bytes.resize(static_cast<size_t>(size - start));
}

void CKrFileContent::Put(uint64_t position, std::span<const uint8_t> bytes)
{
    if (bytes.size() > UINT64_MAX - position)
        throw std::length_error("content beyond the last position");
    m_size = std::max(m_size, position + bytes.size());
    while (!bytes.empty())
    {
        // Each round fills up to the next extent: into or right after the previous extent, else as a new one.
        const auto next = m_extents.upper_bound(position);
        uint64_t part = bytes.size();
        if (next != m_extents.end())
            part = std::min(part, next->first - position);
        const auto source = bytes.first(static_cast<size_t>(part));
        auto before = next == m_extents.begin() ? m_extents.end() : std::prev(next);
        if (before == m_extents.end() || before->second.size() < position - before->first)
            before = m_extents.emplace(position, KrBytes()).first;
        KrBytes& target = before->second;
        const auto offset = static_cast<size_t>(position - before->first);
        if (target.size() < offset + source.size())
            target.resize(offset + source.size());
        std::copy(source.begin(), source.end(), target.begin() + static_cast<ptrdiff_t>(offset));
        position += part;
        bytes = bytes.subspan(source.size());
    }
}

void CKrFileContent::PutU32(uint64_t position, uint32_t value)
{
    Put(position, CKrTestByteWriter().U32(value).Bytes());
}

size_t CKrFileContent::Read(uint64_t position, void* buffer, size_t count) const
{
    if (position >= m_size || count == 0)
        return 0;
    const auto came = static_cast<size_t>(std::min<uint64_t>(count, m_size - position));
    const uint64_t end = position + came;
    std::memset(buffer, 0, came);
    auto extent = m_extents.upper_bound(position);
    if (extent != m_extents.begin())
        --extent;
    for (; extent != m_extents.end() && extent->first < end; ++extent)
    {
        const uint64_t from = std::max(extent->first, position);
        const uint64_t to = std::min(extent->first + extent->second.size(), end);
        if (from < to)
            std::memcpy(static_cast<uint8_t*>(buffer) + (from - position),
                        extent->second.data() + (from - extent->first), static_cast<size_t>(to - from));
    }
    return came;
}

KrBytes CKrFileContent::Range(uint64_t position, size_t count) const
{
    KrBytes bytes(count);
    if (Read(position, bytes.data(), count) != count)
        throw std::out_of_range("range beyond the content");
    return bytes;
}

KrBytes CKrFileContent::ToBytes() const
{
    if (m_size > (uint64_t{256} << 20))
        throw std::length_error("content too large for one block");
    return Range(0, static_cast<size_t>(m_size));
}
} // namespace KrTest
