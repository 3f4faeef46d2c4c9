// Files that somebody follows, in the system's file system and in that of the tests.
#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

using namespace KrTest;

namespace
{
class FollowedFiles : public testing::TestWithParam<bool>
{
protected:
    FollowedFiles()
        : m_files(GetParam() ? KrPlatform::OsFileSystem() : static_cast<IKrFileSystem&>(m_memory)),
          m_path(m_folder.PathOf(L"followed.avi"))
    {
    }

    static void Write(IKrWritableFile& file, uint64_t position, const KrBytes& bytes)
    {
        const KrByteSpan part(bytes);
        ASSERT_EQ(file.WriteAt(position, {&part, 1}).bytes, bytes.size());
    }

    static KrBytes Read(IKrFile& file, uint64_t position, size_t count)
    {
        KrBytes bytes(count);
        bytes.resize(file.ReadAt(position, bytes.data(), count).bytes);
        return bytes;
    }

    std::unique_ptr<IKrWritableFile> Create() { return m_files.CreateForWriting(m_path.c_str()); }
    std::unique_ptr<IKrFile> Follow() { return m_files.OpenForFollowing(m_path.c_str()); }

    CKrTempFolder m_folder;
    CKrMemoryFileSystem m_memory;
    IKrFileSystem& m_files;
    const std::wstring m_path;
};

std::string NameOf(const testing::TestParamInfo<bool>& info)
{
    return info.param ? "System" : "Memory";
}
} // namespace

INSTANTIATE_TEST_SUITE_P(All, FollowedFiles, testing::Bool(), NameOf);

TEST_P(FollowedFiles, WhatIsWritten_AndPutIntoViews_IsSeen)
{
    const auto writer = Create();
    ASSERT_NE(writer, nullptr);
    Write(*writer, 0, KrBytes(100, 1));
    EXPECT_EQ(m_files.OpenForReading(m_path.c_str()), nullptr);
    const auto follower = Follow();
    ASSERT_NE(follower, nullptr);
    EXPECT_EQ(follower->Size(), 100u);
    EXPECT_EQ(Read(*follower, 90, 20), KrBytes(10, 1));
    Write(*writer, 100, KrBytes(50, 2));
    const auto view = writer->Map(10, 5);
    ASSERT_NE(view, nullptr);
    std::fill_n(view->Data(), 5, uint8_t{9});
    EXPECT_EQ(follower->Size(), 150u);
    EXPECT_EQ(Read(*follower, 9, 7), (KrBytes{1, 9, 9, 9, 9, 9, 1}));
    EXPECT_EQ(Read(*follower, 140, 20), KrBytes(10, 2));
}

TEST_P(FollowedFiles, ShareMode_IsHadWhenNobodyWrites_AndThenKept)
{
    auto writer = Create();
    ASSERT_NE(writer, nullptr);
    Write(*writer, 0, KrBytes(100, 1));
    auto follower = Follow();
    ASSERT_NE(follower, nullptr);
    EXPECT_FALSE(follower->ShareWithReadersOnly());
    writer.reset();
    EXPECT_TRUE(follower->ShareWithReadersOnly());
    EXPECT_TRUE(follower->ShareWithReadersOnly());
    EXPECT_EQ(Create(), nullptr);
    EXPECT_FALSE(m_files.Delete(m_path.c_str()));
    EXPECT_NE(m_files.OpenForReading(m_path.c_str()), nullptr);
    follower.reset();
    EXPECT_TRUE(m_files.Delete(m_path.c_str()));
}

TEST_P(FollowedFiles, AFollower_KeepsNobodyFromReplacingTheFile_AndKeepsItsOwn)
{
    {
        const auto writer = Create();
        ASSERT_NE(writer, nullptr);
        Write(*writer, 0, KrBytes(100, 1));
    }
    const auto follower = Follow();
    ASSERT_NE(follower, nullptr);
    EXPECT_TRUE(m_files.Delete(m_path.c_str()));
    EXPECT_FALSE(m_files.Exists(m_path.c_str()));
    const auto writer = Create();
    ASSERT_NE(writer, nullptr);
    Write(*writer, 0, KrBytes(200, 2));
    EXPECT_EQ(follower->Size(), 100u);
    EXPECT_EQ(Read(*follower, 0, 100), KrBytes(100, 1));
    EXPECT_TRUE(follower->ShareWithReadersOnly()) << "nobody writes the file that was opened";
    const auto next = Follow();
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->Size(), 200u);
    EXPECT_FALSE(next->ShareWithReadersOnly());
}

TEST_P(FollowedFiles, WhatIsNotAFile_IsRefused)
{
    EXPECT_EQ(Follow(), nullptr);
    EXPECT_EQ(m_files.OpenForFollowing(nullptr), nullptr);
    EXPECT_EQ(m_files.OpenForFollowing(m_folder.Path().c_str()), nullptr);
}
