// Starts a program and sends it Ctrl-C once a temporary file of kravi's has appeared in the current folder.
// Ends with the program's exit code, or with 100 and more when that was not possible: Interrupt COMMAND LINE
#include <windows.h>

#include <cwchar>

namespace
{
enum EFailure
{
    NotStarted = 100,
    EndedTooEarly,
    NotSent,
    StillRunning
};

constexpr DWORD kPatience = 60000; // milliseconds

bool IsTemporaryFileThere()
{
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(L".kravi-*.tmp", &found);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    FindClose(search);
    return true;
}

// The command line after the name of this program.
wchar_t* CommandLine()
{
    wchar_t* const text = GetCommandLineW();
    wchar_t* const end = std::wcschr(text + 1, *text == L'"' ? L'"' : L' ');
    return end == nullptr ? nullptr : end + 1 + std::wcsspn(end + 1, L" ");
}

// The program has its own console, without a window, so that nothing else gets the event.
HANDLE Start(DWORD& number)
{
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, CommandLine(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr,
                        &start, &process))
        return nullptr;
    CloseHandle(process.hThread);
    number = process.dwProcessId;
    return process.hProcess;
}

bool SendCtrlC(DWORD number)
{
    FreeConsole();
    return AttachConsole(number) && SetConsoleCtrlHandler(nullptr, TRUE) &&
           GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
}
} // namespace

int main()
{
    DWORD number = 0;
    const HANDLE process = Start(number);
    if (process == nullptr)
        return NotStarted;
    while (!IsTemporaryFileThere())
    {
        if (WaitForSingleObject(process, 5) == WAIT_OBJECT_0)
            return EndedTooEarly;
    }
    if (!SendCtrlC(number))
    {
        TerminateProcess(process, NotSent);
        return NotSent;
    }
    if (WaitForSingleObject(process, kPatience) != WAIT_OBJECT_0)
        return StillRunning;
    DWORD code = StillRunning;
    GetExitCodeProcess(process, &code);
    return static_cast<int>(code);
}
