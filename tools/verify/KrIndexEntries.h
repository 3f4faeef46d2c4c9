// What the checks of both kinds of index share: the data chunks that entries are compared with.
#ifndef KR_TOOLS_VERIFY_KRINDEXENTRIES_H
#define KR_TOOLS_VERIFY_KRINDEXENTRIES_H

#include "format/KrBytes.h"
#include "tools/command/KrProgress.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace KrTool
{
// Finds data chunks by the position of their headers; quick where one follows the other.
class CKrChunkLookup
{
public:
    explicit CKrChunkLookup(SKrVerifyModel& model) : m_model(model) {}

    SKrDataChunk* At(uint64_t position)
    {
        std::vector<SKrDataChunk>& chunks = m_model.chunks;
        for (size_t step = 0; step < kNear && m_next < chunks.size(); ++step, ++m_next)
        {
            if (chunks[m_next].position == position)
                return &chunks[m_next++];
            if (chunks[m_next].position > position)
                break;
        }
        const auto found = std::ranges::lower_bound(chunks, position, {}, &SKrDataChunk::Position);
        m_next = static_cast<size_t>(found - chunks.begin());
        return found != chunks.end() && found->position == position ? &chunks[m_next++] : nullptr;
    }

    // False past the chunks that are kept, if there are too many.
    bool Covers(uint64_t position) const
    {
        return !m_model.isCut || m_model.chunks.empty() || position <= m_model.chunks.back().position;
    }

private:
    static constexpr size_t kNear = 16; // other streams' chunks may come between

    SKrVerifyModel& m_model;
    size_t m_next = 0;
};

// Whether the size of a chunk is wrong and not the one that an index has for it: only that leads to the next
// data chunk.
inline bool IsChunkWrong(const SKrVerifyModel& model, const SKrDataChunk& chunk, uint32_t size)
{
    const SKrDataChunk* const next = &chunk + 1;
    if (next == model.chunks.data() + model.chunks.size())
        return false;
    const auto leadsOn = [&](uint32_t bytes)
    {
        const uint64_t end = chunk.position + kChunkHeaderSize + bytes;
        return next->position == end || next->position == end + end % 2;
    };
    return leadsOn(size) && !leadsOn(chunk.size);
}

// Adds what is wrong where an index and a chunk have different sizes: `check`, or the chunk itself.
inline void AddSizeDifference(const SKrVerifyContext& context, SKrDataChunk& chunk, EKrCheck check,
                              uint64_t position, uint32_t size)
{
    if ((chunk.marks & SKrDataChunk::kSizeWrong) != 0)
        return; // reported
    if (!IsChunkWrong(context.model, chunk, size))
    {
        context.results.Add(check, position, Numbers(chunk.size, size));
        return;
    }
    context.results.Add(EKrCheck::ChunkSizeWrong, chunk.position, Numbers(size, chunk.size));
    chunk.marks |= SKrDataChunk::kSizeWrong | SKrDataChunk::kReachesNext;
}

// Whether an id is at a position without a known chunk: checked only for the first entries, since each check
// may be a read.
class CKrStrayLook
{
public:
    explicit CKrStrayLook(CKrFileWindow& window) : m_window(window) {}

    // The id there, or 0.
    uint32_t IdAt(uint64_t position)
    {
        if (m_left == 0)
            return 0;
        --m_left;
        const std::span<const uint8_t> bytes = m_window.At(position, 4);
        return bytes.size() < 4 ? 0 : GetLe32(bytes.data());
    }

private:
    CKrFileWindow& m_window;
    uint32_t m_left = 10000;
};
} // namespace KrTool

#endif
