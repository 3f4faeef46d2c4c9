// Where fields are in the headers of AVI files, for those that change or report single ones.
#ifndef KR_FORMAT_KRFIELDPLACES_H
#define KR_FORMAT_KRFIELDPLACES_H

#include <cstddef>

// Of 'avih', in its data.
namespace KrAvih
{
inline constexpr size_t kFrameTimeAt = 0;
inline constexpr size_t kGranularityAt = 8;
inline constexpr size_t kFlagsAt = 12;
inline constexpr size_t kFramesAt = 16;
inline constexpr size_t kStreamsAt = 24;
inline constexpr size_t kBufferAt = 28;
inline constexpr size_t kWidthAt = 32;
} // namespace KrAvih

// Of 'strh'.
namespace KrStrh
{
inline constexpr size_t kScaleAt = 20;
inline constexpr size_t kRateAt = 24;
inline constexpr size_t kStartTimeAt = 28;
inline constexpr size_t kLengthAt = 32;
inline constexpr size_t kBufferAt = 36;
inline constexpr size_t kSampleSizeAt = 44;
inline constexpr size_t kShortestSize = 48; // of writers that leave out its last field
} // namespace KrStrh

#endif
