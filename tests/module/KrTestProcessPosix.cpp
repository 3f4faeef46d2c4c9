#include "tests/module/KrTestProcess.h"

#include <dlfcn.h>
#include <stdlib.h>

bool KrTest::IsLibraryInProcess(const char* path)
{
    void* const handle = dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

void KrTest::SetEnvironmentValue(const char* name, const std::string& value)
{
    setenv(name, value.c_str(), 1);
}
