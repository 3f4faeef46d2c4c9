// The file systems that tests substitute for the operating system's.
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
KrBytes ReadBytes(IKrFile& file, uint64_t position, size_t count)
{
    KrBytes buffer(count);
    const SKrTransfer transfer = file.ReadAt(position, buffer.data(), count);
    EXPECT_EQ(transfer.osError, 0u);
    buffer.resize(transfer.bytes);
    return buffer;
}

class FileSystemFakesTest : public testing::Test
{
protected:
    FileSystemFakesTest() { m_files.Set(L"a.avi", KrBytes{1, 2, 3, 4, 5, 6}); }

    // Opens, queries the size, seeks and reads twice. Returns whether all calls succeeded, with all the
    // bytes.
    static bool UseFile(IKrFileSystem& files)
    {
        const auto file = files.OpenForReading(L"a.avi");
        if (!file || file->Size() != 6u || !file->Seek(2))
            return false;
        uint8_t bytes[3] = {};
        const SKrTransfer first = file->ReadAt(0, bytes, 3);
        if (first.Failed() || first.bytes != 3)
            return false;
        const SKrTransfer second = file->ReadAt(3, bytes, 3);
        return !second.Failed() && second.bytes == 3 && bytes[2] == 6;
    }

    CKrMemoryFileSystem m_files;
};
} // namespace

TEST_F(FileSystemFakesTest, MemoryFile_IsReadLikeAFile)
{
    const auto file = m_files.OpenForReading(L"a.avi");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 6u);
    EXPECT_EQ(ReadBytes(*file, 4, 10), (KrBytes{5, 6}));
    EXPECT_EQ(ReadBytes(*file, 6, 1), KrBytes());
    uint8_t byte = 0;
    EXPECT_TRUE(file->ReadAt(uint64_t{1} << 63, &byte, 1).Failed());
    EXPECT_FALSE(file->Seek(uint64_t{1} << 63));
    EXPECT_TRUE(file->Seek(INT64_MAX));
    EXPECT_EQ(m_files.OpenForReading(L"A.avi"), nullptr);
    EXPECT_EQ(m_files.OpenForReading(nullptr), nullptr);
}

TEST_F(FileSystemFakesTest, FailedCall_IsTheOnePlannedAndCarriesTheError)
{
    CKrFaultyFileSystem faulty(m_files);
    const auto file = faulty.OpenForReading(L"a.avi");
    ASSERT_NE(file, nullptr);
    uint8_t bytes[2] = {};

    faulty.FailCall(EKrFileCall::Read, 2, EKrFaultSpan::Once, 23);
    EXPECT_FALSE(file->ReadAt(0, bytes, 2).Failed());
    EXPECT_FALSE(faulty.FaultStruck());
    const SKrTransfer failed = file->ReadAt(0, bytes, 2);
    EXPECT_EQ(failed.osError, 23u);
    EXPECT_EQ(failed.bytes, 0u);
    EXPECT_TRUE(faulty.FaultStruck());
    EXPECT_FALSE(file->ReadAt(0, bytes, 2).Failed());

    faulty.Reset();
    EXPECT_FALSE(faulty.FaultStruck());
    faulty.FailCall(EKrFileCall::Size, 1, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(file->Size(), std::nullopt);
    EXPECT_EQ(file->Size(), std::nullopt);
    EXPECT_TRUE(file->Seek(0));

    faulty.Reset();
    faulty.FailCall(EKrFileCall::Seek, 2, EKrFaultSpan::FromThenOn);
    EXPECT_TRUE(file->Seek(0));
    EXPECT_FALSE(file->Seek(0));
    EXPECT_FALSE(file->Seek(0));
    EXPECT_EQ(file->Size(), 6u);

    faulty.Reset();
    faulty.FailCall(EKrFileCall::Open, 1);
    EXPECT_EQ(faulty.OpenForReading(L"a.avi"), nullptr);
    EXPECT_NE(faulty.OpenForReading(L"a.avi"), nullptr);
}

TEST_F(FileSystemFakesTest, ShortenedRead_ReturnsFewerBytesWithoutError)
{
    CKrFaultyFileSystem faulty(m_files);
    const auto file = faulty.OpenForReading(L"a.avi");
    ASSERT_NE(file, nullptr);
    faulty.ShortenRead(2, 3);
    EXPECT_EQ(ReadBytes(*file, 0, 5).size(), 5u);
    EXPECT_EQ(ReadBytes(*file, 0, 5), (KrBytes{1, 2, 3}));
    EXPECT_EQ(ReadBytes(*file, 0, 5).size(), 5u);

    faulty.Reset();
    faulty.ShortenRead(1, 0, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(ReadBytes(*file, 0, 5), KrBytes());
    EXPECT_EQ(ReadBytes(*file, 0, 5), KrBytes());
}

TEST_F(FileSystemFakesTest, ForEveryFailedCall_RunsUntilNothingFails)
{
    CKrFaultyFileSystem faulty(m_files);
    std::vector<bool> worked;
    const auto operation = [&](uint64_t)
    {
        worked.push_back(UseFile(faulty));
    };
    EXPECT_EQ(ForEveryFailedCall(faulty, EKrFileCall::Read, EKrFaultSpan::Once, operation), 2u);
    EXPECT_EQ(worked, (std::vector<bool>{false, false, true}));
    worked.clear();
    EXPECT_EQ(ForEveryFailedCall(faulty, EKrFileCall::Open, EKrFaultSpan::FromThenOn, operation), 1u);
    EXPECT_EQ(worked, (std::vector<bool>{false, true}));
    worked.clear();
    EXPECT_EQ(ForEveryShortRead(faulty, 2, EKrFaultSpan::Once, operation), 2u);
    EXPECT_EQ(worked, (std::vector<bool>{false, false, true}));
}
