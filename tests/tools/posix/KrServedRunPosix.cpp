// Each run is a fork of the server, which has been loaded, and prepared by a sanitizer, once.
#include "tests/tools/KrServedRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace
{
void Redirect(int stream, const char* path, int mode)
{
    const int file = open(path, mode, 0600);
    if (file < 0 || dup2(file, stream) < 0)
        _exit(EXIT_FAILURE);
    close(file);
}
} // namespace

SKrServerChannels OpenServerChannels()
{
    return {STDIN_FILENO, STDOUT_FILENO};
}

int32_t Serve(const SKrServedRun& run)
{
    const pid_t child = fork();
    if (child == 0)
    {
        Redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        Redirect(STDOUT_FILENO, run.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
        Redirect(STDERR_FILENO, run.errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
        if (chdir(run.folder.c_str()) != 0)
            _exit(EXIT_FAILURE);
        exit(RunHere(run));
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        std::abort();
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
