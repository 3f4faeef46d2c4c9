#include "tools/mend/KrHeaderPlaces.h"

#include "format/KrPrivateChunks.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kMostChunks = 10000; // of all headers; real files have dozens
constexpr uint32_t kLargestRead = 65536;
constexpr uint32_t kLargestFiller = uint32_t{1} << 20; // of which texts can take a part

class CKrHeaderWalk
{
public:
    explicit CKrHeaderWalk(const CKrByteSource& file) : m_file(file), m_window(file) {}

    SKrHeaderPlaces Run()
    {
        const SKrListed riff = ListedAt(0, m_file.Length());
        if (riff.chunk.id != kFccRiff || riff.type != kFccAvi)
            throw CKrToolError(m_file.Path(), Format("not an AVI file (it begins with {} '{}')",
                                                     FourCcText(riff.chunk.id), FourCcText(riff.type)));
        const bool isOpen = IsSizeUnset(riff.chunk.size) || riff.chunk.End() > m_file.Length();
        Walk(kListHeaderSize, isOpen ? m_file.Length() : riff.chunk.End(), EKrListKind::Segment);
        if (!m_hasHeaders)
            throw CKrToolError(m_file.Path(),
                               "it has no header list 'hdrl'; kravi recover may make a file of it");
        if (!m_places.texts)
            m_places.texts = m_filler;
        return std::move(m_places);
    }

private:
    struct SKrListed
    {
        SKrPlacedChunk chunk;
        uint32_t type = 0;
    };

    SKrListed ListedAt(uint64_t position, uint64_t end)
    {
        const auto left = static_cast<size_t>(std::min<uint64_t>(kListHeaderSize, end - position));
        const std::span<const uint8_t> bytes = m_window.At(position, left);
        if (bytes.size() < kChunkHeaderSize)
            return {{position, 0, 0}, 0};
        const SKrChunkHeader header = DecodeChunkHeader(bytes);
        return {{position, header.id, header.size}, IsContainer(header.id) ? header.firstData : 0};
    }

    // Up to 'movi', which is stepped over where its size is known.
    void Walk(uint64_t position, uint64_t end, EKrListKind around)
    {
        while (position + kChunkHeaderSize <= end)
        {
            const SKrListed listed = ListedAt(position, end);
            if (listed.chunk.End() > end)
            {
                if (around != EKrListKind::Segment || !m_hasHeaders)
                    Refuse(listed.chunk);
                return; // the data, of a recording that was not closed or of a truncated file
            }
            if (++m_chunks > kMostChunks)
                throw CKrToolError(m_file.Path(), "its headers have too many chunks");
            const uint64_t next = RoundUpToEven(listed.chunk.End());
            if (listed.chunk.id == kFccList)
                TakeList(listed, std::min(next, end), end, around);
            else
                TakeChunk(listed.chunk, around);
            position = next;
        }
    }

    [[noreturn]] void Refuse(const SKrPlacedChunk& chunk) const
    {
        throw CKrToolError(
            m_file.Path(),
            Format("the size of the chunk {} at {} leads out of its list; kravi reindex or kravi "
                   "recover may help",
                   FourCcText(chunk.id), chunk.position));
    }

    void TakeList(const SKrListed& list, uint64_t next, uint64_t end, EKrListKind around)
    {
        if (around == EKrListKind::Info)
            m_places.texts->texts.push_back(Loaded(list.chunk));
        const SKrListKind* const kind = KindOfList(list.type);
        if (kind == nullptr || around == EKrListKind::Info)
            return;
        const uint64_t inside = list.chunk.position + kListHeaderSize;
        switch (kind->kind)
        {
        case EKrListKind::Hdrl:
            if (around != EKrListKind::Segment)
                return; // so that the depth has an end
            m_hasHeaders = true;
            return Walk(inside, list.chunk.End(), kind->kind);
        case EKrListKind::Strl:
            if (around != EKrListKind::Hdrl || m_places.streams.size() == kMostStreams)
                return;
            m_places.streams.emplace_back();
            return Walk(inside, list.chunk.End(), kind->kind);
        case EKrListKind::Info:
            if (!m_places.texts && around != EKrListKind::Strl)
                TakeTexts(list.chunk, next, end);
            return;
        case EKrListKind::Movi:
            m_isPastData = true;
            return;
        default:
            return;
        }
    }

    void TakeTexts(const SKrPlacedChunk& list, uint64_t next, uint64_t end)
    {
        SKrTextSpace& space = m_places.texts.emplace();
        space.position = list.position;
        space.hasList = true;
        Walk(list.position + kListHeaderSize, list.End(), EKrListKind::Info);
        space.end = next;
        if (next + kChunkHeaderSize > end)
            return;
        const SKrPlacedChunk after = ListedAt(next, end).chunk;
        if (IsFreeFiller(after, end))
            space.end = RoundUpToEven(after.End());
    }

    // Filler of zeros: any other content may have a meaning to somebody.
    bool IsFreeFiller(const SKrPlacedChunk& chunk, uint64_t end)
    {
        if (chunk.id != kFccJunk || RoundUpToEven(chunk.End()) > end || chunk.size > kLargestFiller)
            return false;
        std::vector<uint8_t> bytes(chunk.size);
        m_file.Fill(chunk.Data(), bytes);
        return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; });
    }

    void TakeChunk(const SKrPlacedChunk& chunk, EKrListKind around)
    {
        if (around == EKrListKind::Hdrl && chunk.id == kFccAvih && !m_places.mainHeader)
            m_places.mainHeader = Loaded(chunk);
        else if (around == EKrListKind::Strl)
            TakeStreamChunk(chunk, m_places.streams.back());
        else if (around == EKrListKind::Info)
            m_places.texts->texts.push_back(Loaded(chunk));
        else if (around == EKrListKind::Segment && m_hasHeaders && !m_isPastData)
            TakeSegmentChunk(chunk);
    }

    void TakeStreamChunk(const SKrPlacedChunk& chunk, SKrHeaderStream& stream)
    {
        if (chunk.id == kFccStrh && !stream.header)
        {
            stream.header = Loaded(chunk);
            static_cast<void>(DecodeStreamHeader(stream.header->bytes, stream.fields));
        }
        else if (chunk.id == kFccStrf && !stream.format)
            stream.format = Loaded(chunk);
        else if (chunk.id == kFccVprp && !stream.shape)
            stream.shape = Loaded(chunk);
    }

    void TakeSegmentChunk(const SKrPlacedChunk& chunk)
    {
        if (FindPrivateChunkKind(chunk.id) != nullptr)
            m_places.privateChunks.push_back(Loaded(chunk));
        else if (!m_filler && IsFreeFiller(chunk, m_file.Length()))
            m_filler = SKrTextSpace{chunk.position, RoundUpToEven(chunk.End()), false, {}};
    }

    SKrHeaderChunk Loaded(const SKrPlacedChunk& chunk)
    {
        SKrHeaderChunk loaded{chunk, {}};
        loaded.bytes.resize(std::min(chunk.size, kLargestRead));
        m_file.Fill(chunk.Data(), loaded.bytes);
        return loaded;
    }

    const CKrByteSource& m_file;
    CKrFileWindow m_window;
    SKrHeaderPlaces m_places;
    std::optional<SKrTextSpace> m_filler;
    bool m_hasHeaders = false;
    bool m_isPastData = false;
    size_t m_chunks = 0;
};
} // namespace

SKrHeaderPlaces FindHeaderPlaces(const CKrByteSource& file)
{
    return CKrHeaderWalk(file).Run();
}
} // namespace KrTool
