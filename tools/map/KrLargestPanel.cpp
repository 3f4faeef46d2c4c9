// The table of the largest chunks.
#include "tools/map/KrMapPanels.h"

#include <array>

namespace KrTool
{
namespace
{
constexpr double kRowHeight = 17;

struct SKrColumn
{
    const char* heading;
    double right; // share of the picture's width
};
constexpr std::array<SKrColumn, 6> kColumns = {
    {{"rank", 0.06}, {"stream", 0.18}, {"chunk", 0.32}, {"time", 0.48}, {"position", 0.68}, {"bytes", 0.86}}};

void DrawRow(const SKrPicture& picture, double y, const std::array<std::string, kColumns.size()>& cells,
             const char* style)
{
    for (size_t column = 0; column < cells.size(); ++column)
        picture.svg.Label(picture.width * kColumns[column].right, y, cells[column], style, EKrAnchor::End);
}
} // namespace

double DrawLargestPanel(const SKrPicture& picture, double y)
{
    const SKrFileMap& map = picture.map;
    std::vector<std::string> pieces;
    if (map.largest.empty())
        pieces.emplace_back("no data chunks");
    y = DrawHeading(picture, y, "Largest chunks", pieces);
    picture.svg.OpenGroup("largest");
    if (!map.largest.empty())
    {
        std::array<std::string, kColumns.size()> headings;
        for (size_t column = 0; column < headings.size(); ++column)
            headings[column] = kColumns[column].heading;
        DrawRow(picture, y + 12, headings, "small soft");
        y += 12;
    }
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
