// Objects that a host implements itself and passes to the library.
#ifndef KR_TESTS_ABI_KRHOSTOBJECTS_H
#define KR_TESTS_ABI_KRHOSTOBJECTS_H

#include "KrHostPlatform.h"
#include "KrRiffUtils/KrRiffUtils.h"

// Counts change on the host's thread and on the writer's.
inline uint32_t Count(int& references, int change)
{
    return static_cast<uint32_t>(__atomic_add_fetch(&references, change, __ATOMIC_SEQ_CST));
}

class CHostSource final : public IMediaSample
{
public:
    CHostSource(uint8_t* data, int32_t length) : m_data(data), m_length(length) {}

    int m_references = 1;

    int32_t QueryInterface(const KrGuid&, void**) override { return -1; }
    uint32_t AddRef() override { return Count(m_references, 1); }
    uint32_t Release() override { return Count(m_references, -1); }
    int32_t GetPointer(uint8_t** buffer) override
    {
        *buffer = m_data;
        return 0;
    }
    int32_t GetSize() override { return m_length; }
    int32_t GetTime(int64_t*, int64_t*) override { return -1; }
    int32_t SetTime(int64_t*, int64_t*) override { return -1; }
    int32_t IsSyncPoint() override { return 0; }
    int32_t SetSyncPoint(int32_t) override { return -1; }
    int32_t IsPreroll() override { return 0; }
    int32_t SetPreroll(int32_t) override { return -1; }
    int32_t GetActualDataLength() override { return m_length; }
    int32_t SetActualDataLength(int32_t) override { return -1; }
    int32_t GetMediaType(KrMediaType**) override { return -1; }
    int32_t SetMediaType(KrMediaType*) override { return -1; }
    int32_t IsDiscontinuity() override { return 0; }
    int32_t SetDiscontinuity(int32_t) override { return -1; }
    int32_t GetMediaTime(int64_t*, int64_t*) override { return -1; }
    int32_t SetMediaTime(int64_t*, int64_t*) override { return -1; }

private:
    uint8_t* m_data;
    int32_t m_length;
};

class CHostSample final : public IKrMediaSample
{
public:
    KR_IMPLEMENT_INTERFACE_DESTRUCTOR(CHostSample)

    CHostSample(uint8_t* data, int32_t length) : m_data(data), m_length(length) {}
    virtual ~CHostSample() = default;

    int m_references = 1;
    int m_locks = 0;

    uint32_t AddRef() override { return Count(m_references, 1); }
    uint32_t Release() override { return Count(m_references, -1); }
    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        Count(m_locks, 1);
        *data = m_data;
        *length = m_length;
        return 1;
    }
    void UnlockBuffer() override { Count(m_locks, -1); }
    uint32_t GetDataLength() override { return static_cast<uint32_t>(m_length); }

private:
    uint8_t* m_data;
    int32_t m_length;
};

// Forwards everything to another reader. The library does not recognise it as its own.
class CHostReader final : public IKrRiffReader
{
public:
    KR_IMPLEMENT_INTERFACE_DESTRUCTOR(CHostReader)

    explicit CHostReader(IKrRiffReader& reader) : m_reader(reader) {}
    virtual ~CHostReader() = default;

    int m_calls = 0;

    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    int Open(const wchar_t* path) override { return m_reader.Open(path); }
    void Close() override { m_reader.Close(); }
    uint64_t GetFileLength() override { return m_reader.GetFileLength(); }
    int FindFirstRiffSegment() override
    {
        ++m_calls;
        return m_reader.FindFirstRiffSegment();
    }
    int FindNextRiffSegment(uint32_t* type, uint32_t* size, uint64_t* offset,
                            SKrRiffChunkNode** node) override
    {
        ++m_calls;
        return m_reader.FindNextRiffSegment(type, size, offset, node);
    }
    int FindFirstSubChunk(SKrRiffChunkNode* node) override
    {
        ++m_calls;
        return m_reader.FindFirstSubChunk(node);
    }
    int FindNextSubChunk(uint32_t* id, uint32_t* type, uint32_t* size, uint64_t* offset,
                         SKrRiffChunkNode** node) override
    {
        ++m_calls;
        return m_reader.FindNextSubChunk(id, type, size, offset, node);
    }
    uint32_t ReadChunkData(const SKrRiffChunkInfo* chunk, uint8_t* buffer, uint32_t size) override
    {
        ++m_calls;
        return m_reader.ReadChunkData(chunk, buffer, size);
    }
    uint32_t ReadAt(uint64_t position, void* buffer, uint32_t count) override
    {
        ++m_calls;
        return m_reader.ReadAt(position, buffer, count);
    }
    SKrRiffChunkInfo* GetLastRiffSegment() override { return m_reader.GetLastRiffSegment(); }
    int FindFirstChunk(const CDWordArray* ids, uint64_t position) override
    {
        return m_reader.FindFirstChunk(ids, position);
    }
    int FindNextChunk(uint32_t* id, uint32_t* type, uint32_t* size, uint64_t* offset,
                      SKrRiffChunkInfo** record) override
    {
        return m_reader.FindNextChunk(id, type, size, offset, record);
    }
    void EndChunkSearch() override { m_reader.EndChunkSearch(); }
    uint32_t GetVideoStreamInfo(SKrAviVideoParams* format, uint32_t* compression, uint16_t* bits, int* valid,
                                uint32_t* id) override
    {
        return m_reader.GetVideoStreamInfo(format, compression, bits, valid, id);
    }
    int GetAudioStreamInfo(SKrWaveFormatInfo* format, int* valid, uint32_t* id, double* duration) override
    {
        return m_reader.GetAudioStreamInfo(format, valid, id, duration);
    }
    int LoadVideoIndex(CArray<SKrChunkIndexEntry>& out) override { return m_reader.LoadVideoIndex(out); }
    int LoadAudioIndex(CArray<SKrChunkIndexEntry>& out, SKrAudioChunkPattern* pattern) override
    {
        return m_reader.LoadAudioIndex(out, pattern);
    }
    uint32_t GetStreamCount() override { return m_reader.GetStreamCount(); }
    int GetStreamProperties(uint32_t stream, SKrStreamProperties* properties) override
    {
        return m_reader.GetStreamProperties(stream, properties);
    }
    uint32_t ReadStreamFormat(uint32_t stream, void* buffer, uint32_t size) override
    {
        return m_reader.ReadStreamFormat(stream, buffer, size);
    }
    int LoadStreamIndex(uint32_t stream, uint64_t first, CArray<SKrStreamIndexEntry>& out) override
    {
        return m_reader.LoadStreamIndex(stream, first, out);
    }
    int OpenGrowing(const wchar_t* path) override { return m_reader.OpenGrowing(path); }
    int Refresh() override { return m_reader.Refresh(); }
    uint32_t GetGrowingState() override { return m_reader.GetGrowingState(); }

private:
    IKrRiffReader& m_reader;
};

#endif
