#include "reader/KrBlockMemory.h"

#include "platform/KrLargePages.h"

#include <new>

uint8_t* CKrBlockMemory::Provide(size_t size)
{
    if (size <= m_capacity)
        return m_data;
    Release();
    const bool isLarge = KrLargePageSize() != 0 && size >= KrLargePageSize();
    m_alignment = isLarge ? KrLargePageSize() : __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    if (size > SIZE_MAX - m_alignment)
        throw std::bad_alloc(); // standard libraries round up, and wrap
    m_data = static_cast<uint8_t*>(::operator new (size, std::align_val_t{m_alignment}));
    m_capacity = size;
    if (isLarge)
        KrUseLargePages(m_data, size);
    return m_data;
}

void CKrBlockMemory::Release()
{
    if (m_data != nullptr)
        ::operator delete (m_data, std::align_val_t{m_alignment});
    m_data = nullptr;
    m_capacity = 0;
}
