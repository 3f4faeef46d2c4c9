// Owner of one reference to a counted object: any type with AddRef and Release.
//
//   CKrRef<IKrRiffReader> reader;
//   if (KrCreateRiffReader(reader.Put()) == 0)
//       return false;
#ifndef KR_BASE_KRREF_H
#define KR_BASE_KRREF_H

#include <utility>

template <class Interface>
class CKrRef
{
public:
    CKrRef() = default;
    ~CKrRef() { Reset(); }
    CKrRef(CKrRef&& other) noexcept : m_object(other.Detach()) {}
    CKrRef& operator=(CKrRef&& other) noexcept
    {
        if (this != &other)
        {
            Reset();
            m_object = other.Detach();
        }
        return *this;
    }
    CKrRef(const CKrRef&) = delete;
    CKrRef& operator=(const CKrRef&) = delete;

    // Takes over a reference that the caller owns.
    static CKrRef Adopt(Interface* object) { return CKrRef(object); }

    // Adds a reference.
    static CKrRef Share(Interface* object)
    {
        if (object != nullptr)
            object->AddRef();
        return CKrRef(object);
    }

    // Releases the current reference and returns the address for a factory's new one.
    [[nodiscard]] Interface** Put()
    {
        Reset();
        return &m_object;
    }

    Interface* Get() const { return m_object; }
    Interface* operator->() const { return m_object; }
    Interface& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    // Gives up the reference to the caller.
    [[nodiscard]] Interface* Detach() { return std::exchange(m_object, nullptr); }

    void Reset()
    {
        if (Interface* const object = Detach())
            object->Release();
    }

private:
    explicit CKrRef(Interface* object) : m_object(object) {}

    Interface* m_object = nullptr;
};

#endif
