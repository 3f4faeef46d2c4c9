#include "siblings/KrKernel/KrPoolManager.h"

#include "base/KrObject.h"
#include "base/KrRef.h"
#include "platform/KrSync.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <new>
#include <utility>

namespace
{
constexpr unsigned long kWaitForEver = 0xFFFFFFFF; // and larger values, where the type has more bits

struct SKrSlot
{
    CKrRef<IKrPoolElement> element; // the manager's own reference
    CKrPoolMember* member;          // part of the element
};

// Elements move between lists without allocating, since they are returned from inside a Release.
using KrSlots = std::list<SKrSlot>;

void Destroy(KrSlots& slots)
{
    for (SKrSlot& slot : slots)
    {
        slot.member->SetOwner(nullptr); // it will not be returned
        slot.element.Reset();
    }
}

// Two counts: the shared one keeps the object alive, with one reference for each lent element; the users'
// count reaches 0 when no more elements can be requested.
class CKrPoolManager final : public CKrObject<IKrPoolManager>
{
public:
    [[nodiscard]] bool Fill(IKrPoolElementAllocator& allocator, unsigned long capacity)
    {
        for (unsigned long number = 0; number < capacity; ++number)
        {
            IKrPoolElement* element = nullptr;
            if (allocator.CreateElement(&element) == 0 || element == nullptr)
                return false;
            auto owned = CKrRef<IKrPoolElement>::Adopt(element);
            // The library's own allocator creates the elements, so the same compiler built them.
            auto* const member = dynamic_cast<CKrPoolMember*>(element);
            if (member == nullptr)
                return false;
            m_free.push_back({std::move(owned), member});
            member->SetOwner(this);
        }
        return true;
    }

    uint32_t AddRef() override
    {
        ++m_users;
        return CKrObject::AddRef();
    }

    uint32_t Release() override
    {
        if (--m_users == 0)
            Close();
        return CKrObject::Release();
    }

    int GetElement(unsigned long wait, IKrPoolElement** out) override
    {
        if (out == nullptr)
            return 0;
        std::unique_lock guard(m_mutex);
        const auto hasFree = [this]
        {
            return !m_free.empty();
        };
        if (wait >= kWaitForEver)
            m_returned.Wait(guard, hasFree);
        else if (!m_returned.WaitFor(guard, static_cast<uint32_t>(wait), hasFree))
            return 0;
        m_lent.splice(m_lent.end(), m_free, m_free.begin());
        CKrObject::AddRef(); // for the lent element
        IKrPoolElement* const element = m_lent.back().element.Get();
        element->AddRef();
        *out = element;
        return 1;
    }

    void ReturnElement(IKrPoolElement* element) override
    {
        KrSlots notNeeded;
        {
            const std::lock_guard guard(m_mutex);
            // Elements lent first are usually returned first.
            const auto slot =
                std::find_if(m_lent.begin(), m_lent.end(),
                             [element](const SKrSlot& lent) { return lent.element.Get() == element; });
            if (slot == m_lent.end())
                return; // already returned
            KrSlots& to = m_closed ? notNeeded : m_free;
            to.splice(to.end(), m_lent, slot);
        }
        m_returned.NotifyOne();
        Destroy(notNeeded);
        CKrObject::Release(); // may be the last one
    }

private:
    // Releases the idle elements; lent ones follow when they are returned.
    void Close()
    {
        KrSlots idle;
        {
            const std::lock_guard guard(m_mutex);
            m_closed = true;
            idle.swap(m_free);
        }
        Destroy(idle);
    }

    KrAtomic<uint32_t> m_users = 1;
    CKrMutex m_mutex; // held around the lists only, never while an element is destroyed
    CKrCondition m_returned;
    KrSlots m_free;        // guarded by m_mutex; the longest idle first
    KrSlots m_lent;        // guarded by m_mutex; the longest lent first
    bool m_closed = false; // guarded by m_mutex
};
} // namespace

int KrCreatePoolManager(IKrPoolElementAllocator* allocator, unsigned long capacity, IKrPoolManager** out)
{
    if (allocator == nullptr || capacity == 0 || capacity > kKrMaxPoolCapacity || out == nullptr)
        return 0;
    try
    {
        auto* const manager = new CKrPoolManager;
        auto owned = CKrRef<IKrPoolManager>::Adopt(manager);
        if (!manager->Fill(*allocator, capacity))
            return 0;
        *out = owned.Detach();
        return 1;
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
}
