// The chunk lookup over a file whose reads fail or fall short.
#include "tests/reader/ChunkLookupSupport.h"

#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint64_t kFar = 1'000'000; // position of the chunk after the first one

// A chunk of a million bytes and a list after it.
class ChunkLookupFaults : public testing::Test
{
protected:
    ChunkLookupFaults()
    {
        CKrFileContent content(Header("JUNK", kFar - 8));
        content.Put(kFar, Header("LIST", 4, "movi"));
        m_files.Set(L"file", content);
        m_size = content.Size();
    }

    // A lookup with its own file and cursor.
    SKrLookupOutcome Run(const SKrLookupCase& lookup)
    {
        const auto file = m_faulty.OpenForReading(L"file");
        CKrFileCursor cursor;
        cursor.Attach(*file, m_size);
        return RunLookup(cursor, lookup);
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    uint64_t m_size = 0;
};

const SKrLookupCase kAnyList = {.id = FourCcValue("LIST")};
} // namespace

TEST_F(ChunkLookupFaults, NoFault_ListIsFound)
{
    EXPECT_TRUE(Run(kAnyList).found);
    EXPECT_TRUE(Run({.mode = EKrLookupMode::ListOnly}).found);
}

TEST_F(ChunkLookupFaults, NoReadWorks_NothingIsFoundAndTheRecordIsUntouched)
{
    m_faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
    const SKrLookupOutcome outcome = Run(kAnyList);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_FALSE(outcome.found);
    EXPECT_EQ(outcome.record.cksize, 0x5A5A5A5Au);
}

TEST_F(ChunkLookupFaults, SecondHeaderCannotBeRead_NothingIsFound)
{
    m_faulty.FailCall(EKrFileCall::Read, 2, EKrFaultSpan::FromThenOn);
    EXPECT_FALSE(Run(kAnyList).found);
    EXPECT_TRUE(m_faulty.FaultStruck());
}

TEST_F(ChunkLookupFaults, FailedReadOnce_NeverBringsAWrongChunk)
{
    const uint64_t runs = ForEveryFailedCall(
        m_faulty, EKrFileCall::Read, EKrFaultSpan::Once,
        [&](uint64_t)
        {
            const SKrLookupOutcome outcome = Run(kAnyList);
            EXPECT_EQ(outcome.record.offset, outcome.found ? kFar + 8 : WantedRecord(kAnyList).offset);
        });
    EXPECT_GE(runs, 2u);
}

TEST_F(ChunkLookupFaults, SevenBytesOfEachHeader_NothingIsFound)
{
    m_faulty.ShortenRead(1, 7, EKrFaultSpan::FromThenOn);
    EXPECT_FALSE(Run(kAnyList).found);
    EXPECT_TRUE(m_faulty.FaultStruck());
}

TEST_F(ChunkLookupFaults, EightBytesOfEachHeader_AreEnoughForAnyChunkButWithoutType)
{
    m_faulty.ShortenRead(1, 8, EKrFaultSpan::FromThenOn);
    const SKrLookupOutcome outcome = Run(kAnyList);
    EXPECT_TRUE(outcome.found);
    EXPECT_EQ(outcome.record.offset, kFar + 8);
    EXPECT_EQ(outcome.record.fccType, 0u);
}

TEST_F(ChunkLookupFaults, ElevenBytesOfEachHeader_AreTooFewForListOnly)
{
    m_faulty.ShortenRead(1, 11, EKrFaultSpan::FromThenOn);
    EXPECT_FALSE(Run({.mode = EKrLookupMode::ListOnly}).found);
    m_faulty.Reset();
    m_faulty.ShortenRead(1, 12, EKrFaultSpan::FromThenOn);
    EXPECT_TRUE(Run({.mode = EKrLookupMode::ListOnly}).found);
}

// An unreadable place in a run of zeros ends the lookup, which must not jump over it.
TEST_F(ChunkLookupFaults, ZerosThatCannotBeRead_EndTheLookup)
{
    CKrFileContent content;
    content.Resize(500'000);
    content.Append(Header("LIST", 4, "movi"));
    m_files.Set(L"file", content);
    m_size = content.Size();
    EXPECT_EQ(Run(kAnyList).record.offset, 500'008u);
    const uint64_t reads = m_faulty.Calls(EKrFileCall::Read);
    ASSERT_GE(reads, 4u);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Read, reads / 2, EKrFaultSpan::FromThenOn);
    EXPECT_FALSE(Run(kAnyList).found);
    EXPECT_TRUE(m_faulty.FaultStruck());
}
