// The end of a file that is being written, where everything is appended.
#ifndef KR_WRITER_KRFILETAIL_H
#define KR_WRITER_KRFILETAIL_H

#include "platform/KrPlatform.h"
#include "writer/KrRecordingFaults.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

// What fails is noted in the faults that were given to the constructor.
class CKrFileTail
{
public:
    CKrFileTail(std::unique_ptr<IKrWritableFile> file, SKrRecordingFaults& faults);

    [[nodiscard]] bool IsOpen() const { return m_file != nullptr; }

    // Where the next bytes go: after the last thing that was written whole.
    [[nodiscard]] uint64_t Position() const { return m_position; }
    void Advance(uint64_t bytes) { m_position += bytes; }

    // Writes the parts at the position, with one gathered write, and leaves it there. Returns how many bytes
    // were written; fewer than all stop the recording.
    [[nodiscard]] uint64_t Write(std::span<const KrByteSpan> parts);
    [[nodiscard]] bool WriteWhole(std::span<const KrByteSpan> parts);

    // Null when the range cannot be mapped.
    [[nodiscard]] std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length);

    // Answers whether the device took all of it. Another thread may call it while no other closes the file.
    bool Flush();

    // Cuts off what lies past the position where it `mayHaveMore` or a write failed, flushes the file and
    // closes it, once. No view may be left.
    void Close(bool mayHaveMore);

private:
    [[nodiscard]] uint64_t Write(std::span<const KrByteSpan> parts, uint64_t size); // of all parts

    SKrRecordingFaults& m_faults;
    std::unique_ptr<IKrWritableFile> m_file; // null once it is closed
    uint64_t m_position = 0;
};

#endif
