// The arrays that cross the library's interface. Hosts built with the application framework (KR_USE_MFC, with
// a library built the same way) use its own; all others use the stand-ins below.
//
// A stand-in array can be filled by the library and freed by the host, whichever compiler built either: its
// layout is fixed, its memory comes from the process heap (malloc elsewhere than on Windows), and a tag
// identifies it to the library. An array without the tag is not touched.
#ifndef KRRIFFUTILS_KRFRAMEWORK_H
#define KRRIFFUTILS_KRFRAMEWORK_H

#include <stddef.h>
#include <stdint.h>

#if defined(KR_USE_MFC)

#include <afxtempl.h>

#else

#if defined(_WIN32)
extern "C"
{
    __declspec(dllimport) void* __stdcall GetProcessHeap(void);
    __declspec(dllimport) void* __stdcall HeapAlloc(void* heap, unsigned long flags, size_t size);
    __declspec(dllimport) void* __stdcall HeapReAlloc(void* heap, unsigned long flags, void* memory,
                                                      size_t size);
    __declspec(dllimport) int __stdcall HeapFree(void* heap, unsigned long flags, void* memory);
}
#else
#include <stdlib.h>
#endif

// Whether the including program is compiled with exceptions.
#if defined(__cpp_exceptions) || defined(_CPPUNWIND) || defined(__EXCEPTIONS)
#define KR_FRAMEWORK_EXCEPTIONS 1
#else
#define KR_FRAMEWORK_EXCEPTIONS 0
#endif

// Thrown for an array index out of range.
class CInvalidArgException
{
};

// Thrown when an array runs out of memory.
class CMemoryException
{
};

namespace KrFrameworkMemory
{
// Returns a zero-filled block, or null.
inline void* AllocateZeroed(size_t size)
{
#if defined(_WIN32)
    return HeapAlloc(GetProcessHeap(), 8 /* zero the memory */, size);
#else
    return calloc(1, size);
#endif
}

// Returns the block grown or shrunk, its new end uninitialised, or null (the old block is then still valid).
inline void* Resize(void* memory, size_t size)
{
#if defined(_WIN32)
    return HeapReAlloc(GetProcessHeap(), 0, memory, size);
#else
    return realloc(memory, size);
#endif
}

// Frees a block; null is allowed.
inline void Free(void* memory)
{
#if defined(_WIN32)
    if (memory != nullptr)
        HeapFree(GetProcessHeap(), 0, memory);
#else
    free(memory);
#endif
}

// Replaces an exception in programs built without them.
[[noreturn]] inline void StopProgram()
{
#if defined(_MSC_VER) && !defined(__clang__)
    __fastfail(7);
#else
    __builtin_trap();
#endif
}

// Throws CInvalidArgException.
[[noreturn]] inline void FailBadIndex()
{
#if KR_FRAMEWORK_EXCEPTIONS
    throw CInvalidArgException();
#else
    StopProgram();
#endif
}

// Throws CMemoryException.
[[noreturn]] inline void FailNoMemory()
{
#if KR_FRAMEWORK_EXCEPTIONS
    throw CMemoryException();
#else
    StopProgram();
#endif
}
} // namespace KrFrameworkMemory

// A growing array of trivially copyable elements. Indices and counts are signed as in the framework; one
// that is out of range throws CInvalidArgException, or stops a program built without exceptions. New
// elements are zero. Not for use from two threads at once.
template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray
{
    static_assert(__is_trivially_copyable(TYPE), "elements cross module boundaries as plain bytes");

public:
    // Makes an empty array, which allocates nothing.
    CArray() : m_tag(kTag), m_data(nullptr), m_size(0), m_capacity(0), m_growBy(0) {}
    ~CArray() { KrFrameworkMemory::Free(m_data); }
    CArray(const CArray&) = delete;
    CArray& operator=(const CArray&) = delete;

    // Number of elements.
    intptr_t GetSize() const { return m_size; }
    intptr_t GetCount() const { return m_size; }

    // Index of the last element, -1 when there is none.
    intptr_t GetUpperBound() const { return m_size - 1; }

    // Whether there is no element.
    bool IsEmpty() const { return m_size == 0; }

    // The element at an index from 0.
    const TYPE& GetAt(intptr_t index) const { return m_data[Checked(index)]; }
    TYPE& GetAt(intptr_t index) { return m_data[Checked(index)]; }
    void SetAt(intptr_t index, ARG_TYPE element) { m_data[Checked(index)] = element; }
    TYPE& ElementAt(intptr_t index) { return m_data[Checked(index)]; }
    const TYPE& ElementAt(intptr_t index) const { return m_data[Checked(index)]; }
    const TYPE& operator[](intptr_t index) const { return m_data[Checked(index)]; }
    TYPE& operator[](intptr_t index) { return m_data[Checked(index)]; }

    // The elements, or null when the array never held any.
    const TYPE* GetData() const { return m_data; }
    TYPE* GetData() { return m_data; }

    // Makes the array `size` elements long. A growBy of 1 or more is the step of later growth. Throws
    // CMemoryException when out of memory.
    void SetSize(intptr_t size, intptr_t growBy = -1)
    {
        if (size < 0)
            KrFrameworkMemory::FailBadIndex();
        if (growBy >= 0)
            m_growBy = growBy;
        if (!TrySetSize(size))
            KrFrameworkMemory::FailNoMemory();
    }

    // SetSize that returns false, with the array unchanged, instead of throwing.
    bool TrySetSize(intptr_t size)
    {
        const bool fresh = m_data == nullptr; // a fresh block is zero-filled
        if (size < 0 || !Reserve(size))
            return false;
        for (intptr_t index = fresh ? size : m_size; index < size; ++index)
            m_data[index] = TYPE();
        m_size = size;
        return true;
    }

    // Appends an element and returns its index.
    intptr_t Add(ARG_TYPE element)
    {
        const TYPE copy = element; // the element may lie in this array, which moves when it grows
        SetSize(m_size + 1);
        m_data[m_size - 1] = copy;
        return m_size - 1;
    }

    // Inserts an element `count` times before the index. An index past the end first extends the array to it.
    void InsertAt(intptr_t index, ARG_TYPE element, intptr_t count = 1)
    {
        if (index < 0 || count < 0)
            KrFrameworkMemory::FailBadIndex();
        const TYPE copy = element;
        const intptr_t oldSize = m_size;
        const intptr_t end = index > oldSize ? index : oldSize;
        if (end > INTPTR_MAX - count)
            KrFrameworkMemory::FailNoMemory();
        SetSize(end + count);
        for (intptr_t from = oldSize - 1; from >= index; --from)
            m_data[from + count] = m_data[from];
        for (intptr_t offset = 0; offset < count; ++offset)
            m_data[index + offset] = copy;
    }

    // Removes elements; the following ones move up.
    void RemoveAt(intptr_t index, intptr_t count = 1)
    {
        if (index < 0 || count < 0 || index > m_size || count > m_size - index)
            KrFrameworkMemory::FailBadIndex();
        for (intptr_t from = index + count; from < m_size; ++from)
            m_data[from - count] = m_data[from];
        m_size -= count;
    }

    // Empties the array and frees its memory.
    void RemoveAll()
    {
        KrFrameworkMemory::Free(m_data);
        m_data = nullptr;
        m_size = 0;
        m_capacity = 0;
    }

    // Makes this array equal to the other.
    void Copy(const CArray& other)
    {
        if (this == &other)
            return;
        SetSize(other.m_size);
        for (intptr_t index = 0; index < m_size; ++index)
            m_data[index] = other.m_data[index];
    }

    // Appends the other array's elements and returns the index of the first of them.
    intptr_t Append(const CArray& other)
    {
        const intptr_t first = m_size;
        const intptr_t count = other.m_size;
        SetSize(first + count);
        for (intptr_t index = 0; index < count; ++index)
            m_data[first + index] = other.m_data[index];
        return first;
    }

    // Frees the memory past the last element.
    void FreeExtra()
    {
        if (m_size == m_capacity)
            return;
        if (m_size == 0)
        {
            RemoveAll();
            return;
        }
        void* const shrunk = KrFrameworkMemory::Resize(m_data, static_cast<size_t>(m_size) * sizeof(TYPE));
        if (shrunk == nullptr)
            return;
        m_data = static_cast<TYPE*>(shrunk);
        m_capacity = m_size;
    }

    // Whether this memory holds an array of this kind at all: the library checks before it fills one.
    bool IsStandIn() const { return m_tag == kTag; }

private:
    static constexpr uint64_t kTag = 0x9E4B725F41727279u; // no valid address

    intptr_t Checked(intptr_t index) const
    {
        if (index < 0 || index >= m_size)
            KrFrameworkMemory::FailBadIndex();
        return index;
    }

    // Ensures capacity for `size` elements; memory past m_size may be uninitialised.
    bool Reserve(intptr_t size)
    {
        const intptr_t largest = static_cast<intptr_t>(PTRDIFF_MAX / sizeof(TYPE));
        if (size > largest)
            return false;
        if (size <= m_capacity)
            return true;
        intptr_t capacity = size;
        if (m_capacity != 0) // growing: add spare capacity, so that a run of Add() stays linear
        {
            const intptr_t step = m_growBy > 0 ? m_growBy : m_capacity / 2 + 4;
            if (m_capacity <= largest - step && m_capacity + step > capacity)
                capacity = m_capacity + step;
        }
        const size_t bytes = static_cast<size_t>(capacity) * sizeof(TYPE);
        void* const memory = m_data == nullptr ? KrFrameworkMemory::AllocateZeroed(bytes)
                                               : KrFrameworkMemory::Resize(m_data, bytes);
        if (memory == nullptr)
            return false;
        m_data = static_cast<TYPE*>(memory);
        m_capacity = capacity;
        return true;
    }

    uint64_t m_tag;
    TYPE* m_data;
    intptr_t m_size;
    intptr_t m_capacity;
    intptr_t m_growBy;

    friend struct SKrArrayLayout;
};

// An array of 32-bit values, such as FourCCs.
class CDWordArray : public CArray<uint32_t, uint32_t>
{
};

// Checks the layout that the library and its hosts share.
struct SKrArrayLayout
{
    typedef CArray<uint32_t, uint32_t> Array; // represents all of them
    static_assert(sizeof(Array) == 40 && sizeof(CDWordArray) == 40, "fixed layout");
    static_assert(offsetof(Array, m_tag) == 0 && offsetof(Array, m_data) == 8 &&
                      offsetof(Array, m_size) == 16 && offsetof(Array, m_capacity) == 24 &&
                      offsetof(Array, m_growBy) == 32,
                  "fixed layout");
};

#endif

#endif
