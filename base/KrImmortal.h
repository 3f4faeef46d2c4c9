// Holder of a process-wide object that is never destroyed, so that no thread and no static destructor of a
// host can see it destroyed. What the object holds at the end must be released by other means.
#ifndef KR_BASE_KRIMMORTAL_H
#define KR_BASE_KRIMMORTAL_H

#include <cstddef>
#include <new>

template <class Object>
class CKrImmortal
{
public:
    CKrImmortal() : m_object(*new (m_storage) Object) {}
    CKrImmortal(const CKrImmortal&) = delete;
    CKrImmortal& operator=(const CKrImmortal&) = delete;

    Object& Get() { return m_object; }

private:
    alignas(Object) std::byte m_storage[sizeof(Object)];
    Object& m_object;
};

#endif
