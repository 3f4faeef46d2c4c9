// The version in the DLL's resource.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <windows.h>

#if !defined(KR_VERSION)
#error "the build defines KR_VERSION as the library's version"
#endif

namespace
{
std::string VersionOf(HMODULE module)
{
    const HRSRC found =
        FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), reinterpret_cast<LPCWSTR>(RT_VERSION));
    if (found == nullptr)
        return "no resource";
    const auto* const data = static_cast<const uint8_t*>(LockResource(LoadResource(module, found)));
    const DWORD size = SizeofResource(module, found);
    for (DWORD at = 0; at + sizeof(VS_FIXEDFILEINFO) <= size; at += 4)
    {
        VS_FIXEDFILEINFO info;
        std::memcpy(&info, data + at, sizeof info);
        if (info.dwSignature == 0xFEEF04BD)
            return std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
                   std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
                   std::to_string(HIWORD(info.dwFileVersionLS));
    }
    return "no version";
}
} // namespace

TEST(VersionResource, ReportsTheLibrarysVersion)
{
    const HMODULE module = LoadLibraryA(KR_LIBRARY_PATH);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(VersionOf(module), KR_VERSION);
    FreeLibrary(module);
}
