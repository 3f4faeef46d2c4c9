// 'idx1' against the chunks of its segment.
#include "format/KrAviIndexes.h"
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrIndexEntries.h"

#include <array>
#include <map>

namespace KrTool
{
namespace
{
constexpr size_t kEntriesForBase = 256;

class CKrOldIndexCheck
{
public:
    CKrOldIndexCheck(const SKrVerifyContext& context, size_t segment, CKrStrayLook& strays)
        : m_context(context), m_results(context.results), m_model(context.model), m_lookup(context.model),
          m_strays(strays), m_segment(segment), m_index(*context.model.segments[segment].oldIndex),
          m_count(m_index.size / SKrOldIndexEntry::kEncodedSize)
    {
    }

    void Run()
    {
        const uint32_t rest = m_index.size % SKrOldIndexEntry::kEncodedSize;
        if (rest != 0)
            m_results.Add(EKrCheck::Idx1Rest, m_index.End() - rest, "whole entries", Counted(rest, "byte"));
        m_base = FindBase();
        ForEachEntry(m_context.window, m_index.Data(), m_count, SKrOldIndexEntry::kEncodedSize,
                     [this](std::span<const uint8_t> bytes, uint64_t position)
                     {
                         CheckEntry(DecodeOldIndexEntry(bytes.data()), position);
                         return true;
                     });
        CheckMissing();
        CheckKeyFrames();
    }

private:
    struct SKrKeyCounts
    {
        uint64_t entries = 0;
        uint64_t keys = 0;
        uint64_t firstPosition = 0;
        bool isFirstKey = false;
        EKrContent content = EKrContent::Other;
    };

    // Three ways to count are in use: from the type of 'movi', from the start of the file, and from wherever
    // the first entry gives the first chunk of its stream. The one that finds most chunks is taken.
    uint64_t FindBase()
    {
        const std::optional<uint64_t> movi = m_model.segments[m_segment].movi;
        std::array<uint64_t, 3> bases = {movi.value_or(0), 0, 0};
        std::array<size_t, 3> hits = {};
        size_t tried = 0;
        bool isMarked = false;
        ForEachEntry(m_context.window, m_index.Data(), m_count, SKrOldIndexEntry::kEncodedSize,
                     [&](std::span<const uint8_t> bytes, uint64_t position)
                     {
                         m_context.progress.StopIfAsked();
                         const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes.data());
                         if (position == m_index.Data())
                             isMarked = entry.chunkId == kFccAbsoluteIdx1;
                         if (!DataTagOf(entry.chunkId, m_model.streams.size()))
                             return true;
                         if (tried == 0)
                             bases[2] = FirstChunkOf(entry.chunkId) - entry.offset;
                         for (size_t way = 0; way < bases.size(); ++way)
                             hits[way] += m_lookup.At(bases[way] + entry.offset) != nullptr ? 1 : 0;
                         return ++tried < kEntriesForBase;
                     });
        const size_t way = static_cast<size_t>(std::ranges::max_element(hits) - hits.begin());
        const std::string wanted = movi ? Format("offsets from {}", *movi) : "offsets from movi";
        if (way == 1)
            m_results.Add(isMarked ? EKrCheck::Idx1OffsetsMarked : EKrCheck::Idx1OffsetsAbsolute,
                          m_index.Data(), wanted, "offsets from 0");
        else if (way == 2)
            m_results.Add(EKrCheck::Idx1BaseUnusual, m_index.Data(), wanted,
                          Format("offsets from {}", static_cast<int64_t>(bases[2])));
        return bases[way];
    }

    // The first chunk of a stream in the segment; 0 when there is none.
    uint64_t FirstChunkOf(uint32_t id) const
    {
        const auto tag = DataTagOf(id, m_model.streams.size());
        const auto [first, last] = ChunksOfSegment();
        const auto found = std::find_if(first, last,
                                        [&tag](const SKrDataChunk& chunk) {
                                            return chunk.stream == tag->stream && chunk.kind == tag->content;
                                        });
        return found == last ? 0 : uint64_t{found->position};
    }

    using Chunks = std::vector<SKrDataChunk>::const_iterator;

    std::pair<Chunks, Chunks> ChunksOfSegment() const
    {
        const auto at = [this](uint64_t position)
        {
            return std::ranges::lower_bound(std::as_const(m_model.chunks), position, {},
                                            &SKrDataChunk::Position);
        };
        const bool isLast = m_segment + 1 == m_model.segments.size();
        return {at(m_model.segments[m_segment].position),
                isLast ? m_model.chunks.cend() : at(m_model.segments[m_segment + 1].position)};
    }

    void CheckEntry(const SKrOldIndexEntry& entry, uint64_t position)
    {
        m_context.progress.StopIfAsked();
        ++m_model.oldIndexEntries;
        if (entry.chunkId == kFccAbsoluteIdx1)
        {
            m_results.Add(EKrCheck::Idx1Marker, position, FoundId("entries of chunks", entry.chunkId));
            return;
        }
        if (entry.chunkId == kFccRec)
            return;
        const auto tag = DataTagOf(entry.chunkId, m_model.streams.size());
        if (!tag)
        {
            m_results.Add(EKrCheck::Idx1IdUnknown, position, FoundId("a data chunk's id", entry.chunkId));
            return;
        }
        CountKey(*tag, entry, position);
        const uint64_t target = m_base + entry.offset;
        if (!m_lookup.Covers(target))
            return;
        if (SKrDataChunk* const chunk = m_lookup.At(target); chunk != nullptr)
            CheckChunk(entry, *tag, position, *chunk);
        else
            NoteStray(entry, *tag, position, target);
    }

    void NoteStray(const SKrOldIndexEntry& entry, const SKrDataTag& tag, uint64_t position, uint64_t target)
    {
        EKrCheck check = EKrCheck::Idx1EntryNoChunk;
        if (entry.offset == 0)
            check = EKrCheck::Idx1OffsetZero;
        else if (m_strays.IdAt(target) == entry.chunkId)
            check = EKrCheck::Idx1EntryInChunk;
        m_model.AddLost({target, entry.size, static_cast<uint16_t>(tag.stream), tag.content,
                         check == EKrCheck::Idx1EntryInChunk});
        m_results.Add(check, position,
                      [&]
                      {
                          return SKrExpectation{"a chunk " + FourCcText(entry.chunkId),
                                                Format("offset {}, position {}", entry.offset, target)};
                      });
    }

    void CheckChunk(const SKrOldIndexEntry& entry, const SKrDataTag& tag, uint64_t position,
                    SKrDataChunk& chunk)
    {
        if (entry.size != chunk.size)
            AddSizeDifference(m_context, chunk, EKrCheck::Idx1SizeDiffers, position, entry.size);
        if (tag.stream != chunk.stream || tag.content != chunk.kind)
            m_results.Add(EKrCheck::Idx1IdDiffers, position,
                          [&] {
                              return SKrExpectation{Format("an id of stream {}", chunk.stream),
                                                    FourCcText(entry.chunkId)};
                          });
        if ((chunk.marks & SKrDataChunk::kInIdx1) != 0)
            m_results.Add(EKrCheck::Idx1OffsetRepeated, position,
                          FoundPosition("another chunk", chunk.position));
        else if (chunk.position < m_lastPosition)
            m_results.Add(EKrCheck::Idx1OutOfOrder, position, FoundBefore(m_lastPosition, chunk.position));
        m_lastPosition = chunk.position;
        chunk.marks |= SKrDataChunk::kInIdx1;
        if ((entry.flags & kAviifKeyFrame) != 0)
            chunk.marks |= SKrDataChunk::kKeyInIdx1;
    }

    void CountKey(const SKrDataTag& tag, const SKrOldIndexEntry& entry, uint64_t position)
    {
        if (tag.content != EKrContent::Video && tag.content != EKrContent::Audio)
            return;
        SKrKeyCounts& counts = m_keys[tag.stream];
        const bool isKey = (entry.flags & kAviifKeyFrame) != 0;
        if (counts.entries++ == 0)
        {
            counts.content = tag.content;
            counts.firstPosition = position;
            counts.isFirstKey = isKey;
        }
        counts.keys += isKey ? 1 : 0;
    }

    void CheckKeyFrames()
    {
        for (const auto& [stream, counts] : m_keys)
        {
            const std::string name = Format("stream {}", stream);
            if (counts.content == EKrContent::Audio && counts.keys == 0)
                m_results.Add(EKrCheck::Idx1SoundNotKey, counts.firstPosition, "key frames", name);
            if (counts.content != EKrContent::Video)
                continue;
            if (counts.keys == 0)
                m_results.Add(EKrCheck::Idx1NoKeyFrame, counts.firstPosition, "a key frame", name);
            else if (!counts.isFirstKey)
                m_results.Add(EKrCheck::Idx1FirstNotKey, counts.firstPosition, "a key frame", name);
        }
    }

    void CheckMissing()
    {
        const auto [first, last] = ChunksOfSegment();
        for (auto chunk = first; chunk != last; ++chunk)
        {
            const bool isWanted = chunk->kind != EKrContent::Other && chunk->size != 0 &&
                                  chunk->stream < m_model.streams.size();
            if (isWanted && (chunk->marks & SKrDataChunk::kInIdx1) == 0)
                m_results.Add(EKrCheck::Idx1ChunkMissing, chunk->position,
                              FoundChunk("an entry", chunk->stream));
        }
    }

    const SKrVerifyContext& m_context;
    CKrVerifyResults& m_results;
    SKrVerifyModel& m_model;
    CKrChunkLookup m_lookup;
    CKrStrayLook& m_strays;
    const size_t m_segment;
    const SKrPlacedChunk m_index;
    const uint64_t m_count;
    uint64_t m_base = 0;
    uint64_t m_lastPosition = 0;
    std::map<uint32_t, SKrKeyCounts> m_keys; // by stream; an id has room for 256
};
} // namespace

void CheckOldIndexes(const SKrVerifyContext& context)
{
    CKrStrayLook strays(context.strayWindow);
    const std::vector<SKrSegmentPlace>& segments = context.model.segments;
    for (size_t segment = 0; segment < segments.size(); ++segment)
    {
        if (segments[segment].oldIndex)
            CKrOldIndexCheck(context, segment, strays).Run();
    }
    if (context.model.HasSuperIndex() && !segments.empty() && !segments.front().oldIndex)
        context.results.Add(EKrCheck::Idx1Absent, segments.front().position, "idx1", "none");
}
} // namespace KrTool
