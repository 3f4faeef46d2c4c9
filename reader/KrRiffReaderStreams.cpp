// The streams of a file: the parse, the stream queries, the index loads.
#include "reader/KrRiffReader.h"

#include "format/KrFrameTables.h"
#include "reader/KrHeaderParser.h"
#include "reader/KrIndexLoader.h"
#include "reader/KrNoticingFile.h"
#include "reader/KrPrivateChunkScan.h"
#include "reader/KrVideoFormat.h"

namespace
{
// The private information chunks override what the headers suggest.
void ApplyPixelAspectAndScanMode(CKrFileCursor& cursor, IKrFile& file, SKrStreamState& state)
{
    SKrAviVideoParams& format = state.videoFormat;
    if (format.displayWidth == 0 || format.frameRate == kNoFrameRate)
        return;
    CKrPrivateChunkScan chunks(cursor, file);
    state.declarations.stream = state.videoStreamNumber;
    EKrScanMode scanMode = EKrScanMode::Unknown;
    if (KrPrivateValues::ScanMode(chunks, KrPrivateValues::kAnyFlavour, scanMode))
    {
        format.scanMode = static_cast<int32_t>(scanMode);
        state.declarations.flags |= kDeclaresScanMode;
    }
    SKrPixelAspect aspect;
    if (KrPrivateValues::PixelAspect(chunks, KrPrivateValues::kAnyFlavour, aspect))
    {
        ApplyPixelAspect(format, static_cast<int>(aspect.horizontal), static_cast<int>(aspect.vertical));
        state.declarations.flags |= kDeclaresPixelAspect;
    }
}

// Parses all headers into a state that is new.
bool Parse(CKrFileCursor& cursor, IKrFile& file, bool isGrowing, SKrStreamState& state)
{
    const CKrFileCursor::CZeroMemory zeros(cursor);
    const bool parsed = CKrHeaderParser(cursor, state, isGrowing).ParseFile();
    ApplyPixelAspectAndScanMode(cursor, file, state);
    return parsed;
}
} // namespace

bool CKrRiffReader::ParseFile()
{
    m_state = SKrStreamState();
    const bool parsed = Parse(m_cursor, *m_file, m_growth != nullptr, m_state);
    m_firstChunkPosition = m_state.firstChunkPosition;
    PublishFacts();
    return parsed;
}

// The two older loads find an 'idx1' by the parse: one that a growing file got is looked for by another one.
// False when the file cannot be read; then all stays as it was.
bool CKrRiffReader::ParseOldIndexThatCame()
{
    if (m_parsedOldIndex || m_growth->Segments().front().idx1.offset == 0)
        return true;
    CKrNoticingFile file(*m_file);
    CKrFileCursor cursor;
    cursor.Attach(file, m_growth->Size());
    SKrStreamState state;
    static_cast<void>(Parse(cursor, file, true, state));
    if (file.Failed())
        return false;
    m_state = state;
    m_firstChunkPosition = state.firstChunkPosition;
    m_parsedOldIndex = true;
    return true;
}

// Lets the stream queries see the state. Under m_lock.
void CKrRiffReader::PublishFacts()
{
    const SKrAudioStream& audio = m_state.audio[0];
    const SKrStreamFacts facts = {.totalFrames = m_state.totalFrames,
                                  .firstVideoChunkId = m_state.firstVideoChunkId,
                                  .firstAudioChunkId = m_state.firstAudioChunkId,
                                  .videoFormat = m_state.videoFormat,
                                  .videoCompression = m_state.videoCompression,
                                  .videoBitCount = m_state.videoBitCount,
                                  .audioFormat = audio.format,
                                  .audioDuration = audio.duration};
    const std::lock_guard guard(m_sharedLock);
    m_facts = facts;
}

SKrStreamFacts CKrRiffReader::Facts()
{
    const std::lock_guard guard(m_sharedLock);
    return m_facts;
}

uint32_t CKrRiffReader::GetVideoStreamInfo(SKrAviVideoParams* format, uint32_t* compression,
                                           uint16_t* bitCount, int* formatValid, uint32_t* videoChunkId)
{
    if (format == nullptr || compression == nullptr || bitCount == nullptr || formatValid == nullptr ||
        videoChunkId == nullptr)
        return 0;
    const SKrStreamFacts facts = Facts();
    const SKrAviVideoParams& known = facts.videoFormat;
    *videoChunkId = facts.firstVideoChunkId;
    *formatValid =
        known.displayWidth != 0 && known.displayHeight != 0 && known.frameRate != kNoFrameRate ? 1 : 0;
    if (*formatValid != 0)
    {
        *bitCount = facts.videoBitCount;
        *compression = facts.videoCompression;
        *format = known;
    }
    return facts.totalFrames;
}

int CKrRiffReader::GetAudioStreamInfo(SKrWaveFormatInfo* format, int* formatValid, uint32_t* audioChunkId,
                                      double* duration)
{
    if (format == nullptr || formatValid == nullptr || audioChunkId == nullptr)
        return 0;
    const SKrStreamFacts facts = Facts();
    if (facts.firstAudioChunkId == 0)
        return 0;
    *audioChunkId = facts.firstAudioChunkId;
    *formatValid = facts.audioFormat.samplesPerSec != 0 && facts.audioFormat.bitsPerSample != 0 ? 1 : 0;
    if (*formatValid != 0)
    {
        *format = facts.audioFormat;
        if (duration != nullptr)
            *duration = facts.audioDuration;
    }
    return 1;
}

int CKrRiffReader::LoadVideoIndex(CArray<SKrChunkIndexEntry>& out)
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr)
        return 0;
    if (!CKrIndexLoader(*m_file, m_cursor.Size(), m_state).LoadVideo(out))
        return 0;
    PublishFacts(); // the frame count
    return 1;
}

int CKrRiffReader::LoadAudioIndex(CArray<SKrChunkIndexEntry>& out, SKrAudioChunkPattern* pattern)
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr || pattern == nullptr)
        return 0;
    return CKrIndexLoader(*m_file, m_cursor.Size(), m_state).LoadAudio(out, *pattern) ? 1 : 0;
}

uint32_t CKrRiffReader::GetStreamCount()
{
    return m_streams.Count();
}

int CKrRiffReader::GetStreamProperties(uint32_t stream, SKrStreamProperties* properties)
{
    if (properties == nullptr || properties->size < sizeof(SKrStreamProperties))
        return 0;
    return m_streams.Properties(stream, *properties) ? 1 : 0;
}

uint32_t CKrRiffReader::ReadStreamFormat(uint32_t stream, void* buffer, uint32_t size)
{
    return buffer != nullptr ? m_streams.ReadFormat(stream, buffer, size) : 0;
}

int CKrRiffReader::LoadStreamIndex(uint32_t stream, uint64_t first, CArray<SKrStreamIndexEntry>& out)
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr)
        return 0;
    return m_indexes.Load(m_streams, *m_file, m_cursor.Size(), stream, first, out) ? 1 : 0;
}
