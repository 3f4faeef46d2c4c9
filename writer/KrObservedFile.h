// A file that is being written, whose writes and flushes the status of the recording is told of.
#ifndef KR_WRITER_KROBSERVEDFILE_H
#define KR_WRITER_KROBSERVEDFILE_H

#include "platform/KrPlatform.h"
#include "writer/KrRecordingStatus.h"

#include <cstdint>
#include <memory>
#include <span>

// Passes everything on to the file that it owns. Keeps space reserved ahead of what is written, and gives
// back what is left of it when the file is cut to its end.
class CKrObservedFile final : public IKrWritableFile
{
public:
    CKrObservedFile(std::unique_ptr<IKrWritableFile> file, CKrRecordingStatus& status, uint64_t reserveAhead);

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override;
    SKrFlushOutcome Flush() override;
    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override;
    bool CutTo(uint64_t size) override;

private:
    void ReserveAheadOf(uint64_t end);

    std::unique_ptr<IKrWritableFile> m_file;
    CKrRecordingStatus& m_status;
    const uint64_t m_reserveAhead; // bytes; 0: none
    uint64_t m_reservedEnd = 0;
    bool m_mayReserve = true; // until the system refuses
};

#endif
