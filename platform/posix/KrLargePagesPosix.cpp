#include "platform/KrLargePages.h"

#include <sys/mman.h>

size_t KrLargePageSize()
{
    return size_t{2} << 20;
}

void KrUseLargePages(void* memory, size_t size)
{
    ::madvise(memory, size / KrLargePageSize() * KrLargePageSize(), MADV_HUGEPAGE);
}
