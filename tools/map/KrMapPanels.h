// The parts of the picture, one below the other. Each is drawn from a height on and returns the height
// after it.
#ifndef KR_TOOLS_MAP_KRMAPPANELS_H
#define KR_TOOLS_MAP_KRMAPPANELS_H

#include "tools/map/KrFileMap.h"
#include "tools/map/KrMapText.h"
#include "tools/map/KrSvg.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KrTool
{
struct SKrPicture
{
    const SKrFileMap& map;
    double width = 0;
    CKrSvg& svg;
};

// A rectangle with a scale on each side.
struct SKrPlot
{
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
    double fromX = 0; // values at the sides
    double toX = 1;
    double fromY = 0;
    double toY = 1;

    double Right() const { return left + width; }
    double Bottom() const { return top + height; }
    double X(double value) const { return left + (value - fromX) / (toX - fromX) * width; }
    double Y(double value) const { return Bottom() - (value - fromY) / (toY - fromY) * height; }

    // The attributes by which programs read the scales.
    std::string Attributes() const;
};

constexpr double kLeftMargin = 158;
constexpr double kRightMargin = 36;
constexpr double kSideMargin = 16;
constexpr double kPanelGap = 30;

double PlotWidth(double pictureWidth);

// A heading and the texts of a panel, as many on a line as fit. Returns the height after them.
double DrawHeading(const SKrPicture& picture, double y, std::string_view heading,
                   const std::vector<std::string>& pieces = {});
void DrawXAxis(CKrSvg& svg, const SKrPlot& plot, EKrAxisUnit unit);
void DrawYAxis(CKrSvg& svg, const SKrPlot& plot, EKrAxisUnit unit);

double DrawTitle(const SKrPicture& picture, double y);
double DrawFilePanel(const SKrPicture& picture, double y);
double DrawRatePanel(const SKrPicture& picture, double y);
double DrawDistancePanels(const SKrPicture& picture, double y);
double DrawLargestPanel(const SKrPicture& picture, double y);

// "video 0", "audio 1".
std::string StreamText(EKrStreamKind kind, uint32_t stream);

// The label of the marked regions of a kind.
std::string RegionText(const SKrFileMap& map, EKrRegionKind kind);
} // namespace KrTool

#endif
