// MD5 from the system's cryptography library.
#include "platform/KrMd5.h"
#include "platform/KrOsTransfer.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <stdexcept>

namespace
{
void Check(NTSTATUS status)
{
    if (status < 0)
        throw std::runtime_error("the system has no MD5");
}
} // namespace

struct CKrMd5::SState
{
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;

    SState() { Check(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0)); }
    SState(const SState&) = delete;
    SState& operator=(const SState&) = delete;
    ~SState()
    {
        EndHash();
        BCryptCloseAlgorithmProvider(algorithm, 0);
    }

    void BeginHash() { Check(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0)); }

    void EndHash()
    {
        if (hash != nullptr)
            BCryptDestroyHash(hash);
        hash = nullptr;
    }
};

CKrMd5::CKrMd5() : m_state(std::make_unique<SState>())
{
    m_state->BeginHash();
}

CKrMd5::~CKrMd5() = default;

void CKrMd5::Add(const void* data, size_t size)
{
    // The call is not const-correct.
    auto* from = const_cast<UCHAR*>(static_cast<const UCHAR*>(data));
    while (size > 0)
    {
        const size_t now = std::min(size, kMostBytesPerCall);
        Check(BCryptHashData(m_state->hash, from, static_cast<ULONG>(now), 0));
        from += now;
        size -= now;
    }
}

KrMd5Sum CKrMd5::Finish()
{
    KrMd5Sum sum;
    Check(BCryptFinishHash(m_state->hash, sum.data(), static_cast<ULONG>(sum.size()), 0));
    m_state->EndHash();
    m_state->BeginHash();
    return sum;
}
