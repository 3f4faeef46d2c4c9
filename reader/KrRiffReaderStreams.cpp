// The streams of a file: the parse, the stream queries, the index loads.
#include "reader/KrRiffReader.h"

#include "format/KrFrameTables.h"
#include "reader/KrHeaderParser.h"
#include "reader/KrIndexLoader.h"
#include "reader/KrPrivateChunkScan.h"
#include "reader/KrVideoFormat.h"

bool CKrRiffReader::ParseFile()
{
    m_state = SKrStreamState();
    const CKrFileCursor::CZeroMemory zeros(m_cursor);
    const bool parsed = CKrHeaderParser(m_cursor, m_state, m_growth != nullptr).ParseFile();
    m_firstChunkPosition = m_state.firstChunkPosition;
    ApplyPixelAspectAndScanMode();
    PublishFacts();
    return parsed;
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

// The private information chunks override what the headers suggest.
void CKrRiffReader::ApplyPixelAspectAndScanMode()
{
    SKrAviVideoParams& format = m_state.videoFormat;
    if (format.displayWidth == 0 || format.frameRate == kNoFrameRate)
        return;
    CKrPrivateChunkScan chunks(m_cursor, *m_file);
    m_state.declarations.stream = m_state.videoStreamNumber;
    EKrScanMode scanMode = EKrScanMode::Unknown;
    if (KrPrivateValues::ScanMode(chunks, KrPrivateValues::kAnyFlavour, scanMode))
    {
        format.scanMode = static_cast<int32_t>(scanMode);
        m_state.declarations.flags |= kDeclaresScanMode;
    }
    SKrPixelAspect aspect;
    if (KrPrivateValues::PixelAspect(chunks, KrPrivateValues::kAnyFlavour, aspect))
    {
        ApplyPixelAspect(format, static_cast<int>(aspect.horizontal), static_cast<int>(aspect.vertical));
        m_state.declarations.flags |= kDeclaresPixelAspect;
    }
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
