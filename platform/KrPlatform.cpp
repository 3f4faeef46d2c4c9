// The choice between the operating system's files and time and those of a test.
#include "platform/KrPlatform.h"

#include <atomic>

namespace
{
// Null: the operating system's. Atomic, since readers open their files on any thread.
std::atomic<IKrFileSystem*> g_replacement = nullptr;
std::atomic<IKrClock*> g_replacementClock = nullptr;
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

IKrClock& Clock()
{
    IKrClock* const replacement = g_replacementClock;
    return replacement != nullptr ? *replacement : OsClock();
}

CClockScope::CClockScope(IKrClock& clock) : m_previous(g_replacementClock.exchange(&clock)) {}

CClockScope::~CClockScope()
{
    g_replacementClock = m_previous;
}
} // namespace KrPlatform
