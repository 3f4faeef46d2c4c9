// The private chunks that an open finds, compared with a host's walks and the exported queries.
#include "reader/KrPrivateChunkScan.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "format/KrFourCC.h"
#include "reader/KrChunkTree.h"
#include "reader/KrFileCursor.h"
#include "reader/KrVideoFormat.h"
#include "tests/reader/HeaderParseInnerSupport.h"
#include "tests/reader/PrivateChunkFiles.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <vector>

using namespace KrTest;

namespace
{
// Finds the same chunks by walking the tree, step by step as a host would.
class CTreeScan final : public IKrPrivateChunks
{
public:
    CTreeScan(CKrFileCursor& cursor, IKrFile& file) : m_cursor(cursor), m_file(file) {}

    const SKrRiffChunkInfo* Find(uint32_t ckid) override
    {
        if (!FirstSegment())
            return nullptr;
        const SKrChunkTreeNode* const first = m_tree.CurrentSegment();
        while (m_tree.AdvanceSegment(m_cursor))
        {
        }
        const SKrChunkTreeNode* const last = m_tree.CurrentSegment();
        for (const SKrChunkTreeNode* const segment : {first, last == first ? nullptr : last})
        {
            if (segment == nullptr || !m_tree.StartSubChunkWalk(m_cursor, *segment))
                return nullptr;
            for (bool more = true; more;)
            {
                const SKrChunkTreeNode* const child = m_tree.CurrentSubChunk();
                more = m_tree.AdvanceSubChunk(m_cursor);
                if (child->chunk.ckid == ckid)
                    return &child->chunk;
            }
        }
        return nullptr;
    }

    uint32_t ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer) override
    {
        const SKrTransfer read = m_file.ReadAt(chunk.offset, buffer, chunk.cksize);
        return read.Failed() ? 0 : static_cast<uint32_t>(read.bytes);
    }

    uint64_t FileLength() override { return m_cursor.Size(); }

private:
    bool FirstSegment()
    {
        if (!m_tree.HasSegments())
        {
            m_cursor.SeekTo(0);
            if (!m_file.Seek(0) || !m_tree.ReadFirstSegment(m_cursor))
                return false;
        }
        m_tree.StartSegmentWalk();
        return true;
    }

    CKrFileCursor& m_cursor;
    IKrFile& m_file;
    CKrChunkTree m_tree;
};

// Both values, and every access to the file on the way.
struct SAnswer
{
    bool hasMode = false;
    EKrScanMode mode = EKrScanMode::Unknown;
    bool hasAspect = false;
    SKrPixelAspect aspect{};
    std::vector<SKrReadCall> reads;
    uint64_t seeks = 0;

    bool operator==(const SAnswer& other) const
    {
        return hasMode == other.hasMode && mode == other.mode && hasAspect == other.hasAspect &&
               aspect.horizontal == other.aspect.horizontal && aspect.vertical == other.aspect.vertical &&
               reads == other.reads && seeks == other.seeks;
    }
};

void PrintTo(const SAnswer& answer, std::ostream* out)
{
    *out << "mode " << answer.hasMode << ' ' << static_cast<int>(answer.mode) << ", aspect "
         << answer.hasAspect << ' ' << answer.aspect.horizontal << ':' << answer.aspect.vertical << ", "
         << answer.seeks << " seeks, reads";
    for (const SKrReadCall& read : answer.reads)
        *out << ' ' << read.position << '+' << read.count;
}

// A file whose accesses are counted and may fail.
class CScannedFile
{
public:
    explicit CScannedFile(const CKrFileContent& content) { m_memory.Set(L"a.avi", content); }

    template <class Scan>
    [[nodiscard]] SAnswer Ask()
    {
        const std::unique_ptr<IKrFile> file = m_counts.OpenForReading(L"a.avi");
        CKrFileCursor cursor;
        cursor.Attach(*file, *file->Size());
        m_counts.Reset();
        Scan scan(cursor, *file);
        SAnswer answer;
        answer.hasMode = KrPrivateValues::ScanMode(scan, KrPrivateValues::kAnyFlavour, answer.mode);
        answer.hasAspect = KrPrivateValues::PixelAspect(scan, KrPrivateValues::kAnyFlavour, answer.aspect);
        answer.reads = m_counts.Reads();
        answer.seeks = m_counts.Calls().seeks;
        return answer;
    }

private:
    CKrMemoryFileSystem m_memory;

public:
    CKrFaultyFileSystem faults{m_memory};

private:
    CKrCountingFileSystem m_counts{faults};
};

// The values of the headers alone.
SKrAviVideoParams FormatOfTheHeaders()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({100})};
    return CKrParsedInMemory(avi).State().videoFormat;
}
} // namespace

TEST(PrivateChunkScan, OpenOfAnyFile_FindsTheResultsOfTheQueries)
{
    const SKrAviVideoParams headers = FormatOfTheHeaders();
    size_t modes = 0;
    size_t aspects = 0;
    size_t changes = 0;
    for (uint32_t seed = 0; seed < 600 && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE(seed);
        CKrParsedInMemory file(CRandomAvi(seed).Build());
        if (file.Status() == 0 || file.State().videoStreamNumber == kNotLocated)
            continue;
        SKrAviVideoParams expected = headers;
        EKrScanMode mode = EKrScanMode::Unknown;
        int horizontal = 0;
        int vertical = 0;
        if (KrRiffUtils::GetAviScanMode(&file.Reader(), mode) != 0)
        {
            expected.scanMode = static_cast<int32_t>(mode);
            ++modes;
        }
        if (KrRiffUtils::GetAviPixelAspectRatio(&file.Reader(), horizontal, vertical) != 0)
        {
            ApplyPixelAspect(expected, horizontal, vertical);
            ++aspects;
        }
        EXPECT_EQ(std::memcmp(&file.State().videoFormat, &expected, sizeof expected), 0);
        changes += std::memcmp(&expected, &headers, sizeof expected) != 0;
    }
    EXPECT_GT(modes, 100u);
    EXPECT_GT(aspects, 100u);
    EXPECT_GT(changes, 100u);
}

TEST(PrivateChunkScan, AnyFile_IsReadAsTheWalksOfAHostReadIt)
{
    size_t found = 0;
    size_t reads = 0;
    for (uint32_t seed = 0; seed < 600 && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE(seed);
        CScannedFile file(CRandomAvi(seed).Build());
        const SAnswer expected = file.Ask<CTreeScan>();
        EXPECT_EQ(file.Ask<CKrPrivateChunkScan>(), expected);
        found += expected.hasMode + expected.hasAspect;
        reads += expected.reads.size();
    }
    EXPECT_GT(found, 200u);
    EXPECT_GT(reads, 2000u);
}

// A later query reads what an earlier one could not: it then finds more segments and sub-chunks.
TEST(PrivateChunkScan, AnyFileWithAFault_IsReadAsTheWalksOfAHostReadIt)
{
    uint64_t struck = 0;
    for (uint32_t seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed)
    {
        CScannedFile file(CRandomAvi(seed).Build());
        const auto compare = [&](const auto& plan)
        {
            bool isStruck = true;
            for (uint64_t number = 1; isStruck; ++number)
            {
                file.faults.Reset();
                plan(number);
                const SAnswer expected = file.Ask<CTreeScan>();
                isStruck = file.faults.FaultStruck();
                struck += isStruck;
                file.faults.Reset();
                plan(number);
                EXPECT_EQ(file.Ask<CKrPrivateChunkScan>(), expected)
                    << "seed " << seed << ", call " << number;
            }
        };
        for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
        {
            compare([&](uint64_t number) { file.faults.FailCall(EKrFileCall::Read, number, span); });
            compare([&](uint64_t number) { file.faults.FailCall(EKrFileCall::Seek, number, span); });
            for (const size_t bytes : {0, 11, 30})
                compare([&](uint64_t number) { file.faults.ShortenRead(number, bytes, span); });
        }
    }
    EXPECT_GT(struck, 5000u);
}

// A last segment that turns out not to be the last: results for its sub-chunks are discarded.
TEST(PrivateChunkScan, SegmentThatComesToLightLater_IsTheLast)
{
    CKrAviBuilder built;
    built.Riff("AVI ", [&] { built.Chunk("JUNK", KrBytes(10, 1)); });
    built.Riff("AVIX", [&] { built.ZeroChunk("JUNK", 100'000); });
    built.Riff("AVIX", [&] { built.Chunk("PrmA", ToBytes(SKrTestPrmA{.horizontal = 16, .vertical = 15})); });
    CScannedFile file(built.Content());
    const auto shortenReadOfTheThird = [&] // the first read is the head of the file
    {
        file.faults.Reset();
        file.faults.ShortenRead(2, 0);
    };
    shortenReadOfTheThird();
    const SAnswer answer = file.Ask<CKrPrivateChunkScan>();
    EXPECT_TRUE(file.faults.FaultStruck());
    EXPECT_TRUE(answer.hasAspect);
    EXPECT_EQ(answer.aspect.horizontal, 16u);
    shortenReadOfTheThird();
    EXPECT_EQ(answer, file.Ask<CTreeScan>());
}

// The last one is not searched then.
TEST(PrivateChunkScan, FirstSegmentWithoutSubChunks_EndsTheSearch)
{
    for (const bool isEmpty : {true, false})
    {
        CKrAviBuilder built;
        built.Riff("AVI ",
                   [&]
                   {
                       if (!isEmpty)
                           built.Chunk("JUNK", KrBytes(10, 1));
                   });
        built.Riff("AVIX", [&] { built.Chunk("KrlA", ToBytes(SKrTestKrlA{.scanMode = 2})); });
        CScannedFile file(built.Content());
        const SAnswer answer = file.Ask<CKrPrivateChunkScan>();
        EXPECT_EQ(answer, file.Ask<CTreeScan>());
        EXPECT_EQ(answer.hasMode, !isEmpty);
    }
}

TEST(PrivateChunkScan, FailedSeeks_FindNothing)
{
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", BuildSimpleAvi({}).content);
    CKrFaultyFileSystem faults(memory);
    const std::unique_ptr<IKrFile> file = faults.OpenForReading(L"a.avi");
    CKrFileCursor cursor;
    cursor.Attach(*file, *file->Size());
    CKrPrivateChunkScan scan(cursor, *file);
    faults.FailCall(EKrFileCall::Seek, 1, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(scan.Find(kFccKrlA), nullptr);
    EXPECT_EQ(scan.Find(kFccCtsI), nullptr);
    faults.Reset();
    EXPECT_EQ(scan.Find(kFccPrmA), nullptr);
    EXPECT_EQ(scan.Find(kFccPrmA), nullptr);
    EXPECT_EQ(faults.Calls(EKrFileCall::Seek), 1u) << "the segment is known then";
}

// Data whose position has a low half of all ones cannot be read, by hosts and by the open alike.
TEST(PrivateChunkScan, ChunkAtARefusedPosition_HasNoValue)
{
    constexpr uint64_t kEndOfJunk = 0xFFFFFFF0; // and seven zeros, over which the walk finds the chunk
    for (const uint64_t data : {0xFFFFFFFFull, 0xFFFFFFFDull})
    {
        SKrSimpleAvi avi;
        avi.streams = {VideoStream({10})};
        avi.endOfFile = [data](CKrAviBuilder& file)
        {
            file.ZeroChunk("JUNK", static_cast<uint32_t>(kEndOfJunk - file.Position() - 8));
            file.Zeros(data - 8 - kEndOfJunk);
            file.Chunk("KrlA", ToBytes(SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45}));
        };
        SKrBuiltAvi built = BuildSimpleAvi(avi);
        ASSERT_EQ(built.Find("KrlA").data, data);
        built.content.PutU32(4, 0xFFFFFFFF); // all of it belongs to the segment
        CKrParsedInMemory file(built.content);
        ASSERT_EQ(file.Status(), 1);
        const bool isReadable = data != 0xFFFFFFFF;
        EXPECT_EQ(file.State().videoFormat.displayWidth, isReadable ? 1024 : 720);
        EKrScanMode mode = EKrScanMode::Unknown;
        EXPECT_EQ(KrRiffUtils::GetAviScanMode(&file.Reader(), mode), isReadable ? 1 : 0);
    }
}

TEST(PrivateChunkScan, OpenLeavesNoNodes)
{
    SKrSimpleAvi avi;
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    avi.streams = {VideoStream({10})};
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", BuildSimpleAvi(avi).content);
    CKrCountingFileSystem files(memory);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    ASSERT_EQ(reader.StreamState().videoFormat.displayWidth, 1024) << "the open did search";
    files.Reset();
    EXPECT_EQ(reader.FindFirstRiffSegment(), 1);
    EXPECT_EQ(files.Calls().seeks, 1u) << "which the first segment takes as long as it is not known";
}
