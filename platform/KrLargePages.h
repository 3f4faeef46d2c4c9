// Memory in large pages: touching a block of some megabytes for the first time would otherwise take longer
// than to read it.
#ifndef KR_PLATFORM_KRLARGEPAGES_H
#define KR_PLATFORM_KRLARGEPAGES_H

#include <cstddef>

// What a block must be aligned to, and as large as, to lie in large pages; 0 where a program without
// privileges gets none.
size_t KrLargePageSize();

// Asks for large pages under such a block before it is touched. Where there are none, pages are small.
void KrUseLargePages(void* memory, size_t size);

#endif
