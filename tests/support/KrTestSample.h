// Media samples for the writer's tests.
#ifndef KR_TESTS_SUPPORT_KRTESTSAMPLE_H
#define KR_TESTS_SUPPORT_KRTESTSAMPLE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "tests/support/KrFileContent.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <utility>

namespace KrTest
{
// A host's own sample: bytes in memory.
class CKrTestSample final : public CKrObject<IKrMediaSample>
{
public:
    explicit CKrTestSample(KrBytes bytes) : m_bytes(std::move(bytes)) { ++s_alive; }
    ~CKrTestSample() override { --s_alive; }

    // Samples not yet destroyed.
    static int Alive() { return s_alive; }

    void RefuseLocks() { m_refusesLocks = true; }
    [[nodiscard]] int Locks() const { return m_locks; }                   // currently held
    [[nodiscard]] std::thread::id LockedBy() const { return m_lockedBy; } // the last time

    void ResetElement() override {}

    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        if (m_refusesLocks)
            return 0;
        ++m_locks;
        m_lockedBy = std::this_thread::get_id();
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }

    void UnlockBuffer() override { --m_locks; }
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

private:
    inline static std::atomic<int> s_alive = 0;

    KrBytes m_bytes;
    std::atomic<int> m_locks = 0;
    std::atomic<bool> m_refusesLocks = false;
    std::atomic<std::thread::id> m_lockedBy = std::thread::id();
};

// Zeros of any length, which share one buffer.
class CKrZeroSample final : public CKrObject<IKrMediaSample>
{
public:
    static constexpr size_t kMostBytes = size_t{600} << 20;

    explicit CKrZeroSample(size_t length) : m_length(length)
    {
        if (length > kMostBytes)
            throw std::length_error("larger than the buffer of zeros");
    }

    void ResetElement() override {}

    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        static void* const zeros = std::calloc(1, kMostBytes);
        *data = static_cast<uint8_t*>(zeros);
        *length = static_cast<int32_t>(m_length);
        return 1;
    }

    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_length); }

private:
    size_t m_length;
};
} // namespace KrTest

#endif
