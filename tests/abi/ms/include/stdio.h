// Of the system's old C library, for compilers that come without headers for it.
#pragma once
extern "C" int printf(const char* format, ...);
