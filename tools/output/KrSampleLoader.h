// Samples loaded when the writer needs them: a long queue costs no memory.
#ifndef KR_TOOLS_OUTPUT_KRSAMPLELOADER_H
#define KR_TOOLS_OUTPUT_KRSAMPLELOADER_H

#include "platform/KrBareDirectShowSample.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace KrTool
{
// The bytes of a frame or a block of audio. `load` fills a buffer of that length, on any thread, and throws
// CKrToolError when it cannot.
struct SKrSampleBytes
{
    uint32_t length = 0;
    std::function<void(uint8_t* buffer)> load;
};

// Holds the bytes that were loaded last, and the first failure.
class CKrSampleLoader
{
public:
    // The bytes of a sample, valid until evicted; null after a failure, after Stop, and once the user asked
    // to stop.
    uint8_t* Get(const void* sample, const SKrSampleBytes& bytes);
    void Forget(const void* sample);

    // Throws what the first failed load threw.
    void ThrowIfFailed();

    // No more bytes from now on, so that an abandoned writer drops its queue instead of writing it.
    void Stop();

private:
    struct SLoaded
    {
        const void* sample;
        std::vector<uint8_t> bytes;
    };

    void MakeRoom();

    std::mutex m_mutex;          // guards the rest
    std::list<SLoaded> m_loaded; // most recently used first
    size_t m_loadedBytes = 0;
    std::exception_ptr m_failure;
    bool m_isStopped = false;
};

// A DirectShow sample around such bytes. Ends with its last Release.
class CKrLazySample final : public CKrBareDirectShowSample
{
public:
    CKrLazySample(std::shared_ptr<CKrSampleLoader> loader, SKrSampleBytes bytes)
        : m_loader(std::move(loader)), m_bytes(std::move(bytes))
    {
    }
    virtual ~CKrLazySample() { m_loader->Forget(this); }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override;
    LONG STDMETHODCALLTYPE GetSize() override { return static_cast<LONG>(m_bytes.length); }
    LONG STDMETHODCALLTYPE GetActualDataLength() override { return static_cast<LONG>(m_bytes.length); }

private:
    std::atomic<ULONG> m_references = 1;
    std::shared_ptr<CKrSampleLoader> m_loader;
    SKrSampleBytes m_bytes;
};
} // namespace KrTool

#endif
