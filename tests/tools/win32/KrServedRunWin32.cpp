// Each run is one in the server itself: Windows has no forks.
#include "platform/KrUtf8.h"
#include "tests/tools/KrServedRun.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace
{
enum EStream
{
    kInput,
    kOutput,
    kErrors
};

void Redirect(EStream stream, const std::string& path, int mode)
{
    const int file = _wopen(Widen(path).value_or(L"").c_str(), mode | _O_BINARY, 0600);
    if (file < 0 || _dup2(file, stream) != 0 || _close(file) != 0)
        std::abort();
}

void Enter(const std::string& folder)
{
    if (!SetCurrentDirectoryW(Widen(folder).value_or(L"").c_str()))
        std::abort();
}

void FlushOutputs()
{
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}
} // namespace

SKrServerChannels OpenServerChannels()
{
    const SKrServerChannels channels{_dup(kInput), _dup(kOutput)};
    if (channels.requests < 0 || channels.answers < 0)
        std::abort();
    _setmode(channels.requests, _O_BINARY);
    _setmode(channels.answers, _O_BINARY);
    Redirect(kInput, "NUL", _O_RDONLY);
    return channels;
}

int32_t Serve(const SKrServedRun& run)
{
    Redirect(kOutput, run.output, _O_WRONLY | _O_CREAT | _O_TRUNC);
    Redirect(kErrors, run.errors, _O_WRONLY | _O_CREAT | _O_TRUNC);
    Enter(run.folder);
    const int code = RunHere(run);
    FlushOutputs();
    // So that nothing of the run is in use any longer.
    Redirect(kOutput, "NUL", _O_WRONLY);
    Redirect(kErrors, "NUL", _O_WRONLY);
    Enter("\\");
    return code;
}
