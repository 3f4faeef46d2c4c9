// Stand-in for the pool manager of the suite's kernel library. The suite's own library can take its place
// when the program is linked.
#ifndef KR_SIBLINGS_KRPOOLMANAGER_H
#define KR_SIBLINGS_KRPOOLMANAGER_H

#include "KrRiffUtils/IKrMediaSample.h"

// Makes the elements of a pool.
class IKrPoolElementAllocator : public IKrUnknown
{
public:
    // Stores a new element, with one reference, in `out`. 0 when there is none.
    virtual int CreateElement(IKrPoolElement** out) = 0;
};

// Lends elements. May be called from any thread.
class IKrPoolManager : public IKrUnknown
{
public:
    // Stores the element that has been idle for the longest time in `out`, with one reference for the caller
    // beside the manager's own. Waits up to `wait` milliseconds for a free one: 0 not at all, 0xFFFFFFFF and
    // all bits set for ever. 0 when none came free in time.
    virtual int GetElement(unsigned long wait, IKrPoolElement** out) = 0;

    // Takes an element back, which calls this from its Release once only the manager's reference is left. An
    // element that is not lent is left alone.
    virtual void ReturnElement(IKrPoolElement* element) = 0;
};

// Part of every element: where it goes when its user lets go of it.
class CKrPoolMember
{
public:
    IKrPoolManager* Owner() const { return m_owner; }
    void SetOwner(IKrPoolManager* owner) { m_owner = owner; }

protected:
    ~CKrPoolMember() = default;

private:
    IKrPoolManager* m_owner =
        nullptr; // not counted; set before the element is lent, until the manager has gone
};

// Beyond what anybody has buffers for. Systems that promise more memory than they have would let a senseless
// capacity fill the machine before anything fails.
inline constexpr unsigned long kKrMaxPoolCapacity = 1ul << 20;

// Makes a manager with `capacity` elements, all created at once; each must be a CKrPoolMember. Lent elements
// stay valid when the manager is released before them, and are destroyed as they come back. 0 with `out`
// untouched when a pointer is null, the capacity is 0 or above the limit, or an element cannot be made.
int KrCreatePoolManager(IKrPoolElementAllocator* allocator, unsigned long capacity, IKrPoolManager** out);

#endif
