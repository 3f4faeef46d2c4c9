#include "tools/output/KrWaveFile.h"

#include "tools/command/KrToolError.h"
#include "tools/input/KrFormatTags.h"
#include "tools/input/KrLittleEndian.h"

#include <algorithm>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kPcmFormatSize = 16;
constexpr size_t kFormatHeadSize = 18; // with the size of what follows

// A 'ds64' payload: sizes of the file, the data and the samples in 64 bits, and an empty table.
constexpr uint32_t kLargeSizesBytes = 28;

// Behind the id and size of the file, and its form type.
constexpr uint64_t kFirstChunk = 12;
constexpr uint64_t kRiffHeaderSize = 8;
constexpr uint64_t kLargestPlainSize = UINT32_MAX;

// All that stands around the audio bytes is smaller than this.
constexpr uint64_t kRoomForHeaders = 0x20000;

void PutText(std::vector<uint8_t>& out, std::string_view text)
{
    out.insert(out.end(), text.begin(), text.end());
}

uint32_t Capped(uint64_t value)
{
    return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX));
}
} // namespace

std::vector<uint8_t> WaveFormatBytes(std::span<const uint8_t> streamFormat)
{
    if (streamFormat.size() < kPcmFormatSize)
        return {};
    std::vector<uint8_t> format(streamFormat.begin(), streamFormat.begin() + kPcmFormatSize);
    if (GetLe16(format, 0) == kTagPcm)
        return format;
    const size_t behindHead = streamFormat.size() - std::min(streamFormat.size(), kFormatHeadSize);
    const size_t extra = std::min<size_t>(GetLe16(streamFormat, kPcmFormatSize), behindHead);
    PutLe(format, extra, 2);
    const auto first = streamFormat.begin() + static_cast<std::ptrdiff_t>(streamFormat.size() - behindHead);
    format.insert(format.end(), first, first + static_cast<std::ptrdiff_t>(extra));
    return format;
}

CKrWaveFile::CKrWaveFile(const std::string& target, bool replace, std::span<const uint8_t> format,
                         uint64_t mostBytes)
    : m_file(target, replace), m_hasRoom(mostBytes > kLargestPlainSize - kRoomForHeaders)
{
    std::vector<uint8_t> head;
    PutText(head, "RIFF");
    PutLe(head, 0, 4);
    PutText(head, "WAVE");
    if (m_hasRoom)
    {
        PutText(head, "JUNK");
        PutLe(head, kLargeSizesBytes, 4);
        head.resize(head.size() + kLargeSizesBytes);
    }
    PutText(head, "fmt ");
    PutLe(head, format.size(), 4);
    head.insert(head.end(), format.begin(), format.end());
    head.resize(head.size() + head.size() % 2);
    if (GetLe16(format, 0) != kTagPcm)
    {
        PutText(head, "fact");
        PutLe(head, 4, 4);
        m_factPosition = head.size();
        PutLe(head, 0, 4);
    }
    PutText(head, "data");
    m_dataSizePosition = head.size();
    PutLe(head, 0, 4);
    m_file.Write(head.data(), head.size());
}

void CKrWaveFile::Write(const void* data, size_t size)
{
    m_file.Write(data, size);
    m_dataBytes += size;
}

uint64_t CKrWaveFile::RiffSize() const
{
    return m_dataSizePosition + 4 + m_dataBytes + m_dataBytes % 2 - kRiffHeaderSize;
}

void CKrWaveFile::Patch(uint64_t position, const std::vector<uint8_t>& bytes)
{
    m_file.SeekTo(position);
    m_file.Write(bytes.data(), bytes.size());
}

void CKrWaveFile::PatchPlain(uint64_t sampleFrames)
{
    const auto patchSize = [this](uint64_t position, uint64_t size)
    {
        std::vector<uint8_t> bytes;
        PutLe(bytes, Capped(size), 4);
        Patch(position, bytes);
    };
    patchSize(4, RiffSize());
    patchSize(m_dataSizePosition, m_dataBytes);
    if (m_factPosition != 0)
        patchSize(m_factPosition, sampleFrames);
}

// The 32-bit fields are all ones then; the room in front takes the true sizes.
void CKrWaveFile::PatchLarge(uint64_t sampleFrames)
{
    std::vector<uint8_t> sizes;
    PutText(sizes, "ds64");
    PutLe(sizes, kLargeSizesBytes, 4);
    PutLe(sizes, RiffSize(), 8);
    PutLe(sizes, m_dataBytes, 8);
    PutLe(sizes, sampleFrames, 8);
    PutLe(sizes, 0, 4);
    Patch(kFirstChunk, sizes);
    const std::vector<uint8_t> unknown(4, 0xFF);
    Patch(0, {'R', 'F', '6', '4'});
    Patch(4, unknown);
    Patch(m_dataSizePosition, unknown);
    if (m_factPosition != 0)
        Patch(m_factPosition, unknown);
}

void CKrWaveFile::Commit(uint64_t sampleFrames)
{
    if (m_dataBytes % 2 != 0)
        m_file.Write("", 1);
    if (RiffSize() <= kLargestPlainSize)
        PatchPlain(sampleFrames);
    else if (m_hasRoom)
        PatchLarge(sampleFrames);
    else
        throw CKrToolError({}, "more audio came than the file can hold");
    m_file.Commit();
}
} // namespace KrTool
