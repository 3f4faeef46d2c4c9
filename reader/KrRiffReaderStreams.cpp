// What the reader knows of a file's streams: the parse, the two stream queries, the index loads.
#include "reader/KrRiffReader.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "format/KrFrameTables.h"
#include "reader/KrHeaderParser.h"
#include "reader/KrIndexLoader.h"
#include "reader/KrVideoFormat.h"

bool CKrRiffReader::ParseFile()
{
    m_state = SKrStreamState();
    const CKrFileCursor::CZeroMemory zeros(m_cursor);
    const bool parsed = CKrHeaderParser(m_cursor, m_state).ParseFile();
    ApplyPixelAspectAndScanMode();
    m_tree.Clear(); // of what the queries walked: hosts find no walk under way in a file just opened
    return parsed;
}

// What the private information chunks say goes before what the headers suggest.
void CKrRiffReader::ApplyPixelAspectAndScanMode()
{
    SKrAviVideoParams& format = m_state.videoFormat;
    if (format.displayWidth == 0 || format.frameRate == kNoFrameRate)
        return;
    EKrScanMode scanMode = EKrScanMode::Unknown;
    if (KrRiffUtils::GetAviScanMode(this, scanMode) != 0)
        format.scanMode = static_cast<int32_t>(scanMode);
    int horizontal = 0;
    int vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatio(this, horizontal, vertical) != 0)
        ApplyPixelAspect(format, horizontal, vertical);
}

uint32_t CKrRiffReader::GetVideoStreamInfo(SKrAviVideoParams* format, uint32_t* compression,
                                           uint16_t* bitCount, int* formatValid, uint32_t* videoChunkId)
{
    if (format == nullptr || compression == nullptr || bitCount == nullptr || formatValid == nullptr ||
        videoChunkId == nullptr)
        return 0;
    const SKrAviVideoParams& known = m_state.videoFormat;
    *videoChunkId = m_state.firstVideoChunkId;
    *formatValid =
        known.displayWidth != 0 && known.displayHeight != 0 && known.frameRate != kNoFrameRate ? 1 : 0;
    if (*formatValid != 0)
    {
        *bitCount = m_state.videoBitCount;
        *compression = m_state.videoCompression;
        *format = known;
    }
    return m_state.totalFrames;
}

int CKrRiffReader::GetAudioStreamInfo(SKrWaveFormatInfo* format, int* formatValid, uint32_t* audioChunkId,
                                      double* duration)
{
    if (format == nullptr || formatValid == nullptr || audioChunkId == nullptr)
        return 0;
    if (m_state.firstAudioChunkId == 0)
        return 0;
    *audioChunkId = m_state.firstAudioChunkId;
    const SKrAudioStream& first = m_state.audio[0];
    *formatValid = first.format.samplesPerSec != 0 && first.format.bitsPerSample != 0 ? 1 : 0;
    if (*formatValid != 0)
    {
        *format = first.format;
        if (duration != nullptr)
            *duration = first.duration;
    }
    return 1;
}

int CKrRiffReader::LoadVideoIndex(CArray<SKrChunkIndexEntry>& out)
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr)
        return 0;
    return CKrIndexLoader(*m_file, m_cursor.Size(), m_state).LoadVideo(out) ? 1 : 0;
}

int CKrRiffReader::LoadAudioIndex(CArray<SKrChunkIndexEntry>& out, SKrAudioChunkPattern* pattern)
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr || pattern == nullptr)
        return 0;
    return CKrIndexLoader(*m_file, m_cursor.Size(), m_state).LoadAudio(out, *pattern) ? 1 : 0;
}
