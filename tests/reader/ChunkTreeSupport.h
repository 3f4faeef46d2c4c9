// A reader on one file on disk whose segments and sub-chunks are walked.
#ifndef KR_TESTS_READER_CHUNKTREESUPPORT_H
#define KR_TESTS_READER_CHUNKTREESUPPORT_H

#include "tests/reader/ReaderOpenSupport.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace KrTest
{
class ChunkTreeTest : public testing::Test
{
protected:
    void Open(const CKrFileContent& content)
    {
        ASSERT_EQ(m_reader->Open(m_folder.Write(L"a.avi", content).c_str()), 1);
    }

    void OpenSimple(const SKrSimpleAvi& avi)
    {
        m_built = BuildSimpleAvi(avi);
        Open(m_built.content);
    }

    // The first segment's node.
    SKrRiffChunkNode* Root()
    {
        if (m_reader->FindFirstRiffSegment() != 1)
            throw std::runtime_error("no segment");
        return NextSegment(*m_reader).node;
    }

    KrLines SegmentLines()
    {
        return m_reader->FindFirstRiffSegment() == 1 ? AllLines(*m_reader, NextSegment) : KrLines();
    }

    const CKrTempFolder m_folder;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrBuiltAvi m_built;
};

// A video file of this many frames in each segment.
[[nodiscard]] inline SKrSimpleAvi Segments(std::vector<size_t> rounds)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(rounds.size(), 101))};
    avi.roundsPerSegment = std::move(rounds);
    return avi;
}
} // namespace KrTest

#endif
