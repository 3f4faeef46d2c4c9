// The name, or the names, that extracted frames get.
#ifndef KR_TOOLS_INPUT_KRFRAMEPATTERN_H
#define KR_TOOLS_INPUT_KRFRAMEPATTERN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
// A pattern holds one %d, or %0Nd with N from 1 to 20, for the frame number; %% is a percent sign. A name
// without %d is one file that takes all frames.
class CKrFramePattern
{
public:
    // Throws CKrToolError, which names the pattern, for anything else.
    explicit CKrFramePattern(const std::string& pattern);

    bool IsNumbered() const { return m_numbered; }
    std::string NameOf(uint64_t frame) const;

    // The number in a name of this pattern; nothing in other names.
    std::optional<uint64_t> NumberOf(const std::string& name) const;

    // What precedes the number, or the whole name.
    const std::string& Start() const { return m_before; }

private:
    size_t ParseNumber(const std::string& pattern, size_t position);

    bool m_numbered = false;
    size_t m_digits = 1; // at least; filled with zeros
    std::string m_before;
    std::string m_behind;
};
} // namespace KrTool

#endif
