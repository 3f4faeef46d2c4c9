// The flush of a file's name, which is the content of its folder.
#include "platform/KrPlatform.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

using namespace KrTest;

namespace
{
SKrFlushOutcome FlushNameOf(const std::wstring& path)
{
    return KrPlatform::OsFileSystem().FlushName(path.c_str());
}
} // namespace

TEST(NameFlush, NamesInFolders_AreFlushed)
{
    CKrTempFolder folder;
    EXPECT_TRUE(FlushNameOf(folder.PathOf(L"new.bin")));
    EXPECT_TRUE(FlushNameOf(L"in-the-current-folder.bin"));
    EXPECT_TRUE(FlushNameOf(L"/in-the-root.bin"));
}

TEST(NameFlush, PathsWithoutAFolder_AreNotDone)
{
    CKrTempFolder folder;
    const SKrFlushOutcome missing = FlushNameOf(folder.PathOf(L"missing/new.bin"));
    EXPECT_FALSE(missing);
    EXPECT_EQ(missing.osError, static_cast<uint32_t>(ENOENT));
    const SKrFlushOutcome device = FlushNameOf(L"/dev/null/new.bin");
    EXPECT_FALSE(device);
    EXPECT_EQ(device.osError, static_cast<uint32_t>(ENOTDIR));
    EXPECT_FALSE(KrPlatform::OsFileSystem().FlushName(nullptr));
}
