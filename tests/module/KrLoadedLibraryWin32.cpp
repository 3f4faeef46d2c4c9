#include "tests/module/KrLoadedLibrary.h"

#include <stdexcept>

#include <windows.h>

using namespace KrTest;

CKrLoadedLibrary::CKrLoadedLibrary(const char* path) : m_handle(LoadLibraryA(path))
{
    if (m_handle == nullptr)
        throw std::runtime_error("the library cannot be loaded");
}

CKrLoadedLibrary::~CKrLoadedLibrary()
{
    FreeLibrary(static_cast<HMODULE>(m_handle));
}

void* CKrLoadedLibrary::Function(const char* name) const
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

bool KrTest::IsLoaded(const char* path)
{
    return GetModuleHandleA(path) != nullptr;
}

bool KrTest::CanBeHeldForWriting(const std::wstring& path)
{
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(file);
    return true;
}
