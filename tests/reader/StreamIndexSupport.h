// Shared by the tests of index loads: a file on disk, a reader on it, and the entries as a plain list.
#ifndef KR_TESTS_READER_STREAMINDEXSUPPORT_H
#define KR_TESTS_READER_STREAMINDEXSUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace KrTest
{
using PlacesAndSizes = std::vector<std::pair<uint64_t, uint32_t>>;

inline PlacesAndSizes ToList(const CArray<SKrChunkIndexEntry>& entries)
{
    PlacesAndSizes list;
    for (intptr_t number = 0; number < entries.GetSize(); ++number)
    {
        EXPECT_EQ(entries[number].reserved, 0u);
        list.emplace_back(entries[number].position, entries[number].size);
    }
    return list;
}

// The expected index entries of a stream, `count` of them from `first` on.
inline PlacesAndSizes ChunksOf(const SKrBuiltAvi& built, size_t stream, size_t first = 0,
                               size_t count = SIZE_MAX)
{
    PlacesAndSizes list;
    const std::vector<SKrBuiltChunk>& chunks = built.streamChunks[stream];
    for (size_t number = first; number < chunks.size() && number - first < count; ++number)
        list.emplace_back(chunks[number].data, chunks[number].size);
    return list;
}

// One reader on one file.
class StreamIndexTest : public testing::Test
{
protected:
    void OpenFile(const CKrFileContent& content)
    {
        ASSERT_EQ(KrCreateRiffReader(m_reader.Put()), 1);
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"index.avi", content).c_str()), 1);
    }

    SKrBuiltAvi BuildAndOpen(const SKrSimpleAvi& description)
    {
        SKrBuiltAvi built = BuildSimpleAvi(description);
        OpenFile(built.content);
        return built;
    }

    int LoadVideo() { return m_reader->LoadVideoIndex(m_entries); }
    int LoadAudio() { return m_reader->LoadAudioIndex(m_entries, &m_pattern); }

    uint32_t TotalFrames()
    {
        SKrAviVideoParams format;
        uint32_t compression, chunkId;
        uint16_t bitCount;
        int valid;
        return m_reader->GetVideoStreamInfo(&format, &compression, &bitCount, &valid, &chunkId);
    }

    CKrTempFolder m_folder;
    CKrRef<IKrRiffReader> m_reader;
    CArray<SKrChunkIndexEntry> m_entries;
    SKrAudioChunkPattern m_pattern = {};
};
} // namespace KrTest

#endif
