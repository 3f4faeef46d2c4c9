// Samples that the C interface gives to the writer.
#ifndef KR_BINDINGS_C_KRBORROWEDSAMPLE_H
#define KR_BINDINGS_C_KRBORROWEDSAMPLE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "KrRiffUtils/kr_riff.h"
#include "base/KrObject.h"
#include "bindings/c/KrCallbackThreads.h"
#include "platform/KrPlatform.h"

#include <cstdint>
#include <vector>

// Bytes that nobody changes while the writer has them, so that locking needs no lock.
class CKrFixedSample : public CKrObject<IKrMediaSample>
{
public:
    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        *data = const_cast<uint8_t*>(m_bytes.data()); // the writer only reads
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }
    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

protected:
    KrByteSpan m_bytes;
};

// The host's own memory.
class CKrBorrowedSample final : public CKrFixedSample
{
public:
    CKrBorrowedSample(KrByteSpan bytes, kr_release_fn release, void* context, CKrCallbackThreads& threads)
        : m_release(release), m_context(context), m_threads(threads)
    {
        m_bytes = bytes;
    }
    ~CKrBorrowedSample() override
    {
        if (m_release == nullptr)
            return;
        const CKrCallbackThreads::CScope scope(m_threads, CKrCallbackThreads::EKind::Release);
        m_release(m_context, m_bytes.data());
    }

    // The writer has not taken it: the host is told by the result.
    void Forget() { m_release = nullptr; }

private:
    kr_release_fn m_release;
    void* const m_context;
    CKrCallbackThreads& m_threads;
};

// A copy.
class CKrCopiedSample final : public CKrFixedSample
{
public:
    explicit CKrCopiedSample(KrByteSpan bytes) : m_copy(bytes.begin(), bytes.end()) { m_bytes = m_copy; }

private:
    const std::vector<uint8_t> m_copy;
};

#endif
