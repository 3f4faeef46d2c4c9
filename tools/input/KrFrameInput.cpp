#include "tools/input/KrFrameInput.h"

#include "platform/KrFileProbe.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
constexpr uint64_t kMostHeaderBytes = 1 << 20; // of a JPEG file before its picture

bool IsThere(const std::string& name)
{
    return TargetAt(name) == EKrTarget::RegularFile;
}

uint32_t LengthOf(const CKrInputFile& file)
{
    const uint64_t length = file.Length();
    if (length == 0 || length > kLargestFrame)
        throw CKrToolError(file.Path(), length == 0 ? "it is empty" : "it is too large for a frame");
    return static_cast<uint32_t>(length);
}

// The size in the frame header of a JPEG file.
SKrPictureSize JpegSize(const CKrInputFile& file)
{
    const auto big16 = [](const uint8_t* at)
    {
        return static_cast<uint32_t>(at[0] << 8 | at[1]);
    };
    std::array<uint8_t, 9> bytes{};
    file.Fill(0, std::span(bytes).first(2));
    if (big16(bytes.data()) != 0xFFD8)
        throw CKrToolError(file.Path(), "it is not a JPEG file");
    for (uint64_t position = 2; position < kMostHeaderBytes;)
    {
        file.Fill(position, bytes);
        if (bytes[0] != 0xFF)
            break;
        const uint8_t marker = bytes[1];
        if (marker == 0xFF || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) // no segment of its own
        {
            position += marker == 0xFF ? 1 : 2;
            continue;
        }
        const bool isFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (isFrame)
            return {big16(&bytes[7]), big16(&bytes[5])};
        position += 2 + big16(&bytes[2]);
    }
    throw CKrToolError(file.Path(), "its JPEG headers have no picture size");
}

SKrSampleBytes WholeFile(const std::string& name)
{
    const uint32_t length = LengthOf(CKrInputFile(name));
    // Opened again when it is needed: thousands of frames can wait.
    return {length, [name, length](uint8_t* buffer)
            {
                CKrInputFile(name).Fill(0, {buffer, length});
            }};
}

class CJpegInput final : public IKrFrameInput
{
public:
    CJpegInput(const std::string& pattern, std::optional<uint64_t> start)
        : m_files(FindFrameFiles(pattern, start)), m_size(SizeOf(m_files.NameOf(0)))
    {
    }

    uint64_t Frames() const override { return m_files.count; }
    SKrPictureSize Size() const override { return m_size; }
    const SKrFrameFiles& Files() const override { return m_files; }

    SKrSampleBytes Frame(uint64_t number) const override
    {
        const std::string name = m_files.NameOf(number);
        const SKrPictureSize size = SizeOf(name);
        if (size.width != m_size.width || size.height != m_size.height)
            throw CKrToolError(name, "its picture size differs from that of the first");
        return WholeFile(name);
    }

private:
    static SKrPictureSize SizeOf(const std::string& name) { return JpegSize(CKrInputFile(name)); }

    SKrFrameFiles m_files;
    SKrPictureSize m_size;
};

class CRawInput final : public IKrFrameInput
{
public:
    CRawInput(const std::string& pattern, std::optional<uint64_t> start, const SKrRawLayout& layout)
        : m_files(FindFrameFiles(pattern, start)), m_layout(layout), m_frames(m_files.count)
    {
        if (m_files.pattern.IsNumbered())
            return;
        m_file = std::make_shared<CKrInputFile>(m_files.NameOf(0));
        const uint64_t length = m_file->Length();
        m_frames = length / m_layout.FrameBytes();
        if (m_frames == 0 || length % m_layout.FrameBytes() != 0)
            throw CKrToolError(m_files.NameOf(0), Format("its {} bytes are not whole frames of {} bytes",
                                                         length, m_layout.FrameBytes()));
    }

    uint64_t Frames() const override { return m_frames; }
    SKrPictureSize Size() const override { return m_layout.size; }
    const SKrFrameFiles& Files() const override { return m_files; }

    SKrSampleBytes Frame(uint64_t number) const override
    {
        const std::string name = m_files.NameOf(m_file != nullptr ? 0 : number);
        const uint64_t position = m_file != nullptr ? number * m_layout.FrameBytes() : 0;
        if (m_file == nullptr && CKrInputFile(name).Length() != m_layout.FrameBytes())
            throw CKrToolError(name, Format("it is not a frame of {} bytes", m_layout.FrameBytes()));
        const auto load = [file = m_file, name, position, layout = m_layout](uint8_t* buffer)
        {
            Load(file != nullptr ? *file : CKrInputFile(name), position, layout, buffer);
        };
        return {static_cast<uint32_t>(OutputBytes()), load};
    }

private:
    // Rows of uncompressed AVI frames end at multiples of four bytes.
    static uint64_t OutputStride(const SKrRawLayout& layout) { return (layout.RowBytes() + 3) / 4 * 4; }

    uint64_t OutputBytes() const
    {
        return m_layout.isUncompressed ? OutputStride(m_layout) * m_layout.size.height
                                       : m_layout.FrameBytes();
    }

    static void Load(const CKrInputFile& file, uint64_t position, const SKrRawLayout& layout, uint8_t* buffer)
    {
        if (!layout.isUncompressed)
            return file.Fill(position, {buffer, static_cast<size_t>(layout.FrameBytes())});
        std::vector<uint8_t> frame(static_cast<size_t>(layout.FrameBytes()));
        file.Fill(position, frame);
        for (uint32_t row = 0; row < layout.size.height; ++row)
        {
            const uint32_t from = layout.isTopDown ? layout.size.height - 1 - row : row;
            std::copy_n(frame.data() + from * layout.Stride(), static_cast<size_t>(layout.RowBytes()),
                        buffer + row * OutputStride(layout));
        }
    }

    SKrFrameFiles m_files;
    SKrRawLayout m_layout;
    std::shared_ptr<const CKrInputFile> m_file; // with all frames; null when each has its own
    uint64_t m_frames = 0;
};
} // namespace

namespace
{
// A picture that is missing would shift all later ones. With the number in the name of a folder nobody looks.
void RefuseGap(const SKrFrameFiles& files)
{
    const std::string folder = FolderOf(files.pattern.Start());
    std::vector<SKrFolderEntry> entries;
    if (!ListFolder(folder.empty() ? "." : folder, entries).empty())
        return;
    const uint64_t missing = files.first + files.count;
    std::optional<uint64_t> next;
    for (const SKrFolderEntry& entry : entries)
    {
        const std::optional<uint64_t> number = files.pattern.NumberOf(folder + entry.name);
        if (number && *number > missing && !entry.isFolder)
            next = std::min(next.value_or(UINT64_MAX), *number);
    }
    if (next)
        throw CKrToolError(
            files.pattern.NameOf(missing),
            Format("this picture is missing; the next one is {}", files.pattern.NameOf(*next)));
}
} // namespace

SKrFrameFiles FindFrameFiles(const std::string& pattern, std::optional<uint64_t> start)
{
    SKrFrameFiles files{CKrFramePattern(pattern)};
    files.first = start.value_or(files.pattern.IsNumbered() && !IsThere(files.pattern.NameOf(0)) ? 1 : 0);
    if (!IsThere(files.NameOf(0)))
        throw CKrToolError(files.NameOf(0), "there is no such file");
    files.count = 1;
    while (files.pattern.IsNumbered() && IsThere(files.NameOf(files.count)))
        ++files.count;
    if (files.pattern.IsNumbered())
        RefuseGap(files);
    return files;
}

std::unique_ptr<IKrFrameInput> MakeJpegInput(const std::string& pattern, std::optional<uint64_t> start)
{
    return std::make_unique<CJpegInput>(pattern, start);
}

std::unique_ptr<IKrFrameInput> MakeRawInput(const std::string& pattern, std::optional<uint64_t> start,
                                            const SKrRawLayout& layout)
{
    if (layout.RowBytes() == 0 || layout.Stride() < layout.RowBytes())
        throw CKrToolError({}, "--stride is shorter than a row");
    if (layout.FrameBytes() == 0 || layout.FrameBytes() > kLargestFrame)
        throw CKrToolError({}, "frames of this size are too large");
    return std::make_unique<CRawInput>(pattern, start, layout);
}
} // namespace KrTool
