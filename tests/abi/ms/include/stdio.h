// Declarations of the system's old C library, for compilers without headers for it.
#pragma once
#if defined(__cplusplus)
extern "C"
{
#endif
    int printf(const char* format, ...);
#if defined(__cplusplus)
}
#endif
