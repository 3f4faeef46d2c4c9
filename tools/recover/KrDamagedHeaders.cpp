#include "tools/recover/KrDamagedHeaders.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kSearchedBytes = size_t{4} << 20; // headers are much smaller
constexpr size_t kTagSize = 4;
constexpr size_t kSizeField = kChunkHeaderSize - kTagSize;

bool IsTag(uint32_t tag)
{
    return tag == kFccAvih || tag == kFccStrl || tag == kFccStrh || tag == kFccStrf || tag == kFccDmlh;
}

// Bytes from the start of the file to the first list of data chunks.
size_t HeaderBytes(std::span<const uint8_t> bytes)
{
    for (size_t at = 0; at + kListHeaderSize <= bytes.size(); ++at)
    {
        const SKrChunkHeader header = DecodeChunkHeader(bytes.subspan(at, kListHeaderSize));
        if (header.id == kFccList && header.firstData == kFccMovi)
            return at;
    }
    return bytes.size();
}

// The stream type of a format without a stream header; 0 when unknown.
uint32_t TypeByFormat(std::span<const uint8_t> format)
{
    constexpr size_t kPictureFormat = SKrBitmapHeader::kEncodedSize;
    if (format.size() >= kPictureFormat && DecodeBitmapHeader(format).size == kPictureFormat)
        return kFccVids;
    const bool isPcm = DecodeWaveFormat(format).formatTag == kFormatTagPcm;
    return format.size() < kPictureFormat && isPcm ? kFccAuds : 0;
}
} // namespace

CKrDamagedHeaders::CKrDamagedHeaders(const CKrByteSource& file)
    : m_bytes(static_cast<size_t>(std::min<uint64_t>(file.Length(), kSearchedBytes)))
{
    file.Fill(0, m_bytes);
    m_bytes.resize(HeaderBytes(m_bytes));
    for (size_t at = NextTag(0); at + kTagSize <= m_bytes.size(); at = NextTag(at + kTagSize))
        ReadTag(GetLe32(&m_bytes[at]), at + kTagSize + kSizeField);
    for (SKrAviStream& stream : m_headers.streams)
    {
        stream.number = static_cast<uint32_t>(&stream - m_headers.streams.data());
        if (stream.type == 0)
            stream.type = TypeByFormat(stream.format);
    }
    m_bytes = {};
}

const SKrAviStream* CKrDamagedHeaders::HeaderOf(EKrStreamKind kind, uint32_t number) const
{
    const std::vector<SKrAviStream>& streams = m_headers.streams;
    if (number < streams.size() && streams[number].IsOfKind(kind))
        return &streams[number];
    const auto count = std::ranges::count_if(streams, [kind](auto& stream) { return stream.IsOfKind(kind); });
    return count == 1 ? FirstStream(streams, kind) : nullptr;
}

size_t CKrDamagedHeaders::NextTag(size_t from) const
{
    for (size_t at = from; at + kTagSize <= m_bytes.size(); ++at)
    {
        if (IsTag(GetLe32(&m_bytes[at])))
            return at;
    }
    return m_bytes.size();
}

void CKrDamagedHeaders::ReadTag(uint32_t tag, size_t data)
{
    if (tag == kFccStrl)
        m_startsStream = true;
    else if (tag == kFccAvih && !m_headers.hasMainHeader)
    {
        CKrByteReader in(From(data));
        m_headers.hasMainHeader = true;
        static_cast<void>(Decode(in, m_headers.mainHeader));
    }
    else if (tag == kFccDmlh && m_headers.declaredFramesInAll.value_or(0) == 0)
        m_headers.declaredFramesInAll = CKrByteReader(From(data)).U32Le();
    else if (tag == kFccStrh)
        ReadStreamHeader(data);
    else if (tag == kFccStrf)
        ReadFormat(data);
}

std::span<const uint8_t> CKrDamagedHeaders::From(size_t data) const
{
    return std::span(m_bytes).subspan(std::min(data, m_bytes.size()));
}

// The stream that a header or a format belongs to: another one than before when a new list began, or when
// that one has such a thing already.
SKrAviStream& CKrDamagedHeaders::CurrentStream(bool isTaken)
{
    const bool mayGrow = m_headers.streams.size() < kMostStreams;
    if (m_headers.streams.empty() || (mayGrow && (m_startsStream || isTaken)))
        m_headers.streams.emplace_back();
    m_startsStream = false;
    return m_headers.streams.back();
}

void CKrDamagedHeaders::ReadStreamHeader(size_t data)
{
    SKrAviStream& stream =
        CurrentStream(!m_headers.streams.empty() &&
                      (m_headers.streams.back().hasHeader || !m_headers.streams.back().format.empty()));
    const std::span<const uint8_t> bytes = From(data);
    stream.TakeHeader(bytes.first(std::min<size_t>(bytes.size(), SKrStreamHeader::kEncodedSize)));
}

// The stored size if it ends before the next header, else the usual size of such formats.
void CKrDamagedHeaders::ReadFormat(size_t data)
{
    SKrAviStream& stream =
        CurrentStream(!m_headers.streams.empty() && !m_headers.streams.back().format.empty());
    const size_t from = std::min(data, m_bytes.size());
    const size_t most = std::min<size_t>(NextTag(from) - from, m_bytes.size() - from);
    size_t size = CKrByteReader(From(data - kSizeField)).U32Le();
    if (size < kShortestWaveFormat || size > std::min<size_t>(most, kLargestFormat))
        size = std::min(most, stream.IsAudio() ? SKrWaveFormat::kEncodedSize : SKrBitmapHeader::kEncodedSize);
    const auto start = m_bytes.begin() + static_cast<std::ptrdiff_t>(from);
    stream.format.assign(start, start + static_cast<std::ptrdiff_t>(size));
}
} // namespace KrTool
