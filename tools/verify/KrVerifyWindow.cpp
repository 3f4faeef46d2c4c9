#include "tools/verify/KrVerifyWindow.h"

#include "tools/command/KrToolError.h"
#include "tools/input/KrAviFile.h"

#include <algorithm>

namespace KrTool
{
uint64_t CKrVerifyWindow::Length() const
{
    return m_file.Length();
}

std::span<const uint8_t> CKrVerifyWindow::From(uint64_t position, size_t count)
{
    const uint64_t length = Length();
    if (position >= length)
        return {};
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, length - position));
    if (position < m_position || position + wanted > m_position + m_bytes.size())
        Load(position, wanted);
    return std::span<const uint8_t>(m_bytes).subspan(static_cast<size_t>(position - m_position));
}

std::span<const uint8_t> CKrVerifyWindow::At(uint64_t position, size_t count)
{
    const std::span<const uint8_t> bytes = From(position, count);
    return bytes.first(std::min(count, bytes.size()));
}

void CKrVerifyWindow::Load(uint64_t position, size_t count)
{
    const bool follows = position >= m_position && position - m_position <= 2 * m_bytes.size();
    m_reach = follows ? std::min(2 * m_reach, kLargest) : kSmallest;
    m_bytes.resize(static_cast<size_t>(std::min<uint64_t>(std::max(count, m_reach), Length() - position)));
    m_position = position;
    for (size_t done = 0; done < m_bytes.size();)
    {
        const size_t got = m_file.ReadAt(position + done, m_bytes.data() + done, m_bytes.size() - done);
        if (got == 0)
            throw CKrToolError(m_file.Path(),
                               "it cannot be read at position " + std::to_string(position + done));
        done += got;
    }
}
} // namespace KrTool
