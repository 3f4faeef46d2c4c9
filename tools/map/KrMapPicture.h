// A map as a picture, and as a page with the same picture and tables.
#ifndef KR_TOOLS_MAP_KRMAPPICTURE_H
#define KR_TOOLS_MAP_KRMAPPICTURE_H

#include <cstdint>
#include <string>

namespace KrTool
{
struct SKrFileMap;

constexpr uint64_t kSmallestPicture = 600; // pixels wide
constexpr uint64_t kLargestPicture = 2400;

// The bins that a picture of a width has room for.
uint64_t ByteBins(uint64_t width);
uint64_t TimeBins(uint64_t width);

// An SVG document. `isAlone`: without the tables of a page.
std::string MapPicture(const SKrFileMap& map, uint64_t width, bool isAlone = true);

// An HTML document that needs nothing else.
std::string MapPage(const SKrFileMap& map, uint64_t width);
} // namespace KrTool

#endif
