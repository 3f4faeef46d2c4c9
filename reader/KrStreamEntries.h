// Fills a host's array with the entries of a stream's index.
#ifndef KR_READER_KRSTREAMENTRIES_H
#define KR_READER_KRSTREAMENTRIES_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrChunkHeader.h"
#include "reader/KrHostArray.h"

#include <cstdint>

inline constexpr uint32_t kKeyFrameEntry = 1; // in SKrStreamIndexEntry::flags

// Whether all bytes of a payload, and the chunk header before it, lie in a file.
constexpr bool IsPayloadInside(uint64_t position, uint32_t size, uint64_t fileSize)
{
    return position >= kChunkHeaderSize && position <= fileSize && size <= fileSize - position;
}

class CKrStreamEntries
{
public:
    CKrStreamEntries(CArray<SKrStreamIndexEntry>& out, uint64_t fileSize) : m_out(out), m_fileSize(fileSize)
    {
    }

    // Makes room for all entries that may be added; false when there is not enough memory.
    [[nodiscard]] bool Begin(uint64_t most)
    {
        m_most = most;
        return KrHostArray::TrySetSize(m_out, most);
    }

    [[nodiscard]] bool IsFull() const { return m_count + m_dropped == m_most; }

    // Adds an entry, or counts it as dropped. What is past the room is ignored: a file that changes under its
    // reader may show more entries than were counted.
    void Add(uint64_t position, uint32_t size, bool isKeyFrame)
    {
        if (IsFull())
            return;
        if (!IsPayloadInside(position, size, m_fileSize))
        {
            ++m_dropped;
            return;
        }
        m_out.GetData()[m_count++] = {position, size, isKeyFrame ? kKeyFrameEntry : 0};
    }

    // Cuts the array to what was added, and answers how many entries were dropped.
    uint32_t Finish()
    {
        KrHostArray::CutTo(m_out, m_count);
        return static_cast<uint32_t>(m_dropped);
    }

private:
    CArray<SKrStreamIndexEntry>& m_out;
    const uint64_t m_fileSize;
    uint64_t m_most = 0;
    uint64_t m_count = 0;
    uint64_t m_dropped = 0;
};

#endif
