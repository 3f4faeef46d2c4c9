#include "tests/support/KrCopyChecker.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>

namespace KrTest
{
namespace
{
constexpr uint64_t kMostOfSegment = 1'069'999'616;
constexpr uint32_t kHasIndex = 0x10;
constexpr uint32_t kKeyFrame = 0x10;
constexpr uint32_t kNoTime = 0x100;
constexpr uint32_t kNotKeyFrame = 0x80000000;

using Bytes = std::vector<uint8_t>;

uint32_t Number(const Bytes& bytes, size_t place, size_t count = 4)
{
    uint32_t value = 0;
    for (size_t byte = count; byte-- > 0;)
        value = value << 8 | (place + byte < bytes.size() ? bytes[place + byte] : 0U);
    return value;
}

struct SCopyChunk
{
    std::string id;
    uint32_t size = 0;
    std::string type; // of lists
    uint64_t data = 0;
    uint64_t end = 0; // of the data

    [[nodiscard]] bool IsList() const { return id == "LIST" || id == "RIFF"; }
};

struct SCopyStream
{
    std::string type;
    uint32_t length = 0;
    uint32_t sampleSize = 0;
    Bytes superIndex;
    bool hasSuperIndex = false;
    uint64_t chunks = 0; // that take time
    uint64_t bytes = 0;
};

class CKrCopyCheck
{
public:
    explicit CKrCopyCheck(const std::string& path) : m_file(path, std::ios::binary)
    {
        m_file.seekg(0, std::ios::end);
        m_length = static_cast<uint64_t>(m_file.tellg());
    }

    std::vector<std::string> Run()
    {
        uint64_t position = 0;
        for (size_t segment = 0; position < m_length && m_problems.empty(); ++segment)
        {
            const SCopyChunk riff = At(position);
            if (riff.id != "RIFF" || riff.type != (segment == 0 ? "AVI " : "AVIX"))
                Report("no segment", position);
            else
                CheckSegment(riff, segment);
            position = riff.end;
        }
        if (position != m_length)
            Report("the last segment does not end with the file", position);
        if (m_problems.empty())
            CheckTotals();
        return m_problems;
    }

private:
    void Report(const std::string& what, uint64_t position)
    {
        m_problems.push_back(what + " at " + std::to_string(position));
    }

    void Expect(bool holds, const std::string& what, uint64_t position)
    {
        if (!holds)
            Report(what, position);
    }

    Bytes Read(uint64_t position, size_t count)
    {
        Bytes bytes(count);
        m_file.clear();
        m_file.seekg(static_cast<std::streamoff>(position));
        m_file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
        bytes.resize(static_cast<size_t>(m_file.gcount()));
        return bytes;
    }

    SCopyChunk At(uint64_t position)
    {
        const Bytes bytes = Read(position, 12);
        SCopyChunk chunk;
        if (bytes.size() < 8)
            return chunk;
        chunk.id.assign(bytes.begin(), bytes.begin() + 4);
        chunk.size = Number(bytes, 4);
        chunk.data = position + 8;
        chunk.end = chunk.data + chunk.size;
        if (chunk.IsList() && bytes.size() == 12)
            chunk.type.assign(bytes.begin() + 8, bytes.end());
        return chunk;
    }

    // The chunks of a list, which must fill it; odd ones are padded by a zero.
    std::vector<SCopyChunk> Children(const SCopyChunk& list)
    {
        std::vector<SCopyChunk> children;
        uint64_t position = list.data + 4;
        while (position < list.end)
        {
            const SCopyChunk chunk = At(position);
            Expect(position % 2 == 0, "a chunk at an odd position", position);
            if (chunk.id.empty() || chunk.end > list.end)
            {
                Report("a chunk outside of its list", position);
                break;
            }
            Expect(chunk.id != "JUNK", "a filler", position);
            if (chunk.size % 2 != 0)
                Expect(Number(Read(chunk.end, 1), 0, 1) == 0, "padding that is not zero", chunk.end);
            children.push_back(chunk);
            position = chunk.end + chunk.size % 2;
        }
        Expect(position == list.end, "a list that its chunks do not fill", list.data);
        return children;
    }

    void CheckSegment(const SCopyChunk& riff, size_t segment)
    {
        const std::vector<SCopyChunk> children = Children(riff);
        const auto movi = std::find_if(children.begin(), children.end(),
                                       [](const SCopyChunk& chunk) { return chunk.type == "movi"; });
        if (movi == children.end())
            return Report("no 'movi'", riff.data);
        if (segment == 0)
        {
            CheckHeaders(children);
            const auto idx1 = std::next(movi);
            if (idx1 == children.end() || idx1->id != "idx1")
                return Report("no 'idx1' after 'movi'", movi->end);
            CheckData(*movi, segment);
            CheckOldIndex(*idx1, *movi);
        }
        else
        {
            Expect(children.size() == 1, "more than 'movi' in a further segment", riff.data);
            CheckData(*movi, segment);
        }
        Expect(riff.end - riff.data + 8 <= kMostOfSegment || m_dataChunks.size() == 1, "a segment too large",
               riff.data);
    }

    void CheckHeaders(const std::vector<SCopyChunk>& children)
    {
        if (children.front().type != "hdrl")
            return Report("no 'hdrl' first", 12);
        const std::vector<SCopyChunk> headers = Children(children.front());
        if (headers.empty() || headers.front().id != "avih" || headers.front().size < 56)
            return Report("no 'avih' first", 24);
        m_mainHeader = Read(headers.front().data, headers.front().size);
        for (const SCopyChunk& chunk : headers)
        {
            if (chunk.type == "strl")
                CheckStream(chunk);
            else if (chunk.type == "odml")
                CheckOpenDml(chunk);
        }
        Expect(Number(m_mainHeader, 8) == 0, "a padding granularity", headers.front().data);
        Expect((Number(m_mainHeader, 12) & kHasIndex) != 0, "no index flag", headers.front().data);
        Expect(Number(m_mainHeader, 24) == m_streams.size(), "another number of streams",
               headers.front().data);
    }

    void CheckStream(const SCopyChunk& list)
    {
        SCopyStream stream;
        size_t formats = 0;
        for (const SCopyChunk& chunk : Children(list))
        {
            if (chunk.id == "strh")
            {
                const Bytes bytes = Read(chunk.data, chunk.size);
                stream.type.assign(bytes.begin(), bytes.begin() + 4);
                stream.length = Number(bytes, 32);
                stream.sampleSize = stream.type == "vids" ? 0 : Number(bytes, 44);
            }
            else if (chunk.id == "indx")
            {
                Expect(!stream.hasSuperIndex, "a second super index", chunk.data);
                stream.hasSuperIndex = true;
                stream.superIndex = Read(chunk.data, chunk.size);
            }
            formats += chunk.id == "strf" ? 1 : 0;
        }
        Expect(!stream.type.empty() && formats <= 1, "a stream without header, or with two formats",
               list.data);
        m_streams.push_back(std::move(stream));
    }

    void CheckOpenDml(const SCopyChunk& list)
    {
        for (const SCopyChunk& chunk : Children(list))
        {
            if (chunk.id == "dmlh")
                m_totalFrames = Number(Read(chunk.data, 4), 0), m_hasTotal = true;
        }
    }

    static int StreamOf(const std::string& id)
    {
        const bool isNumber = id[0] >= '0' && id[0] <= '9' && id[1] >= '0' && id[1] <= '9';
        return isNumber ? (id[0] - '0') * 10 + (id[1] - '0') : -1;
    }

    static bool TakesTime(const SCopyChunk& chunk) { return chunk.id.substr(2) != "pc"; }

    // Data chunks, then a standard index of each stream that has any here, if there are several segments.
    void CheckData(const SCopyChunk& movi, size_t segment)
    {
        m_dataChunks.clear();
        std::map<int, SCopyChunk> indexes;
        for (const SCopyChunk& chunk : Children(movi))
        {
            if (chunk.id.starts_with("ix"))
            {
                indexes[StreamOf(chunk.id.substr(2) + "..")] = chunk;
                continue;
            }
            const int stream = StreamOf(chunk.id);
            Expect(indexes.empty(), "data after an index", chunk.data);
            if (stream < 0 || static_cast<size_t>(stream) >= m_streams.size())
                return Report("a chunk of no stream", chunk.data);
            m_dataChunks.push_back(chunk);
            m_streams[static_cast<size_t>(stream)].bytes += chunk.size;
            m_streams[static_cast<size_t>(stream)].chunks += TakesTime(chunk) ? 1 : 0;
        }
        for (size_t number = 0; number < m_streams.size(); ++number)
            CheckStandardIndex(static_cast<int>(number), indexes, movi, segment);
    }

    void CheckStandardIndex(int number, const std::map<int, SCopyChunk>& indexes, const SCopyChunk& movi,
                            size_t segment)
    {
        const bool wanted = m_streams[static_cast<size_t>(number)].hasSuperIndex;
        std::vector<SCopyChunk> chunks;
        for (const SCopyChunk& entry : m_dataChunks)
        {
            if (StreamOf(entry.id) == number && TakesTime(entry))
                chunks.push_back(entry);
        }
        const auto found = indexes.find(number);
        if (found == indexes.end() || !wanted || chunks.empty())
            return Expect((found == indexes.end()) == (!wanted || chunks.empty()),
                          "a standard index where none belongs, or none where one does", movi.data);
        const SCopyChunk& index = found->second;
        const Bytes bytes = Read(index.data, index.size);
        const uint64_t base = Number(bytes, 12) | uint64_t{Number(bytes, 16)} << 32;
        bool isRight = Number(bytes, 0) == 0x01000002 && Number(bytes, 4) == chunks.size() &&
                       Number(bytes, 20) == 0 && bytes.size() == 24 + 8 * chunks.size();
        for (size_t place = 0; place < chunks.size() && isRight; ++place)
        {
            const uint32_t size = Number(bytes, 28 + 8 * place);
            isRight = base + Number(bytes, 24 + 8 * place) == chunks[place].data &&
                      (size & ~kNotKeyFrame) == chunks[place].size;
        }
        Expect(isRight, "a standard index that does not fit its chunks", index.data);
        CheckSuperIndex(static_cast<size_t>(number), index, segment);
    }

    void CheckSuperIndex(size_t number, const SCopyChunk& index, size_t segment)
    {
        SCopyStream& stream = m_streams[number];
        const Bytes& bytes = stream.superIndex;
        const size_t place = 24 + 16 * m_superEntries[number]++;
        const uint64_t position = Number(bytes, place) | uint64_t{Number(bytes, place + 4)} << 32;
        Expect(Number(bytes, 0) == 4 && position == index.data - 8 &&
                   Number(bytes, place + 8) == index.size + 8,
               "a super index that misses the index of segment " + std::to_string(segment), index.data);
        m_durations[number] += Number(bytes, place + 12);
    }

    // Every chunk in order; palette changes may be missing.
    void CheckOldIndex(const SCopyChunk& index, const SCopyChunk& movi)
    {
        const Bytes bytes = Read(index.data, index.size);
        size_t place = 0;
        for (const SCopyChunk& entry : m_dataChunks)
        {
            const bool isThis = Number(bytes, place + 8) == entry.data - 8 - movi.data;
            if (!isThis && !TakesTime(entry))
                continue;
            const uint32_t flags = Number(bytes, place + 4);
            const Bytes id(entry.id.begin(), entry.id.end());
            const bool isRight =
                place + 16 <= bytes.size() && isThis && Number(bytes, place) == Number(id, 0) &&
                Number(bytes, place + 12) == entry.size && (flags & ~(kKeyFrame | kNoTime)) == 0 &&
                ((flags & kNoTime) != 0) == !TakesTime(entry);
            if (!isRight)
                return Report("an entry of 'idx1' that is not its chunk's", index.data + place);
            place += 16;
        }
        Expect(place == bytes.size(), "'idx1' has more entries than chunks", index.data + place);
        uint64_t frames = 0;
        const int video = FirstVideo();
        for (const SCopyChunk& entry : m_dataChunks)
            frames += StreamOf(entry.id) == video && TakesTime(entry) ? 1 : 0;
        Expect(Number(m_mainHeader, 16) == frames, "'avih' counts other frames than the first segment has",
               32);
    }

    [[nodiscard]] int FirstVideo() const
    {
        for (size_t number = 0; number < m_streams.size(); ++number)
        {
            if (m_streams[number].type == "vids")
                return static_cast<int>(number);
        }
        return -1;
    }

    void CheckTotals()
    {
        for (size_t number = 0; number < m_streams.size(); ++number)
        {
            const SCopyStream& stream = m_streams[number];
            const uint64_t units = stream.sampleSize == 0 ? stream.chunks : stream.bytes / stream.sampleSize;
            if (stream.type == "vids")
                Expect(stream.length == units, "another length of stream " + std::to_string(number), 0);
            if (!stream.hasSuperIndex)
                continue;
            const size_t used = Number(stream.superIndex, 4);
            Expect(used == m_superEntries[number] && stream.superIndex.size() >= 24 + 16 * used,
                   "a super index of another size for stream " + std::to_string(number), 0);
            Expect(m_durations[number] == units, "durations of stream " + std::to_string(number), 0);
        }
        const int video = FirstVideo();
        if (m_hasTotal && video >= 0)
            Expect(m_totalFrames == m_streams[static_cast<size_t>(video)].chunks, "another total of frames",
                   0);
    }

    std::ifstream m_file;
    uint64_t m_length = 0;
    std::vector<std::string> m_problems;
    Bytes m_mainHeader;
    std::vector<SCopyStream> m_streams;
    std::vector<SCopyChunk> m_dataChunks; // of a segment
    std::map<size_t, size_t> m_superEntries;
    std::map<size_t, uint64_t> m_durations;
    uint32_t m_totalFrames = 0;
    bool m_hasTotal = false;
};
} // namespace

std::vector<std::string> CheckCopiedFile(const std::string& path)
{
    return CKrCopyCheck(path).Run();
}
} // namespace KrTest
