// Blocks of memory from the system itself, in large pages: touching such a block for the first time would
// otherwise take longer than to read it.
#ifndef KR_PLATFORM_KRLARGEPAGES_H
#define KR_PLATFORM_KRLARGEPAGES_H

#include <cstddef>

// Blocks of this size and above are worth taking here; 0 where a program without privileges gets no large
// pages.
size_t KrLargePageSize();

// A block; null when memory is short. Its bytes are zero. Where there are no large pages left, pages are
// small.
void* KrTakeLargePages(size_t size);
void KrGiveLargePagesBack(void* block, size_t size);

// Bytes of all blocks: now, and at most since the process began or somebody started over. Whoever watches the
// heap alone, as tests and leak detectors do, sees none of them.
struct SKrLargePageUse
{
    size_t now = 0;
    size_t most = 0;
};
SKrLargePageUse KrLargePageUse();
void KrStartOverLargePageUse();

#endif
