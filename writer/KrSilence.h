// Sound that the library makes itself.
#ifndef KR_WRITER_KRSILENCE_H
#define KR_WRITER_KRSILENCE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "base/KrObject.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// A sample of PCM silence: the middle of the range, which is 128 for bytes and 0 for wider samples.
class CKrSilence final : public CKrObject<IKrMediaSample>
{
public:
    CKrSilence(size_t bytes, uint16_t bitsPerSample) : m_bytes(bytes, bitsPerSample <= 8 ? 0x80 : 0) {}

    void ResetElement() override {}

    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }

    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

private:
    std::vector<uint8_t> m_bytes;
};

#endif
