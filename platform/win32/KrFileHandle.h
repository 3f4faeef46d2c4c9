// Owner of a file handle.
#ifndef KR_PLATFORM_WIN32_KRFILEHANDLE_H
#define KR_PLATFORM_WIN32_KRFILEHANDLE_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <utility>

// Move-only; INVALID_HANDLE_VALUE when it owns nothing. Not for handles whose empty value is null.
class CKrFileHandle
{
public:
    CKrFileHandle() = default;
    explicit CKrFileHandle(HANDLE handle) : m_handle(handle) {}
    CKrFileHandle(CKrFileHandle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, INVALID_HANDLE_VALUE))
    {
    }
    CKrFileHandle& operator=(CKrFileHandle&& other) noexcept
    {
        if (this != &other)
        {
            Close();
            m_handle = std::exchange(other.m_handle, INVALID_HANDLE_VALUE);
        }
        return *this;
    }
    CKrFileHandle(const CKrFileHandle&) = delete;
    CKrFileHandle& operator=(const CKrFileHandle&) = delete;
    ~CKrFileHandle() { Close(); }

    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return m_handle; }

private:
    void Close()
    {
        if (IsOpen())
            CloseHandle(m_handle);
    }

    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

#endif
