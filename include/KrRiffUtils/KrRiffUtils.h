// Everything that the library offers: the factories, the queries by reader or by path, and through its
// includes all interfaces and records.
#ifndef KRRIFFUTILS_KRRIFFUTILS_H
#define KRRIFFUTILS_KRRIFFUTILS_H

#include "IKrAviWriter.h"
#include "IKrMediaSample.h"
#include "IKrRiffReader.h"
#include "IKrUnknown.h"
#include "IKrdsMediaSamplePool.h"
#include "KrFramework.h"
#include "KrPlatformTypes.h"
#include "KrRiffTypes.h"
#include "KrVersion.h"

// On Linux the library's other symbols are hidden.
#if defined(__ELF__)
#pragma GCC visibility push(default)
#endif

// Creates a reader. The caller owns its one reference and drops it with Release. Returns 1; when out of
// memory, 0 and a null pointer.
int KrCreateRiffReader(IKrRiffReader** out);

// Creates a writer, likewise.
int KrCreateAviWriter(IKrAviWriter** out);

// Creates a pool of `capacity` samples, 1 to 1,048,576. The caller owns its one reference. Returns 1; 0 with
// `out` untouched when it is null, the capacity is out of range, or memory runs out.
int KrCreateMediaSamplePool(unsigned long capacity, IKrdsMediaSamplePool** out);

// What a file declares about its pictures in the suite's private information chunks. The queries never fall
// back to the AVI headers. They return 1 when a value was found, else 0.
//
// With a reader: waits for the reader's lock and holds it during the search, if the reader is the library's
// own. With a path: the file is opened on the first query, and the open reader is kept in a cache of the
// process, under the exact text of the path, until ClearCache. All may be called from any thread.
//
// Flavours: 1 is the suite's own chunk 'KrlA'; 2 is 'CtsI' for the scan mode and 'PrmA' for the pixel aspect
// ratio. Other numbers find nothing.
namespace KrRiffUtils
{
// Scan mode from flavour 1, else from flavour 2. When 0 is returned the output is -1 if a chunk was found
// that declares no mode, and otherwise unchanged.
int GetAviScanMode(IKrRiffReader* reader, EKrScanMode& scanMode);
int GetAviScanMode(const wchar_t* path, EKrScanMode& scanMode);

// Scan mode from the given flavour only.
int GetAviScanModeFromPrivateChunk(IKrRiffReader* reader, int flavour, EKrScanMode& scanMode);
int GetAviScanModeFromPrivateChunk(const wchar_t* path, int flavour, EKrScanMode& scanMode);

// Pixel aspect ratio, width to height, as stored: not reduced, not checked for zero. Flavour 1, else 2.
int GetAviPixelAspectRatio(IKrRiffReader* reader, int& horizontal, int& vertical);
int GetAviPixelAspectRatio(const wchar_t* path, int& horizontal, int& vertical);

// Pixel aspect ratio from the given flavour only.
int GetAviPixelAspectRatioFromPrivateChunk(IKrRiffReader* reader, int flavour, int& horizontal,
                                           int& vertical);
int GetAviPixelAspectRatioFromPrivateChunk(const wchar_t* path, int flavour, int& horizontal, int& vertical);

// Drops the cached reader of a path: 1 when there was one, else 0. With a null or empty path drops all and
// returns 1. A file is closed when its reader is no longer in use.
int ClearCache(const wchar_t* path);
} // namespace KrRiffUtils

#if defined(__ELF__)
#pragma GCC visibility pop
#endif

#endif
