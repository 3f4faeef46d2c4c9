// The choice between the operating system's files and those of a test.
#include "platform/KrPlatform.h"

#include <atomic>

namespace
{
// Null: the operating system's. Atomic, since readers open their files on any thread.
std::atomic<IKrFileSystem*> g_replacement = nullptr;
} // namespace

namespace KrPlatform
{
IKrFileSystem& FileSystem()
{
    IKrFileSystem* const replacement = g_replacement;
    return replacement != nullptr ? *replacement : OsFileSystem();
}

CFileSystemScope::CFileSystemScope(IKrFileSystem& fileSystem)
    : m_previous(g_replacement.exchange(&fileSystem))
{
}

CFileSystemScope::~CFileSystemScope()
{
    g_replacement = m_previous;
}
} // namespace KrPlatform
