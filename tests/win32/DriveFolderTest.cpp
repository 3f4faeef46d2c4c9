// The current folder that each drive has of its own on Windows.
#include "platform/KrPlatform.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

using namespace KrTest;

namespace
{
uint32_t SectorSizeAt(const std::wstring& folder)
{
    return KrPlatform::OsFileSystem().BytesPerSector(folder.c_str());
}

// A drive of the test's own, which is the temporary folder, while it lives.
class CKrTestDrive
{
public:
    explicit CKrTestDrive(const std::wstring& folder) : m_folder(folder)
    {
        for (wchar_t letter = L'D'; letter <= L'Y' && m_drive.empty(); ++letter)
        {
            const std::wstring drive{letter, L':'};
            if (GetFileAttributesW((drive + L"\\").c_str()) == INVALID_FILE_ATTRIBUTES &&
                DefineDosDeviceW(0, drive.c_str(), folder.c_str()))
                m_drive = drive;
        }
    }
    ~CKrTestDrive()
    {
        SetCurrent(nullptr);
        DefineDosDeviceW(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, m_drive.c_str(),
                         m_folder.c_str());
    }
    CKrTestDrive(const CKrTestDrive&) = delete;
    CKrTestDrive& operator=(const CKrTestDrive&) = delete;

    [[nodiscard]] const std::wstring& Name() const { return m_drive; }

    // The drive's current folder, kept where the system looks for those of drives that are not the current
    // one.
    void SetCurrent(const wchar_t* folder) const
    {
        SetEnvironmentVariableW((L"=" + m_drive).c_str(), folder);
    }

private:
    std::wstring m_folder;
    std::wstring m_drive;
};
} // namespace

TEST(DriveFolder, SectorSizeOfADrive_IsThatOfItsCurrentFolder)
{
    const CKrTempFolder folder;
    folder.MakeFolder(L"inner");
    const CKrTestDrive drive(folder.Path());
    ASSERT_NE(drive.Name(), L"") << "no drive could be made";
    EXPECT_GE(SectorSizeAt(drive.Name()), 512u) << "the root, where nobody chose a folder";
    drive.SetCurrent((drive.Name() + L"\\inner").c_str());
    EXPECT_GE(SectorSizeAt(drive.Name()), 512u);
    drive.SetCurrent((drive.Name() + L"\\missing").c_str());
    EXPECT_EQ(SectorSizeAt(drive.Name()), 0u) << "not the root, which is there";
    EXPECT_GE(SectorSizeAt(drive.Name() + L"\\"), 512u);
}
