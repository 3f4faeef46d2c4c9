// Finds the private information chunks of an open file and reads what they say.
#ifndef KR_RIFFUTILS_KRPRIVATECHUNKQUERY_H
#define KR_RIFFUTILS_KRPRIVATECHUNKQUERY_H

#include "KrRiffUtils/IKrRiffReader.h"
#include "format/KrPrivateChunks.h"

namespace KrPrivateChunkQuery
{
inline constexpr int kOwnFlavour = 1;     // 'KrlA'
inline constexpr int kForeignFlavour = 2; // 'CtsI' and 'PrmA'

// The reader may be of any implementation: only its public operations are called. It is up to the caller to
// keep other threads away from its walks.

// Stores -1 and answers false when the chunk is there but sets no mode.
[[nodiscard]] bool ScanMode(IKrRiffReader& reader, int flavour, EKrScanMode& scanMode);
[[nodiscard]] bool PixelAspect(IKrRiffReader& reader, int flavour, SKrPixelAspect& aspect);
} // namespace KrPrivateChunkQuery

#endif
