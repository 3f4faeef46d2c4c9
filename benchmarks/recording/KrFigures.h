// Shared by the measurements of recordings.
#ifndef KR_BENCHMARKS_RECORDING_KRFIGURES_H
#define KR_BENCHMARKS_RECORDING_KRFIGURES_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrObject.h"
#include "base/KrRef.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <semaphore>
#include <span>
#include <string>
#include <vector>

namespace KrFigures
{
constexpr int kFramesPerSecond = 25;
constexpr uint32_t kSamplesPerSec = 48'000; // stereo, 16 bits
constexpr uint16_t kBlockAlign = 4;
constexpr size_t kSoundBytes = kSamplesPerSec / kFramesPerSecond * kBlockAlign; // of one frame
constexpr uint64_t kSectorBytes = 512;

void Require(bool done, const char* what);

// The argument of that number, or what is usual.
[[nodiscard]] int64_t NumberOr(int64_t usual, const std::vector<std::string>& arguments, size_t number);

[[nodiscard]] std::wstring Wide(const std::string& path);

// Neither pauses nor limits.
[[nodiscard]] SKrRecordingOptions FastOptions();

struct SKrSoundFormat
{
    uint32_t samplesPerSec = kSamplesPerSec;
    uint16_t blockAlign = kBlockAlign; // 16 bits a sample
};

// Opens a writer of 1080-line video of 25 frames per second with sound. Null options are the defaults.
[[nodiscard]] CKrRef<IKrAviWriter> OpenWriter(const std::string& path, const SKrRecordingOptions* options,
                                              const SKrSoundFormat& sound = {});

[[nodiscard]] SKrRecordingStatus StatusOf(IKrAviWriter& writer);

// Bytes of a 'JUNK' that fills the sector.
[[nodiscard]] uint64_t PaddingAfter(uint64_t position);

// Of the process, or of the calling thread, so far.
[[nodiscard]] double ProcessorSeconds();
[[nodiscard]] double ProcessorSecondsOfThread();

// Moves the calling thread to the first processor, or to the last: threads that it starts stay there. Pages
// are freed to a processor's own list, and a thread beside it finds them at less cost.
enum class EKrProcessor
{
    First,
    Last
};
void MoveTo(EKrProcessor processor);

[[nodiscard]] double Median(std::vector<double> values);

// The value that this part of all values does not exceed.
[[nodiscard]] double Quantile(std::vector<double> values, double part);

// Bytes on pages of their own, so that two who copy them find them equally aligned.
class CKrPages
{
public:
    CKrPages(size_t size, uint8_t value);
    ~CKrPages();
    CKrPages(const CKrPages&) = delete;
    CKrPages& operator=(const CKrPages&) = delete;

    [[nodiscard]] std::span<uint8_t> Bytes() const { return {m_data, m_size}; }

private:
    uint8_t* m_data;
    size_t m_size;
};

// A sample of bytes that somebody else owns. May report when it has been released.
class CKrSharedSample final : public CKrObject<IKrMediaSample>
{
public:
    explicit CKrSharedSample(std::span<uint8_t> bytes, std::binary_semaphore* released = nullptr)
        : m_bytes(bytes), m_released(released)
    {
    }
    ~CKrSharedSample() override
    {
        if (m_released != nullptr)
            m_released->release();
    }
    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }
    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

private:
    std::span<uint8_t> m_bytes;
    std::binary_semaphore* m_released;
};

// A sample with bytes of its own, of which the first eight are a number. Counts what all of them hold.
class CKrNumberedSample final : public CKrObject<IKrMediaSample>
{
public:
    CKrNumberedSample(size_t size, uint64_t number);
    ~CKrNumberedSample() override;
    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override;
    void UnlockBuffer() override {}
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_bytes.size()); }

    // Since the program started, the most at a time.
    [[nodiscard]] static uint64_t MostBytes();

private:
    std::vector<uint8_t> m_bytes;
};

// Whether the file has that many frames, all in its index, of that size and with those numbers in their
// first bytes.
[[nodiscard]] bool HasNumberedFrames(const std::string& path, const std::vector<uint64_t>& numbers,
                                     size_t frameBytes);

class CKrStopwatch
{
public:
    [[nodiscard]] double Seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// The measurements, each with its arguments after its name. They print lines of a table.
void MeasureJoinedWrites(const std::vector<std::string>& arguments);
void MeasurePacedRecording(const std::vector<std::string>& arguments);
void MeasureSteadyFrames(const std::vector<std::string>& arguments);
void MeasureSubmissions(const std::vector<std::string>& arguments);
void MeasureStandingDisk(const std::vector<std::string>& arguments);
void CopyThroughQueue(const std::vector<std::string>& arguments);
} // namespace KrFigures

#endif
