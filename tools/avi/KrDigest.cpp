#include "tools/avi/KrDigest.h"

#include "platform/KrMd5.h"
#include "tools/command/KrFormat.h"

#include <new>
#include <span>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace KrTool
{
namespace
{
std::string Hex(std::span<const uint8_t> bytes)
{
    std::string text;
    for (const uint8_t byte : bytes)
        text += Format("{:02x}", byte);
    return text;
}
} // namespace

struct CKrDigest::SState
{
    struct SFree
    {
        void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
    };

    std::unique_ptr<XXH3_state_t, SFree> xxh{XXH3_createState()};
    CKrMd5 md5;
};

CKrDigest::CKrDigest() : m_state(std::make_unique<SState>())
{
    if (m_state->xxh == nullptr)
        throw std::bad_alloc();
    XXH3_128bits_reset(m_state->xxh.get());
}

CKrDigest::~CKrDigest() = default;

void CKrDigest::Add(const void* data, size_t size)
{
    XXH3_128bits_update(m_state->xxh.get(), data, size);
    m_state->md5.Add(data, size);
}

SKrDigest CKrDigest::Finish()
{
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(m_state->xxh.get()));
    XXH3_128bits_reset(m_state->xxh.get());
    return {Hex(canonical.digest), Hex(m_state->md5.Finish())};
}
} // namespace KrTool
