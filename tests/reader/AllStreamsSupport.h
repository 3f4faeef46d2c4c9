// What the tests of the operations on all streams share: a reader on a file in memory, and answers as plain
// values.
#ifndef KR_TESTS_READER_ALLSTREAMSSUPPORT_H
#define KR_TESTS_READER_ALLSTREAMSSUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "reader/KrRiffReader.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace KrTest
{
// An entry of a stream's index.
struct SKrChunkPlace
{
    uint64_t position = 0;
    uint32_t size = 0;
    bool isKeyFrame = true;

    bool operator==(const SKrChunkPlace&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const SKrChunkPlace& place)
{
    return out << place.position << "+" << place.size << (place.isKeyFrame ? " key" : "");
}

using KrChunkPlaces = std::vector<SKrChunkPlace>;

struct SKrStreamAnswer
{
    int status = 0;
    KrChunkPlaces entries; // empty after a failure

    bool operator==(const SKrStreamAnswer&) const = default;
};

[[nodiscard]] inline SKrStreamAnswer LoadStreamOf(IKrRiffReader& reader, uint32_t stream, uint64_t first = 0)
{
    CArray<SKrStreamIndexEntry> entries;
    SKrStreamAnswer answer;
    answer.status = reader.LoadStreamIndex(stream, first, entries);
    for (intptr_t number = 0; answer.status == 1 && number < entries.GetSize(); ++number)
    {
        EXPECT_LE(entries[number].flags, 1u);
        answer.entries.push_back(
            {entries[number].position, entries[number].size, entries[number].flags == 1});
    }
    return answer;
}

// The properties of a stream; those of a failed call have size 0.
[[nodiscard]] inline SKrStreamProperties PropertiesOf(IKrRiffReader& reader, uint32_t stream)
{
    SKrStreamProperties properties = {};
    properties.size = sizeof properties;
    if (reader.GetStreamProperties(stream, &properties) == 0)
        return {};
    EXPECT_EQ(properties.size, sizeof properties);
    return properties;
}

[[nodiscard]] inline KrBytes FormatOf(IKrRiffReader& reader, uint32_t stream, uint32_t size)
{
    KrBytes bytes(size);
    bytes.resize(reader.ReadStreamFormat(stream, bytes.data(), size));
    return bytes;
}

// The chunks of a stream as its index should give them, from number `first` on.
[[nodiscard]] inline KrChunkPlaces PlacesOf(const SKrBuiltAvi& built, size_t stream, size_t first = 0,
                                            size_t keyFrameEvery = 1)
{
    KrChunkPlaces places;
    const std::vector<SKrBuiltChunk>& chunks = built.streamChunks[stream];
    for (size_t number = first; number < chunks.size(); ++number)
        places.push_back({chunks[number].data, chunks[number].size, number % keyFrameEvery == 0});
    return places;
}

// A stream whose chunks have another number than the two hexadecimal digits of the builder.
[[nodiscard]] inline SKrSimpleStream NumberedInDecimal(SKrSimpleStream stream, unsigned number)
{
    stream.chunkId = std::to_string(number / 10) + std::to_string(number % 10) + stream.suffix;
    return stream;
}

// One reader on one file.
class AllStreams : public testing::Test
{
protected:
    SKrBuiltAvi BuildAndOpen(const SKrSimpleAvi& description)
    {
        SKrBuiltAvi built = BuildSimpleAvi(description);
        Open(built.content);
        return built;
    }

    void Open(const CKrFileContent& content)
    {
        m_reader.Close();
        m_memory.Set(L"a.avi", content);
        ASSERT_EQ(m_reader.Open(L"a.avi"), 1);
        m_counts.Reset();
        m_faults.Reset();
    }

    // Runs `prepare`, then `operation` with the n-th read failing, once and from then on, then `afterwards`
    // with none failing; for every n. Answers how many runs were struck.
    template <class Prepare, class Operation, class Afterwards>
    uint64_t ForEveryFailedRead(Prepare&& prepare, Operation&& operation, Afterwards&& afterwards)
    {
        uint64_t struck = 0;
        for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
        {
            for (uint64_t number = 1;; ++number, ++struck)
            {
                SCOPED_TRACE(number);
                prepare();
                m_faults.Reset();
                m_faults.FailCall(EKrFileCall::Read, number, span);
                operation();
                const bool isDone = !m_faults.FaultStruck();
                m_faults.Reset();
                afterwards();
                if (isDone)
                    break;
            }
        }
        return struck;
    }

    CKrMemoryFileSystem m_memory;
    CKrFaultyFileSystem m_faults{m_memory};
    CKrCountingFileSystem m_counts{m_faults};
    CKrRiffReader m_reader{m_counts};
};
} // namespace KrTest

#endif
