// The separate current folder of each drive on Windows.
#include "platform/KrPlatform.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace
{
uint32_t SectorSizeAt(const std::wstring& folder)
{
    return KrPlatform::OsFileSystem().BytesPerSector(folder.c_str());
}

// An existing drive other than the current one, or nothing.
std::wstring OtherDrive()
{
    wchar_t current[MAX_PATH + 1] = {};
    GetCurrentDirectoryW(MAX_PATH + 1, current);
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter)
    {
        const std::wstring drive{letter, L':'};
        if (letter != current[0] && SectorSizeAt(drive + L"\\") != 0)
            return drive;
    }
    return {};
}

// Sets the current folder of a drive other than the current one, in the system's variable for it.
void SetCurrentFolder(const std::wstring& drive, const wchar_t* folder)
{
    ASSERT_TRUE(SetEnvironmentVariableW((L"=" + drive).c_str(), folder));
}
} // namespace

TEST(DriveFolder, SectorSizeOfADrive_IsThatOfItsCurrentFolder)
{
    const std::wstring drive = OtherDrive();
    if (drive.empty())
        GTEST_SKIP() << "there is one drive only";
    const std::wstring root = drive + L"\\";
    SetCurrentFolder(drive, root.c_str());
    EXPECT_EQ(SectorSizeAt(drive), SectorSizeAt(root));
    SetCurrentFolder(drive, (root + L"no folder of this name").c_str());
    EXPECT_EQ(SectorSizeAt(drive), 0u) << "not that of the root";
    SetCurrentFolder(drive, nullptr);
}
