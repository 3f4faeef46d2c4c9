#include "siblings/KrKernel/KrPoolManager.h"

#include "core/KrObject.h"
#include "core/KrRef.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

namespace
{
constexpr unsigned long kWaitForEver = 0xFFFFFFFF; // and beyond, where the type has more bits

class CKrPoolManager final : public CKrObject<IKrPoolManager>
{
public:
    ~CKrPoolManager() override
    {
        // Nothing is lent any more: each lent element holds a reference to its manager.
        for (IKrPoolElement* const element : m_free)
        {
            MemberOf(element)->SetOwner(nullptr);
            element->Release();
        }
    }

    [[nodiscard]] bool Fill(IKrPoolElementAllocator& allocator, unsigned long capacity)
    {
        for (unsigned long number = 0; number < capacity; ++number)
        {
            IKrPoolElement* element = nullptr;
            if (allocator.CreateElement(&element) == 0 || element == nullptr)
                return false;
            CKrRef<IKrPoolElement> owned = CKrRef<IKrPoolElement>::Adopt(element);
            if (MemberOf(element) == nullptr)
                return false;
            m_free.push_back(element);
            MemberOf(owned.Detach())->SetOwner(this);
        }
        return true;
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
            m_returned.wait(guard, hasFree);
        else if (!m_returned.wait_for(guard, std::chrono::milliseconds(wait), hasFree))
            return 0;
        IKrPoolElement* const element = m_free.front();
        m_free.pop_front();
        AddRef(); // for the lent element
        element->AddRef();
        *out = element;
        return 1;
    }

    void ReturnElement(IKrPoolElement* element) override
    {
        {
            const std::lock_guard guard(m_mutex);
            m_free.push_back(element);
        }
        m_returned.notify_one();
        Release(); // may be the last one
    }

private:
    // Elements are made by the library's own allocator, thus by the same compiler.
    static CKrPoolMember* MemberOf(IKrPoolElement* element) { return dynamic_cast<CKrPoolMember*>(element); }

    std::mutex m_mutex;
    std::condition_variable m_returned;
    std::deque<IKrPoolElement*> m_free; // guarded by m_mutex; the longest idle first, one reference each
};
} // namespace

int KrCreatePoolManager(IKrPoolElementAllocator* allocator, unsigned long capacity, IKrPoolManager** out)
{
    if (allocator == nullptr || capacity == 0 || out == nullptr)
        return 0;
    try
    {
        std::vector<IKrPoolElement*>().reserve(
            capacity); // more than the machine has: fails before any is made
        auto* const manager = new CKrPoolManager;
        CKrRef<IKrPoolManager> owned = CKrRef<IKrPoolManager>::Adopt(manager);
        if (!manager->Fill(*allocator, capacity))
            return 0;
        *out = owned.Detach();
        return 1;
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }
    catch (const std::length_error&)
    {
        return 0;
    }
}
