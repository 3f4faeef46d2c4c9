#include "tools/recover/KrDamagedHeaders.h"

#include "format/KrFourCC.h"
#include "tools/input/KrFormatTags.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/input/KrWaveInput.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
constexpr size_t kSearchedBytes = size_t{4} << 20; // headers are much smaller
constexpr size_t kTagSize = 4;
constexpr size_t kSizeField = 4;
constexpr size_t kListHeader = 12; // a list's id, its size and its type
constexpr size_t kShortestFormat = 14;

bool IsOfKind(const SKrStreamHeader& stream, EKrStreamKind kind)
{
    return kind == EKrStreamKind::Video ? stream.IsVideo() : stream.IsAudio();
}

bool IsTag(uint32_t tag)
{
    static constexpr std::array<uint32_t, 5> kTags = {kFccAvih, kFccStrl, kFccStrh, kFccStrf, kFccDmlh};
    return std::ranges::find(kTags, tag) != kTags.end();
}

// Bytes from the start of the file to the first list of data chunks.
size_t HeaderBytes(std::span<const uint8_t> bytes)
{
    for (size_t at = 0; at + kListHeader <= bytes.size(); ++at)
    {
        if (bytes[at] == 'L' && GetLe32(bytes, at) == kFccList && GetLe32(bytes, at + 8) == kFccMovi)
            return at;
    }
    return bytes.size();
}

// What a format without a stream header belongs to; 0 when it cannot be told.
uint32_t TypeByFormat(std::span<const uint8_t> format)
{
    if (format.size() >= kBitmapHeaderSize && GetLe32(format, 0) == kBitmapHeaderSize)
        return kFccVids;
    return format.size() < kBitmapHeaderSize && GetLe16(format, 0) == kTagPcm ? kFccAuds : 0;
}
} // namespace

CKrDamagedHeaders::CKrDamagedHeaders(IKrFile& file, const std::string& path, uint64_t length)
    : m_bytes(static_cast<size_t>(std::min<uint64_t>(length, kSearchedBytes)))
{
    ReadExactly(file, path, 0, m_bytes.data(), m_bytes.size());
    m_bytes.resize(HeaderBytes(m_bytes));
    ReadAll();
    for (SKrStreamHeader& stream : m_headers.streams)
    {
        stream.number = static_cast<uint32_t>(&stream - m_headers.streams.data());
        if (stream.type == 0)
            stream.type = TypeByFormat(stream.format);
    }
    m_bytes = {};
}

const SKrStreamHeader* CKrDamagedHeaders::First(EKrStreamKind kind) const
{
    const auto found =
        std::ranges::find_if(m_headers.streams, [kind](auto& stream) { return IsOfKind(stream, kind); });
    return found != m_headers.streams.end() ? &*found : nullptr;
}

const SKrStreamHeader* CKrDamagedHeaders::HeaderOf(EKrStreamKind kind, uint32_t number) const
{
    const std::vector<SKrStreamHeader>& streams = m_headers.streams;
    if (number < streams.size() && IsOfKind(streams[number], kind))
        return &streams[number];
    const auto count =
        std::ranges::count_if(streams, [kind](auto& stream) { return IsOfKind(stream, kind); });
    return count == 1 ? First(kind) : nullptr;
}

size_t CKrDamagedHeaders::NextTag(size_t from) const
{
    for (size_t at = from; at + kTagSize <= m_bytes.size(); ++at)
    {
        if (IsTag(GetLe32(m_bytes, at)))
            return at;
    }
    return m_bytes.size();
}

void CKrDamagedHeaders::ReadAll()
{
    for (size_t at = NextTag(0); at + kTagSize <= m_bytes.size(); at = NextTag(at + kTagSize))
        ReadTag(GetLe32(m_bytes, at), at + kTagSize + kSizeField);
}

void CKrDamagedHeaders::ReadTag(uint32_t tag, size_t data)
{
    if (tag == kFccStrl)
        m_startsStream = true;
    else if (tag == kFccAvih && !m_hasMainHeader)
        ReadMainHeader(data);
    else if (tag == kFccDmlh && m_headers.framesInAll == 0)
        m_headers.framesInAll = GetLe32(m_bytes, data);
    else if (tag == kFccStrh)
        ReadStreamHeader(data);
    else if (tag == kFccStrf)
        ReadFormat(data);
}

void CKrDamagedHeaders::ReadMainHeader(size_t data)
{
    m_hasMainHeader = true;
    m_headers.microSecPerFrame = GetLe32(m_bytes, data);
    m_headers.width = GetLe32(m_bytes, data + 32);
    m_headers.height = GetLe32(m_bytes, data + 36);
}

// The stream that a header or a format belongs to: another one than before when a new list began, or when
// that one has such a thing already.
SKrStreamHeader& CKrDamagedHeaders::CurrentStream(bool isTaken)
{
    const bool mayGrow = m_headers.streams.size() < kMostStreams;
    if (m_headers.streams.empty() || (mayGrow && (m_startsStream || isTaken)))
        m_headers.streams.emplace_back();
    m_startsStream = false;
    return m_headers.streams.back();
}

void CKrDamagedHeaders::ReadStreamHeader(size_t data)
{
    SKrStreamHeader& stream =
        CurrentStream(!m_headers.streams.empty() &&
                      (m_headers.streams.back().hasHeader || !m_headers.streams.back().format.empty()));
    stream.hasHeader = true;
    stream.type = GetLe32(m_bytes, data);
    stream.handler = GetLe32(m_bytes, data + 4);
    stream.scale = GetLe32(m_bytes, data + 20);
    stream.rate = GetLe32(m_bytes, data + 24);
    stream.start = GetLe32(m_bytes, data + 28);
    stream.length = GetLe32(m_bytes, data + 32);
    stream.sampleSize = GetLe32(m_bytes, data + 44);
}

// The size is taken where it ends in front of the next header, else the size that such formats have.
void CKrDamagedHeaders::ReadFormat(size_t data)
{
    SKrStreamHeader& stream =
        CurrentStream(!m_headers.streams.empty() && !m_headers.streams.back().format.empty());
    const size_t from = std::min(data, m_bytes.size());
    const size_t most = std::min<size_t>(NextTag(from) - from, m_bytes.size() - from);
    size_t size = GetLe32(m_bytes, data - kSizeField);
    if (size < kShortestFormat || size > std::min<size_t>(most, kLargestFormat))
        size = std::min(most, stream.IsAudio() ? kWaveFormatSize : kBitmapHeaderSize);
    const auto start = m_bytes.begin() + static_cast<std::ptrdiff_t>(from);
    stream.format.assign(start, start + static_cast<std::ptrdiff_t>(size));
}
} // namespace KrTool
