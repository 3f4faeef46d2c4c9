// What a range of a file must be for a view of it, on every platform.
#ifndef KR_PLATFORM_KRFILERANGE_H
#define KR_PLATFORM_KRFILERANGE_H

#include <cstddef>
#include <cstdint>

namespace KrPlatform
{
// Whether a range is not empty and lies inside a file of that size.
constexpr bool IsRangeInside(uint64_t position, size_t length, uint64_t fileSize)
{
    return length > 0 && position <= fileSize && length <= fileSize - position;
}
} // namespace KrPlatform

#endif
