// The reader factory, and the reference count of its readers.
#include "KrRiffUtils/KrRiffUtils.h"

#include "base/KrRef.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace KrTest;

TEST(ReaderFactory, Reader_IsMadeWithOneReference)
{
    IKrRiffReader* reader = nullptr;
    ASSERT_EQ(KrCreateRiffReader(&reader), 1);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->Release(), 0u) << "the first Release destroys it";
}

TEST(ReaderFactory, OutParameter_IsOverwrittenWhateverItHeld)
{
    int somethingElse = 0;
    IKrRiffReader* reader = reinterpret_cast<IKrRiffReader*>(&somethingElse);
    ASSERT_EQ(KrCreateRiffReader(&reader), 1);
    EXPECT_NE(static_cast<void*>(reader), static_cast<void*>(&somethingElse));
    reader->Release();
}

TEST(ReaderFactory, NullOutParameter_IsRefused)
{
    EXPECT_EQ(KrCreateRiffReader(nullptr), 0);
}

TEST(ReaderFactory, EachCall_MakesAReaderOfItsOwn)
{
    CKrRef<IKrRiffReader> first;
    CKrRef<IKrRiffReader> second;
    ASSERT_EQ(KrCreateRiffReader(first.Put()), 1);
    ASSERT_EQ(KrCreateRiffReader(second.Put()), 1);
    EXPECT_NE(first.Get(), second.Get());
    const CKrTempFolder folder;
    ASSERT_EQ(first->Open(folder.Write(L"a.avi", BuildSimpleAvi({}).content).c_str()), 1);
    EXPECT_GT(first->GetFileLength(), 0u);
    EXPECT_EQ(second->GetFileLength(), 0u);
}

TEST(ReaderFactory, NewReader_HasNoFile)
{
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    EXPECT_EQ(reader->GetFileLength(), 0u);
}

TEST(ReaderCount, AddRefAndRelease_ReportTheCount)
{
    IKrRiffReader* reader = nullptr;
    ASSERT_EQ(KrCreateRiffReader(&reader), 1);
    EXPECT_EQ(reader->AddRef(), 2u);
    EXPECT_EQ(reader->AddRef(), 3u);
    EXPECT_EQ(reader->Release(), 2u);
    EXPECT_EQ(reader->Release(), 1u);
    EXPECT_EQ(reader->GetFileLength(), 0u) << "still alive";
    EXPECT_EQ(reader->Release(), 0u);
}

TEST(ReaderCount, HeldReader_KeepsItsFile)
{
    const CKrTempFolder folder;
    const SKrBuiltAvi built = BuildSimpleAvi({});
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(folder.Write(L"a.avi", built.content).c_str()), 1);
    EXPECT_EQ(reader->AddRef(), 2u);
    EXPECT_EQ(reader->Release(), 1u);
    EXPECT_EQ(reader->GetFileLength(), built.content.Size());
}

// Both platforms lock an open file against removal or writers; a destroyed reader must have closed it.
TEST(ReaderCount, LastRelease_ClosesTheFile)
{
    const CKrTempFolder folder;
    const SKrBuiltAvi built = BuildSimpleAvi({});
    const std::wstring path = folder.Write(L"a.avi", built.content);
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(path.c_str()), 1);
    EXPECT_FALSE(CKrForeignWriter(path).IsOpen());
    reader.Reset();
    EXPECT_TRUE(CKrForeignWriter(path).IsOpen());
}

TEST(ReaderCount, ManyThreads_LoseNoReference)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    IKrRiffReader* reader = nullptr;
    ASSERT_EQ(KrCreateRiffReader(&reader), 1);
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < kThreads; ++thread)
        {
            threads.emplace_back(
                [reader]
                {
                    for (int round = 0; round < kRounds; ++round)
                    {
                        EXPECT_GE(reader->AddRef(), 2u);
                        EXPECT_GE(reader->Release(), 1u);
                    }
                    reader->AddRef();
                });
        }
    }
    for (uint32_t left = kThreads; left >= 1; --left)
        EXPECT_EQ(reader->Release(), left);
    EXPECT_EQ(reader->Release(), 0u);
}
