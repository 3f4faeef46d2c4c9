// What all files have in common, the operating system's and those of tests.
#include "platform/KrPlatform.h"

#include <cstring>

void IKrMappedView::Put(size_t offset, KrByteSpan bytes)
{
    uint8_t* const to = Data() + offset;
    uint32_t word = 0;
    if (bytes.size() != sizeof word || reinterpret_cast<uintptr_t>(to) % sizeof word != 0)
    {
        std::memcpy(to, bytes.data(), bytes.size());
        return;
    }
    std::memcpy(&word, bytes.data(), sizeof word);
    *reinterpret_cast<volatile uint32_t*>(to) = word; // one store: counts and sizes are read by others
}

SKrChangedFile IKrFileSystem::OpenForChanging(const wchar_t*)
{
    return {};
}

SKrFlushOutcome IKrFileSystem::FlushName(const wchar_t*)
{
    return {true, 0};
}

bool IKrWritableFile::ReserveTo(uint64_t)
{
    return false;
}
