#include "platform/KrLargePages.h"

// They need a privilege that hosts do not have.
size_t KrLargePageSize()
{
    return 0;
}

void KrUseLargePages(void*, size_t) {}
