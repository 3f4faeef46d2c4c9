// The handles that hosts hold: numbers, not addresses, so that a wrong one is noticed.
#ifndef KR_BINDINGS_C_KRHANDLETABLE_H
#define KR_BINDINGS_C_KRHANDLETABLE_H

#include "bindings/c/KrHandled.h"
#include "platform/KrSync.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

// A place in the table. The state is changed as a whole: a tag of 44 bits, of which 4 are the kind of the
// object and the others change with each use of the place, and 20 bits that count the pins.
struct SKrHandleSlot
{
    KrAtomic<uint64_t> state = 0;
    std::unique_ptr<CKrHandled> object; // belongs to whoever takes the pins from 0, or back to it
    uint32_t index = 0;
    uint32_t nextFree = 0; // index + 1 of the next free place
};

// A handle pins its object once; so does each call that uses it. The object goes with the last pin, so that a
// handle may be freed while another thread is inside a call.
class CKrHandleTable
{
public:
    static CKrHandleTable& OfProcess();

    // A handle for the object; 0 when there are too many. Throws when out of memory.
    [[nodiscard]] uint64_t Add(std::unique_ptr<CKrHandled> object, EKrHandleKind kind);

    // Null for a number that is no handle of that kind, or not any more.
    [[nodiscard]] SKrHandleSlot* Pin(uint64_t handle, EKrHandleKind kind)
    {
        SKrHandleSlot* const slot = Find(handle);
        if (slot == nullptr || ((handle >> kIndexBits) & kKindMask) != static_cast<uint64_t>(kind))
            return nullptr;
        uint64_t state = slot->state;
        while (state >> kPinBits == handle >> kIndexBits) // then its own pin is there
        {
            if (slot->state.compare_exchange_weak(state, state + 1))
                return slot;
        }
        return nullptr;
    }

    void Unpin(SKrHandleSlot& slot)
    {
        if ((slot.state.fetch_sub(1) & kPinMask) == 1)
            Destroy(slot);
    }

    // Ends a handle. The caller takes over its pin. Null when it was none, or another thread was first.
    [[nodiscard]] SKrHandleSlot* Retire(uint64_t handle, EKrHandleKind kind);

private:
    static constexpr int kIndexBits = 20, kPinBits = 20, kKindBits = 4;
    static constexpr uint64_t kIndexMask = (uint64_t{1} << kIndexBits) - 1,
                              kPinMask = (uint64_t{1} << kPinBits) - 1,
                              kKindMask = (uint64_t{1} << kKindBits) - 1;
    static constexpr size_t kBlockSize = 256, kMostBlocks = 256;
    using KrBlock = std::array<SKrHandleSlot, kBlockSize>;

    [[nodiscard]] SKrHandleSlot* Find(uint64_t handle)
    {
        const size_t index = handle & kIndexMask;
        KrBlock* const block =
            index < kBlockSize * kMostBlocks ? m_blocks[index / kBlockSize].load() : nullptr;
        return block != nullptr ? &(*block)[index % kBlockSize] : nullptr;
    }

    SKrHandleSlot* TakeFree();
    void Destroy(SKrHandleSlot& slot);

    std::array<KrAtomic<KrBlock*>, kMostBlocks> m_blocks{}; // never freed: a handle may be used at any time
    CKrMutex m_lock;          // guards what follows; held for a few instructions, no lock follows
    size_t m_made = 0;        // blocks
    uint32_t m_firstFree = 0; // index + 1
};

#endif
