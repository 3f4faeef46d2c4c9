// How the reader uses the caller's arrays.
#ifndef KR_READER_KRHOSTARRAY_H
#define KR_READER_KRHOSTARRAY_H

#include "KrRiffUtils/KrFramework.h"

#include <cstdint>

namespace KrHostArray
{
#if defined(KR_USE_MFC)

template <class Array>
bool IsUsable(const Array&)
{
    return true;
}

template <class Entries>
bool TrySetSize(Entries& entries, uint64_t size)
{
    try
    {
        entries.SetSize(static_cast<INT_PTR>(size));
    }
    catch (CMemoryException* exception)
    {
        exception->Delete();
        return false;
    }
    return true;
}

// The framework reallocates for that, and keeps the elements when out of memory.
template <class Entries>
void FreeUnused(Entries& entries)
{
    try
    {
        entries.FreeExtra();
    }
    catch (CMemoryException* exception)
    {
        exception->Delete();
    }
}

#else

// An array of another kind, from a host built with a framework that the library was not, must not be
// touched: its memory belongs to that framework.
template <class Array>
bool IsUsable(const Array& array)
{
    return array.IsStandIn();
}

template <class Entries>
bool TrySetSize(Entries& entries, uint64_t size)
{
    return size <= static_cast<uint64_t>(INTPTR_MAX) && entries.TrySetSize(static_cast<intptr_t>(size));
}

template <class Entries>
void FreeUnused(Entries& entries)
{
    entries.FreeExtra();
}

#endif

// Shrinks the array to what was produced and frees the rest of its memory.
template <class Entries>
void CutTo(Entries& entries, uint64_t size)
{
    if (static_cast<uint64_t>(entries.GetSize()) == size)
        return;
    entries.SetSize(static_cast<intptr_t>(size));
    FreeUnused(entries);
}
} // namespace KrHostArray

#endif
