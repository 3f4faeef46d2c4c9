// Standard indexes of OpenDML against the chunks.
#ifndef KR_TOOLS_VERIFY_KRSTANDARDINDEXCHECK_H
#define KR_TOOLS_VERIFY_KRSTANDARDINDEXCHECK_H

#include "format/KrAviIndexes.h"
#include "tools/verify/KrIndexEntries.h"

#include <cstdint>
#include <span>

namespace KrTool
{
// 32-bit words of an entry; 0 for sub-types that are not known.
uint16_t WordsOfEntry(uint8_t subType);

// What a standard index covers.
struct SKrIndexedAmount
{
    uint64_t entries = 0;
    uint64_t samples = 0; // of streams with a sample size, cut to whole ones in each chunk
    bool isWhole = false; // every entry was read

    uint64_t Duration(const SKrVerifyStream& stream) const
    {
        return stream.sampleSize != 0 ? samples : entries;
    }
};

class CKrStandardIndexCheck
{
public:
    explicit CKrStandardIndexCheck(const SKrVerifyContext& context)
        : m_context(context), m_results(context.results), m_lookup(context.model),
          m_strays(context.strayWindow)
    {
    }

    // Checks one standard index of a stream.
    SKrIndexedAmount Check(const SKrPlacedChunk& index, uint32_t stream);

private:
    struct SKrEntry
    {
        uint64_t target = 0; // position of the data
        uint32_t size = 0;
        bool isKey = true;
    };

    bool CheckHead(const SKrPlacedChunk& index, uint32_t stream, SKrStdIndexHead& head);
    static SKrEntry EntryOf(std::span<const uint8_t> bytes, const SKrStdIndexHead& head);
    void CheckEntry(const SKrEntry& entry, uint64_t position, uint32_t stream);
    void NoteStray(const SKrEntry& entry, uint64_t position, uint32_t stream);

    const SKrVerifyContext& m_context;
    CKrVerifyResults& m_results;
    CKrChunkLookup m_lookup;
    CKrStrayLook m_strays;
    uint64_t m_lastPosition = 0;
};
} // namespace KrTool

#endif
