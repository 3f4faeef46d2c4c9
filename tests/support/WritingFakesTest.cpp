// The writing side of the file systems that tests substitute for the operating system's.
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

using namespace KrTest;

namespace
{
SKrTransfer Write(IKrWritableFile& file, uint64_t position, const std::vector<KrBytes>& parts)
{
    const std::vector<KrByteSpan> spans(parts.begin(), parts.end());
    return file.WriteAt(position, spans);
}

class WritingFakesTest : public testing::Test
{
protected:
    KrBytes Bytes() const { return m_files.Content(L"a.avi").ToBytes(); }

    // Queries, deletes, creates, writes twice, maps, cuts and flushes. Returns whether all calls succeeded.
    static bool UseFile(IKrFileSystem& files)
    {
        if (files.BytesPerSector(L"folder") == 0)
            return false;
        if (!files.Exists(L"a.avi") || !files.Delete(L"a.avi"))
            return false;
        const auto file = files.CreateForWriting(L"a.avi");
        if (!file || Write(*file, 0, {{1, 2}, {3}}).Failed() || Write(*file, 3, {{4}}).Failed())
            return false;
        return file->Map(1, 2) != nullptr && file->CutTo(3) && file->Flush();
    }

    CKrMemoryFileSystem m_files;
};
} // namespace

TEST_F(WritingFakesTest, MemoryView_IsTheFile)
{
    auto file = m_files.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {{1, 2, 3, 4, 5, 6}}).bytes, 6u);
    auto view = file->Map(1, 3);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->Data()[0], 2);
    view->Data()[0] = 9;
    EXPECT_EQ(Bytes(), (KrBytes{1, 9, 3, 4, 5, 6})) << "still mapped";
    ASSERT_EQ(Write(*file, 3, {{7, 8}}).bytes, 2u);
    EXPECT_EQ(view->Data()[2], 7) << "what is written is seen in the view";
    ASSERT_EQ(Write(*file, 0, {{5}}).bytes, 1u) << "in front of the view";
    view.reset();
    EXPECT_EQ(Bytes(), (KrBytes{5, 9, 3, 7, 8, 6}));
}

TEST_F(WritingFakesTest, RangesOutsideTheMemoryFileOrMappedAlready_AreNotMapped)
{
    auto file = m_files.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {{1, 2, 3, 4}}).bytes, 4u);
    EXPECT_EQ(file->Map(0, 0), nullptr);
    EXPECT_EQ(file->Map(2, 3), nullptr);
    EXPECT_EQ(file->Map(UINT64_MAX, 2), nullptr);
    const auto view = file->Map(1, 2);
    ASSERT_NE(view, nullptr);
    EXPECT_THROW(static_cast<void>(file->Map(2, 1)), std::logic_error);
    const auto before = file->Map(0, 1);
    const auto after = file->Map(3, 1);
    EXPECT_TRUE(before != nullptr && after != nullptr);
    EXPECT_EQ(m_files.OpenViews(), 3u);
}

TEST_F(WritingFakesTest, CutMemoryFile_EndsThere)
{
    auto file = m_files.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {{1, 2, 3, 4, 5, 6}}).bytes, 6u);
    auto view = file->Map(1, 2);
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(file->CutTo(3)) << "where the view ends";
    EXPECT_EQ(Bytes(), (KrBytes{1, 2, 3}));
    EXPECT_THROW(static_cast<void>(file->CutTo(2)), std::logic_error);
    EXPECT_EQ(Bytes(), (KrBytes{1, 2, 3}));
    view.reset();
    EXPECT_TRUE(file->CutTo(5));
    EXPECT_EQ(Bytes(), (KrBytes{1, 2, 3, 0, 0})) << "cut bytes do not reappear";
    EXPECT_FALSE(file->CutTo(uint64_t{1} << 63));
    m_files.SetCapacity(4);
    EXPECT_FALSE(file->CutTo(6));
    EXPECT_EQ(Bytes().size(), 5u);
    EXPECT_TRUE(file->CutTo(0)) << "a full disk is no obstacle";
    EXPECT_EQ(Bytes(), KrBytes());
}

TEST_F(WritingFakesTest, OpenMemoryFile_IsNeitherReplacedNorDeleted)
{
    auto writer = m_files.CreateForWriting(L"a.avi");
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(m_files.OpenFiles(), 1u);
    EXPECT_EQ(m_files.OpenWritableFiles(), 1u);
    EXPECT_EQ(m_files.OpenForReading(L"a.avi"), nullptr);
    EXPECT_EQ(m_files.CreateForWriting(L"a.avi"), nullptr);
    EXPECT_FALSE(m_files.Delete(L"a.avi"));
    ASSERT_EQ(Write(*writer, 0, {{1}}).bytes, 1u);
    writer.reset();
    EXPECT_EQ(m_files.OpenFiles(), 0u);
    EXPECT_EQ(m_files.OpenWritableFiles(), 0u);

    auto reader = m_files.OpenForReading(L"a.avi");
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(m_files.OpenFiles(), 1u);
    EXPECT_EQ(m_files.OpenWritableFiles(), 0u);
    EXPECT_NE(m_files.OpenForReading(L"a.avi"), nullptr);
    EXPECT_EQ(m_files.CreateForWriting(L"a.avi"), nullptr);
    EXPECT_FALSE(m_files.Delete(L"a.avi"));
    EXPECT_EQ(Bytes(), KrBytes{1});
    reader.reset();
    EXPECT_NE(m_files.CreateForWriting(L"a.avi"), nullptr);
    EXPECT_EQ(Bytes(), KrBytes()) << "made anew";
    EXPECT_TRUE(m_files.Delete(L"a.avi"));
    EXPECT_FALSE(m_files.Exists(L"a.avi"));
    EXPECT_FALSE(m_files.Delete(L"a.avi"));
}

TEST_F(WritingFakesTest, FullDisk_CutsTheWriteAndCountsTheBytesWritten)
{
    m_files.SetCapacity(5);
    auto file = m_files.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    const SKrTransfer cut = Write(*file, 1, {{1, 2, 3}, {4, 5, 6}, {7}});
    EXPECT_TRUE(cut.Failed());
    EXPECT_EQ(cut.bytes, 4u);
    EXPECT_EQ(Bytes(), (KrBytes{0, 1, 2, 3, 4}));
    const SKrTransfer nothing = Write(*file, 9, {{1}});
    EXPECT_TRUE(nothing.Failed());
    EXPECT_EQ(nothing.bytes, 0u);
    EXPECT_FALSE(Write(*file, 0, {{9}, {}}).Failed()) << "there is room for it";
    m_files.SetCapacity(UINT64_MAX);
    EXPECT_EQ(Write(*file, 5, {{5}}).bytes, 1u);
    EXPECT_TRUE(Write(*file, uint64_t{1} << 63, {{1}}).Failed());
    EXPECT_EQ(Bytes(), (KrBytes{9, 1, 2, 3, 4, 5}));
}

TEST_F(WritingFakesTest, EveryKindOfWritingCall_CanFail)
{
    struct SKind
    {
        EKrFileCall kind;
        uint64_t calls; // that the operation makes
    };
    for (const SKind& expected :
         {SKind{EKrFileCall::SectorQuery, 1}, SKind{EKrFileCall::Exists, 1}, SKind{EKrFileCall::Delete, 1},
          SKind{EKrFileCall::Create, 1}, SKind{EKrFileCall::Write, 2}, SKind{EKrFileCall::Map, 1},
          SKind{EKrFileCall::Cut, 1}, SKind{EKrFileCall::Flush, 1}})
    {
        CKrFaultyFileSystem faulty(m_files);
        std::vector<bool> worked;
        const uint64_t struck = ForEveryFailedCall(faulty, expected.kind, EKrFaultSpan::Once,
                                                   [&](uint64_t)
                                                   {
                                                       m_files.Set(L"a.avi", KrBytes{1});
                                                       worked.push_back(UseFile(faulty));
                                                   });
        const int number = static_cast<int>(expected.kind);
        EXPECT_EQ(struck, expected.calls) << "kind " << number;
        std::vector<bool> expectedToWork(expected.calls, false);
        expectedToWork.push_back(true);
        EXPECT_EQ(worked, expectedToWork) << "kind " << number;
        EXPECT_EQ(faulty.Calls(expected.kind), expected.calls) << "kind " << number;
    }
}

TEST_F(WritingFakesTest, FailedWritingCalls_DoNotReachTheFile)
{
    m_files.Set(L"a.avi", KrBytes{1, 2});
    CKrFaultyFileSystem faulty(m_files);
    faulty.FailCall(EKrFileCall::Create, 1);
    EXPECT_EQ(faulty.CreateForWriting(L"a.avi"), nullptr);
    faulty.FailCall(EKrFileCall::Delete, 1);
    EXPECT_FALSE(faulty.Delete(L"a.avi"));
    EXPECT_EQ(Bytes(), (KrBytes{1, 2}));
    const auto file = faulty.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    faulty.FailCall(EKrFileCall::Write, 2, EKrFaultSpan::FromThenOn, 23);
    EXPECT_FALSE(Write(*file, 0, {{1}}).Failed());
    EXPECT_EQ(Write(*file, 1, {{2}}).osError, 23u);
    EXPECT_EQ(Write(*file, 1, {{2}}).bytes, 0u);
    EXPECT_EQ(Bytes(), KrBytes{1});
    faulty.FailCall(EKrFileCall::Cut, 2);
    EXPECT_TRUE(file->CutTo(2));
    EXPECT_FALSE(file->CutTo(0));
    EXPECT_EQ(Bytes(), (KrBytes{1, 0}));
}

TEST_F(WritingFakesTest, ShortenedWrite_WritesTheFirstBytesAndFails)
{
    CKrFaultyFileSystem faulty(m_files);
    const auto file = faulty.CreateForWriting(L"a.avi");
    ASSERT_NE(file, nullptr);
    faulty.ShortenWrite(2, 3);
    EXPECT_FALSE(Write(*file, 0, {{1, 2}}).Failed());
    const SKrTransfer cut = Write(*file, 2, {{3, 4}, {5, 6}, {7}});
    EXPECT_TRUE(faulty.FaultStruck());
    EXPECT_TRUE(cut.Failed());
    EXPECT_EQ(cut.bytes, 3u);
    EXPECT_EQ(Bytes(), (KrBytes{1, 2, 3, 4, 5}));
    EXPECT_FALSE(Write(*file, 5, {{6}}).Failed());
    EXPECT_EQ(Bytes(), (KrBytes{1, 2, 3, 4, 5, 6}));
}
