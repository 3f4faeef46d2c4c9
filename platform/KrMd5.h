// MD5 as the system has it. Linked into kravi only.
#ifndef KR_PLATFORM_KRMD5_H
#define KR_PLATFORM_KRMD5_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

using KrMd5Sum = std::array<uint8_t, 16>;

class CKrMd5
{
public:
    // Throws std::runtime_error when the system has no MD5.
    CKrMd5();
    ~CKrMd5();
    CKrMd5(const CKrMd5&) = delete;
    CKrMd5& operator=(const CKrMd5&) = delete;

    void Add(const void* data, size_t size);

    // The sum of what was added; the next one starts empty.
    KrMd5Sum Finish();

private:
    struct SState;
    std::unique_ptr<SState> m_state;
};

#endif
