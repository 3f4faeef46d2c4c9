// MD5 from libmd.
#include "platform/KrMd5.h"

#include <sys/types.h>

#include <md5.h>

struct CKrMd5::SState
{
    MD5_CTX context;
};

CKrMd5::CKrMd5() : m_state(std::make_unique<SState>())
{
    MD5Init(&m_state->context);
}

CKrMd5::~CKrMd5() = default;

void CKrMd5::Add(const void* data, size_t size)
{
    MD5Update(&m_state->context, static_cast<const uint8_t*>(data), size);
}

KrMd5Sum CKrMd5::Finish()
{
    KrMd5Sum sum;
    MD5Final(sum.data(), &m_state->context);
    MD5Init(&m_state->context);
    return sum;
}
