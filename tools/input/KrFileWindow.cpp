#include "tools/input/KrFileWindow.h"

#include "tools/input/KrWaveInput.h"

#include <algorithm>
#include <utility>

namespace KrTool
{
CKrFileWindow::CKrFileWindow(std::shared_ptr<IKrFile> file, std::string path, uint64_t length,
                             size_t capacity)
    : m_file(std::move(file)), m_path(std::move(path)), m_length(length), m_capacity(capacity)
{
}

std::span<const uint8_t> CKrFileWindow::From(uint64_t position, size_t count)
{
    if (position >= m_length)
        return {};
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, m_length - position));
    if (position < m_position || position + wanted > m_position + m_bytes.size())
    {
        m_bytes.resize(static_cast<size_t>(std::min<uint64_t>(m_capacity, m_length - position)));
        m_position = position;
        ReadExactly(*m_file, m_path, position, m_bytes.data(), m_bytes.size());
    }
    return std::span<const uint8_t>(m_bytes).subspan(static_cast<size_t>(position - m_position));
}
} // namespace KrTool
