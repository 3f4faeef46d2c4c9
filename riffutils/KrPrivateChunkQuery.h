// The private information chunks of an open file, through the reader's interface.
#ifndef KR_RIFFUTILS_KRPRIVATECHUNKQUERY_H
#define KR_RIFFUTILS_KRPRIVATECHUNKQUERY_H

#include "KrRiffUtils/IKrRiffReader.h"
#include "format/KrPrivateValues.h"

#include <cstdint>

// The reader may be of any implementation: only its public operations are called. It is up to the caller to
// keep other threads away from its walks.
class CKrPrivateChunkQuery final : public IKrPrivateChunks
{
public:
    explicit CKrPrivateChunkQuery(IKrRiffReader& reader) : m_reader(reader) {}

    [[nodiscard]] const SKrRiffChunkInfo* Find(uint32_t ckid) override;
    [[nodiscard]] uint32_t ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer) override;
    [[nodiscard]] uint64_t FileLength() override;

private:
    IKrRiffReader& m_reader;
};

#endif
