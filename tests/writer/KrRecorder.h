// A writer on a file system in memory and a clock that only sleeping moves.
#ifndef KR_TESTS_WRITER_KRRECORDER_H
#define KR_TESTS_WRITER_KRRECORDER_H

#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrAviChecker.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrManualClock.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTestSample.h"
#include "tests/writer/KrStoppedWorker.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KrTest
{
inline constexpr wchar_t kRecordedPath[] = L"folder/recorded.avi";

// The usual file with the usual sound.
[[nodiscard]] inline SKrWritten WithAudio()
{
    SKrWritten written;
    written.pcm = SKrPcmFormat{};
    return written;
}

// The number of frames in the index that our reader loads from a file, whole or not. Before the first flush
// the headers declare none.
[[nodiscard]] inline size_t FramesReadable(const CKrFileContent& content)
{
    CKrMemoryFileSystem copy;
    copy.Set(kRecordedPath, content);
    const KrPlatform::CFileSystemScope scope(copy);
    CKrRef<IKrRiffReader> reader;
    EXPECT_EQ(KrCreateRiffReader(reader.Put()), 1);
    CArray<SKrChunkIndexEntry> entries;
    if (reader->Open(kRecordedPath) == 0 || reader->LoadVideoIndex(entries) == 0)
        return 0;
    return static_cast<size_t>(entries.GetSize());
}

inline int NoWorkerThread(int, IKrWorkerThread**)
{
    return 0;
}

enum class EKrWorker
{
    Thread,
    None,   // each submission does the worker's part
    Stopped // everything waits for the close
};

class CKrRecorder
{
public:
    explicit CKrRecorder(EKrWorker worker = EKrWorker::Thread)
    {
        SKrWriterServices services{faults, clock};
        if (worker == EKrWorker::None)
            services.createWorkerThread = &NoWorkerThread;
        if (worker == EKrWorker::Stopped)
            services.createWorkerThread = &CKrStoppedWorker::Create;
        writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    }

    int Open(const SKrWritten& what)
    {
        written = what;
        files.SetBytesPerSector(what.bytesPerSector);
        const SKrAviVideoParams params = ParamsFor(what);
        const WAVEFORMATEX format = WaveFormatFor(what.pcm.value_or(SKrPcmFormat{}));
        const std::string& codec = what.codec;
        return writer->OpenFile(kRecordedPath, &params, codec.empty() ? 0 : FourCcValue(codec),
                                what.pcm ? &format : nullptr);
    }

    int AddVideo(KrBytes bytes)
    {
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(std::move(bytes)));
        return writer->AddVideoSample(sample.Get());
    }

    int AddAudio(KrBytes bytes)
    {
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(std::move(bytes)));
        return writer->AddAudioSample(sample.Get());
    }

    // A frame or block whose content identifies it.
    int AddPatternVideo(size_t size) { return AddVideo(PatternBytes(0, m_videoCount++, size)); }
    int AddPatternAudio(size_t size) { return AddAudio(PatternBytes(1, m_audioCount++, size)); }

    // Zeros, which cost no memory in the file.
    int AddZeroVideo(size_t size)
    {
        return writer->AddVideoSample(CKrRef<CKrZeroSample>::Adopt(new CKrZeroSample(size)).Get());
    }
    int AddZeroAudio(size_t size)
    {
        return writer->AddAudioSample(CKrRef<CKrZeroSample>::Adopt(new CKrZeroSample(size)).Get());
    }

    [[nodiscard]] CKrFileContent Content() const { return files.Content(kRecordedPath); }

    // Closes the file and checks every byte of it.
    SKrCheckedAvi Close()
    {
        writer->CloseFile();
        return Check();
    }

    SKrCheckedAvi Check() const
    {
        SKrCheckedAvi checked = CheckWrittenAvi(Content(), written);
        for (const std::string& problem : checked.problems)
            ADD_FAILURE() << problem;
        ExpectReaderAgrees(checked);
        return checked;
    }

    // Our reader must report the chunks that the checker found.
    void ExpectReaderAgrees(const SKrCheckedAvi& checked) const
    {
        CKrMemoryFileSystem copy;
        copy.Set(kRecordedPath, Content());
        const KrPlatform::CFileSystemScope copyScope(copy);
        CKrRef<IKrRiffReader> reader;
        ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
        ASSERT_EQ(reader->Open(kRecordedPath), 1);
        CArray<SKrChunkIndexEntry> entries;
        if (!checked.video.empty())
        {
            ASSERT_EQ(reader->LoadVideoIndex(entries), 1);
            ExpectEntries(entries, checked.video, checked.videoIndexes.size());
        }
        if (!checked.audio.empty())
        {
            SKrAudioChunkPattern pattern;
            ASSERT_EQ(reader->LoadAudioIndex(entries, &pattern), 1);
            ExpectEntries(entries, checked.audio, checked.audioIndexes.size());
        }
        SKrAviVideoParams format{};
        uint32_t compression = 0;
        uint16_t bitCount = 0;
        int valid = 0;
        uint32_t chunkId = 0;
        reader->GetVideoStreamInfo(&format, &compression, &bitCount, &valid, &chunkId);
        EXPECT_EQ(valid, 1);
        EXPECT_EQ(format.frameRate, written.frameRate);
        EXPECT_EQ(format.width, static_cast<int32_t>(written.width));
    }

    CKrMemoryFileSystem files;
    CKrFaultyFileSystem faults{files};
    KrPlatform::CFileSystemScope scope{faults};
    CKrManualClock clock;
    SKrWritten written;
    CKrRef<CKrAviWriter> writer;

private:
    // The super index holds at most 2014 standard indexes.
    static void ExpectEntries(const CArray<SKrChunkIndexEntry>& entries,
                              const std::vector<SKrWrittenChunk>& chunks, size_t indexes)
    {
        if (indexes <= 2014)
        {
            ASSERT_EQ(static_cast<size_t>(entries.GetSize()), chunks.size());
        }
        for (intptr_t number = 0; number < entries.GetSize(); ++number)
        {
            const auto& chunk = chunks[static_cast<size_t>(number)];
            ASSERT_EQ(entries[number].position, chunk.data) << number;
            ASSERT_EQ(entries[number].size, chunk.size) << number;
        }
    }

    size_t m_videoCount = 0;
    size_t m_audioCount = 0;
};

// The samples of a stretch of sound that belong to one frame of 25 per second at 48 kHz in stereo.
inline constexpr size_t kBytesOf25thSecond = 48000 / 25 * 4;
} // namespace KrTest

#endif
