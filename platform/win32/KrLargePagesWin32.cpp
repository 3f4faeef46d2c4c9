#include "platform/KrLargePages.h"

// They need a privilege that hosts do not have.
size_t KrLargePageSize()
{
    return 0;
}

void* KrTakeLargePages(size_t)
{
    return nullptr;
}

void KrGiveLargePagesBack(void*, size_t) {}

SKrLargePageUse KrLargePageUse()
{
    return {};
}

void KrStartOverLargePageUse() {}
