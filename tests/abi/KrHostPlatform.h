// The platform's types, for a host without the platform's headers.
#ifndef KR_TESTS_ABI_KRHOSTPLATFORM_H
#define KR_TESTS_ABI_KRHOSTPLATFORM_H

#include "KrRiffUtils/KrPlatformTypes.h"

#if defined(_WIN32)

#pragma pack(push, 1)
struct tWAVEFORMATEX
{
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};
#pragma pack(pop)

struct KrGuid;
struct KrMediaType;

struct IMediaSample
{
    virtual int32_t QueryInterface(const KrGuid& id, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
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
    ~IMediaSample() = default;
};

#endif

#endif
