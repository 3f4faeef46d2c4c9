// Files that lie: counts that nothing backs, nesting without end, and random damage.
#include "KrRiffUtils/KrRiffUtils.h"
#include "platform/KrPlatform.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrRef.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

using namespace KrTest;

namespace
{
class HostileFiles : public testing::Test
{
protected:
    int Open(const CKrFileContent& content)
    {
        m_size = content.Size();
        m_memory.Set(L"a.avi", content);
        EXPECT_EQ(KrCreateRiffReader(m_reader.Put()), 1);
        return m_reader->Open(L"a.avi");
    }

    // Calls everything once. What comes back must stay within what the file can hold.
    void UseEverything()
    {
        CArray<SKrChunkIndexEntry> entries;
        SKrAudioChunkPattern pattern;
        if (m_reader->LoadVideoIndex(entries) != 0)
            ExpectEntriesInside(entries);
        if (m_reader->LoadAudioIndex(entries, &pattern) != 0)
            ExpectEntriesInside(entries);
        EXPECT_LE(WalkLevels(), m_size);
        EXPECT_LE(SearchLists(), m_size);
        EKrScanMode mode = EKrScanMode::Unknown;
        int horizontal, vertical;
        for (const int flavour : {1, 2})
        {
            KrRiffUtils::GetAviScanModeFromPrivateChunk(m_reader.Get(), flavour, mode);
            KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(m_reader.Get(), flavour, horizontal,
                                                                vertical);
        }
    }

    void ExpectEntriesInside(const CArray<SKrChunkIndexEntry>& entries)
    {
        EXPECT_LE(static_cast<uint64_t>(entries.GetSize()), m_size / 8);
        for (intptr_t number = 0; number < entries.GetSize(); ++number)
            ASSERT_LT(entries[number].position, m_size);
    }

    // Enters every container that is first on its level.
    uint64_t WalkLevels()
    {
        uint64_t nodes = 0;
        uint32_t id, type, size;
        uint64_t offset;
        SKrRiffChunkNode* node = nullptr;
        if (m_reader->FindFirstRiffSegment() == 0)
            return 0;
        m_reader->FindNextRiffSegment(&type, &size, &offset, &node);
        while (node != nullptr && m_reader->FindFirstSubChunk(node) != 0)
        {
            SKrRiffChunkNode* entered = nullptr;
            for (int more = 1; more != 0;)
            {
                more = m_reader->FindNextSubChunk(&id, &type, &size, &offset, &node);
                ++nodes;
                if (entered == nullptr && type != 0)
                    entered = node;
            }
            node = entered;
        }
        return nodes;
    }

    uint64_t SearchLists()
    {
        CDWordArray ids;
        ids.Add(0x5453494C); // 'LIST'
        uint32_t id, type, size;
        uint64_t offset;
        uint64_t matches = 0;
        if (m_reader->FindFirstChunk(&ids, 0) != 0)
        {
            for (int more = 1; more != 0; ++matches)
                more = m_reader->FindNextChunk(&id, &type, &size, &offset, nullptr);
        }
        return matches;
    }

    CKrMemoryFileSystem m_memory;
    KrPlatform::CFileSystemScope m_scope{m_memory};
    CKrRef<IKrRiffReader> m_reader;
    uint64_t m_size = 0;
};

SKrSimpleAvi RichFile(EKrIndexKind index)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100, 101, 102}), PcmStream({64, 64, 60})};
    avi.index = index;
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    avi.ctsI = SKrTestCtsI{.scanMode = 1};
    avi.superIndexSlots = 4;
    return avi;
}
} // namespace

TEST_F(HostileFiles, ListsNestedTenThousandDeep_AreWalkedSearchedAndClosed)
{
    constexpr uint32_t kDepth = 10'000;
    SKrSimpleAvi avi = RichFile(EKrIndexKind::Idx1);
    avi.endOfHdrl = [](CKrAviBuilder& file)
    {
        for (uint32_t level = 0; level < kDepth; ++level)
            file.BeginList("deep");
        file.Chunk("leaf", KrBytes(4, 1));
        for (uint32_t level = 0; level < kDepth; ++level)
            file.End();
    };
    avi.mainHeader.streams = 2;
    ASSERT_EQ(Open(BuildSimpleAvi(avi).content), 1);
    EXPECT_GE(SearchLists(), kDepth);
    SKrRiffChunkInfo* const last = m_reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    UseEverything();
    m_reader->Close();
}

TEST_F(HostileFiles, StreamCountOfAllOnes_EndsWithTheFile)
{
    SKrSimpleAvi avi = RichFile(EKrIndexKind::Idx1);
    avi.mainHeader.streams = 0xFFFFFFFF;
    ASSERT_EQ(Open(BuildSimpleAvi(avi).content), 1);
    UseEverything();
}

TEST_F(HostileFiles, FormatBlockOfAllOnes_FailsTheHeaderListAlone)
{
    SKrBuiltAvi built = BuildSimpleAvi(RichFile(EKrIndexKind::Idx1));
    built.content.PutU32(built.Find("strf").header + 4, 0xFFFFFFFF);
    ASSERT_EQ(Open(built.content), 1);
    UseEverything();
}

TEST_F(HostileFiles, TwentyMegabytesOfZerosBetweenChunks_AreJumped)
{
    SKrSimpleAvi avi = RichFile(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(20'000'000);
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    ASSERT_EQ(Open(built.content), 1);
    CDWordArray ids;
    ids.Add(0x63643030); // '00dc'
    ASSERT_EQ(m_reader->FindFirstChunk(&ids, ~uint64_t{0}), 1);
    uint32_t id, type, size;
    uint64_t offset = 0;
    m_reader->FindNextChunk(&id, &type, &size, &offset, nullptr);
    EXPECT_EQ(offset, built.streamChunks[0][0].data);
}

TEST_F(HostileFiles, EveryPrefix_OpensOrIsRefused)
{
    for (const EKrIndexKind kind : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        const SKrBuiltAvi built = BuildSimpleAvi(RichFile(kind));
        for (uint64_t size = 0; size < built.content.Size(); ++size)
        {
            CKrFileContent prefix = built.content;
            prefix.Resize(size);
            const int status = Open(prefix);
            ASSERT_TRUE(size > 200 || status == 0) << size;
            if (status != 0)
                UseEverything();
        }
    }
}

TEST_F(HostileFiles, RandomDamage_NeverLeavesTheFile)
{
    std::mt19937 random(11);
    for (int round = 0; round < 4000; ++round)
    {
        SKrSimpleAvi avi = RichFile(round % 2 == 0 ? EKrIndexKind::Both : EKrIndexKind::OpenDml);
        avi.stdSubType = round % 3 == 0 ? 0x10 : 0;
        KrBytes bytes = BuildSimpleAvi(avi).Bytes();
        for (unsigned change = 0; change < 1 + random() % 8; ++change)
        {
            const size_t at = random() % (bytes.size() - 4);
            switch (random() % 4)
            {
            case 0:
                bytes[at] = static_cast<uint8_t>(random());
                break;
            case 1:
                std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(at), 4, uint8_t{0xFF});
                break;
            case 2:
                std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(at), 4, uint8_t{0});
                break;
            default:
                std::copy_n("LIST", 4, bytes.begin() + static_cast<ptrdiff_t>(at));
                break;
            }
        }
        if (Open(bytes) != 0)
            UseEverything();
    }
}
