#include "reader/KrBlockMemory.h"

#include "platform/KrLargePages.h"

#include <new>

uint8_t* CKrBlockMemory::Provide(size_t size)
{
    if (size <= m_capacity)
        return m_data;
    Release();
    const bool isLarge = KrLargePageSize() != 0 && size >= KrLargePageSize();
    void* const block = isLarge ? KrTakeLargePages(size) : ::operator new(size);
    if (block == nullptr)
        throw std::bad_alloc();
    m_data = static_cast<uint8_t*>(block);
    m_capacity = size;
    m_isLarge = isLarge;
    return m_data;
}

void CKrBlockMemory::Release()
{
    if (m_isLarge)
        KrGiveLargePagesBack(m_data, m_capacity);
    else
        ::operator delete(m_data);
    m_data = nullptr;
    m_capacity = 0;
    m_isLarge = false;
}
