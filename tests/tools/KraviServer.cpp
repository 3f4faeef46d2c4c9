// Runs kravi and the checker of its files many times: each run is a fork of this process, which has been
// loaded, and prepared by a sanitizer, once. kravi_runner.py writes requests to the standard input: a length
// of four bytes, then the folder, the files for both outputs, "kravi" or "check", and the arguments, each
// with a zero byte after it. The answer to each is the status that waitpid gives, four bytes on the standard
// output.
#include "platform/KrConsole.h"
#include "tests/tools/CheckAvi.h"
#include "tools/command/KrCommandLine.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
constexpr size_t kFolder = 0, kOutput = 1, kErrors = 2, kProgram = 3, kArguments = 4; // fields of a request

bool ReadAll(void* buffer, size_t count)
{
    for (char* to = static_cast<char*>(buffer); count > 0;)
    {
        const ssize_t bytes = read(STDIN_FILENO, to, count);
        if (bytes <= 0)
            return false;
        to += bytes;
        count -= static_cast<size_t>(bytes);
    }
    return true;
}

// Nothing at the end of the input.
std::vector<std::string> ReadRequest()
{
    uint32_t length = 0;
    if (!ReadAll(&length, sizeof length))
        return {};
    std::string text(length, '\0');
    if (!ReadAll(text.data(), length))
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

void Redirect(int stream, const char* path, int mode)
{
    const int file = open(path, mode, 0600);
    if (file < 0 || dup2(file, stream) < 0)
        _exit(EXIT_FAILURE);
    close(file);
}

[[noreturn]] void Run(const std::vector<std::string>& fields)
{
    Redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    Redirect(STDOUT_FILENO, fields[kOutput].c_str(), O_WRONLY | O_CREAT | O_TRUNC);
    Redirect(STDERR_FILENO, fields[kErrors].c_str(), O_WRONLY | O_CREAT | O_TRUNC);
    if (chdir(fields[kFolder].c_str()) != 0)
        _exit(EXIT_FAILURE);
    const std::vector<std::string> arguments(fields.begin() + kArguments, fields.end());
    if (fields[kProgram] == "check")
        exit(CheckAviFiles(arguments));
    const CKrConsole console;
    CatchInterruptions();
    exit(KrTool::RunCommandLine(arguments));
}
} // namespace

int main()
{
    while (true)
    {
        const std::vector<std::string> fields = ReadRequest();
        if (fields.size() < kArguments)
            return 0;
        const pid_t child = fork();
        if (child == 0)
            Run(fields);
        int32_t status = 0;
        if (waitpid(child, &status, 0) != child ||
            write(STDOUT_FILENO, &status, sizeof status) != sizeof status)
            return EXIT_FAILURE;
    }
}
