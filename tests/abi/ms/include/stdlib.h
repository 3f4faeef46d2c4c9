// Declarations of the system's old C library, for compilers without headers for it.
#pragma once
#include <stddef.h>
extern "C"
{
    void* malloc(size_t size);
    void free(void* memory);
    [[noreturn]] void exit(int code);
}
