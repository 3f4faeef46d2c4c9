// What the tests of the C interface share: handles, and files in memory behind callbacks.
#ifndef KR_TESTS_BINDINGS_KRCSUPPORT_H
#define KR_TESTS_BINDINGS_KRCSUPPORT_H

#include "KrRiffUtils/kr_riff.h"
#include "platform/KrPlatform.h"
#include "tests/support/KrManualClock.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace KrTest
{
// Bytes that a reader takes from callbacks.
class CKrCInput
{
public:
    explicit CKrCInput(KrBytes content) : bytes(std::move(content)) {}

    [[nodiscard]] kr_input Record()
    {
        kr_input input = {};
        input.size = sizeof input;
        input.context = this;
        input.get_size = [](void* context, uint64_t* size) -> int32_t
        {
            auto& self = *static_cast<CKrCInput*>(context);
            *size = self.bytes.size();
            if (self.whileSizing)
                self.whileSizing();
            return self.sizeError;
        };
        input.read_at = [](void* context, uint64_t position, void* buffer, size_t count, size_t* copied)
        {
            return static_cast<CKrCInput*>(context)->Read(position, buffer, count, copied);
        };
        input.release = [](void* context)
        {
            auto& self = *static_cast<CKrCInput*>(context);
            if (self.whileReleasing)
                self.whileReleasing();
            ++self.released;
        };
        return input;
    }

    KrBytes bytes;
    std::function<void()> whileSizing;
    std::function<void()> whileReading;
    std::function<void()> whileReleasing;
    std::atomic<int32_t> readError = 0;
    int32_t sizeError = 0;
    size_t mostPerRead = SIZE_MAX;
    std::atomic<int> reads = 0;
    std::atomic<int> released = 0;

private:
    int32_t Read(uint64_t position, void* buffer, size_t count, size_t* copied)
    {
        ++reads;
        if (whileReading)
            whileReading();
        if (readError != 0)
            return readError;
        const size_t start = static_cast<size_t>(std::min<uint64_t>(position, bytes.size()));
        *copied = std::min({count, mostPerRead, bytes.size() - start});
        std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(start), *copied, static_cast<uint8_t*>(buffer));
        return 0;
    }
};

// Bytes that a writer gives to callbacks.
class CKrCOutput
{
public:
    [[nodiscard]] kr_output Record()
    {
        kr_output output = {};
        output.size = sizeof output;
        output.context = this;
        output.write_at = [](void* context, uint64_t position, const void* data, size_t count)
        {
            return static_cast<CKrCOutput*>(context)->Write(position, data, count);
        };
        output.flush = [](void* context) -> int32_t
        {
            auto& self = *static_cast<CKrCOutput*>(context);
            ++self.flushes;
            if (self.whileFlushing)
                self.whileFlushing();
            return self.flushError;
        };
        output.truncate = [](void* context, uint64_t length) -> int32_t
        {
            auto& self = *static_cast<CKrCOutput*>(context);
            const std::lock_guard guard(self.m_lock);
            self.bytes.resize(static_cast<size_t>(length));
            return 0;
        };
        output.release = [](void* context)
        {
            auto& self = *static_cast<CKrCOutput*>(context);
            if (self.whileReleasing)
                self.whileReleasing();
            ++self.released;
        };
        return output;
    }

    static constexpr int32_t kError = 1234;

    KrBytes bytes;
    std::function<void()> whileWriting;
    std::function<void()> whileFlushing;
    std::function<void()> whileReleasing;
    int failingWrite = 0; // number of the first write that fails; 0: none
    int32_t flushError = 0;
    std::atomic<int> writes = 0;
    std::atomic<int> flushes = 0;
    std::atomic<int> released = 0;

private:
    int32_t Write(uint64_t position, const void* data, size_t count)
    {
        ++writes;
        if (whileWriting)
            whileWriting();
        if (failingWrite != 0 && writes >= failingWrite)
            return kError;
        const std::lock_guard guard(m_lock); // options other than the defaults write on two threads
        const auto* const from = static_cast<const uint8_t*>(data);
        const size_t end = static_cast<size_t>(position) + count;
        bytes.resize(std::max(bytes.size(), end));
        std::copy_n(from, count, bytes.begin() + static_cast<ptrdiff_t>(position));
        return 0;
    }

    std::mutex m_lock;
};

// 64 x 48 at 25 frames per second, with or without 16-bit stereo sound of 48 kHz.
[[nodiscard]] inline kr_clip ClipFor(bool hasAudio)
{
    kr_clip clip = {};
    clip.size = sizeof clip;
    clip.width = 64;
    clip.height = 48;
    clip.codec = KR_FOURCC('M', 'J', 'P', 'G');
    clip.bit_count = 24;
    clip.frame_rate = KR_RATE_25;
    clip.scan_mode = KR_SCAN_PROGRESSIVE;
    clip.aspect_mode = 3;
    if (hasAudio)
    {
        clip.audio_channels = 2;
        clip.audio_samples_per_sec = 48000;
        clip.audio_bits_per_sample = 16;
    }
    return clip;
}

// Files in memory under ASCII names, and a clock that passes only in sleeps.
class CTest : public testing::Test
{
protected:
    CTest()
    {
        EXPECT_EQ(kr_reader_create(&reader), KR_OK);
        EXPECT_EQ(kr_writer_create(&writer), KR_OK);
    }
    ~CTest() override
    {
        kr_reader_free(reader);
        kr_writer_free(writer);
        EXPECT_EQ(files.OpenFiles(), 0u);
    }

    static constexpr const char* kPath = "clip.avi";

    // A file of `frames` frames with sound.
    [[nodiscard]] static SKrBuiltAvi Built(size_t frames = 5, EKrIndexKind index = EKrIndexKind::OpenDml)
    {
        SKrSimpleAvi avi;
        std::vector<uint32_t> sizes(frames);
        for (size_t number = 0; number < frames; ++number)
            sizes[number] = static_cast<uint32_t>(1000 + number);
        avi.streams = {VideoStream(sizes), PcmStream(std::vector<uint32_t>(frames, 7680))};
        avi.index = index;
        avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
        return BuildSimpleAvi(avi);
    }

    void Put(const SKrBuiltAvi& built) { files.Set(L"clip.avi", built.content); }

    void OpenClip(size_t frames = 5)
    {
        Put(Built(frames));
        ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    }

    [[nodiscard]] kr_error LastReaderError() const
    {
        kr_error error = {};
        error.size = sizeof error;
        EXPECT_EQ(kr_reader_last_error(reader, &error), KR_OK);
        return error;
    }
    [[nodiscard]] kr_error LastWriterError() const
    {
        kr_error error = {};
        error.size = sizeof error;
        EXPECT_EQ(kr_writer_last_error(writer, &error), KR_OK);
        return error;
    }
    [[nodiscard]] kr_recording_status Status() const
    {
        kr_recording_status status = {};
        status.size = sizeof status;
        EXPECT_EQ(kr_writer_status(writer, &status), KR_OK);
        return status;
    }

    // Copies of frames of 1000 bytes and more, each with its sound.
    void Record(int frames, bool hasAudio = true)
    {
        for (int number = 0; number < frames; ++number)
        {
            const KrBytes frame =
                PatternBytes(0, static_cast<size_t>(number), static_cast<size_t>(1000 + number));
            ASSERT_EQ(kr_writer_copy_video(writer, frame.data(), static_cast<uint32_t>(frame.size())), KR_OK);
            const KrBytes sound = PatternBytes(1, static_cast<size_t>(number), 7680);
            if (hasAudio)
            {
                ASSERT_EQ(kr_writer_copy_audio(writer, sound.data(), 7680), KR_OK);
            }
        }
    }

    CKrMemoryFileSystem files;
    CKrManualClock clock;
    KrPlatform::CFileSystemScope filesScope{files};
    KrPlatform::CClockScope clockScope{clock};
    kr_reader* reader = nullptr;
    kr_writer* writer = nullptr;
};
} // namespace KrTest

#endif
