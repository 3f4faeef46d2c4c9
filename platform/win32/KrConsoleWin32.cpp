// Arguments, console and interruption on Windows.
#include "platform/KrConsole.h"
#include "platform/KrUtf8.h"

#include <windows.h>

#include <shellapi.h>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <atomic>

namespace
{
std::atomic<bool> g_interrupted{false};

BOOL WINAPI NoteInterruption(DWORD)
{
    g_interrupted = true;
    // The system ends the program as soon as some of these events return: the main thread needs time to
    // remove its half-written file, and its own end ends this wait.
    Sleep(5000);
    return TRUE;
}
} // namespace

std::vector<std::string> Utf8Arguments(int, char**)
{
    // The narrow arguments have lost what the system's code page does not hold.
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr)
        return arguments;
    for (int index = 1; index < count; ++index)
        arguments.push_back(Narrow(wide[index]));
    LocalFree(wide);
    return arguments;
}

unsigned PrepareConsole()
{
    const unsigned codePage = GetConsoleOutputCP(); // 0 without a console
    if (codePage != 0)
        SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    return codePage;
}

void RestoreConsole(unsigned before)
{
    if (before != 0)
        SetConsoleOutputCP(before);
}

bool IsStandardErrorTerminal()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

bool StandardOutputTakesColours()
{
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != 0 &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void CatchInterruptions()
{
    SetConsoleCtrlHandler(NoteInterruption, TRUE);
}

bool InterruptionRequested()
{
    return g_interrupted;
}
