#include "tools/avi/KrFileWindow.h"

#include "tools/avi/KrInputFile.h"

#include <algorithm>

namespace KrTool
{
std::span<const uint8_t> CKrFileWindow::From(uint64_t position, size_t count)
{
    const uint64_t length = m_file.Length();
    if (position >= length)
        return {};
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, length - position));
    if (position < m_position || position + wanted > m_position + m_size)
        Load(position, wanted);
    return Bytes().subspan(static_cast<size_t>(position - m_position));
}

std::span<const uint8_t> CKrFileWindow::At(uint64_t position, size_t count)
{
    const std::span<const uint8_t> bytes = From(position, count);
    return bytes.first(std::min(count, bytes.size()));
}

void CKrFileWindow::Load(uint64_t position, size_t count)
{
    const bool follows = position >= m_position && position - m_position <= 2 * m_size;
    m_reach = follows ? std::min(2 * m_reach, kLargest) : kSmallest;
    const auto size =
        static_cast<size_t>(std::min<uint64_t>(std::max(count, m_reach), m_file.Length() - position));
    m_size = 0; // also if the file cannot be read
    if (size > m_capacity)
    {
        m_capacity = 0;
        m_bytes.reset();
        m_bytes = std::make_unique_for_overwrite<uint8_t[]>(size);
        m_capacity = size;
    }
    m_position = position;
    m_file.Fill(position, {m_bytes.get(), size});
    m_size = size;
}
} // namespace KrTool
