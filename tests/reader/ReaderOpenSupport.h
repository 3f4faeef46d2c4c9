// Readers in tests, and the results of their walks and searches as values.
#ifndef KR_TESTS_READER_READEROPENSUPPORT_H
#define KR_TESTS_READER_READEROPENSUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrAviBuilder.h"
#include "tests/support/KrByteWriter.h"

#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kUntouched = 0x5A5A5A5A; // the outputs before a call
inline constexpr uint32_t kBeyondReadAhead =
    500'000; // bytes after which the next chunk takes a read of its own
inline constexpr uint64_t kDefaultStart = ~uint64_t{0};

[[nodiscard]] inline CKrRef<IKrRiffReader> NewReader()
{
    CKrRef<IKrRiffReader> reader;
    if (KrCreateRiffReader(reader.Put()) != 1)
        throw std::runtime_error("no reader");
    return reader;
}

// A result of a walk or a search. The id of a segment, 'RIFF', is filled in here.
struct SKrReported
{
    int status = -1; // of the operation: 1 when more follows
    uint32_t id = kUntouched;
    uint32_t type = kUntouched;
    uint32_t size = kUntouched;
    uint64_t dataOffset = kUntouched;
    SKrRiffChunkNode* node = nullptr;
    SKrRiffChunkInfo* record = nullptr;

    [[nodiscard]] bool NothingWritten() const
    {
        return type == kUntouched && size == kUntouched && dataOffset == kUntouched && node == nullptr &&
               record == nullptr;
    }
};

[[nodiscard]] inline SKrReported NextSegment(IKrRiffReader& reader)
{
    SKrReported next;
    next.id = FourCcValue("RIFF");
    next.status = reader.FindNextRiffSegment(&next.type, &next.size, &next.dataOffset, &next.node);
    return next;
}

[[nodiscard]] inline SKrReported NextSubChunk(IKrRiffReader& reader)
{
    SKrReported next;
    next.status = reader.FindNextSubChunk(&next.id, &next.type, &next.size, &next.dataOffset, &next.node);
    return next;
}

[[nodiscard]] inline SKrReported NextMatch(IKrRiffReader& reader)
{
    SKrReported next;
    next.status = reader.FindNextChunk(&next.id, &next.type, &next.size, &next.dataOffset, &next.record);
    return next;
}

[[nodiscard]] inline int StartSearch(IKrRiffReader& reader, std::initializer_list<std::string_view> ids,
                                     uint64_t start = kDefaultStart)
{
    CDWordArray wanted;
    for (const std::string_view id : ids)
        wanted.Add(FourCcValue(id));
    return reader.FindFirstChunk(&wanted, start);
}

// One line for a chunk, the same for built and reported ones.
[[nodiscard]] inline std::string ChunkLine(uint32_t id, uint32_t type, uint32_t size, uint64_t dataOffset)
{
    std::string line;
    for (const uint32_t fourCc : {id, type})
    {
        for (int shift = 0; shift < 32 && fourCc != 0; shift += 8)
            line += static_cast<char>(fourCc >> shift & 0xFF);
        line += ' ';
    }
    return line + std::to_string(size) + " at " + std::to_string(dataOffset);
}

[[nodiscard]] inline std::string Line(const SKrReported& reported)
{
    return ChunkLine(reported.id, reported.type, reported.size, reported.dataOffset);
}

[[nodiscard]] inline std::string Line(const SKrRiffChunkInfo& chunk)
{
    return ChunkLine(chunk.ckid, chunk.fccType, chunk.cksize, chunk.offset);
}

[[nodiscard]] inline std::string Line(const SKrBuiltChunk& built)
{
    return ChunkLine(FourCcValue(built.id), built.type.empty() ? 0 : FourCcValue(built.type), built.size,
                     built.data);
}

using KrLines = std::vector<std::string>;

// All results of a walk or search under way, up to and including the one that comes with 0.
[[nodiscard]] inline KrLines AllLines(IKrRiffReader& reader, SKrReported (*next)(IKrRiffReader&))
{
    KrLines lines;
    for (int status = 1; status == 1;)
    {
        const SKrReported reported = next(reader);
        status = reported.status;
        if (!reported.NothingWritten())
            lines.push_back(Line(reported));
    }
    return lines;
}
} // namespace KrTest

#endif
