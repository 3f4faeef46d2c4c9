// What the checks of both kinds of index share: entries read in blocks, and the data chunks that they are
// compared with.
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
// Calls `take` with the bytes of each entry and its position while it returns true.
template <class TAKE>
void ForEachEntry(const SKrVerifyContext& context, uint64_t position, uint64_t count, size_t entrySize,
                  TAKE take)
{
    const uint64_t atOnce = CKrFileWindow::kLargest / entrySize;
    while (count != 0)
    {
        const uint64_t wanted = std::min(count, atOnce);
        const std::span<const uint8_t> block =
            context.window.At(position, static_cast<size_t>(wanted) * entrySize);
        const size_t whole = block.size() / entrySize;
        for (size_t entry = 0; entry < whole; ++entry)
        {
            if (!take(block.subspan(entry * entrySize, entrySize), position + entry * entrySize))
                return;
        }
        if (whole < wanted)
            return; // the file ends here
        context.progress.StopIfAsked();
        position += wanted * entrySize;
        count -= wanted;
    }
}

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
        const auto found = std::ranges::lower_bound(
            chunks, position, {}, [](const SKrDataChunk& chunk) { return uint64_t{chunk.position}; });
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
