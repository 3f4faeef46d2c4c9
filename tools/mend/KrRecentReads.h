// A file that remembers what was read of it last, so that a listener need not read again what the scan has
// just seen.
#ifndef KR_TOOLS_MEND_KRRECENTREADS_H
#define KR_TOOLS_MEND_KRRECENTREADS_H

#include "tools/avi/KrInputFile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace KrTool
{
// For one thread, and for readers that keep the buffer of their last read as it is until the next one.
class CKrRecentReads final : public CKrByteSource
{
public:
    explicit CKrRecentReads(const CKrByteSource& file) : CKrByteSource(file.Path()), m_file(file)
    {
        SetLength(file.Length());
    }

    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override
    {
        const auto* const bytes = static_cast<const uint8_t*>(buffer);
        const size_t came = m_file.ReadAt(position, buffer, count);
        SKrStart& start = m_starts[m_next++ % m_starts.size()];
        start.position = position;
        start.count = std::min(came, start.bytes.size());
        std::copy_n(bytes, start.count, start.bytes.begin());
        m_last = {bytes, came};
        m_lastPosition = position;
        return came;
    }

    // So many bytes from a position on, or none where they are not remembered. Valid until the next read.
    [[nodiscard]] std::span<const uint8_t> Find(uint64_t position, size_t count) const
    {
        if (position >= m_lastPosition && position + count <= m_lastPosition + m_last.size())
            return m_last.subspan(static_cast<size_t>(position - m_lastPosition), count);
        for (const SKrStart& start : m_starts)
        {
            if (position >= start.position && position + count <= start.position + start.count)
                return std::span(start.bytes).subspan(static_cast<size_t>(position - start.position), count);
        }
        return {};
    }

private:
    // Of a read before the last one.
    struct SKrStart
    {
        uint64_t position = 0;
        size_t count = 0;
        std::array<uint8_t, 128> bytes{};
    };

    const CKrByteSource& m_file;
    mutable std::array<SKrStart, 4> m_starts;
    mutable size_t m_next = 0;
    mutable std::span<const uint8_t> m_last;
    mutable uint64_t m_lastPosition = 0;
};
} // namespace KrTool

#endif
