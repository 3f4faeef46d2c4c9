#include "tools/hash/KrMaterialComparison.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <optional>
#include <span>

namespace KrTool
{
namespace
{
constexpr size_t kComparedBytes = size_t{1} << 20;

// The bytes of chunks in order, as far as the file has them.
class CKrByteRun
{
public:
    CKrByteRun(const CKrAviFile& file, std::span<const SKrChunkIndexEntry> chunks)
        : m_file(file), m_chunks(chunks)
    {
        uint64_t total = 0;
        for (const SKrChunkIndexEntry& chunk : chunks)
            total += chunk.size;
        m_block.resize(static_cast<size_t>(std::min<uint64_t>(total, kComparedBytes)));
    }

    // The next bytes; fewer than a block only at the end.
    std::span<const uint8_t> Next()
    {
        size_t filled = 0;
        while (filled < m_block.size() && !m_chunks.empty())
        {
            const SKrChunkIndexEntry& chunk = m_chunks.front();
            const auto wanted =
                static_cast<size_t>(std::min<uint64_t>(m_block.size() - filled, chunk.size - m_inChunk));
            const size_t came =
                wanted == 0 ? 0 : m_file.ReadAt(chunk.position + m_inChunk, m_block.data() + filled, wanted);
            filled += came;
            m_inChunk += came;
            if (came == 0)
            {
                m_chunks = m_chunks.subspan(1);
                m_inChunk = 0;
            }
        }
        return std::span(m_block).first(filled);
    }

private:
    const CKrAviFile& m_file;
    std::span<const SKrChunkIndexEntry> m_chunks;
    uint64_t m_inChunk = 0;
    std::vector<uint8_t> m_block;
};

// The number of the first byte in which two runs differ; nothing when they are the same.
std::optional<uint64_t> FirstDifferentByte(CKrByteRun left, CKrByteRun right, const CKrProgress& progress)
{
    for (uint64_t done = 0;; done += kComparedBytes)
    {
        progress.StopIfAsked();
        const std::span<const uint8_t> one = left.Next();
        const std::span<const uint8_t> two = right.Next();
        const auto place = std::ranges::mismatch(one, two).in1;
        if (place != one.end() || one.size() != two.size())
            return done + static_cast<uint64_t>(place - one.begin());
        if (one.empty())
            return std::nullopt;
    }
}

class CKrMaterialComparison
{
public:
    CKrMaterialComparison(const CKrHashedFile& file, const CKrHashedFile& other, const CKrProgress& progress)
        : m_file(file), m_other(other), m_progress(progress)
    {
    }

    std::vector<SKrDifference> Run()
    {
        for (const EKrStreamKind kind : {EKrStreamKind::Video, EKrStreamKind::Audio, EKrStreamKind::Other})
        {
            const Streams streams = StreamsOf(m_file, kind);
            const Streams others = StreamsOf(m_other, kind);
            for (size_t place = 0; place < std::min(streams.size(), others.size()); ++place)
                Compare(*streams[place], *others[place]);
            if (streams.size() != others.size())
                m_found.push_back(
                    {{{"kind", KindName(kind)}, {"streams", streams.size()}, {"otherStreams", others.size()}},
                     Format("{} and {}", Counted(streams.size(), std::string(KindName(kind)) + " stream"),
                            others.size())});
        }
        return std::move(m_found);
    }

private:
    using Streams = std::vector<const SKrHashedStream*>;

    static Streams StreamsOf(const CKrHashedFile& file, EKrStreamKind kind)
    {
        Streams streams;
        for (const SKrHashedStream& stream : file.Streams())
        {
            if (stream.kind == kind)
                streams.push_back(&stream);
        }
        return streams;
    }

    [[nodiscard]] std::optional<uint64_t> FirstDifference(std::span<const SKrChunkIndexEntry> chunks,
                                                          std::span<const SKrChunkIndexEntry> others) const
    {
        return FirstDifferentByte(CKrByteRun(m_file.File(), chunks), CKrByteRun(m_other.File(), others),
                                  m_progress);
    }

    void Compare(const SKrHashedStream& stream, const SKrHashedStream& other)
    {
        if (stream.bytes == other.bytes && stream.content.xxh128 == other.content.xxh128 &&
            stream.content.md5 == other.content.md5 && stream.lengths.xxh128 == other.lengths.xxh128)
            return;
        Json facts = {{"kind", KindName(stream.kind)},
                      {"stream", stream.chunks.stream},
                      {"otherStream", other.chunks.stream}};
        const std::string name = Format("{} stream {}: ", KindName(stream.kind), stream.chunks.stream);
        if (stream.kind == EKrStreamKind::Audio)
            AddAudio(std::move(facts), name, stream, other);
        else
            AddChunks(std::move(facts), name, stream, other);
    }

    void AddChunks(Json facts, const std::string& name, const SKrHashedStream& stream,
                   const SKrHashedStream& other)
    {
        const Chunks& chunks = stream.chunks.chunks;
        const Chunks& others = other.chunks.chunks;
        const std::string noun = stream.kind == EKrStreamKind::Video ? "frame" : "chunk";
        const size_t both = std::min(chunks.size(), others.size());
        size_t number = 0;
        while (number < both &&
               !FirstDifference(std::span(chunks).subspan(number, 1), std::span(others).subspan(number, 1)))
            ++number;
        facts[noun] = number;
        const std::string counts = Format("{} and {}", Counted(chunks.size(), noun), others.size());
        const std::string same = number == 0 ? "none is the same before one file ends"
                                             : Format("the first {} are the same", number);
        m_found.push_back(
            {std::move(facts), name + (number < both ? Format("{} {}", noun, number)
                                                     : Format("{}, of which {}", counts, same))});
    }

    void AddAudio(Json facts, const std::string& name, const SKrHashedStream& stream,
                  const SKrHashedStream& other)
    {
        const uint64_t byte =
            FirstDifference(stream.chunks.chunks, other.chunks.chunks).value_or(stream.bytes);
        facts["byte"] = byte;
        std::string text = Format("byte {}", byte);
        if (stream.blockAlign != 0)
        {
            facts["sampleFrame"] = byte / stream.blockAlign;
            text += Format(", in sample frame {}", byte / stream.blockAlign);
        }
        if (byte == std::min(stream.bytes, other.bytes))
            text = Format("{} and {}, of which the first {} are the same", Counted(stream.bytes, "byte"),
                          other.bytes, byte);
        m_found.push_back({std::move(facts), name + text});
    }

    const CKrHashedFile& m_file;
    const CKrHashedFile& m_other;
    const CKrProgress& m_progress;
    std::vector<SKrDifference> m_found;
};
} // namespace

std::vector<SKrDifference> Differences(const CKrHashedFile& file, const CKrHashedFile& other,
                                       const CKrProgress& progress)
{
    return CKrMaterialComparison(file, other, progress).Run();
}
} // namespace KrTool
