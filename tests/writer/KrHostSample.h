// A media sample that behaves like a host's.
#ifndef KR_TESTS_WRITER_KRHOSTSAMPLE_H
#define KR_TESTS_WRITER_KRHOSTSAMPLE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "base/KrObject.h"
#include "tests/support/KrFileContent.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>

namespace KrTest
{
// Held by the thread that locked it; each operation has a callback.
class CKrHostSample final : public CKrObject<IKrMediaSample>
{
public:
    explicit CKrHostSample(KrBytes bytes) : m_bytes(std::move(bytes)) { ++s_alive; }
    ~CKrHostSample() override { --s_alive; }

    static int Alive() { return s_alive; }

    std::function<void()> inGetDataLength = [] {
    };
    std::function<void()> inLockBuffer = [] {
    };
    std::function<void()> inUnlockBuffer = [] {
    };
    std::function<void()> inRelease = [] {
    }; // of any reference

    uint32_t Release() override
    {
        inRelease();
        return CKrObject::Release();
    }

    void ResetElement() override {}

    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        m_lock.lock();
        inLockBuffer();
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }

    void UnlockBuffer() override
    {
        inUnlockBuffer();
        m_lock.unlock();
    }

    uint32_t GetDataLength() override
    {
        const std::lock_guard guard(m_lock);
        inGetDataLength();
        return static_cast<uint32_t>(m_bytes.size());
    }

private:
    inline static std::atomic<int> s_alive = 0;

    std::recursive_mutex m_lock;
    KrBytes m_bytes;
};

} // namespace KrTest

#endif
