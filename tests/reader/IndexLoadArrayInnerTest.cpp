// The caller's array in loads: its size on success and after failures, and arrays of another kind.
#include "tests/reader/AudioStatisticsSupport.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

using namespace KrTest;

namespace
{
using KrEntryArray = CArray<SKrChunkIndexEntry>;

constexpr SKrChunkIndexEntry kStale{0x1111111111111111, 0x22222222, 0x33333333};

void FillWithStale(KrEntryArray& entries, intptr_t count)
{
    entries.SetSize(0);
    while (entries.GetSize() < count)
        entries.Add(kStale);
}

bool IsStale(const KrEntryArray& entries)
{
    for (intptr_t number = 0; number < entries.GetSize(); ++number)
    {
        if (std::memcmp(&entries[number], &kStale, sizeof kStale) != 0)
            return false;
    }
    return true;
}

int Load(CKrRiffReader& reader, bool video, KrEntryArray& entries)
{
    SKrAudioChunkPattern pattern;
    return video ? reader.LoadVideoIndex(entries) : reader.LoadAudioIndex(entries, &pattern);
}

// Elements that the array has memory for: the fourth word of its layout, which hosts rely on.
intptr_t CapacityOf(const KrEntryArray& entries)
{
    intptr_t words[sizeof(KrEntryArray) / sizeof(intptr_t)];
    std::memcpy(words, static_cast<const void*>(&entries), sizeof words);
    return words[3];
}

// Memory of an array's size without the mark of one.
struct SForeignArray
{
    alignas(KrEntryArray) uint8_t bytes[sizeof(KrEntryArray)];

    SForeignArray() { std::memset(bytes, 0xA5, sizeof bytes); }
    KrEntryArray& Array() { return *std::launder(reinterpret_cast<KrEntryArray*>(bytes)); }
    bool IsUntouched() const
    {
        return std::all_of(std::begin(bytes), std::end(bytes), [](uint8_t byte) { return byte == 0xA5; });
    }
};
} // namespace

TEST(IndexLoadArray, Success_CutsTheArrayToTheEntriesProduced)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        for (const bool video : {true, false})
        {
            for (const intptr_t before : {0, 1, 4, 1000})
            {
                CKrParsedInMemory file(TwoStreamAvi(index));
                KrEntryArray entries;
                FillWithStale(entries, before);
                ASSERT_EQ(Load(file.Reader(), video, entries), 1);
                ASSERT_EQ(entries.GetSize(), 4);
                for (intptr_t number = 0; number < 4; ++number)
                    EXPECT_EQ(entries[number].reserved, 0u) << "stale content shows through";
            }
        }
    }
}

TEST(IndexLoadArray, OldIndexOfTwoStreams_KeepsNoMemoryForTheOtherStream)
{
    CKrParsedInMemory file(TwoStreamAvi(EKrIndexKind::Idx1));
    KrEntryArray entries;
    ASSERT_EQ(Load(file.Reader(), true, entries), 1);
    ASSERT_EQ(entries.GetSize(), 4);
    EXPECT_EQ(CapacityOf(entries), 4);
}

TEST(IndexLoadArray, SameArrayForOneFileAfterTheOther_HoldsTheLastLoadAlone)
{
    CKrParsedInMemory longer(TwoStreamAvi(EKrIndexKind::OpenDml, 50));
    CKrParsedInMemory shorter(TwoStreamAvi(EKrIndexKind::Idx1, 3));
    KrEntryArray entries;
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_EQ(Load(longer.Reader(), true, entries), 1);
        EXPECT_EQ(entries.GetSize(), 50);
        ASSERT_EQ(Load(shorter.Reader(), false, entries), 1);
        EXPECT_EQ(entries.GetSize(), 3);
    }
}

TEST(IndexLoadArray, FailureBeforeTheSizeIsKnown_LeavesTheArray)
{
    std::vector<SKrBuiltAvi> files;
    files.push_back(BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::None)));
    files.push_back(BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::OpenDml)));
    for (const size_t stream : {0, 1}) // heads of the super indexes
        files.back().content.PutU32(files.back().Find("indx", stream).data + 12, 1);
    files.push_back(BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::OpenDml)));
    for (const char* id : {"ix00", "ix01"}) // nothing to load
        files.back().content.PutU32(files.back().Find(id).data + 4, 0);
    for (const SKrBuiltAvi& built : files)
    {
        CKrParsedInMemory file(built.content);
        for (const bool video : {true, false})
        {
            KrEntryArray entries;
            FillWithStale(entries, 7);
            EXPECT_EQ(Load(file.Reader(), video, entries), 0);
            EXPECT_EQ(entries.GetSize(), 7);
            EXPECT_TRUE(IsStale(entries));
        }
    }
}

TEST(IndexLoadArray, FailureWhileEntriesAreRead_LeavesItAtTheSizeOfAll)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrMemoryFileSystem memory;
        memory.Set(L"a.avi", BuildSimpleAvi(TwoStreamAvi(index)).content);
        CKrFaultyFileSystem files(memory);
        CKrRiffReader reader(files);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        for (const bool video : {true, false})
        {
            KrEntryArray entries;
            FillWithStale(entries, 2);
            files.Reset();
            // 'idx1' itself, or the entries after the super index, its entries and the head twice
            files.FailCall(EKrFileCall::Read, index == EKrIndexKind::Idx1 ? 1 : 5);
            EXPECT_EQ(Load(reader, video, entries), 0);
            EXPECT_TRUE(files.FaultStruck());
            EXPECT_EQ(entries.GetSize(), index == EKrIndexKind::Idx1 ? 8 : 4);
            files.Reset();
            ASSERT_EQ(Load(reader, video, entries), 1);
            EXPECT_EQ(entries.GetSize(), 4);
        }
    }
}

TEST(IndexLoadArray, FailedLoads_LeaveTheCountsOfTheLastGoodOne)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrMemoryFileSystem memory;
        memory.Set(L"a.avi", BuildSimpleAvi(TwoStreamAvi(index)).content);
        CKrFaultyFileSystem files(memory);
        CKrRiffReader reader(files);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        ASSERT_EQ(LoadVideoOf(reader).status, 1);
        ASSERT_EQ(LoadAudioOf(reader).status, 1);
        files.Reset();
        files.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
        EXPECT_EQ(LoadVideoOf(reader).status, 0);
        const SKrLoadAnswer audio = LoadAudioOf(reader);
        EXPECT_EQ(audio.status, 0);
        EXPECT_EQ(ToWords(audio.pattern), KrSizes(4, kUnwritten));
        EXPECT_EQ(reader.StreamState().totalFrames, 4u);
        EXPECT_EQ(reader.StreamState().statistics.audioEntries, 4u);
    }
}

TEST(IndexLoadArray, ArrayOfAnotherKind_IsRefusedAndUntouched)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrParsedInMemory file(TwoStreamAvi(index));
        for (const bool video : {true, false})
        {
            SForeignArray foreign;
            EXPECT_EQ(Load(file.Reader(), video, foreign.Array()), 0);
            EXPECT_TRUE(foreign.IsUntouched());
        }
        EXPECT_EQ(file.State().totalFrames, 4u) << "as the header says";
        EXPECT_EQ(file.State().statistics.totalAudioSamples, 0u);
        EXPECT_EQ(LoadVideoOf(file.Reader()).status, 1) << "the lock was left";
    }
}

TEST(IndexLoadArray, NullPattern_IsRefusedBeforeAnythingIsDone)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrParsedInMemory file(TwoStreamAvi(index));
        KrEntryArray entries;
        FillWithStale(entries, 3);
        EXPECT_EQ(file.Reader().LoadAudioIndex(entries, nullptr), 0);
        EXPECT_EQ(entries.GetSize(), 3);
        EXPECT_TRUE(IsStale(entries));
        EXPECT_EQ(file.State().statistics.totalAudioSamples, 0u);
        EXPECT_EQ(LoadAudioOf(file.Reader()).status, 1);
    }
}

TEST(IndexLoadArray, ReaderWithoutAFile_RefusesAndLeavesTheArray)
{
    CKrMemoryFileSystem files;
    files.Set(L"a.avi", BuildSimpleAvi(TwoStreamAvi(EKrIndexKind::Idx1)).content);
    CKrRiffReader reader(files);
    for (const bool opened : {false, true})
    {
        if (opened)
        {
            ASSERT_EQ(reader.Open(L"a.avi"), 1);
            reader.Close();
        }
        for (const bool video : {true, false})
        {
            KrEntryArray entries;
            FillWithStale(entries, 3);
            EXPECT_EQ(Load(reader, video, entries), 0);
            EXPECT_EQ(entries.GetSize(), 3);
            EXPECT_TRUE(IsStale(entries));
        }
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they abort the program at such a size

// 2048 times the same standard index with the largest count: 2^47 bytes of entries, more than an address
// space holds, in a file that is long enough for them.
TEST(IndexLoadArray, MoreEntriesThanMemoryCanHold_FailTheLoad)
{
    SKrSimpleAvi avi = TwoStreamAvi(EKrIndexKind::OpenDml);
    avi.superIndexSlots = 2048;
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const uint64_t indx = built.Find("indx").data;
    const SKrBuiltChunk stdIndex = built.Find("ix00");
    built.content.PutU32(indx + 4, 2048);
    for (uint64_t entry = 0; entry < 2048; ++entry)
        PutU64(built.content, indx + 24 + 16 * entry, stdIndex.header);
    built.content.PutU32(stdIndex.data + 4, 0xFFFFFFFF);
    built.content.Resize(uint64_t{1} << 48);
    CKrParsedInMemory file(built.content);
    ASSERT_EQ(file.Status(), 1);
    KrEntryArray entries;
    FillWithStale(entries, 3);
    EXPECT_EQ(Load(file.Reader(), true, entries), 0);
    EXPECT_EQ(entries.GetSize(), 3);
    EXPECT_TRUE(IsStale(entries));
    EXPECT_EQ(LoadAudioOf(file.Reader()).entries.size(), 4u);
}

#endif
