// Uses every operation of a reader on an arbitrary file, and checks the results against the file.
#ifndef KR_TESTS_READER_HOSTILEFILESUPPORT_H
#define KR_TESTS_READER_HOSTILEFILESUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/reader/AllStreamsSupport.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrNarrowFileSystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace KrTest
{
// A file with everything that a reader searches for, within a few kilobytes.
[[nodiscard]] inline SKrSimpleAvi RichAvi(EKrIndexKind index, uint8_t stdSubType = 0)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.stdSubType = stdSubType;
    avi.streams = {VideoStream({100, 101, 102, 103}), PcmStream({64, 68, 64, 60})};
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    avi.prmA = SKrTestPrmA{.horizontal = 9, .vertical = 10};
    avi.ctsI = SKrTestCtsI{.scanMode = 1};
    avi.superIndexSlots = 4;
    if (index != EKrIndexKind::Idx1)
        avi.roundsPerSegment = {2, 2};
    return avi;
}

// Opens the file; inside `narrow`, if anywhere, its reads are short.
class CKrHostileFile
{
public:
    explicit CKrHostileFile(const CKrFileContent& content, SKrStretch narrow = {})
        : m_narrow(m_memory, narrow), m_size(content.Size())
    {
        m_memory.Set(L"a.avi", content);
        m_status = m_reader.Open(L"a.avi");
    }

    [[nodiscard]] int Status() const { return m_status; }
    [[nodiscard]] CKrRiffReader& Reader() { return m_reader; }
    [[nodiscard]] uint64_t Reads() const { return m_counts.Calls().reads; }
    [[nodiscard]] uint64_t BytesRead() const { return m_counts.Calls().bytes; }

    // Loads, walks, searches, queries and closes. Counts from the file must size nothing that the file could
    // not fill: neither an array, nor the buffer of a read.
    void UseEverything()
    {
        ExpectLoadWithin(LoadVideoOf(m_reader));
        ExpectLoadWithin(LoadAudioOf(m_reader));
        UseAllStreams();
        WalkAll();
        EXPECT_LE(SearchAll(), m_size / 8);
        AskAll();
        m_reader.Close();
        EXPECT_EQ(m_reader.GetFileLength(), 0u);
        EXPECT_LE(LargestRead(), std::max(m_size, kLargestWindow));
    }

    // All nodes of all levels, or about kMostNodes of them: lists that overlap have more nodes than the file
    // has bytes.
    uint64_t WalkAll()
    {
        std::vector<SKrRiffChunkNode*> open;
        uint32_t ckid, type, size;
        uint64_t offset;
        SKrRiffChunkNode* node = nullptr;
        for (int more = m_reader.FindFirstRiffSegment(); more != 0; open.push_back(node))
            more = m_reader.FindNextRiffSegment(&type, &size, &offset, &node);
        uint64_t nodes = 0;
        for (; nodes < open.size() && open.size() < kMostNodes; ++nodes)
        {
            int more = m_reader.FindFirstSubChunk(open[static_cast<size_t>(nodes)]);
            for (; more != 0 && open.size() < kMostNodes; open.push_back(node))
            {
                more = m_reader.FindNextSubChunk(&ckid, &type, &size, &offset, &node);
                EXPECT_LE(offset, m_size);
            }
        }
        return open.size();
    }

    // Matches of the longest of several searches.
    uint64_t SearchAll()
    {
        CDWordArray ids;
        for (const uint32_t id : {0x5453494Cu /* LIST */, 0x46464952u /* RIFF */, 0x63643030u /* 00dc */,
                                  0x4B4E554Au /* JUNK */, 0u})
            ids.Add(id);
        uint64_t most = 0;
        for (const uint64_t start : {~uint64_t{0}, uint64_t{0}, m_size - 8})
        {
            uint64_t matches = 0;
            for (int more = m_reader.FindFirstChunk(&ids, start); more != 0; ++matches)
            {
                uint32_t ckid, type, size;
                uint64_t offset;
                more = m_reader.FindNextChunk(&ckid, &type, &size, &offset, nullptr);
                EXPECT_LE(offset, m_size);
            }
            most = std::max(most, matches);
        }
        return most;
    }

private:
    static constexpr uint64_t kLargestWindow = 64 * 1024; // that the reader reads ahead
    static constexpr uint64_t kMostNodes = 20'000;

    void ExpectLoadWithin(const SKrLoadAnswer& load)
    {
        EXPECT_LE(load.entries.size(), m_size / 8);
        for (const auto& [position, size] : load.entries)
            ASSERT_LT(position, m_size);
    }

    void UseAllStreams()
    {
        const uint32_t count = m_reader.GetStreamCount();
        EXPECT_LE(count, 100u);
        for (uint32_t stream = 0; stream < count; ++stream)
        {
            const SKrStreamAnswer all = LoadStreamOf(m_reader, stream);
            EXPECT_LE(all.entries.size(), m_size / 8);
            for (const SKrChunkPlace& place : all.entries)
                ASSERT_LE(place.position + place.size, m_size);
            const SKrStreamAnswer last = LoadStreamOf(m_reader, stream, all.entries.size() / 2);
            EXPECT_EQ(all.status, last.status);
            EXPECT_LE(last.entries.size(), all.entries.size());
            const SKrStreamProperties properties = PropertiesOf(m_reader, stream);
            EXPECT_LE(properties.formatSize, m_size);
            EXPECT_EQ(FormatOf(m_reader, stream, 64).size(), std::min(properties.formatSize, 64u));
        }
    }

    void AskAll()
    {
        SKrAviVideoParams video;
        SKrWaveFormatInfo audio;
        uint32_t compression, id;
        uint16_t bits;
        int valid;
        double duration;
        static_cast<void>(m_reader.GetVideoStreamInfo(&video, &compression, &bits, &valid, &id));
        static_cast<void>(m_reader.GetAudioStreamInfo(&audio, &valid, &id, &duration));
        for (const int flavour : {1, 2})
        {
            EKrScanMode mode = EKrScanMode::Unknown;
            int horizontal, vertical;
            const int status = KrRiffUtils::GetAviScanModeFromPrivateChunk(&m_reader, flavour, mode);
            EXPECT_TRUE(status == 0 || (static_cast<int>(mode) >= 0 && static_cast<int>(mode) <= 2));
            static_cast<void>(KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(&m_reader, flavour,
                                                                                  horizontal, vertical));
        }
    }

    uint64_t LargestRead() const
    {
        uint64_t largest = 0;
        for (const SKrReadCall& read : m_counts.Reads())
            largest = std::max<uint64_t>(largest, read.count);
        return largest;
    }

    CKrMemoryFileSystem m_memory;
    CKrNarrowFileSystem m_narrow;
    CKrCountingFileSystem m_counts{m_narrow};
    CKrRiffReader m_reader{m_counts};
    uint64_t m_size;
    int m_status = -1;
};
} // namespace KrTest

#endif
