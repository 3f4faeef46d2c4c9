#include "tools/input/KrWaveInput.h"

#include "format/KrAviHeaders.h"
#include "format/KrBytes.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kFormatBytes = 256; // more than any format needs

bool Is(std::span<const uint8_t> bytes, size_t at, std::string_view text)
{
    return bytes.size() >= at + text.size() &&
           std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}
} // namespace

CKrWaveInput::CKrWaveInput(const std::string& path) : m_file(std::make_shared<CKrInputFile>(path))
{
    ReadChunks();
    if (m_format.blockAlign == 0 || m_position == 0)
        throw CKrToolError(path, "it is a WAVE file without PCM sound");
    m_bytes -= m_bytes % m_format.blockAlign;
}

std::vector<uint8_t> CKrWaveInput::Read(uint64_t position, size_t count) const
{
    std::vector<uint8_t> bytes(count);
    bytes.resize(m_file->ReadAt(position, bytes.data(), count));
    return bytes;
}

void CKrWaveInput::ReadChunks()
{
    const std::vector<uint8_t> head = Read(0, 12);
    const bool isLarge = Is(head, 0, "RF64");
    if ((!isLarge && !Is(head, 0, "RIFF")) || !Is(head, 8, "WAVE"))
        throw CKrToolError(m_file->Path(), "it is not a WAVE file");
    uint64_t largeSize = 0;
    for (uint64_t position = 12; position + 8 <= m_file->Length();)
    {
        const std::vector<uint8_t> chunk = Read(position, 24);
        CKrByteReader header(chunk);
        header.U32Le(); // the id
        uint64_t size = header.U32Le();
        if (Is(chunk, 0, "ds64") && chunk.size() == 24)
            largeSize = GetLe64(&chunk[16]);
        else if (Is(chunk, 0, "fmt "))
            ReadFormat(position + 8, size);
        else if (Is(chunk, 0, "data") && m_position == 0)
        {
            if (isLarge && size == UINT32_MAX)
                size = largeSize;
            m_position = position + 8;
            m_bytes = std::min(size, m_file->Length() - m_position);
        }
        if (size > m_file->Length() - position)
            break;
        position += 8 + size + size % 2;
    }
}

void CKrWaveInput::ReadFormat(uint64_t position, uint64_t size)
{
    const std::vector<uint8_t> bytes =
        Read(position, static_cast<size_t>(std::min<uint64_t>(size, kFormatBytes)));
    const SKrWaveFormat format = DecodeResolvedWaveFormat(bytes);
    if (format.formatTag != kFormatTagPcm)
        throw CKrToolError(m_file->Path(), "its sound is not PCM");
    m_format = {format.channels, format.samplesPerSec, format.bitsPerSample, format.blockAlign};
    if (m_format.channels == 0 || m_format.samplesPerSec == 0 || m_format.blockAlign == 0)
        throw CKrToolError(m_file->Path(), "its format has no channels, no sample rate or no sample size");
}

SKrSampleBytes CKrWaveInput::Part(uint64_t from, uint32_t length) const
{
    return {length, [file = m_file, position = m_position + from, length](uint8_t* buffer)
            {
                file->Fill(position, {buffer, length});
            }};
}
} // namespace KrTool
