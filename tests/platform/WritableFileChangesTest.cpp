// Changes of what a file holds already: mapped ranges, cuts, and files that are opened for changes in place.
#include "tests/platform/WritableFilesSupport.h"

using namespace KrTest;

using WritableFileChanges = WritableFilesTest;

TEST_F(WritableFileChanges, MappedRange_IsTheFile)
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

TEST_F(WritableFileChanges, WhatIsPutIntoAView_IsInTheFileAtOnce)
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

TEST_F(WritableFileChanges, RangeOutsideTheFile_IsNotMapped)
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

TEST_F(WritableFileChanges, CutFile_EndsThere)
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

TEST_F(WritableFileChanges, ViewBeforeTheCut_StaysTheFile)
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

TEST_F(WritableFileChanges, SizesBeyond4Gigabytes_AreCutTo)
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

TEST_F(WritableFileChanges, FileChangedInPlace_KeepsTheRestAndIsReadThroughTheSameOpening)
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

TEST_F(WritableFileChanges, FileChangedInPlace_IsForOneAlone)
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
