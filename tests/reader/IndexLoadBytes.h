// Loads of indexes from files that hold little else, without a reader and with slices of any size.
#ifndef KR_TESTS_READER_INDEXLOADBYTES_H
#define KR_TESTS_READER_INDEXLOADBYTES_H

#include "reader/KrIndexLoader.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace KrTest
{
// A file with an index at position 32, which is loaded for stream 0: of frames, or of sound with two bytes
// per sample.
class CKrIndexFile
{
public:
    static constexpr uint32_t kIndexAt = 32;

    explicit CKrIndexFile(CKrFileContent content) : m_size(content.Size())
    {
        m_memory.Set(L"a.avi", std::move(content));
        m_file = m_counts.OpenForReading(L"a.avi");
        for (SKrLocatedIndex* const index : {&state.videoIndex, &state.audio[0].index})
            *index = {.indexPosition = kIndexAt, .firstChunkPosition = kIndexAt, .streamNumber = 0};
        state.openDmlIndex = true;
        state.audio[0].sampleSize = 2;
    }

    // A load of the video or the audio stream. Resets the count of reads.
    [[nodiscard]] SKrLoadAnswer Load(bool video, size_t sliceSize = kLargestIndexSlice)
    {
        m_counts.Reset();
        SKrLoadAnswer answer;
        CKrIndexLoader loader(*m_file, m_size, state, sliceSize);
        answer.status = (video ? loader.LoadVideo(array) : loader.LoadAudio(array, answer.pattern)) ? 1 : 0;
        if (answer.status != 0)
            answer.entries = ToList(array);
        return answer;
    }

    [[nodiscard]] std::vector<SKrReadCall> Reads() const { return m_counts.Reads(); }
    [[nodiscard]] uint64_t Size() const { return m_size; }

    SKrStreamState state;
    CArray<SKrChunkIndexEntry> array; // of the last load

private:
    CKrMemoryFileSystem m_memory;

public:
    CKrFaultyFileSystem faults{m_memory};

private:
    CKrCountingFileSystem m_counts{faults};
    std::unique_ptr<IKrFile> m_file;
    uint64_t m_size;
};
} // namespace KrTest

#endif
