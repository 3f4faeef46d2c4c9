#include "tests/module/KrLoadedLibrary.h"

#include "tests/support/KrOsTestFiles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

using namespace KrTest;

CKrLoadedLibrary::CKrLoadedLibrary(const char* path) : m_handle(dlopen(path, RTLD_NOW | RTLD_LOCAL))
{
    if (m_handle == nullptr)
        throw std::runtime_error(dlerror());
}

CKrLoadedLibrary::~CKrLoadedLibrary()
{
    dlclose(m_handle);
}

void* CKrLoadedLibrary::Function(const char* name) const
{
    return dlsym(m_handle, name);
}

bool KrTest::IsLoaded(const char* path)
{
    void* const handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr)
        return false;
    dlclose(handle);
    return true;
}

bool KrTest::CanBeHeldForWriting(const std::wstring& path)
{
    const int file = open(Os::StdPath(path).c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0)
        return false;
    const bool locked = flock(file, LOCK_EX | LOCK_NB) == 0;
    close(file);
    return locked;
}
