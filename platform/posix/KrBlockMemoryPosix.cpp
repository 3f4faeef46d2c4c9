#include "platform/KrBlockMemory.h"

#include <new>

#include <sys/mman.h>

namespace
{
constexpr size_t kLargePage = size_t{2} << 20;
constexpr size_t kSmallestMapping = kLargePage;
} // namespace

uint8_t* CKrBlockMemory::Provide(size_t size)
{
    if (size <= m_capacity)
        return m_data;
    Release();
    if (size < kSmallestMapping)
    {
        m_data = static_cast<uint8_t*>(::operator new(size));
        m_capacity = size;
        return m_data;
    }
    if (size > SIZE_MAX - kLargePage)
        throw std::bad_alloc();
    void* const mapping = ::mmap(nullptr, size + kLargePage, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED)
        throw std::bad_alloc();
    m_mapping = mapping;
    m_mappingSize = size + kLargePage;
    m_capacity = size;
    m_data = static_cast<uint8_t*>(mapping);
    m_data += (kLargePage - reinterpret_cast<uintptr_t>(m_data) % kLargePage) % kLargePage;
    ::madvise(m_data, size, MADV_HUGEPAGE); // where that is not possible, pages are small
    return m_data;
}

void CKrBlockMemory::Release()
{
    if (m_mapping != nullptr)
        ::munmap(m_mapping, m_mappingSize);
    else
        ::operator delete(m_data);
    m_data = nullptr;
    m_mapping = nullptr;
    m_capacity = m_mappingSize = 0;
}
