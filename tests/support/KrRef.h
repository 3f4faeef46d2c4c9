// Holds one reference to a counted interface in a test and gives it back at the end of the scope.
#ifndef KR_TESTS_SUPPORT_KRREF_H
#define KR_TESTS_SUPPORT_KRREF_H

#include <utility>

namespace KrTest
{
// Owns one reference. T is any interface with AddRef and Release.
//
//   CKrRef<IKrRiffReader> reader;
//   ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
//   EXPECT_EQ(reader->Open(path.c_str()), 1);
template <class T>
class CKrRef
{
public:
    CKrRef() = default;

    // Takes over the reference that the caller has.
    explicit CKrRef(T* adopted) : m_object(adopted) {}

    // Adds a reference of its own.
    [[nodiscard]] static CKrRef Share(T* object)
    {
        if (object != nullptr)
            object->AddRef();
        return CKrRef(object);
    }

    CKrRef(CKrRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    CKrRef& operator=(CKrRef&& other) noexcept
    {
        if (this != &other)
            Reset(std::exchange(other.m_object, nullptr));
        return *this;
    }
    CKrRef(const CKrRef&) = delete;
    CKrRef& operator=(const CKrRef&) = delete;
    ~CKrRef() { Reset(); }

    // Releases what it holds and takes over another reference.
    void Reset(T* adopted = nullptr)
    {
        T* const old = std::exchange(m_object, adopted);
        if (old != nullptr)
            old->Release();
    }

    // Releases what it holds; a factory writes the new reference to the address returned.
    [[nodiscard]] T** Put()
    {
        Reset();
        return &m_object;
    }

    // Hands the reference to the caller.
    [[nodiscard]] T* Detach() { return std::exchange(m_object, nullptr); }

    [[nodiscard]] T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};
} // namespace KrTest

#endif
