// The operating system's writable files, through the library's seam: one suite for all platforms.
#include "tests/platform/WritableFilesSupport.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace KrTest;

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
