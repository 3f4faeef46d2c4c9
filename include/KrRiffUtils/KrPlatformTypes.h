// Types of the Windows platform that appear in the library's interface. On Windows they are only named
// here and hosts bring the platform's own headers; elsewhere they are declared with the same fields.
#ifndef KRRIFFUTILS_KRPLATFORMTYPES_H
#define KRRIFFUTILS_KRPLATFORMTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)

struct tWAVEFORMATEX;
typedef struct tWAVEFORMATEX WAVEFORMATEX;

#else

#pragma pack(push, 1)
// Head of an audio format block; cbSize bytes of format-specific data may follow it.
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
typedef struct tWAVEFORMATEX WAVEFORMATEX;

static_assert(sizeof(WAVEFORMATEX) == 18, "fixed layout");

#endif

#endif
