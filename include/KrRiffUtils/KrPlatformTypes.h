// Types of the Windows platform that appear in the library's interface. On Windows they are only forward
// declared and hosts include the platform's headers; elsewhere they are defined with the same fields.
#ifndef KRRIFFUTILS_KRPLATFORMTYPES_H
#define KRRIFFUTILS_KRPLATFORMTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)

struct tWAVEFORMATEX;
typedef struct tWAVEFORMATEX WAVEFORMATEX;
struct IMediaSample;

#else

#pragma pack(push, 1)
// Head of an audio format block; cbSize bytes of format-specific data may follow it.
struct tWAVEFORMATEX
{
    uint16_t wFormatTag;      // 1: PCM
    uint16_t nChannels;       // samples per sample frame
    uint32_t nSamplesPerSec;  // sample frames per second
    uint32_t nAvgBytesPerSec; // nSamplesPerSec * nBlockAlign for PCM
    uint16_t nBlockAlign;     // bytes of one sample frame
    uint16_t wBitsPerSample;  // of one channel
    uint16_t cbSize;          // bytes that follow
};
#pragma pack(pop)
// Its usual name.
typedef struct tWAVEFORMATEX WAVEFORMATEX;

static_assert(sizeof(WAVEFORMATEX) == 18, "fixed layout");

struct KrGuid; // an interface or format identifier, 16 bytes
struct KrMediaType;

// DirectShow's media sample: the same operations in the same order. Results are negative for failures; times
// are in units of 100 ns.
struct IMediaSample
{
    // Of every COM object.
    virtual int32_t QueryInterface(const KrGuid& id, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

    // Of DirectShow.
    virtual int32_t GetPointer(uint8_t** buffer) = 0;
    virtual int32_t GetSize() = 0;
    virtual int32_t GetTime(int64_t* start, int64_t* end) = 0;
    virtual int32_t SetTime(int64_t* start, int64_t* end) = 0;
    virtual int32_t IsSyncPoint() = 0;
    virtual int32_t SetSyncPoint(int32_t isSyncPoint) = 0;
    virtual int32_t IsPreroll() = 0;
    virtual int32_t SetPreroll(int32_t isPreroll) = 0;
    virtual int32_t GetActualDataLength() = 0;
    virtual int32_t SetActualDataLength(int32_t length) = 0;
    virtual int32_t GetMediaType(KrMediaType** type) = 0;
    virtual int32_t SetMediaType(KrMediaType* type) = 0;
    virtual int32_t IsDiscontinuity() = 0;
    virtual int32_t SetDiscontinuity(int32_t isDiscontinuity) = 0;
    virtual int32_t GetMediaTime(int64_t* start, int64_t* end) = 0;
    virtual int32_t SetMediaTime(int64_t* start, int64_t* end) = 0;

protected:
    ~IMediaSample() = default; // ends with its last Release
};

#endif

#endif
