// Reference count shared by the implementations of all interfaces.
#ifndef KR_BASE_KROBJECT_H
#define KR_BASE_KROBJECT_H

#include "KrRiffUtils/IKrUnknown.h"
#include "platform/KrSync.h"

#include <algorithm>
#include <cstdint>

// Base of an implementation of `Interface`. The creator owns the first reference; the last Release destroys
// the object.
template <class Interface>
class CKrObject : public Interface
{
public:
    KR_IMPLEMENT_INTERFACE_DESTRUCTOR(CKrObject)

    CKrObject(const CKrObject&) = delete;
    CKrObject& operator=(const CKrObject&) = delete;

    uint32_t AddRef() override
    {
        m_references.fetch_add(1);
        return std::max(m_references.load(), 1u);
    }

    uint32_t Release() override
    {
        const uint32_t left = DropReference();
        if (left == 0)
            delete this;
        return left;
    }

protected:
    // Drops a reference: returns 0 when it was the last one, else the count, at least 1. The count is not
    // read again: another thread may have destroyed the object by then.
    uint32_t DropReference()
    {
        const uint32_t before = m_references.fetch_sub(1);
        return before == 1 ? 0 : std::max(before - 1, 1u);
    }

    CKrObject() = default;
    virtual ~CKrObject() = default;

private:
    KrAtomic<uint32_t> m_references{1};
};

#endif
