#include "tools/map/KrMapPicture.h"

#include "tools/command/KrFormat.h"
#include "tools/map/KrMapPanels.h"
#include "tools/map/KrMapStyle.h"

namespace KrTool
{
namespace
{
constexpr char kHatch[] =
    R"svg(<defs><pattern id="hatch" width="7" height="7" patternUnits="userSpaceOnUse" )svg"
    R"svg(patternTransform="rotate(45)"><rect width="7" height="7" class="hatch-paper"/>)svg"
    R"svg(<line x1="1" y1="0" x2="1" y2="7" class="hatch-line"/></pattern></defs>)svg"
    "\n";
} // namespace

uint64_t ByteBins(uint64_t width)
{
    return static_cast<uint64_t>(PlotWidth(static_cast<double>(width)));
}

uint64_t TimeBins(uint64_t width)
{
    return ByteBins(width) / 2;
}

std::string MapPicture(const SKrFileMap& map, uint64_t width, bool isAlone)
{
    CKrSvg body;
    const SKrPicture picture = {map, static_cast<double>(width), body};
    double y = DrawTitle(picture, 0);
    y = DrawFilePanel(picture, y + kPanelGap - 12);
    y = DrawRatePanel(picture, y + kPanelGap);
    y = DrawDistancePanels(picture, y + kPanelGap);
    if (isAlone && !map.largest.empty())
        y = DrawLargestPanel(picture, y + kPanelGap);
    y += kSideMargin;

    CKrSvg svg;
    svg.Add(Format(
        R"(<svg xmlns="http://www.w3.org/2000/svg" width="{0}" height="{1}" viewBox="0 0 {0} {1}" role="img">
<title>{2}</title>
<style>
{3}</style>
{4})",
        Pixels(picture.width), Pixels(y), Escaped("Map of " + map.name), PictureStyle(), kHatch));
    svg.Rect(0, 0, picture.width, y, "paper");
    svg.Add(body.Text());
    svg.Add("</svg>\n");
    return svg.Text();
}
} // namespace KrTool
