#include "tools/info/KrFileSummary.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/avi/KrCodecNames.h"
#include "tools/copier/KrCarriedHeader.h"
#include "tools/info/KrDvFrame.h"
#include "tools/info/KrStreamCounts.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace KrTool
{
namespace
{
// As GetGrowingState reports them.
constexpr uint32_t kIsBeingWritten = 1;
constexpr uint32_t kWasAbandoned = 3;

// In 'vprp'
constexpr size_t kAspectPlace = 20; // height, then width, in 16 bits each
constexpr size_t kFieldsPlace = 32;
constexpr size_t kFieldsEnd = 36;

uint64_t BitsPerSecond(uint64_t bytes, const std::optional<double>& seconds)
{
    return seconds && *seconds > 0 ? static_cast<uint64_t>(static_cast<double>(bytes) * 8 / *seconds + 0.5)
                                   : 0;
}

SKrDisplayAspect Reduced(uint64_t horizontal, uint64_t vertical, EKrFactSource source)
{
    const uint64_t divisor = std::gcd(horizontal, vertical);
    if (horizontal == 0 || vertical == 0 || horizontal / divisor > UINT32_MAX ||
        vertical / divisor > UINT32_MAX)
        return {};
    return {static_cast<uint32_t>(horizontal / divisor), static_cast<uint32_t>(vertical / divisor), source};
}

void TakeBitmap(const SKrAviStream& stream, SKrPictureFacts& picture)
{
    const SKrBitmapHeader bitmap = DecodeBitmapHeader(stream.format);
    picture.compression = bitmap.compression;
    picture.bitCount = bitmap.bitCount;
    picture.isTopDown = bitmap.height < 0;
    picture.width = static_cast<uint32_t>(std::max(bitmap.width, 0));
    picture.height =
        bitmap.height < 0 ? 0 - static_cast<uint32_t>(bitmap.height) : static_cast<uint32_t>(bitmap.height);
}

// The weakest source goes first: later ones replace what it says.
void TakeVideoProperties(const SKrCarriedStream& stream, SKrPictureFacts& picture)
{
    const auto found = std::ranges::find(stream.chunks, kFccVprp, &SKrCarriedBytes::id);
    if (found == stream.chunks.end() || found->data.size() < kFieldsEnd)
        return;
    const uint8_t* const data = found->data.data();
    picture.aspect = Reduced(GetLe16(data + kAspectPlace + 2), GetLe16(data + kAspectPlace),
                             EKrFactSource::VideoProperties);
    if (GetLe32(data + kFieldsPlace) != 2)
        return; // some programs store 1 whatever the picture is
    picture.isInterlaced = true;
    picture.scanSource = EKrFactSource::VideoProperties;
}

void TakePrivateChunks(const CKrAviFile& file, SKrPictureFacts& picture)
{
    auto mode = EKrScanMode::Unknown;
    if (KrRiffUtils::GetAviScanMode(&file.Reader(), mode) != 0 && mode != EKrScanMode::Unknown)
    {
        picture.scan = mode;
        picture.isInterlaced = mode != EKrScanMode::Progressive;
        picture.scanSource = EKrFactSource::PrivateChunk;
    }
    int horizontal = 0;
    int vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatio(&file.Reader(), horizontal, vertical) == 0)
        return;
    const SKrDisplayAspect aspect = Reduced(
        uint64_t{picture.width} * static_cast<uint32_t>(std::max(horizontal, 0)),
        uint64_t{picture.height} * static_cast<uint32_t>(std::max(vertical, 0)), EKrFactSource::PrivateChunk);
    if (aspect.source != EKrFactSource::None)
        picture.aspect = aspect;
}

void TakeDvFrame(const CKrAviFile& file, uint64_t position, SKrPictureFacts& picture)
{
    std::array<uint8_t, kDvHeadSize> head = {};
    const size_t count = file.ReadAt(position, head.data(), head.size());
    const std::optional<SKrDvFacts> facts = ReadDvFrame({head.data(), count});
    if (!facts)
        return;
    if (picture.width == 0 || picture.height == 0) // of DV with its sound, whose format is another
    {
        picture.width = 720;
        picture.height = facts->lines;
    }
    if (facts->isWide)
        picture.aspect = {*facts->isWide ? 16U : 4U, *facts->isWide ? 9U : 3U, EKrFactSource::Frames};
    if (facts->scan == EKrScanMode::Unknown)
        return;
    picture.scan = facts->scan;
    picture.isInterlaced = facts->scan != EKrScanMode::Progressive;
    picture.scanSource = EKrFactSource::Frames;
}

// Whether data follow the last segment: its size was written while it was being recorded.
bool GoesOnAt(uint64_t end, const CKrAviFile& file, const SKrAviFacts& facts)
{
    std::array<uint8_t, 4> bytes = {};
    if (file.ReadAt(end, bytes.data(), bytes.size()) != bytes.size())
        return false;
    const uint32_t id = GetLe32(bytes.data());
    return id == kFccJunk || id == kFccList || IsStandardIndexId(id) || DataTagOf(id, facts.streams.size());
}

// Collects the facts of one file.
class CKrSummariser
{
public:
    CKrSummariser(const CKrAviFile& file, const SKrAviFacts& facts, const SKrCarriedHeader* header,
                  const SKrHealth& health)
        : m_file(file), m_facts(facts), m_header(header)
    {
        m_summary.health = health;
    }

    SKrFileSummary Run(CKrProgress& progress)
    {
        m_summary.container = KindOf(m_facts);
        m_summary.segments = m_facts.segments.size();
        m_summary.bytes = m_file.Length();
        const auto counts = CountChunks(m_file, m_facts, IsUnfinished(), progress);
        for (const SKrAviStream& stream : m_facts.streams)
            AddStream(stream, counts[stream.number]);
        for (const SKrStreamSummary& stream : m_summary.streams)
        {
            if (stream.seconds)
                m_summary.seconds = std::max(m_summary.seconds.value_or(0), *stream.seconds);
        }
        m_summary.bitsPerSecond = BitsPerSecond(m_summary.bytes, m_summary.seconds);
        return std::move(m_summary);
    }

private:
    [[nodiscard]] bool IsUnfinished() const
    {
        return m_summary.health.state == EKrHealth::NotClosed ||
               m_summary.health.state == EKrHealth::BeingRecorded;
    }

    void AddStream(const SKrAviStream& stream, const std::optional<SKrStreamCount>& count)
    {
        SKrStreamSummary& row = m_summary.streams.emplace_back();
        row.number = stream.number;
        row.type = stream.type;
        row.kind = stream.Kind();
        row.rate = {stream.rate, stream.scale};
        if (count)
        {
            row.chunks = count->chunks;
            row.keyUnits = count->keys;
            row.bytes = count->bytes;
        }
        row.units = UnitsOf(stream, count);
        if (row.rate.IsValid())
        {
            const double unit = static_cast<double>(stream.scale) / stream.rate;
            row.seconds = static_cast<double>(row.units) * unit;
            row.start = static_cast<double>(stream.start) * unit;
        }
        row.bitsPerSecond = BitsPerSecond(row.bytes, row.seconds);
        if (stream.IsAudio())
            TakeSound(stream, row);
        else if (stream.IsVideo() || IsDv(stream.type))
            TakePicture(stream, count, row);
    }

    // A file that is whole has what its headers declare. Frames are counted all the same.
    [[nodiscard]] uint64_t UnitsOf(const SKrAviStream& stream,
                                   const std::optional<SKrStreamCount>& count) const
    {
        const bool isWhole = m_summary.health.state == EKrHealth::Complete && stream.length != 0;
        if (!count || (isWhole && !stream.IsVideo()))
            return stream.length;
        return stream.sampleSize != 0 ? count->bytes / stream.sampleSize : count->chunks;
    }

    static void TakeSound(const SKrAviStream& stream, SKrStreamSummary& row)
    {
        row.sound = AudioFormat(stream);
        row.codec = SoundCodecName(row.sound.formatTag);
        if (row.sound.avgBytesPerSec != 0)
            row.bitsPerSecond = uint64_t{row.sound.avgBytesPerSec} * 8;
    }

    void TakePicture(const SKrAviStream& stream, const std::optional<SKrStreamCount>& count,
                     SKrStreamSummary& row)
    {
        row.kind = EKrStreamKind::Video;
        if (stream.IsVideo())
            TakeBitmap(stream, row.picture);
        const uint32_t fourCc = stream.IsVideo() ? row.picture.compression : stream.type;
        row.codec = PictureCodecName(fourCc);
        if (row.codec.empty())
            row.codec = PictureCodecName(stream.handler);
        if (m_header != nullptr && stream.number < m_header->streams.size())
            TakeVideoProperties(m_header->streams[stream.number], row.picture);
        if (FirstVideoStream(m_facts) == &stream)
            TakePrivateChunks(m_file, row.picture);
        if (count && count->firstPosition != 0 && (IsDv(fourCc) || IsDv(stream.handler)))
            TakeDvFrame(m_file, count->firstPosition, row.picture);
    }

    const CKrAviFile& m_file;
    const SKrAviFacts& m_facts;
    const SKrCarriedHeader* const m_header;
    SKrFileSummary m_summary;
};
} // namespace

const char* SourceName(EKrFactSource source)
{
    static constexpr const char* kNames[] = {"none", "private chunk", "vprp", "DV stream"};
    return kNames[static_cast<size_t>(source)];
}

const SKrStreamSummary* SKrFileSummary::FirstVideo() const
{
    const auto found = std::ranges::find(streams, EKrStreamKind::Video, &SKrStreamSummary::kind);
    return found != streams.end() ? &*found : nullptr;
}

SKrHealth HealthOf(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t growing)
{
    if (facts.segments.empty())
        return {EKrHealth::NotAnAviFile, 0};
    if (growing == kIsBeingWritten)
        return {EKrHealth::BeingRecorded, 0};
    uint64_t end = 0;
    for (const SKrRiffChunkInfo& segment : facts.segments)
    {
        if (IsSizeUnset(segment.cksize))
            return {EKrHealth::NotClosed, 0};
        end = EndPosition(segment);
    }
    if (end > file.Length())
        return {EKrHealth::Truncated, end - file.Length()};
    const bool isAbandoned = growing == kWasAbandoned && GoesOnAt(end, file, facts);
    return {isAbandoned ? EKrHealth::NotClosed : EKrHealth::Complete, 0};
}

SKrFileSummary Summarise(const CKrAviFile& file, const SKrAviFacts& facts, const SKrCarriedHeader* header,
                         const SKrHealth& health, CKrProgress& progress)
{
    return CKrSummariser(file, facts, header, health).Run(progress);
}
} // namespace KrTool
