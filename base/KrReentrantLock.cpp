#include "base/KrReentrantLock.h"

// Destroying a mutex while it is held is undefined.
CKrReentrantLock::~CKrReentrantLock()
{
    if (!m_mutex.try_lock())
        return;
    for (; m_depth > 0; --m_depth)
        m_mutex.unlock();
    m_mutex.unlock();
}

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
