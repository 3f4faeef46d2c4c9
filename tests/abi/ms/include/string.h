// Declarations of the system's old C library, for compilers without headers for it.
#pragma once
#include <stddef.h>
#if defined(__cplusplus)
extern "C"
{
#endif
    int memcmp(const void* left, const void* right, size_t count);
    void* memcpy(void* to, const void* from, size_t count);
    void* memset(void* memory, int value, size_t count);
#if defined(__cplusplus)
}
#endif
