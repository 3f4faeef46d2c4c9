// The cursor's windows, and its memory of zeros.
#include "reader/KrFileCursor.h"

#include "tests/base/KrFailingAllocation.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint64_t kZerosFrom = 20'000;
constexpr uint64_t kZerosTo = 1'000'000;
constexpr uint64_t kFileSize = 1'100'000;

class FileCursor : public testing::Test
{
protected:
    FileCursor()
    {
        std::vector<uint8_t> bytes(kFileSize, 1);
        std::fill(bytes.begin() + kZerosFrom, bytes.begin() + kZerosTo, uint8_t{0});
        m_memory.Set(L"a", bytes);
        m_file = m_faulty.OpenForReading(L"a");
        m_cursor.Attach(*m_file, kFileSize);
        m_counts.Reset();
    }

    uint64_t BytesRead() const { return m_counts.Calls().bytes; }

    // Reads a header at each of these distances, and returns how much each read from the file.
    std::vector<uint64_t> BytesOfSteps(uint64_t from, uint64_t distance, int steps)
    {
        std::vector<uint64_t> bytes;
        for (int step = 0; step < steps; ++step)
        {
            const uint64_t before = BytesRead();
            m_cursor.SeekTo(from + static_cast<uint64_t>(step) * distance);
            EXPECT_EQ(m_cursor.View(12).size(), 12u);
            bytes.push_back(BytesRead() - before);
        }
        return bytes;
    }

    CKrMemoryFileSystem m_memory;
    CKrCountingFileSystem m_counts{m_memory};
    CKrFaultyFileSystem m_faulty{m_counts};
    std::unique_ptr<IKrFile> m_file;
    CKrFileCursor m_cursor;
};
} // namespace

TEST_F(FileCursor, ZerosAreReadAgain_UnlessTheyAreRemembered)
{
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    const uint64_t once = BytesRead();
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    EXPECT_GE(BytesRead(), 2 * once - 65'536);
}

TEST_F(FileCursor, RememberedZerosAreReadOnce)
{
    const CKrFileCursor::CZeroMemory memory(m_cursor);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    const uint64_t once = BytesRead();
    for (const uint64_t from : {kZerosFrom, kZerosFrom + 1, kZerosTo - 1})
        EXPECT_EQ(m_cursor.FindNonZero(from, kFileSize), kZerosTo) << from;
    EXPECT_LE(BytesRead(), once + 65'536);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosTo, kFileSize), kZerosTo);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom - 1, kFileSize), kZerosFrom - 1) << "there is no zero";
}

TEST_F(FileCursor, RememberedZerosEndAtTheLimit_AndContinueAfterIt)
{
    const CKrFileCursor::CZeroMemory memory(m_cursor);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, 500'000), 500'000u);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, 400'000), 400'000u);
    EXPECT_EQ(m_cursor.FindNonZero(400'000, kFileSize), kZerosTo);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    EXPECT_LE(BytesRead(), kZerosTo - kZerosFrom + 2 * 65'536);
}

TEST_F(FileCursor, ZerosAreForgottenWithTheMemory)
{
    {
        const CKrFileCursor::CZeroMemory memory(m_cursor);
        EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    }
    const uint64_t once = BytesRead();
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    EXPECT_GE(BytesRead(), 2 * once - 65'536);
}

TEST_F(FileCursor, BadPlaceInRememberedZeros_IsTriedAgain)
{
    const CKrFileCursor::CZeroMemory memory(m_cursor);
    m_faulty.FailCall(EKrFileCall::Read, 3, EKrFaultSpan::FromThenOn);
    const uint64_t end = m_cursor.FindNonZero(kZerosFrom, kFileSize);
    EXPECT_GT(end, kZerosFrom);
    EXPECT_LT(end, kZerosTo) << "what cannot be read ends the search";
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), end);
    m_faulty.Reset();
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
}

TEST_F(FileCursor, BlockOfZerosThatFailsOnce_IsReadInSmallerBlocks)
{
    m_faulty.FailCall(EKrFileCall::Read, 1);
    EXPECT_EQ(m_cursor.FindNonZero(kZerosFrom, kFileSize), kZerosTo);
    EXPECT_TRUE(m_faulty.FaultStruck());
}

TEST(FileCursorZeros, OneByteAmongZeros_IsFoundWhereverItStands)
{
    constexpr size_t kSize = 300;
    for (size_t place = 0; place < kSize; ++place)
    {
        KrBytes bytes(kSize);
        bytes[place] = 1;
        CKrMemoryFileSystem memory;
        memory.Set(L"a", bytes);
        const std::unique_ptr<IKrFile> file = memory.OpenForReading(L"a");
        CKrFileCursor cursor;
        cursor.Attach(*file, kSize);
        EXPECT_EQ(cursor.FindNonZero(0, kSize), place);
    }
}

TEST_F(FileCursor, JumpsOneAfterTheOther_ReadNothingButHeadersInTheEnd)
{
    const std::vector<uint64_t> bytes = BytesOfSteps(10'000, 5'000, 40);
    for (size_t step = 0; step < bytes.size(); ++step)
        EXPECT_EQ(bytes[step], step < 16 ? 512u : 12u)
            << step << ": at first what follows a header is read too";
}

TEST_F(FileCursor, JumpsWithAReadAfterEach_KeepTheWindow)
{
    uint8_t header[12];
    for (uint64_t step = 0; step < 40; ++step)
    {
        m_counts.Reset();
        m_cursor.SeekTo(10'000 + 5'000 * step);
        EXPECT_EQ(m_cursor.Read(header, sizeof header), sizeof header);
        EXPECT_EQ(m_cursor.Read(header, sizeof header), sizeof header);
        EXPECT_EQ(BytesRead(), 512u) << step;
    }
}

TEST_F(FileCursor, HeaderThatIsReadAlone_IsReadOnce)
{
    EXPECT_EQ(BytesOfSteps(kZerosFrom, 10'000, 20).back(), 12u);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Read, 1);
    m_cursor.SeekTo(500'000);
    EXPECT_EQ(m_cursor.View(12).size(), 0u);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_EQ(m_cursor.View(12).size(), 12u);
}

// A window that could not grow is empty, rather than holding old bytes at a new position.
TEST(FileCursorMemory, ReadAfterAFailedAllocation_GivesTheBytesOfItsPlace)
{
    KrBytes content(300'000);
    for (size_t at = 0; at < content.size(); ++at)
        content[at] = static_cast<uint8_t>(at / 7 % 251);
    CKrMemoryFileSystem memory;
    memory.Set(L"a", CKrFileContent(content));
    unsigned struck = 0;
    for (unsigned failing = 1; failing < 20; ++failing)
    {
        const std::unique_ptr<IKrFile> file = memory.OpenForReading(L"a");
        CKrFileCursor cursor;
        cursor.Attach(*file, content.size());
        for (uint64_t position = 9000; position < 290'000; position += 2000)
        {
            uint8_t bytes[12] = {};
            cursor.SeekTo(position);
            try
            {
                const CFailingAllocation failure(position == 9000 ? 0 : failing);
                static_cast<void>(cursor.Read(bytes, sizeof bytes));
                continue;
            }
            catch (const std::bad_alloc&)
            {
                ++struck;
            }
            for (uint64_t again = position; again < position + 100; again += 12)
            {
                cursor.SeekTo(again);
                ASSERT_EQ(cursor.Read(bytes, sizeof bytes), sizeof bytes);
                ASSERT_TRUE(
                    std::equal(bytes, bytes + sizeof bytes, content.begin() + static_cast<ptrdiff_t>(again)))
                    << again << " after allocation " << failing;
            }
            break;
        }
    }
    EXPECT_GT(struck, 0u);
}

TEST_F(FileCursor, HeadersOnePageApart_AreReadByTheWindow)
{
    const std::vector<uint64_t> bytes = BytesOfSteps(10'000, 4096, 200);
    const auto reads = std::ranges::count_if(bytes, [](uint64_t step) { return step != 0; });
    EXPECT_LT(reads, 30) << "windows of 64 KB";
}

TEST_F(FileCursor, WindowReturnsWhenHeadersFollowEachOther)
{
    BytesOfSteps(10'000, 5'000, 40);
    const std::vector<uint64_t> bytes = BytesOfSteps(400'000, 100, 200);
    const auto reads = std::ranges::count_if(bytes, [](uint64_t step) { return step != 0; });
    EXPECT_LT(reads, 9) << "512 bytes, and twice as many each time";
}
