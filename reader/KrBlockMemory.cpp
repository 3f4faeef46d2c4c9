#include "reader/KrBlockMemory.h"

#include "platform/KrLargePages.h"

#include <new>

uint8_t* CKrBlockMemory::Provide(size_t size)
{
    if (size <= m_capacity)
        return m_data;
    Release();
    const size_t page = KrLargePageSize();
    if (page == 0 || size < page)
        m_data = static_cast<uint8_t*>(::operator new(size));
    else if (size > SIZE_MAX - page)
        throw std::bad_alloc(); // standard libraries round such sizes up, and wrap
    else
    {
        m_data = static_cast<uint8_t*>(::operator new (size, std::align_val_t{page}));
        m_isLarge = true;
        KrUseLargePages(m_data, size);
    }
    m_capacity = size;
    return m_data;
}

void CKrBlockMemory::Release()
{
    if (m_isLarge)
        ::operator delete (m_data, std::align_val_t{KrLargePageSize()});
    else
        ::operator delete(m_data);
    m_data = nullptr;
    m_capacity = 0;
    m_isLarge = false;
}
