// The minimum runtime for programs in Microsoft's ABI without Microsoft's own: the system's old C library,
// and an entry point that calls main or wmain.
#include <stdlib.h>

extern "C"
{
    int _fltused = 0;
    __declspec(dllimport) int __wgetmainargs(int* count, wchar_t*** arguments, wchar_t*** environment,
                                             int wildcards, int* start);
}

// Only the programs' own objects are on this heap.
void* operator new(size_t size)
{
    return malloc(size);
}

void operator delete(void* memory) noexcept
{
    free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    free(memory);
}

extern "C" int _purecall()
{
    exit(99);
}

#if defined(KR_WIDE_MAIN)
extern "C" int wmain(int count, wchar_t** arguments);
#elif defined(KR_MAIN_IN_C)
extern "C"
{
    __declspec(dllimport) int __getmainargs(int* count, char*** arguments, char*** environment, int wildcards,
                                            int* start);
    int main(int count, char** arguments);
}
#else
int main();
#endif

extern "C" void KrStart()
{
    int count = 0;
    wchar_t** arguments = nullptr;
    wchar_t** environment = nullptr;
    int start = 0;
    __wgetmainargs(&count, &arguments, &environment, 0, &start);
#if defined(KR_WIDE_MAIN)
    exit(wmain(count, arguments));
#elif defined(KR_MAIN_IN_C)
    char** narrow = nullptr;
    char** variables = nullptr;
    __getmainargs(&count, &narrow, &variables, 0, &start);
    exit(main(count, narrow));
#else
    exit(main());
#endif
}
