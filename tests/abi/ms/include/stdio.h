// Declarations of the system's old C library, for compilers without headers for it.
#pragma once
extern "C" int printf(const char* format, ...);
