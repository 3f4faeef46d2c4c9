// Arguments, console and interruption on POSIX systems.
#include "platform/KrConsole.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace
{
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

void NoteInterruption(int)
{
    g_interrupted = true;
}
} // namespace

std::vector<std::string> Utf8Arguments(int argc, char** argv)
{
    return {argv + std::min(argc, 1), argv + argc};
}

// Bytes pass as they are. A closed stream is opened for the direction that it is not used in.
unsigned PrepareConsole()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF)
            static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
    return 0;
}

void RestoreConsole(unsigned) {}

bool IsStandardErrorTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

bool StandardOutputTakesColours()
{
    const char* const kind = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

void CatchInterruptions()
{
    struct sigaction action = {};
    action.sa_handler = NoteInterruption;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    {
        struct sigaction before = {};
        if (::sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
    ::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit for files fails, and what was written is removed
}

bool InterruptionRequested()
{
    return g_interrupted;
}
