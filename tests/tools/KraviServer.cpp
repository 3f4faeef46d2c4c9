// Runs kravi and the checker of its files many times, which saves most of their start. kravi_runner.py writes
// requests to the standard input: a length of four bytes, then the folder, the files for both outputs,
// "kravi" or "check", and the arguments, each with a zero byte after it. The answer to each is what Serve
// returns, four bytes on the standard output.
#include "platform/KrConsole.h"
#include "tests/tools/CheckAvi.h"
#include "tests/tools/KrServedRun.h"
#include "tools/command/KrCommandLine.h"

#include <unistd.h>

#include <cstdlib>

namespace
{
constexpr size_t kFolder = 0, kOutput = 1, kErrors = 2, kProgram = 3, kArguments = 4; // fields of a request

bool ReadAll(int file, void* buffer, size_t count)
{
    for (char* to = static_cast<char*>(buffer); count > 0;)
    {
        const auto bytes = read(file, to, static_cast<unsigned>(count));
        if (bytes <= 0)
            return false;
        to += bytes;
        count -= static_cast<size_t>(bytes);
    }
    return true;
}

// Nothing at the end of the input.
std::vector<std::string> ReadRequest(int file)
{
    uint32_t length = 0;
    if (!ReadAll(file, &length, sizeof length))
        return {};
    std::string text(length, '\0');
    if (!ReadAll(file, text.data(), length))
        return {};
    std::vector<std::string> fields;
    for (size_t start = 0; start < text.size();)
    {
        const size_t end = text.find('\0', start);
        fields.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return fields;
}
} // namespace

int RunHere(const SKrServedRun& run)
{
    if (run.isCheck)
        return CheckAviFiles(run.arguments);
    const CKrConsole console;
    CatchInterruptions();
    return KrTool::RunCommandLine(run.arguments);
}

int main()
{
    const SKrServerChannels channels = OpenServerChannels();
    while (true)
    {
        const std::vector<std::string> fields = ReadRequest(channels.requests);
        if (fields.size() < kArguments)
            return EXIT_SUCCESS;
        const int32_t answer = Serve({fields[kFolder],
                                      fields[kOutput],
                                      fields[kErrors],
                                      {fields.begin() + kArguments, fields.end()},
                                      fields[kProgram] == "check"});
        if (write(channels.answers, &answer, sizeof answer) != sizeof answer)
            return EXIT_FAILURE;
    }
}
