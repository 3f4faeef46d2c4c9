#include "tools/input/KrFramePattern.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <charconv>

namespace KrTool
{
namespace
{
constexpr size_t kMostDigits = 20;

[[noreturn]] void Refuse(const std::string& pattern, const std::string& cause)
{
    throw CKrToolError(pattern, "bad pattern: " + cause);
}
} // namespace

CKrFramePattern::CKrFramePattern(const std::string& pattern)
{
    if (pattern.empty())
        Refuse(pattern, "it is empty");
    for (size_t position = 0; position < pattern.size(); ++position)
    {
        std::string& text = m_numbered ? m_behind : m_before;
        if (pattern[position] != '%')
        {
            text += pattern[position];
        }
        else if (position + 1 < pattern.size() && pattern[position + 1] == '%')
        {
            text += '%';
            ++position;
        }
        else
        {
            position = ParseNumber(pattern, position);
        }
    }
}

// Takes the number's place from its percent sign on; returns the position of its 'd'.
size_t CKrFramePattern::ParseNumber(const std::string& pattern, size_t position)
{
    if (m_numbered)
        Refuse(pattern, "more than one %d");
    size_t at = position + 1;
    if (at < pattern.size() && pattern[at] == '0')
    {
        const char* const from = pattern.data() + at + 1;
        const char* const end = pattern.data() + pattern.size();
        m_digits = 0; // stays so without a number
        at = static_cast<size_t>(std::from_chars(from, end, m_digits).ptr - pattern.data());
    }
    if (at >= pattern.size() || pattern[at] != 'd' || m_digits == 0 || m_digits > kMostDigits)
        Refuse(pattern, "after a % there must be d, 0Nd with N from 1 to 20, or another %");
    m_numbered = true;
    return at;
}

std::optional<uint64_t> CKrFramePattern::NumberOf(const std::string& name) const
{
    uint64_t number = 0;
    if (!m_numbered || !name.starts_with(m_before))
        return std::nullopt;
    const char* const end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + m_before.size(), end, number);
    const bool isName = error == std::errc() && NameOf(number) == name;
    return isName ? std::optional(number) : std::nullopt;
}

std::string CKrFramePattern::NameOf(uint64_t frame) const
{
    if (!m_numbered)
        return m_before;
    return Format("{}{:0{}}{}", m_before, frame, m_digits, m_behind);
}
} // namespace KrTool
