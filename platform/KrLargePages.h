// Blocks of memory from the system itself, in large pages: first touching such a block in small ones would
// take longer than reading it from the file.
#ifndef KR_PLATFORM_KRLARGEPAGES_H
#define KR_PLATFORM_KRLARGEPAGES_H

#include <cstddef>

// Blocks of this size and above are worth taking here; 0 where a program without privileges gets no large
// pages.
size_t KrLargePageSize();

// A block of zero bytes; null when out of memory. Its pages are small where no large ones are left.
void* KrTakeLargePages(size_t size);
void KrGiveLargePagesBack(void* block, size_t size);

// Bytes of all blocks: now, and the peak since the last reset or the start of the process. Tests and leak
// detectors, which watch the heap alone, do not see them.
struct SKrLargePageUse
{
    size_t now = 0;
    size_t most = 0;
};
SKrLargePageUse KrLargePageUse();
void KrStartOverLargePageUse();

#endif
