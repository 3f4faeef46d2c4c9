// Chunks that are written together.
#ifndef KR_WRITER_KRWRITEBATCH_H
#define KR_WRITER_KRWRITEBATCH_H

#include "platform/KrPlatform.h"
#include "writer/KrWriterSetup.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// The bytes of queued chunks with their padding, one after the other, until they are written. Small payloads
// are copied, so that their samples need not stay locked; a large one is the last, and is written as it is.
class CKrWriteBatch
{
public:
    struct SKrChunk
    {
        EKrStream stream = EKrStream::Video;
        uint32_t length = 0;  // of the payload
        uint64_t padding = 0; // bytes of the 'JUNK' after it, 0 without one
    };

    static constexpr size_t kSmallPayload = 16 * 1024; // larger ones are not copied
    static constexpr size_t kFull = 256 * 1024;

    // Adds a chunk, with a 'JUNK' of `padding` bytes after it unless that is 0. A payload that is not small
    // is only referred to: the batch has to be written while it lives.
    void Add(EKrStream stream, uint32_t chunkId, KrByteSpan payload, uint64_t padding);

    [[nodiscard]] bool IsEmpty() const { return m_chunks.empty(); }
    [[nodiscard]] uint64_t Size() const { return m_size; }
    [[nodiscard]] size_t Count(EKrStream stream) const;

    // Whether it has to be written before anything is added.
    [[nodiscard]] bool IsFull() const { return !m_large.empty() || m_size >= kFull; }

    [[nodiscard]] const std::vector<SKrChunk>& Chunks() const { return m_chunks; }

    // Good until anything is added.
    [[nodiscard]] std::span<const KrByteSpan> Parts();

    void Clear();

private:
    void MakeRoom(size_t bytes);
    void AddHeader(uint32_t chunkId, uint64_t size);

    std::vector<SKrChunk> m_chunks;
    std::vector<uint8_t> m_bytes; // headers, small payloads and padding
    KrByteSpan m_large;           // the last payload, where it was not copied
    size_t m_beforeLarge = 0;     // bytes that come before it
    uint64_t m_size = 0;
    size_t m_frames = 0;
    std::vector<KrByteSpan> m_parts;
};

#endif
