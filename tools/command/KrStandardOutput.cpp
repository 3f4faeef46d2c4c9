#include "tools/command/KrStandardOutput.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <cstdio>

namespace KrTool
{
void Print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw CKrToolError({}, "cannot write to standard output");
}

void FlushOutput()
{
    if (std::fflush(stdout) != 0)
        throw CKrToolError({}, "cannot write to standard output");
}

void PrintDiagnostic(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void PrintError(const std::string& path, const std::string& cause)
{
    const std::string about = path.empty() ? std::string() : Printable(path) + ": ";
    PrintDiagnostic(Format("kravi: {}{}\n", about, Printable(cause)));
}
} // namespace KrTool
