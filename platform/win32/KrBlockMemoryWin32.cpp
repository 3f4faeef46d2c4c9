#include "platform/KrBlockMemory.h"

#include <new>

// The heap maps large blocks by itself. Large pages would need a privilege that hosts do not have.
uint8_t* CKrBlockMemory::Provide(size_t size)
{
    if (size <= m_capacity)
        return m_data;
    Release();
    m_data = static_cast<uint8_t*>(::operator new(size));
    m_capacity = size;
    return m_data;
}

void CKrBlockMemory::Release()
{
    ::operator delete(m_data);
    m_data = nullptr;
    m_capacity = 0;
}
