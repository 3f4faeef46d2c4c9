// The two standard streams: reports on the output, diagnostics on the error stream.
#ifndef KR_TOOLS_COMMAND_KRSTANDARDOUTPUT_H
#define KR_TOOLS_COMMAND_KRSTANDARDOUTPUT_H

#include <string_view>

namespace KrTool
{
// Throws CKrToolError when the output takes no more.
void Print(std::string_view text);
void FlushOutput();

// Best effort: nobody is left to tell when this fails.
void PrintDiagnostic(std::string_view text);
} // namespace KrTool

#endif
