// File helpers that the library expects of its siblings.
#include "siblings/KrWinUtils/KrWinUtils.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrOsTestFiles.h"

#include <gtest/gtest.h>

using namespace KrFileUtils;

TEST(GetPurePath, FolderOfAPath)
{
    EXPECT_EQ(GetPurePath(L"a/b/c.avi"), L"a/b");
    EXPECT_EQ(GetPurePath(L"C:\\videos\\c.avi"), L"C:\\videos");
    EXPECT_EQ(GetPurePath(L"C:\\videos/c.avi"), L"C:\\videos") << "both separators count";
    EXPECT_EQ(GetPurePath(L"a/b\\c.avi"), L"a/b");
    EXPECT_EQ(GetPurePath(L"folder/"), L"folder");
    EXPECT_EQ(GetPurePath(L"\\\\server\\share\\c.avi"), L"\\\\server\\share");
    EXPECT_EQ(GetPurePath(L"..\\c.avi"), L"..");
    EXPECT_EQ(GetPurePath(L"a.b/c"), L"a.b");
}

TEST(GetPurePath, Root_KeepsItsSeparator)
{
    EXPECT_EQ(GetPurePath(L"/c.avi"), L"/");
    EXPECT_EQ(GetPurePath(L"\\c.avi"), L"\\");
    EXPECT_EQ(GetPurePath(L"C:\\c.avi"), L"C:\\");
    EXPECT_EQ(GetPurePath(L"C:/c.avi"), L"C:/");
}

TEST(GetPurePath, BareNameOrNothing_IsEmpty)
{
    EXPECT_EQ(GetPurePath(L"c.avi"), L"");
    EXPECT_EQ(GetPurePath(L""), L"");
    EXPECT_EQ(GetPurePath(nullptr), L"");
}

TEST(GetPurePath, NameInTheCurrentFolderOfADrive_GivesTheDrive)
{
    EXPECT_EQ(GetPurePath(L"D:c.avi"), KrTest::Os::kHasDrives ? L"D:" : L"");
    EXPECT_EQ(GetPurePath(L"d:"), KrTest::Os::kHasDrives ? L"d:" : L"");
    EXPECT_EQ(GetPurePath(L"D:folder\\c.avi"), L"D:folder");
    EXPECT_EQ(GetPurePath(L"DD:c.avi"), L"");
    EXPECT_EQ(GetPurePath(L":c.avi"), L"");
    EXPECT_EQ(GetPurePath(L"1:c.avi"), L"") << "no drive has that name";
    EXPECT_EQ(GetPurePath(L"\u00e4:c.avi"), L"");
}

TEST(DoesFileExist, QueriesTheFileSystem)
{
    KrTest::CKrMemoryFileSystem files;
    const KrPlatform::CFileSystemScope scope(files);
    EXPECT_EQ(DoesFileExist(L"a.avi"), 0);
    files.Set(L"a.avi", KrTest::KrBytes{1});
    EXPECT_NE(DoesFileExist(L"a.avi"), 0);
    EXPECT_EQ(DoesFileExist(L""), 0);
    EXPECT_EQ(DoesFileExist(nullptr), 0);
}
