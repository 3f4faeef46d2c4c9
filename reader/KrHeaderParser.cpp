#include "reader/KrHeaderParser.h"

#include "KrOsTypes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrFileLayout.h"
#include "reader/KrIndexLocator.h"
#include "reader/KrStreamChunkDetection.h"
#include "reader/KrVideoFormat.h"
#include "siblings/KrAVUtils/KrAVUtils.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace
{
constexpr size_t kRiffProbeSize = 20;
constexpr size_t kRiffProbeMinimum = 13;

// A WAVEFORMATEX and all that may follow it.
constexpr size_t kLargestWaveFormat = SKrWaveFormat::kEncodedSize + 0xFFFF;

// The conversion takes the format bytes as the structure itself.
static_assert(std::endian::native == std::endian::little &&
              sizeof(WAVEFORMATEX) == SKrWaveFormat::kEncodedSize);

// Converts the bytes of a 'strf', zero-extended to the structure.
bool ConvertWaveFormat(std::vector<uint8_t> bytes, SKrWaveFormatInfo& info)
{
    const size_t wanted = SKrWaveFormat::kEncodedSize + DecodeWaveFormat(bytes).extraSize;
    bytes.resize(std::max(bytes.size(), wanted));
    return KrAudioUtils::WaveFormat2KrWaveFormat(reinterpret_cast<const WAVEFORMATEX*>(bytes.data()), info) !=
           0;
}
} // namespace

bool CKrHeaderParser::ParseFile()
{
    SKrRiffChunkInfo riff = {};
    if (!ReadRiffHeader(riff))
    {
        m_cursor.SeekTo(kLargestRefusedSize);
        return DetectStreamChunks(nullptr);
    }
    m_cursor.SeekTo(kListHeaderSize);
    SKrRiffChunkInfo hdrl = {};
    hdrl.ckid = kFccList;
    if (!FindChunk(m_cursor, hdrl, &riff, EKrLookupMode::AnyChunk, kWalkZeroLimit) ||
        hdrl.fccType != kFccHdrl)
        return DetectStreamChunks(nullptr);

    static_cast<void>(ParseHeaderList(riff, hdrl));
    SeekPast(m_cursor, hdrl);
    m_state.firstChunkPosition = Low32(m_cursor.Position());

    SKrRiffChunkInfo movi = {};
    if (FindMovi(riff, movi))
        return DetectStreamChunks(&movi);
    SeekPast(m_cursor, hdrl);
    return DetectStreamChunks(nullptr);
}

bool CKrHeaderParser::ReadRiffHeader(SKrRiffChunkInfo& riff)
{
    if (m_cursor.Size() <= kLargestRefusedSize)
        return false;
    uint8_t bytes[kRiffProbeSize];
    m_cursor.SeekTo(0);
    const size_t got = m_cursor.Read(bytes, sizeof bytes);
    if (got < kRiffProbeMinimum)
        return false;
    const SKrChunkHeader header = DecodeChunkHeader({bytes, got});
    riff = {header.id, header.size, header.firstData, kChunkHeaderSize};
    if (m_isGrowing)
        ExtendIfUnfinished(riff, m_cursor.Size());
    return riff.ckid == kFccRiff && riff.fccType == kFccAvi && riff.cksize >= kSmallestRiffSize;
}

// Walks the top-level chunks from the cursor's position on. The cursor is left inside 'movi'.
bool CKrHeaderParser::FindMovi(const SKrRiffChunkInfo& riff, SKrRiffChunkInfo& movi)
{
    for (;;)
    {
        movi = {};
        if (!FindChunk(m_cursor, movi, &riff, EKrLookupMode::AnyChunk, kNoZeroLimit))
            return false;
        if (movi.ckid == kFccList && movi.fccType == kFccMovi)
        {
            if (m_isGrowing)
                ExtendIfUnfinished(movi, m_cursor.Size());
            return true;
        }
        SeekPast(m_cursor, movi);
    }
}

bool CKrHeaderParser::DetectStreamChunks(const SKrRiffChunkInfo* movi)
{
    SKrDetectedChunks detected;
    if (!DetectStreamChunkIds(m_cursor, movi, m_state.streamCount, detected))
        return false;
    m_state.firstVideoChunkId = detected.firstVideoId;
    m_state.firstAudioChunkId = detected.firstAudioId;
    return true;
}

bool CKrHeaderParser::ParseHeaderList(const SKrRiffChunkInfo& riff, const SKrRiffChunkInfo& hdrl)
{
    SKrMainHeader mainHeader;
    if (!ReadMainHeader(hdrl, mainHeader))
        return false;
    m_state.streamCount = mainHeader.streams;
    // Kept: without the index flag no stream is parsed, whatever the file's indexes hold.
    if ((mainHeader.flags & kAvifHasIndex) == 0)
        return false;

    for (uint32_t number = 0; number < mainHeader.streams; ++number)
    {
        SStream stream{riff, hdrl, {}, number, {}};
        stream.strl.fccType = kFccStrl;
        if (!FindChunk(m_cursor, stream.strl, nullptr, EKrLookupMode::ListOnly, kNoZeroLimit))
            return false;
        switch (ParseStream(mainHeader, stream))
        {
        case EStream::Taken:
            SeekPast(m_cursor, stream.strl);
            break;
        case EStream::Skipped:
            break;
        case EStream::Failed:
            return false;
        }
    }
    return true;
}

// Finds 'avih', reads it, and leaves the cursor after it.
bool CKrHeaderParser::ReadMainHeader(const SKrRiffChunkInfo& hdrl, SKrMainHeader& header)
{
    SKrRiffChunkInfo avih = {};
    avih.ckid = kFccAvih;
    if (!FindChunk(m_cursor, avih, &hdrl, EKrLookupMode::AnyChunk, kWalkZeroLimit))
        return false;
    uint8_t bytes[SKrMainHeader::kEncodedSize];
    CKrByteReader in({bytes, m_cursor.Read(bytes, sizeof bytes)});
    if (!Decode(in, header))
        return false;
    SeekPast(m_cursor, avih);
    return true;
}

CKrHeaderParser::EStream CKrHeaderParser::ParseStream(const SKrMainHeader& mainHeader, SStream& stream)
{
    if (!ReadStreamHeader(stream.header))
        return EStream::Failed;
    switch (stream.header.type)
    {
    case kFccVids:
        return TakeVideoStream(mainHeader, stream);
    case kFccAuds:
        return TakeAudioStream(stream);
    default:
        return EStream::Taken;
    }
}

// 'strh' must be the first sub-chunk of a 'strl'; it is not searched for.
bool CKrHeaderParser::ReadStreamHeader(SKrStreamHeader& header)
{
    uint8_t bytes[SKrStreamHeader::kWideEncodedSize];
    if (m_cursor.Read(bytes, kChunkHeaderSize) != kChunkHeaderSize)
        return false;
    const SKrChunkHeader chunk = DecodeChunkHeader({bytes, kChunkHeaderSize});
    if (chunk.id != kFccStrh ||
        (chunk.size != SKrStreamHeader::kEncodedSize && chunk.size != SKrStreamHeader::kWideEncodedSize))
        return false;
    const size_t got = m_cursor.Read(bytes, chunk.size);
    return got == chunk.size && DecodeStreamHeader({bytes, got}, header);
}

bool CKrHeaderParser::FindFormat(const SKrRiffChunkInfo& strl, SKrRiffChunkInfo& strf)
{
    strf = {};
    strf.ckid = kFccStrf;
    return FindChunk(m_cursor, strf, &strl, EKrLookupMode::AnyChunk, kNoZeroLimit);
}

// Reads the bytes of a 'strf' that are needed and moves past its last byte. The file must hold all of it.
bool CKrHeaderParser::ReadFormat(const SKrRiffChunkInfo& strf, size_t usedBytes, std::vector<uint8_t>& bytes)
{
    if (strf.offset + strf.cksize > m_cursor.Size())
        return false;
    bytes.resize(std::min<size_t>(strf.cksize, usedBytes));
    if (m_cursor.Read(bytes.data(), bytes.size()) != bytes.size())
        return false;
    m_cursor.SeekTo(strf.offset + strf.cksize);
    return true;
}

CKrHeaderParser::EStream CKrHeaderParser::TakeVideoStream(const SKrMainHeader& mainHeader,
                                                          const SStream& stream)
{
    SKrRiffChunkInfo strf = {};
    std::vector<uint8_t> bytes;
    if (!FindFormat(stream.strl, strf) || !ReadFormat(strf, SKrBitmapHeader::kEncodedSize, bytes))
        return EStream::Failed;
    const SKrBitmapHeader bitmap = DecodeBitmapHeader(bytes);
    // Kept: a top-down picture (negative height) ends the header list.
    if (bitmap.width < 1 || bitmap.height < 1 || bitmap.bitCount < 1)
        return EStream::Failed;
    if (m_state.videoStreamNumber != kNotLocated)
        return EStream::Skipped;

    m_state.videoFormat = DescribeVideo(bitmap, stream.header);
    m_state.videoCompression = bitmap.compression;
    m_state.videoBitCount = bitmap.bitCount;
    m_state.totalFrames = mainHeader.totalFrames;
    LocateVideoIndex(m_cursor, {stream.riff, stream.hdrl, stream.strl, strf}, stream.number, m_state);
    m_state.videoStreamNumber = stream.number;
    return EStream::Taken;
}

CKrHeaderParser::EStream CKrHeaderParser::TakeAudioStream(const SStream& stream)
{
    SKrRiffChunkInfo strf = {};
    std::vector<uint8_t> bytes;
    if (!FindFormat(stream.strl, strf) || !ReadFormat(strf, kLargestWaveFormat, bytes))
        return EStream::Failed;
    const SKrWaveFormat format = DecodeWaveFormat(bytes);
    if (m_state.audioStreamCount >= kMaxAudioStreams || format.bitsPerSample == 0 ||
        format.samplesPerSec == 0)
        return EStream::Skipped;
    SKrAudioStream& audio = m_state.audio[m_state.audioStreamCount];
    if (!ConvertWaveFormat(std::move(bytes), audio.format))
        return EStream::Skipped;

    audio.duration = static_cast<double>(stream.header.length) / stream.header.rate * stream.header.scale;
    LocateAudioIndex(m_cursor, {stream.riff, stream.hdrl, stream.strl, strf}, stream.number, audio.index);
    audio.sampleSize = static_cast<uint16_t>(stream.header.sampleSize);
    audio.streamNumber = stream.number;
    m_state.statistics.AddAudioStream(m_state.audioStreamCount, audio.sampleSize, stream.header.length);
    ++m_state.audioStreamCount;
    return EStream::Taken;
}
