// Two checksums of the same bytes: XXH3 with 128 bits, which is fast, and MD5, which other programs support.
#ifndef KR_TOOLS_AVI_KRDIGEST_H
#define KR_TOOLS_AVI_KRDIGEST_H

#include <cstddef>
#include <memory>
#include <string>

namespace KrTool
{
// In hexadecimal digits, as checksum programs print them.
struct SKrDigest
{
    std::string xxh128;
    std::string md5;
};

class CKrDigest
{
public:
    CKrDigest();
    ~CKrDigest();
    CKrDigest(const CKrDigest&) = delete;
    CKrDigest& operator=(const CKrDigest&) = delete;

    void Add(const void* data, size_t size);

    // The checksums of what was added; the next ones start empty.
    SKrDigest Finish();

private:
    struct SState;
    std::unique_ptr<SState> m_state;
};
} // namespace KrTool

#endif
