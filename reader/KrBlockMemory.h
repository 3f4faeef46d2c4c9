// Memory for blocks that are read whole, and for many nodes.
#ifndef KR_READER_KRBLOCKMEMORY_H
#define KR_READER_KRBLOCKMEMORY_H

#include <cstddef>
#include <cstdint>

// One block of uninitialised bytes; a large one uses large pages where the system has them.
class CKrBlockMemory
{
public:
    CKrBlockMemory() = default;
    ~CKrBlockMemory() { Release(); }
    CKrBlockMemory(const CKrBlockMemory&) = delete;
    CKrBlockMemory& operator=(const CKrBlockMemory&) = delete;

    // Makes room for at least that many bytes; the previous contents may be lost. Throws std::bad_alloc.
    uint8_t* Provide(size_t size);

private:
    void Release();

    uint8_t* m_data = nullptr;
    size_t m_capacity = 0;
    bool m_isLarge = false; // taken from the system in large pages
};

#endif
