// The operating system's files through the library's seam: one suite for all platforms.
#include "platform/KrPlatform.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <type_traits>
#include <vector>

using namespace KrTest;

namespace
{
KrBytes Counted(size_t count)
{
    KrBytes bytes(count);
    for (size_t index = 0; index < count; ++index)
        bytes[index] = static_cast<uint8_t>(index * 7 + index / 256);
    return bytes;
}

std::unique_ptr<IKrFile> Open(const std::wstring& path)
{
    return KrPlatform::OsFileSystem().OpenForReading(path.c_str());
}

// The result of a read of `count` bytes; the buffer past the bytes read must be unchanged.
KrBytes ReadBytes(IKrFile& file, uint64_t position, size_t count)
{
    KrBytes buffer(count + 1, 0xCD);
    const SKrTransfer transfer = file.ReadAt(position, buffer.data(), count);
    EXPECT_EQ(transfer.osError, 0u);
    EXPECT_LE(transfer.bytes, count);
    for (size_t index = transfer.bytes; index < buffer.size(); ++index)
        EXPECT_EQ(buffer[index], 0xCD) << "byte " << index;
    buffer.resize(transfer.bytes);
    return buffer;
}

class FilesTest : public testing::Test
{
protected:
    CKrTempFolder m_folder;
};
} // namespace

TEST_F(FilesTest, WholeFile_IsRead)
{
    const KrBytes content = Counted(100'000);
    const auto file = Open(m_folder.Write(L"a.avi", content));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 100'000u);
    EXPECT_EQ(ReadBytes(*file, 0, 100'000), content);
}

TEST_F(FilesTest, ReadAtPosition_StartsThere)
{
    const auto file = Open(m_folder.Write(L"a.avi", Counted(1000)));
    ASSERT_NE(file, nullptr);
    const KrBytes whole = Counted(1000);
    EXPECT_EQ(ReadBytes(*file, 300, 5), KrBytes(whole.begin() + 300, whole.begin() + 305));
    EXPECT_EQ(ReadBytes(*file, 0, 1), KrBytes(whole.begin(), whole.begin() + 1));
    EXPECT_EQ(ReadBytes(*file, 999, 1), KrBytes(whole.begin() + 999, whole.end()));
}

TEST_F(FilesTest, ReadAcrossTheEnd_ReturnsWhatExists)
{
    const auto file = Open(m_folder.Write(L"a.avi", Counted(1000)));
    ASSERT_NE(file, nullptr);
    const KrBytes whole = Counted(1000);
    EXPECT_EQ(ReadBytes(*file, 990, 100), KrBytes(whole.begin() + 990, whole.end()));
}

TEST_F(FilesTest, ReadAtOrPastTheEnd_ReturnsNothingAndDoesNotFail)
{
    const auto file = Open(m_folder.Write(L"a.avi", Counted(1000)));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ReadBytes(*file, 1000, 10), KrBytes());
    EXPECT_EQ(ReadBytes(*file, 1'000'000, 10), KrBytes());
    EXPECT_EQ(ReadBytes(*file, uint64_t{1} << 40, 10), KrBytes());
    EXPECT_EQ(ReadBytes(*file, 0, 0), KrBytes());
}

TEST_F(FilesTest, PositionOf64Bits_ReadsNothingAndFails)
{
    const auto file = Open(m_folder.Write(L"a.avi", Counted(1000)));
    ASSERT_NE(file, nullptr);
    for (const uint64_t position : {uint64_t{1} << 63, UINT64_MAX - 1, UINT64_MAX})
    {
        uint8_t byte = 0xCD;
        const SKrTransfer transfer = file->ReadAt(position, &byte, 1);
        EXPECT_EQ(transfer.bytes, 0u) << position;
        EXPECT_TRUE(transfer.Failed()) << position;
        EXPECT_EQ(byte, 0xCD);
        EXPECT_FALSE(file->Seek(position)) << position;
    }
    EXPECT_EQ(ReadBytes(*file, 7, 3).size(), 3u); // it continues
}

TEST_F(FilesTest, Seek_GoesAnywhereAndReadsDoNotDependOnIt)
{
    const auto file = Open(m_folder.Write(L"a.avi", Counted(1000)));
    ASSERT_NE(file, nullptr);
    const KrBytes expected = ReadBytes(*file, 500, 20);
    EXPECT_TRUE(file->Seek(3));
    EXPECT_EQ(ReadBytes(*file, 500, 20), expected);
    EXPECT_TRUE(file->Seek(uint64_t{5} << 30)); // past the end
    EXPECT_EQ(ReadBytes(*file, 500, 20), expected);
    EXPECT_TRUE(file->Seek(0));
}

TEST_F(FilesTest, EmptyFile_OpensWithSize0)
{
    const auto file = Open(m_folder.Write(L"empty.avi", CKrFileContent()));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 0u);
    EXPECT_EQ(ReadBytes(*file, 0, 10), KrBytes());
}

TEST_F(FilesTest, FileOf5GiB_IsReadAtPositionsBeyond4GiB)
{
    constexpr uint64_t kSize = (uint64_t{5} << 30) + 3;
    const auto file = Open(m_folder.WriteSparse(L"large.avi", kSize,
                                                {{100, {1, 2, 3}},
                                                 {(uint64_t{4} << 30) - 2, {4, 5, 6, 7}},
                                                 {(uint64_t{4} << 30) + 100, {8, 9, 10}},
                                                 {kSize - 1, {11}}}));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), kSize);
    EXPECT_EQ(ReadBytes(*file, 100, 4), (KrBytes{1, 2, 3, 0}));
    EXPECT_EQ(ReadBytes(*file, (uint64_t{4} << 30) - 3, 6), (KrBytes{0, 4, 5, 6, 7, 0}));
    EXPECT_EQ(ReadBytes(*file, (uint64_t{4} << 30) + 100, 3), (KrBytes{8, 9, 10}));
    EXPECT_EQ(ReadBytes(*file, kSize - 2, 100), (KrBytes{0, 11}));
    EXPECT_TRUE(file->Seek(kSize));
}

TEST_F(FilesTest, MissingFile_IsRefused)
{
    EXPECT_EQ(Open(m_folder.PathOf(L"missing.avi")), nullptr);
    EXPECT_EQ(Open(m_folder.PathOf(L"missing folder/a.avi")), nullptr);
    EXPECT_EQ(Open(L""), nullptr);
    EXPECT_EQ(KrPlatform::OsFileSystem().OpenForReading(nullptr), nullptr);
}

TEST_F(FilesTest, Folder_IsRefused)
{
    EXPECT_EQ(Open(m_folder.Path()), nullptr);
    EXPECT_EQ(Open(m_folder.MakeFolder(L"folder.avi")), nullptr);
}

TEST_F(FilesTest, Devices_AreRefused)
{
    EXPECT_EQ(Open(L"NUL"), nullptr);
    EXPECT_EQ(Open(L"\\\\.\\NUL"), nullptr);
    EXPECT_EQ(Open(L"/dev/null"), nullptr);
    EXPECT_EQ(Open(L"/dev/zero"), nullptr);
}

TEST_F(FilesTest, PipeWithoutWriter_IsRefusedWithoutWaiting)
{
    const std::wstring path = m_folder.PathOf(L"pipe.avi");
    if (!Os::MakeFifo(path))
        GTEST_SKIP() << "no named pipes among the files of this platform";
    EXPECT_EQ(Open(path), nullptr);
}

TEST_F(FilesTest, FileOpenForWritingElsewhere_IsRefusedUntilItIsClosed)
{
    const std::wstring path = m_folder.Write(L"a.avi", Counted(1000));
    {
        const CKrForeignWriter writer(path);
        ASSERT_TRUE(writer.IsOpen());
        EXPECT_EQ(Open(path), nullptr);
    }
    EXPECT_NE(Open(path), nullptr);
}

TEST_F(FilesTest, FileOpenForReading_OpensAgainAndKeepsWritersOut)
{
    const std::wstring path = m_folder.Write(L"a.avi", Counted(1000));
    auto first = Open(path);
    auto second = Open(path);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(ReadBytes(*first, 10, 10), ReadBytes(*second, 10, 10));
    first.reset();
    EXPECT_FALSE(CKrForeignWriter(path).IsOpen());
    second.reset();
    EXPECT_TRUE(CKrForeignWriter(path).IsOpen());
}

TEST_F(FilesTest, NamesOfAllScripts_AreOpened)
{
    // Two, three and four bytes in UTF-8, the last a surrogate pair in UTF-16.
    for (const wchar_t* const name : {L"\u00e4\u00f6\u00fc \u00df.avi", L"\u0416\u0443\u0440.avi",
                                      L"\u6620\u753b\u30d5.avi", L"clip \U0001F3AC.avi"})
    {
        const auto file = Open(m_folder.Write(name, Counted(300)));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->Size(), 300u);
    }
}

TEST_F(FilesTest, NamesThatDifferInOneCharacter_AreNotMixedUp)
{
    const auto first = Open(m_folder.Write(L"\u00e4.avi", Counted(1)));
    const auto second = Open(m_folder.Write(L"\u0416.avi", Counted(2)));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->Size(), 1u);
    EXPECT_EQ(second->Size(), 2u);
    EXPECT_EQ(Open(m_folder.PathOf(L"?.avi")), nullptr);
}

TEST_F(FilesTest, PathThatIsNoText_IsRefused)
{
    // Half a surrogate pair, in the middle of a path and at its end.
    EXPECT_EQ(Open(m_folder.PathOf(std::wstring(L"a\xD83C.avi"))), nullptr);
    EXPECT_EQ(Open(m_folder.PathOf(std::wstring(L"a.avi\xDFFF"))), nullptr);
}

TEST_F(FilesTest, NameWhoseBytesAreNoText_IsNotReachedByHalfASurrogatePair)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, char>)
    {
        // The result of a careless conversion of 0xD83C and of 0x110000.
        for (const char* const name : {"\xED\xA0\xBC.avi", "\xF4\x90\x80\x80.avi"})
        {
            std::ofstream(Os::StdPath(m_folder.Path()) / name) << "content";
            ASSERT_TRUE(std::filesystem::exists(Os::StdPath(m_folder.Path()) / name));
        }
        EXPECT_EQ(Open(m_folder.PathOf(std::wstring(L"\xD83C.avi"))), nullptr);
        EXPECT_EQ(Open(m_folder.PathOf(static_cast<wchar_t>(0x110000) + std::wstring(L".avi"))), nullptr);
    }
    else
    {
        GTEST_SKIP() << "names are wide text on this platform";
    }
}

TEST_F(FilesTest, PathOfMoreThan260Characters_IsOpened)
{
    std::wstring name = L"folder with a name of fifty characters, all of them 1";
    m_folder.MakeFolder(name);
    while (m_folder.PathOf(name).size() < 400)
    {
        name += Os::kSeparator + std::wstring(L"folder with a name of fifty characters, all of them 2");
        m_folder.MakeFolder(name);
    }
    name += Os::kSeparator + std::wstring(L"a.avi");
    const std::wstring path = m_folder.Write(name, Counted(1000));
    ASSERT_GT(path.size(), 400u);
    const auto file = Open(path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ReadBytes(*file, 10, 10), (KrBytes{70, 77, 84, 91, 98, 105, 112, 119, 126, 133}));

    // The same file by a path that is not normalised.
    const std::wstring detour = path.substr(0, path.size() - 5) + L"." + Os::kSeparator + L"a.avi";
    EXPECT_NE(Open(detour), nullptr);
    EXPECT_EQ(Open(path + L"x"), nullptr);
}

TEST_F(FilesTest, ReadsOnSeveralThreads_DoNotDisturbEachOther)
{
    const KrBytes content = Counted(64'000);
    const auto file = Open(m_folder.Write(L"a.avi", content));
    ASSERT_NE(file, nullptr);
    std::atomic<int> wrong = 0;
    {
        std::vector<std::jthread> threads;
        for (size_t thread = 0; thread < 4; ++thread)
        {
            threads.emplace_back(
                [&, thread]
                {
                    for (size_t round = 0; round < 200; ++round)
                    {
                        const size_t position = (thread * 16'000 + round * 61) % 63'000;
                        KrBytes part(777);
                        const SKrTransfer transfer = file->ReadAt(position, part.data(), part.size());
                        if (transfer.bytes != part.size() ||
                            !std::equal(part.begin(), part.end(),
                                        content.begin() + static_cast<ptrdiff_t>(position)))
                            ++wrong;
                    }
                });
        }
    }
    EXPECT_EQ(wrong, 0);
}
