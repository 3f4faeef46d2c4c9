// The ways in which a verb ends early. Each becomes exit code 2 and one message.
#ifndef KR_TOOLS_COMMAND_KRTOOLERROR_H
#define KR_TOOLS_COMMAND_KRTOOLERROR_H

#include <stdexcept>
#include <string>

namespace KrTool
{
// Something about a file, or about the request as a whole when `path` is empty.
class CKrToolError : public std::runtime_error
{
public:
    CKrToolError(std::string path, const std::string& cause)
        : std::runtime_error(cause), m_path(std::move(path))
    {
    }

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

// The user asked to stop.
class CKrInterruption : public std::runtime_error
{
public:
    CKrInterruption() : std::runtime_error("interrupted") {}
};
} // namespace KrTool

#endif
