#include "core/KrReentrantLock.h"

void CKrReentrantLock::Enter()
{
    m_mutex.lock();
    ++m_depth;
}

bool CKrReentrantLock::TryEnter()
{
    if (!m_mutex.try_lock())
        return false;
    ++m_depth;
    return true;
}

void CKrReentrantLock::Leave()
{
    if (m_depth < 1)
        return;
    --m_depth;
    m_mutex.unlock();
}
