// Memory for blocks that are read whole, used once and given back.
#ifndef KR_PLATFORM_KRBLOCKMEMORY_H
#define KR_PLATFORM_KRBLOCKMEMORY_H

#include <cstddef>
#include <cstdint>

// One block. Its bytes are not initialised. Blocks of some megabytes come from the system itself, in the
// largest pages that it has: touching such a block for the first time would otherwise take longer than to
// read it.
class CKrBlockMemory
{
public:
    CKrBlockMemory() = default;
    ~CKrBlockMemory() { Release(); }
    CKrBlockMemory(const CKrBlockMemory&) = delete;
    CKrBlockMemory& operator=(const CKrBlockMemory&) = delete;

    // Makes room for so many bytes, of which there may be more than were asked for; what the block held
    // before may be lost. Throws std::bad_alloc.
    uint8_t* Provide(size_t size);

private:
    void Release();

    uint8_t* m_data = nullptr;
    size_t m_capacity = 0;
    void* m_mapping = nullptr; // what the system gave; null for memory of the heap
    size_t m_mappingSize = 0;
};

#endif
