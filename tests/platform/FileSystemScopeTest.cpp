#include "platform/KrPlatform.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

TEST(FileSystemScopeTest, WithoutScope_FilesAreTheSystems)
{
    EXPECT_EQ(&KrPlatform::FileSystem(), &KrPlatform::OsFileSystem());
}

TEST(FileSystemScopeTest, Scopes_ReplaceAndRestore)
{
    CKrMemoryFileSystem outer;
    CKrMemoryFileSystem inner;
    {
        const KrPlatform::CFileSystemScope outerScope(outer);
        EXPECT_EQ(&KrPlatform::FileSystem(), &outer);
        {
            const KrPlatform::CFileSystemScope innerScope(inner);
            EXPECT_EQ(&KrPlatform::FileSystem(), &inner);
        }
        EXPECT_EQ(&KrPlatform::FileSystem(), &outer);
        EXPECT_NE(&KrPlatform::OsFileSystem(), &outer);
    }
    EXPECT_EQ(&KrPlatform::FileSystem(), &KrPlatform::OsFileSystem());
}
