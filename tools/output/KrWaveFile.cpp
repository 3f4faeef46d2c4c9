#include "tools/output/KrWaveFile.h"

#include "format/KrAviHeaders.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <cstddef>

namespace KrTool
{
namespace
{
// A 'ds64' payload: sizes of the file, the data and the samples in 64 bits, and an empty table.
constexpr uint32_t kLargeSizesBytes = 28;

constexpr uint64_t kLargestPlainSize = UINT32_MAX;

// The overhead around the audio bytes is smaller.
constexpr uint64_t kRoomForHeaders = 0x20000;

template <class NUMBER>
void Put(std::vector<uint8_t>& out, NUMBER value)
{
    for (size_t byte = 0; byte < sizeof(NUMBER); ++byte)
        out.push_back(static_cast<uint8_t>(value >> (8 * byte)));
}

uint32_t Capped(uint64_t value)
{
    return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}
} // namespace

std::vector<uint8_t> WaveFormatBytes(std::span<const uint8_t> streamFormat)
{
    if (streamFormat.size() < kPcmWaveFormatSize)
        return {};
    std::vector<uint8_t> bytes(streamFormat.begin(), streamFormat.begin() + kPcmWaveFormatSize);
    const SKrWaveFormat format = DecodeWaveFormat(streamFormat);
    if (format.formatTag == kFormatTagPcm)
        return bytes;
    const auto extraBytes =
        streamFormat.subspan(std::min<size_t>(streamFormat.size(), SKrWaveFormat::kEncodedSize));
    const auto extra = static_cast<uint16_t>(std::min<size_t>(format.extraSize, extraBytes.size()));
    Put(bytes, extra);
    bytes.insert(bytes.end(), extraBytes.begin(), extraBytes.begin() + extra);
    return bytes;
}

CKrWaveFile::CKrWaveFile(const std::string& target, bool replace, std::span<const uint8_t> format,
                         uint64_t mostBytes, uint64_t sampleFrames)
    : m_file(target, replace), m_isStandard(IsStandardOutput(target)), m_sampleFrames(sampleFrames),
      m_hasRoom(mostBytes > kLargestPlainSize - kRoomForHeaders)
{
    std::vector<uint8_t> head;
    Put(head, kFccRiff);
    Put(head, uint32_t{0});
    Put(head, KrFourCC("WAVE"));
    if (m_hasRoom)
    {
        Put(head, kFccJunk);
        Put(head, kLargeSizesBytes);
        head.resize(head.size() + kLargeSizesBytes);
    }
    Put(head, KrFourCC("fmt "));
    Put(head, static_cast<uint32_t>(format.size()));
    head.insert(head.end(), format.begin(), format.end());
    head.resize(head.size() + head.size() % 2);
    if (DecodeWaveFormat(format).formatTag != kFormatTagPcm)
    {
        Put(head, KrFourCC("fact"));
        Put(head, uint32_t{4});
        m_factPosition = head.size();
        Put(head, uint32_t{0});
    }
    Put(head, KrFourCC("data"));
    m_dataSizePosition = head.size();
    Put(head, uint32_t{0});
    if (m_isStandard)
    {
        m_head = std::move(head);
        m_dataBytes = mostBytes;
        PatchSizes();
        head = std::move(m_head);
        m_dataBytes = 0;
    }
    m_file.Write(head.data(), head.size());
}

void CKrWaveFile::Write(const void* data, size_t size)
{
    m_file.Write(data, size);
    m_dataBytes += size;
}

uint64_t CKrWaveFile::RiffSize() const
{
    return m_dataSizePosition + 4 + m_dataBytes + m_dataBytes % 2 - kChunkHeaderSize;
}

void CKrWaveFile::Patch(uint64_t position, const std::vector<uint8_t>& bytes)
{
    if (m_isStandard)
    {
        std::ranges::copy(bytes, m_head.begin() + static_cast<ptrdiff_t>(position));
        return;
    }
    m_file.SeekTo(position);
    m_file.Write(bytes.data(), bytes.size());
}

void CKrWaveFile::PatchPlain()
{
    const auto patchSize = [this](uint64_t position, uint64_t size)
    {
        std::vector<uint8_t> bytes(sizeof(uint32_t));
        PutLe32(bytes.data(), Capped(size));
        Patch(position, bytes);
    };
    patchSize(4, RiffSize());
    patchSize(m_dataSizePosition, m_dataBytes);
    if (m_factPosition != 0)
        patchSize(m_factPosition, m_sampleFrames);
}

// The 32-bit fields are then all ones; the reserved chunk takes the true sizes.
void CKrWaveFile::PatchLarge()
{
    std::vector<uint8_t> sizes;
    Put(sizes, KrFourCC("ds64"));
    Put(sizes, kLargeSizesBytes);
    Put(sizes, RiffSize());
    Put(sizes, m_dataBytes);
    Put(sizes, m_sampleFrames);
    Put(sizes, uint32_t{0});
    Patch(kListHeaderSize, sizes);
    const std::vector<uint8_t> unknown(4, 0xFF);
    Patch(0, {'R', 'F', '6', '4'});
    Patch(4, unknown);
    Patch(m_dataSizePosition, unknown);
    if (m_factPosition != 0)
        Patch(m_factPosition, unknown);
}

void CKrWaveFile::PatchSizes()
{
    if (RiffSize() <= kLargestPlainSize)
        PatchPlain();
    else if (m_hasRoom)
        PatchLarge();
    else
        throw CKrToolError({}, "too much audio for the file");
}

void CKrWaveFile::Commit()
{
    if (m_dataBytes % 2 != 0)
        m_file.Write("", 1);
    if (!m_isStandard)
        PatchSizes();
    m_file.Commit();
}
} // namespace KrTool
