// Owner of a file descriptor.
#ifndef KR_PLATFORM_POSIX_KRFILEDESCRIPTOR_H
#define KR_PLATFORM_POSIX_KRFILEDESCRIPTOR_H

#include <unistd.h>

#include <utility>

// Move-only; -1 when it owns nothing. Closing gives up the descriptor's flock as well.
class CKrFileDescriptor
{
public:
    CKrFileDescriptor() = default;
    explicit CKrFileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    CKrFileDescriptor(CKrFileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }
    CKrFileDescriptor& operator=(CKrFileDescriptor&& other) noexcept
    {
        if (this != &other)
        {
            Close();
            m_descriptor = std::exchange(other.m_descriptor, -1);
        }
        return *this;
    }
    CKrFileDescriptor(const CKrFileDescriptor&) = delete;
    CKrFileDescriptor& operator=(const CKrFileDescriptor&) = delete;
    ~CKrFileDescriptor() { Close(); }

    bool IsOpen() const { return m_descriptor >= 0; }
    int Get() const { return m_descriptor; }

private:
    void Close()
    {
        if (IsOpen())
            ::close(m_descriptor);
    }

    int m_descriptor = -1;
};

#endif
