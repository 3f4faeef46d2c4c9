// The table of the largest chunks.
#include "tools/map/KrMapPanels.h"

#include <array>

namespace KrTool
{
namespace
{
constexpr double kRowHeight = 17;

// Where the columns end, as shares of the picture's width.
constexpr std::array<double, 6> kColumns = {0.06, 0.18, 0.32, 0.48, 0.68, 0.86};

void DrawRow(const SKrPicture& picture, double y, const std::array<std::string, kColumns.size()>& cells,
             const char* style)
{
    for (size_t column = 0; column < cells.size(); ++column)
        picture.svg.Label(picture.width * kColumns[column], y, cells[column], style, EKrAnchor::End);
}
} // namespace

double DrawLargestPanel(const SKrPicture& picture, double y)
{
    const SKrFileMap& map = picture.map;
    y = DrawHeading(picture, y, "Largest chunks") + 12;
    picture.svg.OpenGroup("largest");
    DrawRow(picture, y, {"rank", "stream", "chunk", "time", "position", "bytes"}, "small soft");
    for (size_t rank = 0; rank < map.largest.size(); ++rank)
    {
        const SKrLargeChunk& chunk = map.largest[rank];
        y += kRowHeight;
        DrawRow(picture, y,
                {std::to_string(rank + 1), StreamText(chunk.kind, chunk.stream), Grouped(chunk.number),
                 chunk.seconds ? TimeText(*chunk.seconds) : "\u2013", Grouped(chunk.position),
                 Grouped(chunk.size)},
                "small");
    }
    picture.svg.CloseGroup();
    return y;
}
} // namespace KrTool
