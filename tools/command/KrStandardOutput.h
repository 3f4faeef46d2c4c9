// The two standard streams: reports on the output, diagnostics on the error stream.
#ifndef KR_TOOLS_COMMAND_KRSTANDARDOUTPUT_H
#define KR_TOOLS_COMMAND_KRSTANDARDOUTPUT_H

#include <string>
#include <string_view>

namespace KrTool
{
// Throws CKrToolError when the output cannot be written.
void Print(std::string_view text);
void FlushOutput();

// Best effort: a failure cannot be reported.
void PrintDiagnostic(std::string_view text);

// Why something failed: "kravi: clip.avi: there is no such file". `path` may be empty.
void PrintError(const std::string& path, const std::string& cause);
} // namespace KrTool

#endif
