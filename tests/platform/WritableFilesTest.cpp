// The operating system's writable files, through the library's seam: one suite for all platforms.
#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
class WritableFilesTest : public testing::Test
{
protected:
    std::unique_ptr<IKrWritableFile> Create(const std::wstring& path)
    {
        return m_files.CreateForWriting(path.c_str());
    }

    static uint64_t Write(IKrWritableFile& file, uint64_t position, const std::vector<KrBytes>& parts)
    {
        const std::vector<KrByteSpan> spans(parts.begin(), parts.end());
        const SKrTransfer transfer = file.WriteAt(position, spans);
        EXPECT_EQ(transfer.osError, 0u);
        return transfer.bytes;
    }

    KrBytes ReadBack(const std::wstring& path, uint64_t position, size_t count)
    {
        KrBytes bytes(count);
        const auto file = m_files.OpenForReading(path.c_str());
        if (file == nullptr)
        {
            ADD_FAILURE() << "cannot be opened";
            return {};
        }
        bytes.resize(file->ReadAt(position, bytes.data(), count).bytes);
        return bytes;
    }

    // The content seen by another program that ignores sharing.
    static KrBytes Peek(const std::wstring& path, uint64_t position, size_t count)
    {
        std::ifstream in(Os::StdPath(path), std::ios::binary);
        in.seekg(static_cast<std::streamoff>(position));
        std::string text(count, '\0');
        in.read(text.data(), static_cast<std::streamsize>(count));
        return {text.begin(), text.begin() + static_cast<ptrdiff_t>(in.gcount())};
    }

    CKrTempFolder m_folder;
    IKrFileSystem& m_files = KrPlatform::OsFileSystem();
    const std::wstring m_path = m_folder.PathOf(L"new.bin");
};
} // namespace

TEST_F(WritableFilesTest, Parts_AreWrittenOneAfterTheOther)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Write(*file, 0, {{1, 2}, {}, {3}, {}}), 3u);
    EXPECT_EQ(Write(*file, 3, {{4, 5, 6}}), 3u);
    EXPECT_EQ(Write(*file, 1, {{9}}), 1u) << "over what was there";
    EXPECT_EQ(Write(*file, 6, {}), 0u);
    EXPECT_TRUE(file->Flush());
    file.reset();
    EXPECT_EQ(ReadBack(m_path, 0, 100), (KrBytes{1, 9, 3, 4, 5, 6}));
}

TEST_F(WritableFilesTest, ManyPartsOfAllSizes_ComeOutInOrder)
{
    std::vector<KrBytes> parts;
    KrBytes all;
    for (size_t number = 0; number < 300; ++number)
    {
        parts.emplace_back(number % 50 == 49 ? 70'000 : number % 7, static_cast<uint8_t>(number));
        all.insert(all.end(), parts.back().begin(), parts.back().end());
    }
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Write(*file, 5, parts), all.size());
    file.reset();
    EXPECT_EQ(ReadBack(m_path, 5, all.size() + 1), all);
    EXPECT_EQ(ReadBack(m_path, 0, 5), KrBytes(5)) << "what was skipped reads as zeros";
}

// Up to 8 KB they are copied together first.
TEST_F(WritableFilesTest, TwoPartsOfAbout8Kilobytes_ComeOutInOrder)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    KrBytes all;
    for (const size_t length : {size_t{8183}, size_t{8184}, size_t{8185}})
    {
        const std::vector<KrBytes> parts{KrBytes(8, 1), KrBytes(length, static_cast<uint8_t>(length))};
        EXPECT_EQ(Write(*file, all.size(), parts), 8 + length);
        for (const KrBytes& part : parts)
            all.insert(all.end(), part.begin(), part.end());
    }
    file.reset();
    EXPECT_EQ(ReadBack(m_path, 0, all.size() + 1), all);
}

TEST_F(WritableFilesTest, LargePart_ComesOutWhole)
{
    KrBytes large(5'000'001);
    for (size_t index = 0; index < large.size(); ++index)
        large[index] = static_cast<uint8_t>(index % 251);
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Write(*file, 0, {{1, 2, 3}, large, {4}}), large.size() + 4);
    file.reset();
    const KrBytes written = ReadBack(m_path, 0, large.size() + 5);
    ASSERT_EQ(written.size(), large.size() + 4);
    EXPECT_TRUE(std::equal(large.begin(), large.end(), written.begin() + 3));
    EXPECT_EQ(written.front(), 1);
    EXPECT_EQ(written.back(), 4);
}

TEST_F(WritableFilesTest, PositionsBeyond4Gigabytes_AreReached)
{
    const uint64_t position = (uint64_t{5} << 30) + 3;
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Write(*file, 0, {{1}}), 1u);
    EXPECT_EQ(Write(*file, position, {{2, 3}}), 2u);
    auto view = file->Map(position, 2);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->Data()[1], 3);
    view.reset();
    const KrBytes some{1};
    const SKrTransfer beyond = file->WriteAt(uint64_t{1} << 63, std::vector<KrByteSpan>{some});
    EXPECT_TRUE(beyond.Failed());
    EXPECT_EQ(beyond.bytes, 0u);
}

TEST_F(WritableFilesTest, OldFile_IsEmptied)
{
    m_folder.Write(L"new.bin", KrBytes(5000, 7));
    ASSERT_NE(Create(m_path), nullptr);
    EXPECT_EQ(ReadBack(m_path, 0, 10), KrBytes{});
}

TEST_F(WritableFilesTest, FileThatIsRead_IsNeitherEmptiedNorDeleted)
{
    m_folder.Write(L"new.bin", KrBytes{1, 2, 3});
    auto reader = m_files.OpenForReading(m_path.c_str());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(Create(m_path), nullptr);
    EXPECT_FALSE(m_files.Delete(m_path.c_str()));
    KrBytes bytes(3);
    EXPECT_EQ(reader->ReadAt(0, bytes.data(), 3).bytes, 3u);
    EXPECT_EQ(bytes, (KrBytes{1, 2, 3}));
    reader.reset();
    EXPECT_TRUE(m_files.Delete(m_path.c_str()));
}

TEST_F(WritableFilesTest, FileThatIsWritten_IsRefusedToAllOthers)
{
    auto writer = Create(m_path);
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(m_files.OpenForReading(m_path.c_str()), nullptr);
    EXPECT_EQ(Create(m_path), nullptr);
    EXPECT_FALSE(m_files.Delete(m_path.c_str()));
    EXPECT_EQ(Write(*writer, 0, {{1}}), 1u) << "continues";
    writer.reset();
    EXPECT_EQ(ReadBack(m_path, 0, 2), KrBytes{1});
}

TEST_F(WritableFilesTest, FileThatAnotherProgramWrites_IsLeftAsItIs)
{
    m_folder.Write(L"new.bin", KrBytes{1, 2, 3});
    {
        const CKrForeignWriter other(m_path);
        ASSERT_TRUE(other.IsOpen());
        EXPECT_EQ(Create(m_path), nullptr);
    }
    EXPECT_EQ(ReadBack(m_path, 0, 4), (KrBytes{1, 2, 3}));
    EXPECT_NE(Create(m_path), nullptr);
}

TEST_F(WritableFilesTest, FileThatIsBeingWritten_KeepsItsNameWhileOthersDelete)
{
    std::atomic<bool> stop = false;
    const auto keepDeleting = [&]
    {
        while (!stop)
            m_files.Delete(m_path.c_str());
    };
    std::vector<std::jthread> deleters;
    deleters.emplace_back(keepDeleting);
    deleters.emplace_back(keepDeleting);
    int made = 0;
    int lost = 0;
    for (int round = 0; round < 1000; ++round)
    {
        const auto file = Create(m_path);
        made += file != nullptr ? 1 : 0;
        lost += file != nullptr && !m_files.Exists(m_path.c_str()) ? 1 : 0;
    }
    stop = true;
    deleters.clear();
    EXPECT_GT(made, 0);
    EXPECT_EQ(lost, 0);
}

TEST_F(WritableFilesTest, NamesOfAllScriptsAndLongPaths_AreMadeAndDeleted)
{
    std::wstring name = L"folder with a name of fifty characters, all of them 1";
    m_folder.MakeFolder(name);
    while (m_folder.PathOf(name).size() < 300)
    {
        name += Os::kSeparator + std::wstring(L"folder with a name of fifty characters, all of them 2");
        m_folder.MakeFolder(name);
    }
    EXPECT_EQ(m_files.BytesPerSector(m_folder.PathOf(name).c_str()),
              m_files.BytesPerSector(m_folder.Path().c_str()));
    for (const std::wstring& path : {m_folder.PathOf(name + Os::kSeparator + L"long.avi"),
                                     m_folder.PathOf(L"\u00e4 \u6620\u753b \U0001F3AC.avi")})
    {
        auto file = Create(path);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(Write(*file, 0, {{1, 2}}), 2u);
        file.reset();
        EXPECT_EQ(Peek(path, 0, 3), (KrBytes{1, 2}));
        EXPECT_TRUE(m_files.Exists(path.c_str()));
        EXPECT_TRUE(m_files.Delete(path.c_str()));
        EXPECT_FALSE(m_files.Exists(path.c_str()));
    }
}

TEST_F(WritableFilesTest, PathsOfEachLengthAroundTheSystemsLimits_AreTakenForFilesAndFolders)
{
    std::wstring folder = L"f";
    while (m_folder.PathOf(folder).size() < 200)
        folder += L'f';
    m_folder.MakeFolder(folder);
    for (size_t length = 240; length <= 265; ++length)
    {
        const std::wstring parent = m_folder.PathOf(folder + Os::kSeparator);
        const std::wstring path = parent + std::wstring(length - parent.size(), L'a');
        EXPECT_NE(Create(path), nullptr) << length;
        EXPECT_TRUE(m_files.Exists(path.c_str())) << length;
        EXPECT_TRUE(m_files.Delete(path.c_str())) << length;
        ASSERT_TRUE(Os::MakeFolder(path)) << length;
        EXPECT_EQ(m_files.BytesPerSector(path.c_str()), m_files.BytesPerSector(m_folder.Path().c_str()))
            << length;
    }
}

TEST_F(WritableFilesTest, PlacesWithoutAFile_AreRefused)
{
    EXPECT_EQ(m_files.CreateForWriting(nullptr), nullptr);
    EXPECT_EQ(Create(L""), nullptr);
    EXPECT_EQ(Create(m_folder.Path()), nullptr) << "a folder";
    EXPECT_EQ(Create(m_folder.PathOf(L"missing/new.bin")), nullptr);
    EXPECT_EQ(Create(L"NUL\xD83C"), nullptr) << "no text";
    EXPECT_FALSE(m_files.Delete(nullptr));
    EXPECT_FALSE(m_files.Delete(m_path.c_str()));
    EXPECT_FALSE(m_files.Delete(m_folder.Path().c_str()));
    EXPECT_TRUE(m_files.Exists(m_folder.Path().c_str()));
}

TEST_F(WritableFilesTest, Devices_AreRefused)
{
    EXPECT_EQ(Create(Os::kSeparator == L'/' ? L"/dev/null" : L"\\\\.\\NUL"), nullptr);
    const std::wstring pipe = m_folder.PathOf(L"pipe.avi");
    if (Os::MakeFifo(pipe))
    {
        EXPECT_EQ(Create(pipe), nullptr);
        EXPECT_FALSE(m_files.Delete(pipe.c_str()));
        EXPECT_TRUE(m_files.Exists(pipe.c_str()));
    }
}

TEST_F(WritableFilesTest, ExistingNames_AreReported)
{
    EXPECT_FALSE(m_files.Exists(m_path.c_str()));
    m_folder.Write(L"new.bin", KrBytes{1});
    EXPECT_TRUE(m_files.Exists(m_path.c_str()));
    EXPECT_TRUE(m_files.Delete(m_path.c_str()));
    EXPECT_FALSE(m_files.Exists(m_path.c_str()));
    EXPECT_FALSE(m_files.Exists(nullptr));
    EXPECT_TRUE(m_files.Exists(m_folder.Path().c_str()));
}

TEST_F(WritableFilesTest, MappedRange_IsTheFile)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(200'000, 1)}), 200'000u);
    for (const uint64_t position : {0u, 1u, 65'535u, 65'536u, 100'001u})
    {
        const auto view = file->Map(position, 50'000);
        ASSERT_NE(view, nullptr) << position;
        EXPECT_EQ(view->Data()[0], 1);
        EXPECT_EQ(view->Data()[49'999], 1);
    }
    auto early = file->Map(10, 4);
    auto late = file->Map(150'000, 4);
    ASSERT_TRUE(early != nullptr && late != nullptr);
    early->Data()[0] = 2;
    late->Data()[3] = 3;
    ASSERT_EQ(Write(*file, 200'000, {{4}}), 1u) << "the file grows while it is mapped";
    early.reset();
    late.reset();
    file.reset();
    EXPECT_EQ(ReadBack(m_path, 9, 3), (KrBytes{1, 2, 1}));
    EXPECT_EQ(ReadBack(m_path, 150'003, 1), KrBytes{3});
    EXPECT_EQ(ReadBack(m_path, 200'000, 5), KrBytes{4});
}

TEST_F(WritableFilesTest, WhatIsPutIntoAView_IsInTheFileAtOnce)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(70'000, 1)}), 70'000u);
    const auto view = file->Map(66'000, 3);
    ASSERT_NE(view, nullptr);
    view->Data()[1] = 9;
    EXPECT_EQ(Peek(m_path, 66'000, 3), (KrBytes{1, 9, 1})) << "still mapped";
    ASSERT_EQ(Write(*file, 66'002, {{8, 7}}), 2u);
    EXPECT_EQ(view->Data()[2], 8) << "what is written is seen in the view";
    EXPECT_EQ(Peek(m_path, 65'999, 5), (KrBytes{1, 1, 9, 8, 7}));
}

TEST_F(WritableFilesTest, RangeOutsideTheFile_IsNotMapped)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Map(0, 1), nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(100)}), 100u);
    EXPECT_EQ(file->Map(0, 0), nullptr);
    EXPECT_EQ(file->Map(0, 101), nullptr);
    EXPECT_EQ(file->Map(100, 1), nullptr);
    EXPECT_EQ(file->Map(UINT64_MAX, 2), nullptr);
    EXPECT_EQ(file->Map(UINT64_MAX - 4095, 4096), nullptr);
    EXPECT_EQ(file->Map(1, SIZE_MAX), nullptr);
    EXPECT_NE(file->Map(99, 1), nullptr);
}

TEST_F(WritableFilesTest, CutFile_EndsThere)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(100'000, 1)}), 100'000u);
    {
        const auto view = file->Map(69'000, 1000);
        ASSERT_NE(view, nullptr);
        view->Data()[999] = 2;
    }
    EXPECT_TRUE(file->CutTo(70'000));
    EXPECT_EQ(Peek(m_path, 69'998, 10), (KrBytes{1, 2})) << "what was put there before stays";
    EXPECT_EQ(file->Map(70'000, 1), nullptr);
    EXPECT_TRUE(file->CutTo(70'002)) << "longer again";
    EXPECT_EQ(Peek(m_path, 69'999, 10), (KrBytes{2, 0, 0})) << "cut bytes do not reappear";
    ASSERT_EQ(Write(*file, 70'001, {{3, 4}}), 2u) << "writes at the given position";
    EXPECT_EQ(Peek(m_path, 69'999, 10), (KrBytes{2, 0, 3, 4}));
    EXPECT_TRUE(file->CutTo(0));
    file.reset();
    EXPECT_EQ(ReadBack(m_path, 0, 10), KrBytes{});
}

TEST_F(WritableFilesTest, ViewBeforeTheCut_StaysTheFile)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(300'000, 1)}), 300'000u);
    const auto view = file->Map(10, 4);
    ASSERT_NE(view, nullptr);
    const bool cut = file->CutTo(200'000);
    EXPECT_TRUE(cut || Os::kSeparator == L'\\') << "only Windows may refuse";
    view->Data()[3] = 2;
    EXPECT_EQ(Peek(m_path, 12, 3), (KrBytes{1, 2, 1}));
    EXPECT_EQ(Peek(m_path, 199'999, 5).size(), cut ? 1u : 5u);
}

TEST_F(WritableFilesTest, SizesBeyond4Gigabytes_AreCutTo)
{
    const uint64_t size = (uint64_t{5} << 30) + 3;
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, size - 2, {{1, 2, 3, 4}}), 4u);
    EXPECT_TRUE(file->CutTo(size));
    EXPECT_FALSE(file->CutTo(uint64_t{1} << 63));
    EXPECT_FALSE(file->CutTo(UINT64_MAX));
    file.reset();
    const auto reader = m_files.OpenForReading(m_path.c_str());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->Size(), size);
    EXPECT_EQ(ReadBack(m_path, size - 2, 10), (KrBytes{1, 2}));
}

TEST_F(WritableFilesTest, SectorSize_IsAPowerOfTwo)
{
    for (const std::wstring& folder : {m_folder.Path(), std::wstring()})
    {
        const uint32_t size = m_files.BytesPerSector(folder.c_str());
        EXPECT_GE(size, 512u);
        EXPECT_EQ(size & (size - 1), 0u) << size;
    }
    const std::wstring withSeparator = m_folder.Path() + Os::kSeparator;
    EXPECT_EQ(m_files.BytesPerSector(withSeparator.c_str()), m_files.BytesPerSector(m_folder.Path().c_str()));
    EXPECT_EQ(m_files.BytesPerSector(m_folder.PathOf(L"missing").c_str()), 0u);
    EXPECT_EQ(m_files.BytesPerSector(m_folder.Write(L"file", KrBytes{1}).c_str()), 0u);
    EXPECT_EQ(m_files.BytesPerSector(nullptr), 0u);
}

TEST_F(WritableFilesTest, FileChangedInPlace_KeepsTheRestAndIsReadThroughTheSameOpening)
{
    {
        auto file = Create(m_path);
        ASSERT_NE(file, nullptr);
        Write(*file, 0, {{1, 2, 3, 4}});
    }
    SKrChangedFile file = m_files.OpenForChanging(m_path.c_str());
    ASSERT_NE(file.reading, nullptr);
    ASSERT_NE(file.writing, nullptr);
    Write(*file.writing, 1, {{9}});
    Write(*file.writing, 6, {{8}});
    EXPECT_TRUE(file.writing->Flush());
    EXPECT_EQ(file.reading->Size(), 7u);
    KrBytes bytes(7);
    EXPECT_EQ(file.reading->ReadAt(0, bytes.data(), bytes.size()).bytes, 7u);
    EXPECT_EQ(bytes, (KrBytes{1, 9, 3, 4, 0, 0, 8}));
    EXPECT_TRUE(file.writing->CutTo(2));
    EXPECT_EQ(file.reading->Size(), 2u);
    file = {};
    EXPECT_EQ(ReadBack(m_path, 0, 100), (KrBytes{1, 9}));
}

TEST_F(WritableFilesTest, FileChangedInPlace_IsForOneAlone)
{
    EXPECT_EQ(m_files.OpenForChanging(m_path.c_str()).reading, nullptr) << "missing";
    EXPECT_EQ(m_files.OpenForChanging(m_folder.PathOf(L"").c_str()).reading, nullptr) << "a folder";
    auto recording = Create(m_path);
    ASSERT_NE(recording, nullptr);
    EXPECT_EQ(m_files.OpenForChanging(m_path.c_str()).reading, nullptr) << "being written";
    recording.reset();
    auto reader = m_files.OpenForReading(m_path.c_str());
    EXPECT_EQ(m_files.OpenForChanging(m_path.c_str()).reading, nullptr) << "being read";
    reader.reset();
    SKrChangedFile file = m_files.OpenForChanging(m_path.c_str());
    ASSERT_NE(file.reading, nullptr);
    EXPECT_EQ(m_files.OpenForReading(m_path.c_str()), nullptr);
    EXPECT_EQ(Create(m_path), nullptr);
    EXPECT_EQ(m_files.OpenForChanging(m_path.c_str()).reading, nullptr);
    EXPECT_FALSE(m_files.Delete(m_path.c_str()));
    file.writing.reset();
    EXPECT_EQ(m_files.OpenForReading(m_path.c_str()), nullptr) << "its other side still holds it";
    file.reading.reset();
    EXPECT_NE(m_files.OpenForReading(m_path.c_str()), nullptr);
}
