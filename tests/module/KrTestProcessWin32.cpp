#include "tests/module/KrTestProcess.h"

#include <stdlib.h>

#include <windows.h>

bool KrTest::IsLibraryInProcess(const char* path)
{
    const std::string whole = path;
    return GetModuleHandleA(whole.substr(whole.find_last_of("/\\") + 1).c_str()) != nullptr;
}

void KrTest::SetEnvironmentValue(const char* name, const std::string& value)
{
    _putenv_s(name, value.c_str());
}
