#include "tools/avi/KrAviFile.h"

#include "format/KrChunkHeader.h"
#include "format/KrFrameTables.h"
#include "format/KrLimits.h"
#include "platform/KrFileProbe.h"
#include "platform/KrUtf8.h"
#include "tools/avi/KrOtherFormats.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace KrTool
{
namespace
{
constexpr uint32_t kFlagScanMode = 4; // in SKrStreamProperties::flags
constexpr uint32_t kFlagAspect = 8;

bool BeginsWithRiff(const CKrByteSource& file)
{
    std::array<uint8_t, sizeof(uint32_t)> id = {};
    return file.ReadAt(0, id.data(), id.size()) == id.size() && GetLe32(id.data()) == kFccRiff;
}

// Names files of other kinds. A damaged AVI file may still hold whole frames.
std::string WhyNotAvi(const std::string& path)
{
    const CKrInputFile file(path);
    if (const std::string other = OtherFormatText(file); !other.empty())
        return other;
    if (!BeginsWithRiff(file))
        return "no AVI header at the start; if this is a damaged AVI file, try kravi recover";
    return "its headers lead to no data chunks; try kravi recover";
}

// The reader gives no reasons, so the system is asked about the same file.
std::string WhyNotOpened(const std::string& path, EKrOpening opening)
{
    const SKrFileProbe probe = ProbeForReading(path);
    if (probe.state == EKrReadability::InUse && opening == EKrOpening::Growing)
        return "it has no complete AVI headers; another program is writing it";
    if (probe.state != EKrReadability::Readable)
        return WhyNotReadable(probe);
    if (probe.size <= kLargestRefusedSize)
        return "it has only " + Counted(probe.size, "byte") + "; an AVI file has more than " +
               std::to_string(kLargestRefusedSize);
    return WhyNotAvi(path);
}

// The reader also opens files without AVI headers if anything in them resembles a chunk.
bool HasAviHeaderOrDataChunks(IKrRiffReader& reader)
{
    if (reader.FindFirstRiffSegment() != 0)
        return true;
    SKrWaveFormatInfo audio = {};
    int valid = 0;
    uint32_t audioChunk = 0;
    return SKrVideoAnswer(reader).chunkId != 0 ||
           reader.GetAudioStreamInfo(&audio, &valid, &audioChunk, nullptr) != 0;
}
} // namespace

CKrAviFile::CKrAviFile(const std::string& path, EKrOpening opening) : CKrByteSource(path)
{
    const std::wstring wide = WidePath(path);
    if (KrCreateRiffReader(m_reader.Put()) == 0)
        throw CKrToolError(path, "out of memory");
    const bool isGrowing = opening == EKrOpening::Growing;
    if ((isGrowing ? m_reader->OpenGrowing(wide.c_str()) : m_reader->Open(wide.c_str())) == 0)
        throw CKrToolError(path, WhyNotOpened(path, opening));
    if (!isGrowing && !HasAviHeaderOrDataChunks(*m_reader))
        throw CKrToolError(path, WhyNotAvi(path));
    NoteOpened(m_reader->GetFileLength());
}

int CKrAviFile::Refresh()
{
    const int news = m_reader->Refresh();
    if (news > 0)
        SetLength(m_reader->GetFileLength());
    return news;
}

size_t CKrAviFile::ReadAt(uint64_t position, void* buffer, size_t count) const
{
    if (position >= Length())
        return 0;
    const auto wanted =
        static_cast<uint32_t>(std::min<uint64_t>({count, Length() - position, uint64_t{UINT32_MAX}}));
    if (static_cast<uint32_t>(position) != UINT32_MAX || wanted == 0)
        return m_reader->ReadAt(position, buffer, wanted);

    // The reader refuses positions that end in 32 set bits: this one byte is read together with the one
    // before it. Callers ask again for what is left.
    std::array<uint8_t, 2> bytes = {};
    if (m_reader->ReadAt(position - 1, bytes.data(), 2) != 2)
        return 0;
    std::memcpy(buffer, &bytes[1], 1);
    return 1;
}

SKrVideoAnswer DeclaredVideo(const CKrAviFile& file)
{
    SKrVideoAnswer answer(file.Reader());
    uint32_t declared = 0; // only the stream of the answer has these flags
    for (uint32_t number = 0; number < file.Reader().GetStreamCount(); ++number)
    {
        SKrStreamProperties properties = {};
        properties.size = sizeof properties;
        if (file.Reader().GetStreamProperties(number, &properties) != 0)
            declared |= properties.flags;
    }
    if ((declared & kFlagScanMode) == 0)
        answer.format.scanMode = static_cast<int32_t>(EKrScanMode::Unknown);
    if ((declared & kFlagAspect) == 0)
        answer.format.aspectMode = kAspectModeUnknown;
    return answer;
}
} // namespace KrTool
