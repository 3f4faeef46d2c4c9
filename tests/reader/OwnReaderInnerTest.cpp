// How the library distinguishes its own readers from a host's.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrObject.h"
#include "base/KrRef.h"
#include "reader/KrRiffReader.h"

#include <gtest/gtest.h>

namespace
{
// A host's reader that does nothing.
class CForeignReader final : public CKrObject<IKrRiffReader>
{
public:
    int Open(const wchar_t*) override { return 0; }
    void Close() override {}
    uint64_t GetFileLength() override { return 0; }
    int FindFirstRiffSegment() override { return 0; }
    int FindNextRiffSegment(uint32_t*, uint32_t*, uint64_t*, SKrRiffChunkNode**) override { return 0; }
    int FindFirstSubChunk(SKrRiffChunkNode*) override { return 0; }
    int FindNextSubChunk(uint32_t*, uint32_t*, uint32_t*, uint64_t*, SKrRiffChunkNode**) override
    {
        return 0;
    }
    uint32_t ReadChunkData(const SKrRiffChunkInfo*, uint8_t*, uint32_t) override { return 0; }
    uint32_t ReadAt(uint64_t, void*, uint32_t) override { return 0; }
    SKrRiffChunkInfo* GetLastRiffSegment() override { return nullptr; }
    int FindFirstChunk(const CDWordArray*, uint64_t) override { return 0; }
    int FindNextChunk(uint32_t*, uint32_t*, uint32_t*, uint64_t*, SKrRiffChunkInfo**) override { return 0; }
    void EndChunkSearch() override {}
    uint32_t GetVideoStreamInfo(SKrAviVideoParams*, uint32_t*, uint16_t*, int*, uint32_t*) override
    {
        return 0;
    }
    int GetAudioStreamInfo(SKrWaveFormatInfo*, int*, uint32_t*, double*) override { return 0; }
    int LoadVideoIndex(CArray<SKrChunkIndexEntry>&) override { return 0; }
    int LoadAudioIndex(CArray<SKrChunkIndexEntry>&, SKrAudioChunkPattern*) override { return 0; }
    uint32_t GetStreamCount() override { return 0; }
    int GetStreamProperties(uint32_t, SKrStreamProperties*) override { return 0; }
    uint32_t ReadStreamFormat(uint32_t, void*, uint32_t) override { return 0; }
    int LoadStreamIndex(uint32_t, uint64_t, CArray<SKrStreamIndexEntry>&) override { return 0; }
    int OpenGrowing(const wchar_t*) override { return 0; }
    int Refresh() override { return 0; }
    uint32_t GetGrowingState() override { return 0; }
};
} // namespace

TEST(OwnReader, ReaderOfTheFactory_GivesItsLock)
{
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    EXPECT_EQ(CKrRiffReader::FindLock(reader.Get()), &static_cast<CKrRiffReader*>(reader.Get())->Lock());
}

TEST(OwnReader, TwoReaders_HaveALockEach)
{
    CKrRef<IKrRiffReader> first;
    CKrRef<IKrRiffReader> second;
    ASSERT_EQ(KrCreateRiffReader(first.Put()), 1);
    ASSERT_EQ(KrCreateRiffReader(second.Put()), 1);
    EXPECT_NE(CKrRiffReader::FindLock(first.Get()), CKrRiffReader::FindLock(second.Get()));
}

TEST(OwnReader, ReaderOfAHost_HasNoLockOfOurs)
{
    CKrRef<IKrRiffReader> own;
    ASSERT_EQ(KrCreateRiffReader(own.Put()), 1); // one of ours exists, with which it could be confused
    const auto foreign = CKrRef<IKrRiffReader>::Adopt(new CForeignReader);
    EXPECT_EQ(CKrRiffReader::FindLock(foreign.Get()), nullptr);
}

TEST(OwnReader, NullReader_HasNoLock)
{
    EXPECT_EQ(CKrRiffReader::FindLock(nullptr), nullptr);
}
