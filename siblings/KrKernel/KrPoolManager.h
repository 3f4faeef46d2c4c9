// Stand-in for the pool manager of the suite's kernel library. The suite's own library can replace it at link
// time.
#ifndef KR_SIBLINGS_KRPOOLMANAGER_H
#define KR_SIBLINGS_KRPOOLMANAGER_H

#include "KrRiffUtils/IKrMediaSample.h"

// Creates the elements of a pool.
class IKrPoolElementAllocator : public IKrUnknown
{
public:
    // Stores a new element, with one reference, in `out`. Returns 0 on failure.
    virtual int CreateElement(IKrPoolElement** out) = 0;
};

// Lends elements. May be called from any thread.
class IKrPoolManager : public IKrUnknown
{
public:
    // Stores the element that has been idle for the longest time in `out`, with one reference for the caller
    // in addition to the manager's. Waits up to `wait` milliseconds for a free one: 0 does not wait,
    // 0xFFFFFFFF and all bits set wait for ever. Returns 0 when none became free in time.
    virtual int GetElement(unsigned long wait, IKrPoolElement** out) = 0;

    // Returns an element to the pool. The element calls this from its Release once only the manager's
    // reference is left. No effect on an element that is not lent.
    virtual void ReturnElement(IKrPoolElement* element) = 0;
};

// Base part of every element: the manager to which its last Release returns it.
class CKrPoolMember
{
public:
    IKrPoolManager* Owner() const { return m_owner; }
    void SetOwner(IKrPoolManager* owner) { m_owner = owner; }

protected:
    ~CKrPoolMember() = default;

private:
    IKrPoolManager* m_owner =
        nullptr; // not counted; set before the element is lent, until the manager is destroyed
};

// More than any host has buffers for. On systems that overcommit memory an absurd capacity would fill the
// machine before anything fails.
inline constexpr unsigned long kKrMaxPoolCapacity = 1ul << 20;

// Creates a manager with `capacity` elements, all created at once; each must be a CKrPoolMember. Lent
// elements stay valid if the manager is released before them, and are destroyed when they are returned.
// Returns 0 with `out` untouched when a pointer is null, the capacity is 0 or above the limit, or an element
// cannot be created.
int KrCreatePoolManager(IKrPoolElementAllocator* allocator, unsigned long capacity, IKrPoolManager** out);

#endif
