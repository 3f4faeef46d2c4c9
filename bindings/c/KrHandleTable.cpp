#include "bindings/c/KrHandleTable.h"

#include "base/KrImmortal.h"

#include <mutex>
#include <utility>

CKrHandleTable& CKrHandleTable::OfProcess()
{
    static CKrImmortal<CKrHandleTable> table;
    return table.Get();
}

// A free place; null when all are taken.
SKrHandleSlot* CKrHandleTable::TakeFree()
{
    const std::lock_guard guard(m_lock);
    if (m_firstFree == 0)
    {
        if (m_made == kMostBlocks)
            return nullptr;
        auto block = std::make_unique<KrBlock>();
        for (size_t place = 0; place < kBlockSize; ++place)
        {
            SKrHandleSlot& slot = (*block)[place];
            slot.index = static_cast<uint32_t>(m_made * kBlockSize + place);
            slot.nextFree = place + 1 < kBlockSize ? slot.index + 2 : 0;
        }
        m_firstFree = (*block)[0].index + 1;
        m_blocks[m_made++] = block.release();
    }
    SKrHandleSlot* const slot = Find(m_firstFree - 1);
    m_firstFree = slot->nextFree;
    return slot;
}

uint64_t CKrHandleTable::Add(std::unique_ptr<CKrHandled> object, EKrHandleKind kind)
{
    SKrHandleSlot* const slot = TakeFree();
    if (slot == nullptr)
        return 0;
    slot->object = std::move(object);
    const uint64_t use = (slot->state >> (kPinBits + kKindBits)) + 1; // no handle of an earlier use fits
    const uint64_t tag = use << kKindBits | static_cast<uint64_t>(kind);
    slot->state = tag << kPinBits | 1;
    return tag << kIndexBits | slot->index;
}

SKrHandleSlot* CKrHandleTable::Retire(uint64_t handle, EKrHandleKind kind)
{
    SKrHandleSlot* const slot = Pin(handle, kind);
    if (slot == nullptr)
        return nullptr;
    const uint64_t dead = (handle >> kIndexBits) & ~kKindMask; // no handle has this kind
    uint64_t state = slot->state;
    while (state >> kPinBits == handle >> kIndexBits)
    {
        if (slot->state.compare_exchange_weak(state, dead << kPinBits | ((state & kPinMask) - 1)))
            return slot; // one of the two pins: the handle's own
    }
    Unpin(*slot);
    return nullptr;
}

void CKrHandleTable::Destroy(SKrHandleSlot& slot)
{
    slot.object.reset();
    const std::lock_guard guard(m_lock);
    slot.nextFree = std::exchange(m_firstFree, slot.index + 1);
}
