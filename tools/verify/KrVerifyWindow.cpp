#include "tools/verify/KrVerifyWindow.h"

#include "format/KrFourCC.h"
#include "tools/command/KrToolError.h"
#include "tools/input/KrAviFile.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/input/KrWaveInput.h"

#include <algorithm>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kHeaderSize = 12;
} // namespace

SKrVerifyFile OpenForVerifying(const std::string& path, std::string& refusal)
{
    SKrVerifyFile opened{path, OpenInput(path)};
    opened.length = ReadLength(*opened.file, path);
    try
    {
        const CKrAviFile accepted(path);
    }
    catch (const CKrToolError& error)
    {
        CKrVerifyWindow window(opened);
        const std::span<const uint8_t> head = window.At(0, kHeaderSize);
        refusal = error.what();
        if (refusal.ends_with(kVerifyStep))
            refusal.resize(refusal.size() - std::string_view(kVerifyStep).size());
        if (GetLe32(head, 0) != kFccRiff || GetLe32(head, 8) != kFccAvi)
            throw CKrToolError(path, refusal);
    }
    return opened;
}

std::span<const uint8_t> CKrVerifyWindow::From(uint64_t position, size_t count)
{
    const uint64_t length = m_file.length;
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
    m_bytes.resize(
        static_cast<size_t>(std::min<uint64_t>(std::max(count, m_reach), m_file.length - position)));
    m_position = position;
    ReadExactly(*m_file.file, m_file.path, position, m_bytes.data(), m_bytes.size());
}
} // namespace KrTool
