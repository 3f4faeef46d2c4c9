// Ready-made objects for hosts in C++: a pointer that releases what it owns, and samples over bytes.
// Header-only, and included by no other header: it needs the standard library, from which the interface
// itself keeps away.
#ifndef KRRIFFUTILS_KRHOSTOBJECTS_H
#define KRRIFFUTILS_KRHOSTOBJECTS_H

#include "IKrMediaSample.h"
#include "IKrUnknown.h"

#include <atomic>
#include <stddef.h>
#include <stdint.h>
#include <utility>
#include <vector>

namespace KrHost
{
// Owns one reference to an object of the library or of the host, and releases it. Not for use from two
// threads at once; the object itself may be.
//
//   KrHost::CKrPointer<IKrRiffReader> reader;
//   if (KrCreateRiffReader(reader.Put()) == 0 || reader->Open(path) == 0)
//       return false;
template <class Interface>
class CKrPointer
{
public:
    // Owns nothing.
    CKrPointer() = default;
    ~CKrPointer() { Reset(); }

    // Moving takes the reference over.
    CKrPointer(CKrPointer&& other) noexcept : m_object(other.Detach()) {}
    CKrPointer& operator=(CKrPointer&& other) noexcept
    {
        if (this != &other)
        {
            Reset();
            m_object = other.Detach();
        }
        return *this;
    }

    // A copy shares the object.
    CKrPointer(const CKrPointer& other) : m_object(other.m_object)
    {
        if (m_object != nullptr)
            m_object->AddRef();
    }

    // Releases the object that was owned, and shares the other.
    CKrPointer& operator=(const CKrPointer& other) { return *this = CKrPointer(other); }

    // Takes over a reference that the caller owns, such as that of a new object.
    static CKrPointer Adopt(Interface* object)
    {
        CKrPointer pointer;
        pointer.m_object = object;
        return pointer;
    }

    // Releases the object and returns the address for a factory's new one.
    Interface** Put()
    {
        Reset();
        return &m_object;
    }

    // The object, or null.
    Interface* Get() const { return m_object; }
    Interface* operator->() const { return m_object; }
    Interface& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    // Gives the reference up to the caller.
    Interface* Detach()
    {
        Interface* const object = m_object;
        m_object = nullptr;
        return object;
    }

    // Releases the object, if there is one.
    void Reset()
    {
        if (Interface* const object = Detach())
            object->Release();
    }

private:
    Interface* m_object = nullptr;
};

// A sample that holds its bytes. They do not change while anybody has the sample, so that locking it needs no
// lock. A host that has to know when the writer is done with it derives a class, whose destructor is called
// then, normally on the writer's thread.
//
//   auto frame = KrHost::CKrByteSample::Make(std::move(bytes));
//   writer->AddVideoSample(frame.Get());
class CKrByteSample : public IKrMediaSample
{
public:
    KR_IMPLEMENT_INTERFACE_DESTRUCTOR(CKrByteSample)

    // A new sample, which the pointer owns. Throws std::bad_alloc when out of memory.
    static CKrPointer<CKrByteSample> Make(std::vector<uint8_t> bytes)
    {
        return CKrPointer<CKrByteSample>::Adopt(new CKrByteSample(std::move(bytes)));
    }

    // For derived classes; the creator owns the first reference.
    explicit CKrByteSample(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    virtual ~CKrByteSample() = default;
    CKrByteSample(const CKrByteSample&) = delete;
    CKrByteSample& operator=(const CKrByteSample&) = delete;

    // Of IKrUnknown and IKrMediaSample.
    uint32_t AddRef() override { return m_references.fetch_add(1) + 1; }
    uint32_t Release() override
    {
        const uint32_t left = m_references.fetch_sub(1) - 1;
        if (left == 0)
            delete this;
        return left;
    }
    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        if (m_bytes.empty() || m_bytes.size() > static_cast<size_t>(INT32_MAX))
            return 0;
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }
    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

private:
    std::vector<uint8_t> m_bytes;
    std::atomic<uint32_t> m_references{1};
};
} // namespace KrHost

#endif
