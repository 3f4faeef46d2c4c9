#include "tools/input/KrWaveInput.h"
#include "platform/KrUtf8.h"

#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/input/KrFormatTags.h"
#include "tools/input/KrLittleEndian.h"
#include "tools/input/KrReadability.h"

#include <algorithm>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kSubFormatAt = 24; // whose first two bytes are a format tag
constexpr size_t kLargestWaveFormat = 256;

bool Is(std::span<const uint8_t> bytes, size_t at, std::string_view text)
{
    return bytes.size() >= at + text.size() &&
           std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}
} // namespace

std::shared_ptr<IKrFile> OpenInput(const std::string& path)
{
    const std::optional<std::wstring> wide = Widen(path);
    if (!wide)
        throw CKrToolError(path, "its name is not valid UTF-8");
    std::shared_ptr<IKrFile> file = KrPlatform::OsFileSystem().OpenForReading(wide->c_str());
    if (file == nullptr)
        throw CKrToolError(path, WhyNotReadable(ProbeForReading(path)));
    return file;
}

uint64_t ReadLength(IKrFile& file, const std::string& path)
{
    const std::optional<uint64_t> length = file.Size();
    if (!length)
        throw CKrToolError(path, "its length cannot be told");
    return *length;
}

void ReadExactly(IKrFile& file, const std::string& path, uint64_t position, uint8_t* buffer, size_t count)
{
    const SKrTransfer transfer = file.ReadAt(position, buffer, count);
    if (transfer.Failed() || transfer.bytes < count)
        throw CKrToolError(path, "it cannot be read to its end");
}

CKrWaveInput::CKrWaveInput(const std::string& path) : m_path(path), m_file(OpenInput(path))
{
    m_length = m_file->Size().value_or(0);
    ReadChunks();
    if (m_format.blockAlign == 0 || m_position == 0)
        throw CKrToolError(path, "it is a WAVE file without PCM sound");
    m_bytes -= m_bytes % m_format.blockAlign;
}

std::vector<uint8_t> CKrWaveInput::Read(uint64_t position, size_t count) const
{
    std::vector<uint8_t> bytes(count);
    const SKrTransfer transfer = m_file->ReadAt(position, bytes.data(), count);
    bytes.resize(transfer.Failed() ? 0 : transfer.bytes);
    return bytes;
}

void CKrWaveInput::ReadChunks()
{
    const std::vector<uint8_t> head = Read(0, 12);
    const bool isLarge = Is(head, 0, "RF64");
    if ((!isLarge && !Is(head, 0, "RIFF")) || !Is(head, 8, "WAVE"))
        throw CKrToolError(m_path, "it is no WAVE file");
    uint64_t largeSize = 0;
    for (uint64_t position = 12; position + 8 <= m_length;)
    {
        const std::vector<uint8_t> chunk = Read(position, 24);
        uint64_t size = GetLe32(chunk, 4);
        if (Is(chunk, 0, "ds64"))
            largeSize = GetLe(chunk, 16, 8);
        else if (Is(chunk, 0, "fmt "))
            ReadFormat(position + 8, size);
        else if (Is(chunk, 0, "data") && m_position == 0)
        {
            if (isLarge && size == UINT32_MAX)
                size = largeSize;
            m_position = position + 8;
            m_bytes = std::min(size, m_length - m_position);
        }
        if (size > m_length - position)
            break;
        position += 8 + size + size % 2;
    }
}

void CKrWaveInput::ReadFormat(uint64_t position, uint64_t size)
{
    const std::vector<uint8_t> bytes =
        Read(position, static_cast<size_t>(std::min<uint64_t>(size, kLargestWaveFormat)));
    uint16_t tag = GetLe16(bytes, 0);
    if (tag == kTagExtensible)
        tag = GetLe16(bytes, kSubFormatAt);
    if (tag != kTagPcm)
        throw CKrToolError(m_path, "its sound is not PCM");
    m_format = {GetLe16(bytes, 2), GetLe32(bytes, 4), GetLe16(bytes, 14), GetLe16(bytes, 12)};
    if (m_format.channels == 0 || m_format.samplesPerSec == 0 || m_format.blockAlign == 0)
        throw CKrToolError(m_path, "its format has no channels, no sample rate or no sample size");
}

SKrSampleBytes CKrWaveInput::Part(uint64_t from, uint32_t length) const
{
    return {length, [file = m_file, path = m_path, position = m_position + from, length](uint8_t* buffer)
            {
                ReadExactly(*file, path, position, buffer, length);
            }};
}
} // namespace KrTool
