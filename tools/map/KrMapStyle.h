// How maps look: one style sheet for the picture and the page.
#ifndef KR_TOOLS_MAP_KRMAPSTYLE_H
#define KR_TOOLS_MAP_KRMAPSTYLE_H

#include "tools/map/KrFileSpans.h"

#include <string>

namespace KrTool
{
// Colours as custom properties, for light and dark; every use names the light one first, for programs
// without custom properties.
std::string PictureStyle();
std::string PageStyle(uint64_t width); // of the picture, in pixels

// The class of a kind's shapes.
const char* StyleOf(EKrSpanKind kind);
} // namespace KrTool

#endif
