// A shared library that is loaded while an object exists, and a check whether a file is still held.
#ifndef KR_TESTS_MODULE_KRLOADEDLIBRARY_H
#define KR_TESTS_MODULE_KRLOADEDLIBRARY_H

#include <string>

namespace KrTest
{
class CKrLoadedLibrary
{
public:
    // Throws std::runtime_error when the library cannot be loaded.
    explicit CKrLoadedLibrary(const char* path);
    ~CKrLoadedLibrary();
    CKrLoadedLibrary(const CKrLoadedLibrary&) = delete;
    CKrLoadedLibrary& operator=(const CKrLoadedLibrary&) = delete;

    // The exported function of this name, or null.
    [[nodiscard]] void* Function(const char* name) const;

private:
    void* m_handle;
};

// The name that KrCreateAviWriter is exported under.
inline constexpr const char* kCreateWriter = "_Z17KrCreateAviWriterPP12IKrAviWriter";

// Whether the library is loaded in the process, for any reason.
[[nodiscard]] bool IsLoaded(const char* path);

// Whether the file could be opened for exclusive writing: false while a reader has it open.
[[nodiscard]] bool CanBeHeldForWriting(const std::wstring& path);
} // namespace KrTest

#endif
