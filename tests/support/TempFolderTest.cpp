#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>

using namespace KrTest;

namespace
{
KrBytes FileBytes(const std::wstring& path)
{
    std::ifstream file(Os::StdPath(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
} // namespace

TEST(TempFolderTest, Write_MakesAndReplacesFiles)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.Write(L"\u00e4 \u6620.avi", KrBytes{1, 2, 3, 4});
    EXPECT_EQ(path, folder.PathOf(L"\u00e4 \u6620.avi"));
    EXPECT_EQ(FileBytes(path), (KrBytes{1, 2, 3, 4}));
    folder.Write(L"\u00e4 \u6620.avi", KrBytes{5, 6});
    EXPECT_EQ(FileBytes(path), (KrBytes{5, 6}));
    folder.Remove(L"\u00e4 \u6620.avi");
    EXPECT_FALSE(std::filesystem::exists(Os::StdPath(path)));
    EXPECT_THROW(folder.Remove(L"missing"), std::runtime_error);
    EXPECT_THROW(folder.Write(L"missing/a.avi", KrBytes{1}), std::runtime_error);
}

TEST(TempFolderTest, WriteSparse_TakesNoRoomForHoles)
{
    const CKrTempFolder folder;
    constexpr uint64_t kSize = uint64_t{5} << 30;
    const std::wstring path = folder.WriteSparse(L"large.avi", kSize, {{0, {1}}, {kSize - 1, {2}}});
    EXPECT_EQ(std::filesystem::file_size(Os::StdPath(path)), kSize);
    EXPECT_LT(Os::AllocatedSize(path), uint64_t{4} << 20);
    EXPECT_THROW(folder.WriteSparse(L"b.avi", 3, {{2, {1, 2}}}), std::runtime_error);
}

TEST(TempFolderTest, EndOfLife_RemovesEverything)
{
    std::optional<CKrTempFolder> folder(std::in_place);
    const std::wstring path = folder->Path();
    folder->MakeFolder(L"inner");
    folder->Write(L"inner/a.avi", KrBytes{1});
    folder->Write(L"b.avi", KrBytes{1});
    ASSERT_TRUE(std::filesystem::exists(Os::StdPath(path)));
    folder.reset();
    EXPECT_FALSE(std::filesystem::exists(Os::StdPath(path)));
}

TEST(TempFolderTest, TwoFolders_HaveTheirOwnPlaces)
{
    const CKrTempFolder first;
    const CKrTempFolder second;
    EXPECT_NE(first.Path(), second.Path());
}
